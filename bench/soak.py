#!/usr/bin/env python3
"""Lets clients of all kinds come, go, stall and reset, while servers are stopped and started.

usage: bench/soak.py BUILD_DIR [SECONDS] [--clients N]

The host, which may be built with ThreadSanitizer, runs four servers. What clients complete on "main"
and "secure" must be answered, byte for byte. "second" and "third" are stopped and started by messages
all the time: there a connection may break, but no answer may be wrong. In the end the host must
have closed every connection and must end by itself; a sanitizer's report fails the run.
"""

import argparse
import asyncio
import collections
import json
import os
import pathlib
import random
import resource
import socket
import ssl
import struct
import subprocess
import sys
import tempfile
import time
import traceback

from servers import free_port

ROOT = pathlib.Path(__file__).parent.parent
PATIENCE = 90  # seconds for an answer
FILE = bytes(i % 251 for i in range(1 << 20))
BROKEN = (OSError, asyncio.IncompleteReadError, ssl.SSLError)
TLS = ssl._create_unverified_context()


class WrongAnswer(Exception):
    pass


class Connection:
    """A client's end of one connection."""

    @classmethod
    async def open(cls, server):
        made = cls()
        made.reader, made.writer = await asyncio.wait_for(asyncio.open_connection(
            "127.0.0.1", server.port, ssl=TLS if server.secure else None, limit=1 << 16), PATIENCE)
        return made

    async def send(self, data):
        self.writer.write(data)
        await asyncio.wait_for(self.writer.drain(), PATIENCE)

    async def receive(self, count):
        return await asyncio.wait_for(self.reader.readexactly(count), PATIENCE)

    async def answer(self, wanted, status=b"200"):
        head = await asyncio.wait_for(self.reader.readuntil(b"\r\n\r\n"), PATIENCE)
        length = head.lower().partition(b"content-length: ")[2].split()
        body = await self.receive(int(length[0])) if length else None
        if body == b"starting":
            raise ConnectionError("the server starts")
        if body and body.endswith(b"The request was abandoned."):
            raise ConnectionError("the server stops")
        if head.split()[1] != status or body != wanted:
            raise WrongAnswer(f"{head} {body and body[:100]}")

    def close(self):
        self.writer.close()

    def reset(self):
        client = self.writer.get_extra_info("socket")
        if client is not None and client.fileno() >= 0:
            client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.writer.transport.abort()


def request(path, method="GET", fields="", body=b""):
    return f"{method} {path} HTTP/1.1\r\nHost: localhost\r\n{fields}\r\n".encode() + body


def frame(payload):
    size = len(payload)
    length = bytes([0x80 | size]) if size < 126 else b"\xfe" + struct.pack(">H", size)
    return b"\x82" + length + bytes(4) + payload  # the mask of zeros leaves it as it is


async def ask_often(connection):
    for _ in range(random.randint(1, 5)):
        await connection.send(request("/constant"))
        await connection.answer(b"Hello, world!")
        await asyncio.sleep(random.random())


async def ask_at_once(connection):
    await connection.send(request("/constant") * 5)
    for _ in range(5):
        await connection.answer(b"Hello, world!")


async def read_file(connection):
    await connection.send(request("/file.js"))
    await connection.answer(FILE)


async def send_body(connection):
    size = random.randint(0, 100_000)
    await connection.send(request("/constant", "PUT", f"Content-Length: {size}\r\n", bytes(size)))
    await connection.answer(b"Hello, world!")


async def send_chunks(connection):
    chunks = b"".join(b"%x\r\n%s\r\n" % (size, bytes(size)) for size in (1, 70, 9000))
    await connection.send(request("/constant", "PUT", "Transfer-Encoding: chunked\r\n", chunks))
    await asyncio.sleep(random.random())
    await connection.send(b"0\r\n\r\n")
    await connection.answer(b"Hello, world!")


async def send_drop_by_drop(connection):
    whole = request("/constant")
    while whole:  # few drops: the whole head may take no longer than twenty seconds
        size = random.randint(1, 12)
        await connection.send(whole[:size])
        whole = whole[size:]
        await asyncio.sleep(random.random() / 5)
    await connection.answer(b"Hello, world!")


