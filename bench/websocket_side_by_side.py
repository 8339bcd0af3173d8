#!/usr/bin/env python3
"""Runs the echo route of the host and a bare WebSocket loop in turn and compares them.

usage: bench/websocket_side_by_side.py BUILD_DIR [--rounds N] [--seconds N] [--host COMMAND]
                                       [--workload BYTES:CONNECTIONS:IN_FLIGHT ...]

The rounds are interleaved, so that what else the machine does falls on both. It prints medians: the
rate, and the CPU time per message in microseconds (user and system, from the process itself). The
CPU time is the figure to trust. The last line is the CPU that idle connections cost, in percent of a
core.
"""

import argparse
import pathlib
import shlex
import statistics
import subprocess
import sys

from side_by_side import Server

WORKLOADS = ["16:1:1", "1024:1:1", "16:32:1", "1024:32:1", "16:1:16", "1024:1:16", "16:32:16",
             "65536:1:1", "1000000:1:1", "1000000:32:1"]
IDLE_CONNECTIONS = 60


def load(options, server, path, arguments, seconds):
    """One run of the load client: (messages, CPU seconds of the server)."""
    client = subprocess.Popen(
        [options.build / "bench" / "websocket-load", str(server.port), path, *arguments,
         str(seconds)],
        stdout=subprocess.PIPE, text=True)
    client.stdout.readline()  # connected
    before = server.cpu_seconds()
    output = client.stdout.read()
    cpu = server.cpu_seconds() - before
    if client.wait() != 0:
        raise SystemExit(f"the load client failed with {arguments}")
    return int(output or 0), cpu


def compare(options, workload, servers):
    arguments = workload.split(":")
    results = {name: [] for name in servers}
    for _ in range(options.rounds):
        for name, (server, path) in servers.items():
            messages, cpu = load(options, server, path, arguments, options.seconds)
            results[name].append((messages / options.seconds, 1e6 * cpu / max(messages, 1)))
    (host_rate, host_cpu), (bare_rate, bare_cpu) = (
        [statistics.median(column) for column in zip(*results[name])] for name in ("host", "bare"))
    print(f"{arguments[0]:>8} {arguments[1]:>4} {arguments[2]:>6} |"
          f" {host_rate:9.0f} {bare_rate:9.0f} {host_rate / bare_rate:6.2f} |"
          f" {host_cpu:8.1f} {bare_cpu:8.1f} {host_cpu / bare_cpu:6.2f}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--seconds", type=int, default=3)
    parser.add_argument("--workload", nargs="+", default=WORKLOADS)
    parser.add_argument("--host", help="what to measure instead of the host of the build")
    options = parser.parse_args()
    host = [options.build / "host" / "connector-host", "--port", "32415", "--no-secure",
            "--echo", "/echo"]
    if options.host:
        host = shlex.split(options.host)
    servers = {"host": (Server(host), "/echo"),
               "bare": (Server([options.build / "bench" / "bare-websocket-server", "0"]), "/")}
    try:
        print(f"{'bytes':>8} {'conn':>4} {'flight':>6} | {'host/s':>9} {'bare/s':>9} {'ratio':>6} |"
              f" {'host us':>8} {'bare us':>8} {'ratio':>6}")
        for workload in options.workload:
            compare(options, workload, servers)
        server, path = servers["host"]
        _, cpu = load(options, server, path, ["0", str(IDLE_CONNECTIONS), "0"], options.seconds)
        print(f"{IDLE_CONNECTIONS} idle connections: {100 * cpu / options.seconds:.1f} % of a core")
    finally:
        for server, _ in servers.values():
            server.stop()
    return 0


if __name__ == "__main__":
    sys.exit(main())
