#!/usr/bin/env python3
"""Measures ways to give connections threads, and the layers of the server above them.

usage: bench/loops.py BUILD_DIR [--rounds N] [--seconds N] [--connections N ...]
                      [--loop WORD ...] [--json FILE]

Each server does the same for a request: receives it, works for three microseconds, sends the answer
(bench/LoopServer.cpp, bench/AsioServer.cpp). Then come the layers of the product, where the constant
does no such work: an HTTP server with a provider behind it, and the host with its whole pipeline.
--loop takes words that the names of loops hold. Rounds are interleaved; printed are medians of CPU
microseconds a request and of the rate.
"""

import argparse
import contextlib
import pathlib
import sys

import figures
from compare import interleave
from servers import Server, free_port, load

CONNECTIONS = (1, 16, 64, 1000)
LOOPS = {
    "a thread for each connection": ["loop-server", "{port}", "blocking"],
    "epoll, 2 threads": ["loop-server", "{port}", "epoll", 2],
    "epoll, 2 threads, 16 events at a time": ["loop-server", "{port}", "epoll", 2, 16],
    "epoll, 8 threads": ["loop-server", "{port}", "epoll", 8],
    "epoll, hand-over to 2 threads": ["loop-server", "{port}", "handover", 2],
    "Boost.Asio, 2 threads": ["asio-server", "{port}", 2],
    "Boost.Asio, 8 threads": ["asio-server", "{port}", 8],
    "this engine, 2 active threads": ["loop-server", "{port}", "engine", 2],
    "this engine, 1 active thread": ["loop-server", "{port}", "engine", 1],
    "this engine, 8 active threads": ["loop-server", "{port}", "engine", 8],
}
LAYERS = {
    "server and provider": ["load-host", "{port}"],
    "server and whole pipeline": ["../host/connector-host", "--no-secure", "--log-level", "off",
                                  "--constant", "/constant=200,Hello, world!", "--port", "{port}"],
}


def start(build, command):
    port = free_port()
    words = [str(word).replace("{port}", str(port)) for word in command]
    return Server([build / "bench" / words[0], *words[1:]], port)


def measure(options, commands, connections):
    with contextlib.ExitStack() as stack:
        servers = {name: stack.enter_context(start(options.build, command))
                   for name, command in commands.items()}

        def run(_, server):
            cookie = server.cookie("/constant")
            return load(server, "/constant", connections, options.seconds,
                        [f"Cookie: {cookie}"] if cookie else [])

        return interleave(options, servers, run)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=int, default=1)
    parser.add_argument("--connections", nargs="+", type=int, default=CONNECTIONS)
    parser.add_argument("--loop", nargs="+", default=[""])
    parser.add_argument("--json", type=pathlib.Path)
    options = parser.parse_args()
    records = []
    chosen = {name: command for name, command in {**LOOPS, **LAYERS}.items()
              if any(word in name for word in options.loop)}
    for connections in options.connections:
        print(f"\n{connections} connections{'':>25}{'CPU us':>9}{'rate/s':>9}")
        for name, row in measure(options, chosen, connections).items():
            print(f"  {name:38}{row['cpu_us']:9.1f}{row['rate']:9.0f}", flush=True)
            records.append({"workload": "same work", "connections": connections, "peer": name, **row})
    if options.json:
        figures.keep(options.json, options, records)
    return 0


if __name__ == "__main__":
    sys.exit(main())
