#!/usr/bin/env python3
"""Counts what a request costs, where no other load of the machine can blur it, and holds the counts
against bounds: the gate of the continuous integration.

usage: bench/gate.py BUILD_DIR [--workload NAME ...] [--profile DIRECTORY]

It counts the instructions that the process spends in user space (callgrind) and its system calls
(strace), for the host with its whole default pipeline and for the bare servers. A count is the
difference of two runs of unlike length, so that start and stop fall out of it, divided by the
difference of their lengths. Instructions are bounded as a ratio to the bare server's, which another
compiler or library moves along; system calls as they are. It also counts the system calls of ten
seconds in which the host has an idle connection and nothing to do.

With --profile the callgrind files of the longer runs stay in a directory for callgrind_annotate.
"""

import argparse
import contextlib
import os
import pathlib
import re
import signal
import socket
import subprocess
import sys
import tempfile
import time

from servers import Server, free_port

SHORT_RUN = 100
LONG_RUN = 600

IDLE_SECONDS = 10
IDLE_CALLS = 100

# What a thread of the process does meanwhile, once in a while, is no part of a request.
ASIDE = 0.25


class Workload:
    """Sends the same request again and again on one connection, each after the answer to the last."""

    def __init__(self, path, bare, instruction_ratio, system_calls):
        self.path = path
        self.bare = bare
        self.instruction_ratio = instruction_ratio
        self.system_calls = system_calls

    def run(self, port, count):
        with socket.create_connection(("127.0.0.1", port)) as connection:
            with connection.makefile("rb") as answers:
                self.exchange(connection, answers, count)

    def exchange(self, connection, answers, count):
        cookie = b"Cookie: JSESSIONID=0000000000000000\r\n"  # the bare server reads one too
        for _ in range(count):
            connection.sendall(b"GET %s HTTP/1.1\r\nHost: localhost\r\n%s\r\n"
                               % (self.path.encode(), cookie))
            head = read_head(answers)
            length = int(re.search(rb"\r\nContent-Length: (\d+)", head, re.IGNORECASE).group(1))
            if not head.startswith(b"HTTP/1.1 200 ") or len(answers.read(length)) != length:
                raise SystemExit(f"{self.path}: {head.decode()}")
            fresh = re.search(rb"\r\nSet-Cookie: ([^;\r]*)", head)
            if fresh:
                cookie = b"Cookie: %s\r\n" % fresh.group(1)


class Echo(Workload):
    """The same with the messages of two WebSockets by turns."""

    def run(self, port, count):
        with contextlib.ExitStack() as stack:
            sockets = [self.open(stack, port) for _ in range(2)]
            for turn in range(count):
                self.echo(*sockets[turn % 2])

    def open(self, stack, port):
        connection = stack.enter_context(socket.create_connection(("127.0.0.1", port)))
        answers = stack.enter_context(connection.makefile("rb"))
        connection.sendall(b"GET %s HTTP/1.1\r\nHost: localhost\r\nConnection: Upgrade\r\n"
                           b"Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
                           b"Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n\r\n"
                           % self.path.encode())
        read_head(answers)
        return connection, answers

    def echo(self, connection, answers):
        text = b"x" * 64
        # A mask of zeros leaves the text as it is.
        connection.sendall(bytes([0x81, 0x80 | len(text), 0, 0, 0, 0]) + text)
        if answers.read(2 + len(text)) != bytes([0x81, len(text)]) + text:
            raise SystemExit(f"{self.path}: not the echo of what was sent")


class Idle(Workload):
    """Keeps a connection open, seconds after a request on it."""

    def run(self, port, count):
        with socket.create_connection(("127.0.0.1", port)) as connection:
            with connection.makefile("rb") as answers:
                self.exchange(connection, answers, 1)
                time.sleep(count)


WORKLOADS = {
    "constant": Workload("/constant", ["bare-server", "{port}", "constant"], 0.60, 3),
    "1 KB file": Workload("/1KB.js", ["bare-server", "{port}", "files", "{site}"], 0.75, 5),
    "64 KB file": Workload("/64KB.js", ["bare-server", "{port}", "files", "{site}"], 0.53, 5),
    "proxied": Workload("/proxied", ["bare-server", "{port}", "proxy", "{upstream}"], 0.60, 11),
    "64 B echo": Echo("/echo", ["bare-websocket-server", "{port}"], 0.99, 3),
}


