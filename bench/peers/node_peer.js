// A peer to be measured beside: Node's http server, one thread for requests, files read whole.
"use strict";

const fs = require("node:fs");
const http = require("node:http");

const [port, directory] = process.argv.slice(2);

http.createServer((request, response) => {
    if (request.url === "/constant") {
        response.writeHead(200, { "Content-Type": "text/plain", "Content-Length": 13 });
        response.end("Hello, world!");
        return;
    }
    fs.readFile(directory + request.url, (error, content) => {
        response.writeHead(error ? 404 : 200, { "Content-Length": error ? 0 : content.length });
        response.end(content);
    });
}).listen(Number(port), "127.0.0.1");
