#!/usr/bin/env python3
"""Runs the host and the bare server in turn under wrk and compares them.

usage: bench/side_by_side.py BUILD_DIR [--rounds N] [--seconds N] [--connections N ...]
                             [--workload NAME ...]

The host runs its whole default pipeline, for a client that keeps its session. The rounds are
interleaved, so that what else the machine does falls on both. The workloads "proxy" and
"proxy 64 KB" have both fetch their answers from a third server, a bare one. It prints medians: the
rate, and the CPU time per request in microseconds (user and system, from the process itself). The CPU
time is the figure to trust; rates vary by a quarter on a noisy machine.
"""

import argparse
import contextlib
import os
import pathlib
import re
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request

PROXIED = ["proxy", "proxy 64 KB"]
SIZES = {"1 KB": 1024, "64 KB": 65536, "10 MB": 10485760}


class Server:
    """A server process that prints its port on a line that ends in "HTTP: <port>"."""

    def __init__(self, command):
        self.process = subprocess.Popen(
            command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, text=True)
        for line in self.process.stdout:
            found = re.search(r"HTTP: (\d+)", line)
            if found:
                self.port = int(found.group(1))
                return
        raise SystemExit(f"{command[0]} did not start")

    def cpu_seconds(self):
        fields = pathlib.Path(f"/proc/{self.process.pid}/stat").read_text().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.stop()

    def stop(self):
        self.process.terminate()
        self.process.wait()


def session_cookie(server, path):
    """The cookie of a live session, as a browser would keep it; empty where there are no sessions."""
    with urllib.request.urlopen(f"http://127.0.0.1:{server.port}{path}") as answer:
        return (answer.headers["Set-Cookie"] or "").partition(";")[0]


def measure(server, path, connections, seconds):
    """One wrk run: requests a second, CPU microseconds a request."""
    url = f"http://127.0.0.1:{server.port}{path}"
    cookie = session_cookie(server, path)
    before = server.cpu_seconds()
    output = subprocess.run(
        ["wrk", "-t1", f"-c{connections}", f"-d{seconds}s", "-H", f"Cookie: {cookie}", url],
        check=True, capture_output=True, text=True).stdout
    cpu = server.cpu_seconds() - before
    if "Non-2xx" in output or "Socket errors" in output:
        print(f"  {url}:\n{output}", file=sys.stderr)
    requests = int(re.search(r"(\d+) requests in", output).group(1))
    rate = float(re.search(r"Requests/sec:\s+([\d.]+)", output).group(1))
    return rate, 1e6 * cpu / max(requests, 1)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=int, default=5)
    parser.add_argument("--connections", type=int, nargs="+", default=[16, 64])
    parser.add_argument("--workload", nargs="+", default=["constant", *SIZES, *PROXIED])
    options = parser.parse_args()
    host = options.build / "host" / "connector-host"
    bare = options.build / "bench" / "bare-server"

    with tempfile.TemporaryDirectory() as directory:
        for name, size in SIZES.items():
            pathlib.Path(directory, name.replace(" ", "") + ".js").write_bytes(b"x" * size)
        print(f"{'workload':11} {'conn':>4} | {'host/s':>9} {'bare/s':>9} {'ratio':>6} |"
              f" {'host us':>8} {'bare us':>8} {'ratio':>6}")
        for workload in options.workload:
            size = workload.removeprefix("proxy").strip()
            path = "/" + size.replace(" ", "") + ".js" if size in SIZES else "/constant"
            bare_mode = ["files", directory] if size in SIZES else ["constant"]
            host_mode = ["--constant", "/constant=200,Hello, world!", directory]
            with contextlib.ExitStack() as upstream:
                if workload.startswith("proxy"):
                    port = upstream.enter_context(Server([bare, "32615", *bare_mode])).port
                    bare_mode = ["proxy", str(port)]
                    host_mode = ["--proxy", f"/=http://127.0.0.1:{port}"]
                for connections in options.connections:
                    compare(workload, path, connections, options,
                            [host, "--port", "32415", "--no-secure", *host_mode],
                            [bare, "32515", *bare_mode])
    return 0


def compare(workload, path, connections, options, host_command, bare_command):
    results = {"host": [], "bare": []}
    with Server(host_command) as host, Server(bare_command) as bare:
        servers = {"host": host, "bare": bare}
        for server in servers.values():
            measure(server, path, connections, 1)  # warms caches and thread pools up
        for _ in range(options.rounds):
            for name, server in servers.items():
                results[name].append(measure(server, path, connections, options.seconds))
                time.sleep(0.2)
    (host_rate, host_cpu), (bare_rate, bare_cpu) = (
        [statistics.median(column) for column in zip(*results[name])] for name in ("host", "bare"))
    print(f"{workload:11} {connections:4} | {host_rate:9.0f} {bare_rate:9.0f}"
          f" {host_rate / bare_rate:6.2f} | {host_cpu:8.1f} {bare_cpu:8.1f}"
          f" {host_cpu / bare_cpu:6.2f}", flush=True)


if __name__ == "__main__":
    sys.exit(main())