STRACE = (["strace", "-f", "-c", "-U", "calls,name", "-o", "{report}"], r"^ *(\d+) total$")


def read_head(answers):
    head = b""
    for line in answers:
        head += line
        if line == b"\r\n":
            return head
    raise SystemExit(f"the server closed the connection after {head!r}")


def total(tool, pattern, command, workload, count):
    """The tool's total over a whole run of the server."""
    with tempfile.NamedTemporaryFile(mode="r") as report:
        port = free_port()
        server = Server([part.replace("{report}", report.name) for part in tool] +
                        [str(part).replace("{port}", str(port)) for part in command], port)
        try:
            workload.run(server.port, count)
        finally:
            # Of strace the server is a child, of which only its own end makes a report.
            pid = server.process.pid
            children = pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
            os.kill(int(children[0]) if children else pid, signal.SIGTERM)
            server.process.wait()
        return int(re.search(pattern, report.read(), re.MULTILINE).group(1))


def per_request(tool, pattern, command, workload):
    runs = [total(tool, pattern, command, workload, count) for count in (SHORT_RUN, LONG_RUN)]
    return (runs[1] - runs[0]) / (LONG_RUN - SHORT_RUN)


def counts(command, workload, profile):
    """(user instructions, system calls) of a request."""
    return (per_request(["valgrind", "--tool=callgrind", "--log-file={report}",
                         f"--callgrind-out-file={profile}"],
                        r"Collected : (\d+)", command, workload),
            per_request(*STRACE, command, workload))


def idle_is_quiet(command):
    """Prints the system calls of a while without requests; @return whether they are few."""
    workload = Idle("/constant", None, None, None)
    first, last = (total(*STRACE, command, workload, seconds)
                   for seconds in (1, 1 + IDLE_SECONDS))
    passed = last - first <= IDLE_CALLS
    print(f"system calls in {IDLE_SECONDS} idle seconds: {last - first}, bound {IDLE_CALLS}"
          f"{'' if passed else '   ABOVE THE BOUND'}")
    return passed


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--workload", nargs="+", default=list(WORKLOADS), choices=WORKLOADS)
    parser.add_argument("--profile", type=pathlib.Path)
    options = parser.parse_args()
    if options.profile:
        options.profile.mkdir(parents=True, exist_ok=True)

    port = free_port()
    with tempfile.TemporaryDirectory() as site, \
            Server([options.build / "bench" / "bare-server", port, "constant"], port) as upstream:
        for size in (1, 64):
            pathlib.Path(site, f"{size}KB.js").write_bytes(b"x" * 1024 * size)
        host = [options.build / "host" / "connector-host", "--port", "{port}", "--no-secure",
                "--constant", "/constant=200,Hello, world!", "--echo", "/echo",
                "--proxy", f"/proxied=http://127.0.0.1:{upstream.port}", site]
        failed = not idle_is_quiet(host)
        print(f"{'':10} | {'instructions':>12} {'bare':>8} {'ratio':>6} {'bound':>6} |"
              f" {'system calls':>12} {'bare':>6} {'bound':>6}")
        for name in options.workload:
            workload = WORKLOADS[name]
            bare = [part.replace("{site}", site).replace("{upstream}", str(upstream.port))
                    for part in workload.bare]
            bare[0] = options.build / "bench" / bare[0]

            def profile_of(server, stem=name.replace(" ", "-")):
                return options.profile / f"{stem}.{server}" if options.profile else "/dev/null"

            instructions, calls = counts(host, workload, profile_of("host"))
            bare_instructions, bare_calls = counts(bare, workload, profile_of("bare"))
            ratio = instructions / bare_instructions
            passed = (ratio <= workload.instruction_ratio
                      and calls <= workload.system_calls + ASIDE)
            failed = failed or not passed
            print(f"{name:10} | {instructions:12.0f} {bare_instructions:8.0f} {ratio:6.3f}"
                  f" {workload.instruction_ratio:6.2f} | {calls:12.2f} {bare_calls:6.2f}"
                  f" {workload.system_calls:6}{'' if passed else '   ABOVE THE BOUND'}", flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
