#!/usr/bin/env python3
"""Holds the host against crowds of clients that are idle, slow or waiting, and counts.

usage: bench/load.py BUILD_DIR [--case NAME ...] [--clients N]

Each case prints what it saw beside the bound, and the run fails if one is not kept. While a crowd is
there, another client asks for a constant again and again, on connections of its own. Needs
slowhttptest, and 17,000 descriptors for the whole crowd of idle clients; with fewer it is smaller.
Everything talks to 127.0.0.1.
"""

import argparse
import contextlib
import os
import pathlib
import re
import resource
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

from servers import Server, free_port, is_ready

IDLE = 8000
RESERVED = 400  # descriptors that are no clients'
STOP_SECONDS = 2
PROBE_MS = 50
THREADS = 16  # of the whole process, with two servers at most
REQUEST = b"GET %s HTTP/1.1\r\nHost: localhost\r\n%s\r\n"
UPGRADE = (b"Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
           b"Sec-WebSocket-Key: AAAAAAAAAAAAAAAAAAAAAA==\r\n")


class Report:
    def __init__(self):
        self.failed = False

    def check(self, what, value, bound, kept):
        self.failed = self.failed or not kept
        text = f"{value:.2f}" if isinstance(value, float) else value
        print(f"  {what:58}{text:>10}  wanted {bound:>8}{'' if kept else '   NOT KEPT'}", flush=True)

    def at_most(self, what, value, bound):
        self.check(what, value, f"<= {bound}", value <= bound)

    def equal(self, what, value, wanted):
        self.check(what, value, str(wanted), value == wanted)


def connect(port):
    return socket.create_connection(("127.0.0.1", port), timeout=30)


def receive_answer(connection):
    """(head, body) of an answer with a Content-Length, or without a body."""
    received = b""
    while b"\r\n\r\n" not in received:
        received += receive_some(connection)
    head, _, body = received.partition(b"\r\n\r\n")
    length = re.search(rb"\r\nContent-Length: (\d+)", head, re.IGNORECASE)
    while length and len(body) < int(length[1]):
        body += receive_some(connection)
    return head, body


def receive_some(connection):
    received = connection.recv(65536)
    if not received:
        raise ConnectionError("the server closed the connection")
    return received


def ask(connection, path, fields=b""):
    connection.sendall(REQUEST % (path, fields))
    return receive_answer(connection)


def open_web_socket(stack, port, path):
    connection = stack.enter_context(connect(port))
    head, _ = ask(connection, path, UPGRADE)
    if not head.startswith(b"HTTP/1.1 101 "):
        raise SystemExit(head.decode())
    return connection


class Probe(threading.Thread):
    """Asks for the constant all the time, by turns on a kept connection and on a new one."""

    def __init__(self, port):
        super().__init__()
        self.port, self.times, self.failures = port, [], 0
        self.ending = threading.Event()

    def run(self):
        with connect(self.port) as kept:
            while not self.ending.wait(0.01):
                begin = time.monotonic()
                try:
                    if len(self.times) % 2:
                        ask(kept, b"/constant")
                    else:
                        with connect(self.port) as fresh:
                            ask(fresh, b"/constant")
                except OSError:
                    self.failures += 1
                self.times.append(1000 * (time.monotonic() - begin))

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *failure):
        self.ending.set()
        self.join()

    def report(self, report):
        times = sorted(self.times)
        report.at_most(f"ms for a constant, the longest of {len(times)}", times[-1], PROBE_MS)
        print(f"  {'  of them the median and the 99th percentile':58}"
              f"{times[len(times) // 2]:10.2f}{times[len(times) * 99 // 100]:10.2f}")
        report.equal("constants that were not answered", self.failures, 0)


class Field:
    """What is put under load, and the directory that it serves."""

    def __init__(self, options, directory, report):
        self.build, self.clients, self.report = options.build.resolve(), options.clients, report
        self.site = directory
        pathlib.Path(directory, "big.js").write_bytes(bytes(10 << 20))

    def host(self, *arguments):
        port = free_port()
        return Server([self.build / "host" / "connector-host", "--port", port, "--log-level", "off",
                       "--constant", "/constant=200,Hello, world!", *arguments], port)

    def load_host(self):
        port = free_port()
        return Server([self.build / "bench" / "load-host", port], port)


