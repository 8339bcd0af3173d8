"use strict";

// Each section of the page asks the server something and shows the answer.

const PICTURE = "road.svg";

function show(id, verdict, facts = [], good = true) {
  const section = document.getElementById(id);
  const line = section.querySelector(".verdict");
  line.textContent = verdict;
  line.classList.toggle("bad", !good);
  const list = section.querySelector("dl");
  for (const [name, value] of facts) {
    const term = document.createElement("dt");
    term.textContent = name;
    const description = document.createElement("dd");
    description.textContent = value;
    list.append(term, description);
  }
}

function factsOf(response, names) {
  return names
    .map((name) => [name, response.headers.get(name)])
    .filter(([, value]) => value !== null);
}

async function askForHeaders() {
  const response = await fetch(PICTURE, { method: "HEAD", cache: "no-store" });
  show("headers", `${response.status} ${response.statusText}`, factsOf(response, [
    "Server", "Content-Type", "Content-Length", "Last-Modified", "ETag", "Cache-Control",
    "Accept-Ranges",
  ]), response.ok);
  return response.headers.get("ETag");
}

// An If-None-Match of its own keeps the browser's cache out of it: the 304 arrives here.
async function askAgain(entityTag) {
  const response = await fetch(PICTURE, { headers: { "If-None-Match": entityTag } });
  const body = await response.arrayBuffer();
  const facts = [["If-None-Match", entityTag], ["body", `${body.byteLength} bytes`]];
  show("validators", `${response.status} ${response.statusText}`, facts, response.status === 304);
}

async function askForPart() {
  const response = await fetch(PICTURE, {
    headers: { "Range": "bytes=0-63" },
    cache: "no-store",
  });
  const facts = factsOf(response, ["Content-Range", "Content-Length"]);
  show("range", `${response.status} ${response.statusText}`, facts, response.status === 206);
  document.querySelector("#range pre").textContent = await response.text();
}

function showJourney() {
  const entries = [
    ...performance.getEntriesByType("navigation"),
    ...performance.getEntriesByType("resource"),
  ].filter((entry) => entry.responseEnd > 0);
  const timeOf = (entry) => Math.max(entry.responseEnd - entry.requestStart, 0);
  const longest = Math.max(...entries.map(timeOf), 1);
  const list = document.querySelector(".bars");
  for (const entry of entries) {
    const time = timeOf(entry);
    const item = document.createElement("li");
    const label = document.createElement("span");
    label.append(new URL(entry.name).pathname, document.createElement("b"));
    label.lastChild.textContent = `${time.toFixed(1)} ms`;
    const bar = document.createElement("i");
    bar.style.width = `${(100 * time) / longest}%`;
    item.append(label, bar);
    list.append(item);
  }
  show("journey", `${entries.length} requests`);
}

async function run() {
  const failed = (id) => (error) => show(id, String(error), [], false);
  const entityTag = await askForHeaders().catch(failed("headers"));
  if (entityTag) {
    await askAgain(entityTag).catch(failed("validators"));
  } else {
    show("validators", "no entity tag", [], false);
  }
  await askForPart().catch(failed("range"));
  showJourney();
  document.documentElement.dataset.ready = "true";
}

addEventListener("load", run);