async def ask_other_server(connection):
    await connection.send(request("/proxied"))
    await connection.answer(b"Hello, world!")


async def echo(connection):
    await connection.send(request("/echo", fields="Connection: Upgrade\r\nUpgrade: websocket\r\n"
                                  "Sec-WebSocket-Version: 13\r\n"
                                  "Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n"))
    await connection.answer(None, b"101")
    for _ in range(random.randint(0, 10)):
        payloads = [random.randbytes(random.choice((0, 5, 125, 126, 9000, 65535)))
                    for _ in range(random.randint(1, 3))]
        await connection.send(b"".join(map(frame, payloads)))
        for payload in payloads:
            head = frame(payload)[:2 if len(payload) < 126 else 4]
            wanted = bytes([head[0], head[1] & 0x7f]) + head[2:] + payload
            received = await connection.receive(2)
            if received == b"\x88\x02":
                raise ConnectionError("the server closed")
            if received + await connection.receive(len(wanted) - 2) != wanted:
                raise WrongAnswer("not the echo of what was sent")
        await asyncio.sleep(random.random())
    if random.random() < 0.5:
        await connection.send(b"\x88\x82\0\0\0\0\x03\xe8")
        status = await connection.receive(4)
        if status == b"\x88\x02\x03\xe9":
            raise ConnectionError("the server closed")
        if status != b"\x88\x02\x03\xe8":
            raise WrongAnswer(f"not the close that was sent: {status}")


async def stall(connection):
    whole = random.choice((request("/constant"), request("/x", "PUT", "Content-Length: 99\r\n"),
                           request("/file.js")))
    await connection.send(whole[:random.randint(0, len(whole))])
    await asyncio.sleep(random.random() * 3)


COMPLETE = (ask_often, ask_at_once, read_file, send_body, send_chunks, send_drop_by_drop,
            ask_other_server, echo)


class ServerOfHost:
    def __init__(self, name, secure, lasting):
        self.name, self.secure, self.lasting, self.port = name, secure, lasting, free_port()