def check_stop(report, server):
    begin = time.monotonic()
    server.process.send_signal(signal.SIGTERM)
    status = server.process.wait()
    report.at_most("seconds until the process has stopped", time.monotonic() - begin, STOP_SECONDS)
    report.equal("exit status", status, 0)


def threads_of(server):
    return len(os.listdir(f"/proc/{server.process.pid}/task"))


def crowd_size():
    return min(IDLE, (resource.getrlimit(resource.RLIMIT_NOFILE)[1] - RESERVED) // 2)


def send_to_echo(connection):
    connection.sendall(b"\x81\x85\0\0\0\0hello")


def count_messages(sockets, wanted):
    """How many of the WebSockets got the message, and nothing else."""
    count = 0
    for connection in sockets:
        received = b""
        with contextlib.suppress(OSError):
            while len(received) < len(wanted):
                received += receive_some(connection)
        count += received == wanted
    return count


def idle_crowd(field):
    """Idle keep-alive connections and echo WebSockets on one server."""
    report, count = field.report, crowd_size()
    with contextlib.ExitStack() as stack:
        host = stack.enter_context(field.host("--no-secure", "--echo", "/echo",
                                              "--max-connections", 2 * count + RESERVED))
        cookie = b"Cookie: %s\r\n" % host.cookie("/constant").encode()

        def open_idle():
            connection = stack.enter_context(connect(host.port))
            ask(connection, b"/constant", cookie)
            return connection

        def grow(number, make):
            held = host.memory("VmRSS")
            made = [make() for _ in range(number)]
            return made, (host.memory("VmRSS") - held) / number

        for make in (open_idle, lambda: open_web_socket(stack, host.port, b"/echo")):
            grow(20, make)  # makes what all of them share
        idle, kib = grow(count, open_idle)
        report.at_most(f"KiB for each of {count} idle connections", kib, 3)
        sockets, kib = grow(count, lambda: open_web_socket(stack, host.port, b"/echo"))
        report.at_most(f"KiB for each of {count} WebSockets", kib, 6)
        time.sleep(7)  # the sessions of the upgrades end
        before, begin = sum(host.cpu()), time.monotonic()
        time.sleep(5)
        report.at_most("percent of a core while all are idle",
                       100 * (sum(host.cpu()) - before) / (time.monotonic() - begin), 1)
        with Probe(host.port) as probe:
            time.sleep(1)
        probe.report(report)
        report.at_most("threads of the process", threads_of(host), THREADS)
        for connection in sockets:
            send_to_echo(connection)
        report.equal("WebSockets that got their echo", count_messages(sockets, b"\x81\x05hello"),
                     count)
        alive = sum(ask(connection, b"/constant", cookie)[0].startswith(b"HTTP/1.1 200 ")
                    for connection in idle)
        report.equal("connections that were kept alive", alive, count)
        check_stop(report, host)


def feed(field):
    """One message of a publisher to a crowd of WebSockets."""
    report, count = field.report, 2 * crowd_size()
    with contextlib.ExitStack() as stack:
        host = stack.enter_context(field.load_host())
        sockets = [open_web_socket(stack, host.port, b"/feed") for _ in range(count)]
        with connect(host.port) as publisher:
            report.equal("WebSockets that were published to",
                         int(ask(publisher, b"/publish")[1]), count)
        report.equal("WebSockets that got the message",
                     count_messages(sockets, b"\x81\x0dHello, world!"), count)
        report.at_most("threads of the process", threads_of(host), THREADS)
        check_stop(report, host)


def slow_clients(field, name, arguments, clients):
    with field.host("--no-secure", field.site) as host, Probe(host.port) as probe:
        print(f" {name}")
        command = ["slowhttptest", "-c", clients, "-r", 500, "-l", 15, "-p", 10, "-i", 5, "-x", 20,
                   *arguments]
        output = subprocess.run([str(word).replace("{origin}", host.origin) for word in command],
                                check=True, capture_output=True, text=True, timeout=120).stdout
        most = max(map(int, re.findall(r"connected: *(?:\x1b\[\S*?m)? *(\d+)", output)), default=0)
        probe.ending.set()
        probe.join()
        field.report.check("slow clients at a time, at most", most, f">= {clients * 9 // 10}",
                           most >= clients * 9 // 10)
        probe.report(field.report)
        check_stop(field.report, host)


def slow_head(field):
    """Clients that send a head byte by byte."""
    slow_clients(field, "slow head", ["-H", "-u", "{origin}/constant"], field.clients)


def slow_body(field):
    """Clients that send a body byte by byte."""
    slow_clients(field, "slow body", ["-B", "-s", 8192, "-t", "POST", "-u", "{origin}/constant"],
                 field.clients)


def slow_read(field):
    """Clients that take 10 MB in small pieces."""
    slow_clients(field, "slow read", ["-X", "-w", 512, "-y", 1024, "-n", 5, "-z", 32, "-u",
                                      "{origin}/big.js"], field.clients)


def handshakes(field):
    """Clients that never finish a TLS handshake."""
    secure = free_port()
    with contextlib.ExitStack() as stack:
        host = stack.enter_context(field.host("--secure-port", secure))
        while not is_ready(secure):
            time.sleep(0.1)
        probe = stack.enter_context(Probe(host.port))
        for i in range(field.clients):
            connection = stack.enter_context(connect(secure))
            connection.sendall(b"\x16\x03\x01"[:i % 4])  # less than a record's head
        time.sleep(3)
        report = field.report
        report.at_most("threads of the process", threads_of(host), THREADS)
        probe.ending.set()
        probe.join()
        probe.report(report)
        check_stop(report, host)


def later(field):
    """Requests whose replies come after five seconds."""
    report = field.report
    with contextlib.ExitStack() as stack:
        host = stack.enter_context(field.load_host())
        probe = stack.enter_context(Probe(host.port))
        waiting = [stack.enter_context(connect(host.port)) for _ in range(field.clients)]
        begin = time.monotonic()
        for connection in waiting:
            connection.sendall(REQUEST % (b"/later", b""))
        sent = time.monotonic() - begin
        report.at_most("threads of the process", threads_of(host), THREADS)
        answered = sum(receive_answer(connection)[1] == b"Hello, world!" for connection in waiting)
        report.equal("answers", answered, field.clients)
        report.at_most("seconds until the last of them", time.monotonic() - begin, 6 + sent)
        probe.ending.set()
        probe.join()
        probe.report(report)
        check_stop(report, host)


def dead_upstream(field):
    """Requests for an upstream that refuses connections."""
    report, count = field.report, field.clients // 2
    with contextlib.ExitStack() as stack:
        host = stack.enter_context(field.host("--no-secure", "--proxy",
                                              f"/dead=http://127.0.0.1:{free_port()}"))
        probe = stack.enter_context(Probe(host.port))
        clients = [stack.enter_context(connect(host.port)) for _ in range(count)]
        for connection in clients:
            connection.sendall(REQUEST % (b"/dead", b""))
        refused = 0
        for connection in clients:
            connection.settimeout(0.02)
            with contextlib.suppress(TimeoutError):
                head, _ = receive_answer(connection)
                refused += b" 503 " in head and b"\r\nRetry-After: " in head
        time.sleep(3)
        report.equal("requests that were refused with 503", refused, count - min(48, count))
        probe.ending.set()
        probe.join()
        probe.report(report)
        check_stop(report, host)


CASES = {case.__name__.replace("_", "-"): case for case in (
    idle_crowd, feed, slow_head, slow_body, slow_read, handshakes, later, dead_upstream)}


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--case", nargs="+", default=list(CASES), choices=CASES)
    parser.add_argument("--clients", type=int, default=1000, help="that are slow or wait")
    options = parser.parse_args()
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))
    report = Report()
    for name in options.case:
        print(f"{name}: {CASES[name].__doc__}", flush=True)
        with tempfile.TemporaryDirectory() as directory:
            CASES[name](Field(options, directory, report))
    print("failed" if report.failed else "all bounds kept")
    return 1 if report.failed else 0


if __name__ == "__main__":
    sys.exit(main())