class Soak:
    def __init__(self, options, directory):
        self.end = time.monotonic() + options.seconds
        self.clients = options.clients
        self.counts = collections.Counter()
        self.faults = []
        self.longest_stop = 0.0
        self.servers = [ServerOfHost("main", False, True), ServerOfHost("secure", True, True),
                        ServerOfHost("second", False, False), ServerOfHost("third", True, False)]
        pathlib.Path(directory, "file.js").write_bytes(FILE)
        self.reports = pathlib.Path(directory, "sanitizer")
        main, secure = self.servers[0].port, self.servers[1].port
        environment = dict(os.environ, TSAN_OPTIONS=f"log_path={self.reports} exitcode=66 "
                           f"suppressions={ROOT}/tools/tsan.supp")
        self.host = subprocess.Popen(
            [options.build / "host" / "connector-host", "--port", str(main), "--secure-port",
             str(secure), "--constant", "/constant=200,Hello, world!", "--echo", "/echo", "--proxy",
             f"/proxied=http://127.0.0.1:{main}/constant", "--log-level", "error", directory],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, env=environment)
        line = self.host.stdout.readline()
        if f"HTTP: {main}, HTTPS: {secure}\n" not in line:
            raise SystemExit(f"the host is not where it was put: {line}")
        for _ in range(2):
            self.host.stdout.readline()  # the addresses

    def console(self, line):
        self.host.stdin.write(line + "\n")
        self.host.stdin.flush()
        answer = ""
        while (read := self.host.stdout.readline()).strip():
            answer += read
        return answer

    def message(self, kind, **members):
        answer = self.console(f"connector/http/{kind} {json.dumps(members)}")
        if answer.startswith("error") or (kind == "StartHttpServer" and
                                          '"running":true' not in answer):
            self.faults.append(f"{kind} {members}: {answer}")
        return answer

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.host.pid}/fd"))

    async def client(self):
        await asyncio.sleep(random.random() * 5)
        while time.monotonic() < self.end:
            await self.visit(random.choice(self.servers))
            await asyncio.sleep(random.random())

    async def visit(self, server):
        if server.secure and random.random() < 0.1:
            await self.leave_handshake(server)
            return
        leaves = random.random() < 0.3
        action = stall if leaves else random.choice(COMPLETE)
        connection, begin = None, time.monotonic()
        try:
            connection = await Connection.open(server)
            if leaves and random.random() < 0.5:
                await asyncio.wait_for(random.choice(COMPLETE)(connection), random.random())
            else:
                await action(connection)
            self.counts[action.__name__] += 1
        except WrongAnswer as fault:
            self.faults.append(f"{server.name} {action.__name__}: {fault}")
        except (*BROKEN, asyncio.TimeoutError) as fault:
            self.counts[f"broken on {server.name}"] += 1
            if server.lasting and not leaves:
                self.faults.append(f"{server.name} {action.__name__}: {fault!r} after "
                                   f"{time.monotonic() - begin:.1f} s")
        if connection is not None:
            random.choice((connection.close, connection.reset))()

    async def leave_handshake(self, server):
        """Begins a TLS handshake, and leaves it at that."""
        try:
            _, writer = await asyncio.wait_for(
                asyncio.open_connection("127.0.0.1", server.port), PATIENCE)
            writer.write(b"\x16\x03\x01\x02"[:random.randint(0, 4)])
            await asyncio.sleep(random.random() * 3)
            writer.close()
            self.counts["left a handshake"] += 1
        except (OSError, asyncio.TimeoutError) as fault:
            if server.lasting:
                self.faults.append(f"{server.name} handshake: {fault!r}")

    async def restart(self):
        for server in self.servers:
            if not server.lasting:
                await asyncio.to_thread(
                    self.message, "CreateHttpServer", name=server.name, port=server.port,
                    address=["connector", "http", "router"],
                    serverType="https" if server.secure else "http")
        while time.monotonic() < self.end:
            for server in self.servers:
                if not server.lasting:
                    answer = await asyncio.to_thread(self.message, "StartHttpServer", name=server.name)
                    server.port = json.loads(answer.partition(" ")[2])["port"]
                    await asyncio.sleep(random.random() * 3)
            for server in self.servers:
                if not server.lasting:
                    begin = time.monotonic()
                    await asyncio.to_thread(self.message, "StopHttpServer", name=server.name)
                    self.longest_stop = max(self.longest_stop, time.monotonic() - begin)
                    self.counts["stops"] += 1

    async def run(self):
        asyncio.get_running_loop().set_exception_handler(lambda *_: None)  # of what was reset
        before = self.descriptors()
        await asyncio.gather(self.restart(), *(self.client() for _ in range(self.clients)))
        deadline = time.monotonic() + 60
        while self.descriptors() > before + 4 and time.monotonic() < deadline:
            await asyncio.sleep(0.5)
        self.counts["descriptors left"] = self.descriptors() - before
        if self.descriptors() > before + 4:
            self.faults.append("connections were not closed")

    def finish(self):
        self.console("quit")
        status = self.host.wait(timeout=60)
        if status != 0:
            self.faults.append(f"the host ended with status {status}")
        reports = [file.read_text() for file in self.reports.parent.glob("sanitizer.*")]
        for name, count in sorted(self.counts.items()):
            print(f"  {name:30}{count:10}")
        print(f"  {'longest stop, seconds':30}{self.longest_stop:10.2f}")
        for fault in self.faults[:20] + reports[:1]:
            print(fault)
        print(f"{len(self.faults)} faults, {len(reports)} reports of the sanitizer")
        return 1 if self.faults or reports else 0


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("seconds", type=int, nargs="?", default=600)
    parser.add_argument("--clients", type=int, default=500)
    options = parser.parse_args()
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    with tempfile.TemporaryDirectory() as directory:
        soak = Soak(options, directory)
        try:
            asyncio.run(soak.run())
            return soak.finish()
        except Exception:
            traceback.print_exc()
            return 1
        finally:
            soak.host.kill()


if __name__ == "__main__":
    sys.exit(main())
