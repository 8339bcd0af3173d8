#!/usr/bin/env python3
"""Measures the host beside other servers and prints and stores what it costs.

usage: bench/compare.py BUILD_DIR [--rounds N] [--seconds N] [--workload WORD ...] [--peer NAME ...]
                        [--json FILE]

The host runs its whole default pipeline, for a client that keeps its session; "bare" is the
networking library alone. The rounds of the peers are interleaved, so that what else the machine does
falls on all of them. Printed are medians: the rate, the CPU time per request in microseconds (user
and system, from the processes themselves), the latencies that wrk saw, the peak of the memory and
what is left of it ten seconds later, and ratios to "bare". The CPU time is the figure to trust: load
and server share the machine's cores.

--workload takes words that the names of workloads hold, "10 MB" or "https" for instance. Peers whose
program is missing are left out, and named. --json puts the figures into a file, in place of older
ones of the same workloads.
"""

import argparse
import contextlib
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import figures
from servers import Server, echo_load, free_port, load

BENCH = pathlib.Path(__file__).parent
SIZES = {"1 KB": 1024, "64 KB": 65536, "10 MB": 10485760}
# The program of each; nginx and h2o with two processes or threads and events, as libmicrohttpd's pool;
# civetweb and libmicrohttpd's other mode have a thread for each connection.
PEERS = {"host": "host/connector-host", "bare": "bench/bare-server", "nginx": "nginx", "h2o": "h2o",
         "libmicrohttpd pool": "bench/microhttpd-peer",
         "libmicrohttpd threads": "bench/microhttpd-peer", "civetweb": "bench/civetweb-peer"}
INSTALLED = ("nginx", "h2o")
PAIR = ["host", "bare"]
SECURE = [*PAIR, *INSTALLED]
EACH_CONNECTS = ("connection per request", "https handshakes")

# name, connections, peers
LOADS = [
    *(("constant", connections, PEERS) for connections in (16, 64, 500)),
    *((size, connections, PEERS) for size in SIZES for connections in (16, 64)),
    ("connection per request", 16, PEERS),
    ("no cookie", 16, PAIR),
    ("https constant", 16, SECURE),
    ("https 10 MB", 16, SECURE),
    ("https handshakes", 16, SECURE),
    ("proxy constant", 16, PAIR),
    ("proxy 64 KB", 16, PAIR),
]

# name, bytes, connections, messages in flight, peers; the bare server has 64 threads
ECHOES = [
    ("websocket 64 B", 64, 1, 1, PAIR),
    ("websocket 64 B, 16 in flight", 64, 1, 16, PAIR),
    ("websocket 64 B", 64, 32, 1, PAIR),
    ("websocket 64 B", 64, 1000, 1, ["host"]),
    ("websocket 64 KB", 65536, 1, 1, PAIR),
    ("websocket 1 MB", 1000000, 1, 1, PAIR),
]


class Field:
    """What is measured: the programs, the directory that they serve, a certificate."""

    def __init__(self, build, directory):
        self.build = build
        self.site = pathlib.Path(directory, "site")
        self.site.mkdir()
        for name, size in SIZES.items():
            (self.site / self.file(name)).write_bytes(os.urandom(size))
        (self.site / "constant").write_text("Hello, world!")  # h2o has no other way to answer it
        self.directory = pathlib.Path(directory)
        self.certificate, self.key = self.directory / "certificate.pem", self.directory / "key.pem"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-noenc", "-subj",
                        "/CN=localhost", "-keyout", self.key, "-out", self.certificate],
                       check=True, capture_output=True)

    @staticmethod
    def file(size):
        return size.replace(" ", "") + ".js"

    def path(self, workload):
        size = next((size for size in SIZES if workload.endswith(size)), None)
        return "/" + self.file(size) if size else "/constant"

    def program(self, peer):
        """The program of a peer; None if it is missing."""
        if peer in INSTALLED:
            found = shutil.which(peer, path=os.environ["PATH"] + ":/usr/sbin")
            return found and pathlib.Path(found)
        program = self.build / PEERS[peer]
        return program if program.exists() else None

    def start(self, peer, workload, upstream):
        program, port = self.program(peer), free_port()
        secure = workload.startswith("https")
        if peer == "host":
            return self._start_host(program, port, secure, upstream)
        if peer == "bare":
            return self._start_bare(program, port, secure, workload, upstream)
        if peer == "nginx":
            configuration = self._nginx_configuration(port, secure)
            return Server([program, "-e", "stderr", "-c", configuration], port, secure)
        if peer == "h2o":
            return Server([program, "-c", self._h2o_configuration(port, secure)], port, secure)
        mode = ["pool"] if peer.endswith("pool") else []
        return Server([program, port, self.site, *mode], port)

    def _start_host(self, program, port, secure, upstream):
        content = (["--proxy", f"/={upstream.origin}"] if upstream else
                   ["--constant", "/constant=200,Hello, world!", self.site])
        command = [program, "--log-level", "off", *content]
        if not secure:
            return Server([*command, "--no-secure", "--port", port], port)
        pair = self.directory / "host.pem"
        return Server([*command, "--port", free_port(), "--certificate", pair, "--secure-port", port],
                      port, secure)

    def _start_bare(self, program, port, secure, workload, upstream):
        mode = (["proxy", upstream.port] if upstream else
                ["constant"] if self.path(workload) == "/constant" else ["files", self.site])
        encryption = ["secure", self.certificate, self.key] if secure else []
        return Server([program, port, *mode, *encryption], port, secure)

    def _nginx_configuration(self, port, secure):
        encryption = f"ssl_certificate {self.certificate}; ssl_certificate_key {self.key};"
        file = self.directory / f"nginx{port}.conf"
        file.write_text(f"""
            daemon off; pid {self.directory}/nginx{port}.pid; worker_processes 2;
            events {{ worker_connections 1024; }}
            http {{
                access_log off; sendfile on; tcp_nopush on; keepalive_requests 1000000000;
                default_type text/plain; client_body_temp_path {self.directory};
                proxy_temp_path {self.directory}; fastcgi_temp_path {self.directory};
                uwsgi_temp_path {self.directory}; scgi_temp_path {self.directory};
                server {{
                    listen 127.0.0.1:{port} {"ssl" if secure else ""} backlog=1024;
                    {encryption if secure else ""}
                    root {self.site};
                    location = /constant {{ return 200 "Hello, world!"; }}
                }}
            }}""")
        return file

    def _h2o_configuration(self, port, secure):
        encryption = (f", ssl: {{certificate-file: {self.certificate}, key-file: {self.key}}}"
                      if secure else "")
        file = self.directory / f"h2o{port}.conf"
        file.write_text(f"""
            num-threads: 2
            listen: {{host: 127.0.0.1, port: {port}{encryption}}}
            hosts: {{default: {{paths: {{/: {{file.dir: {self.site}}}}}}}}}""")
        return file


def median_of(runs):
    return {name: statistics.median(run[name] for run in runs)
            for name in runs[0] if all(run[name] is not None for run in runs)}


def interleave(options, servers, run):
    """The medians of rounds in which each server has its turn: {peer: figures}."""
    runs = {peer: [] for peer in servers}
    for number in range(options.rounds + 1):
        for peer, server in servers.items():
            measured = run(peer, server)
            if number > 0:  # the first warms caches and thread pools up
                runs[peer].append(measured)
            time.sleep(0.1)
    return {peer: median_of(measured) for peer, measured in runs.items()}


def measure_load(options, field, workload, connections, peers):
    with contextlib.ExitStack() as stack:
        upstream = None
        if workload.startswith("proxy"):
            upstream = field.start("bare", workload.removeprefix("proxy "), None)
            stack.callback(upstream.stop)
        servers = {}
        for peer in peers:
            servers[peer] = field.start(peer, workload, upstream)
            stack.callback(servers[peer].stop)
        path = field.path(workload)

        def run(_, server):
            # A new cookie each time: the session may have ended while the others had their turns.
            cookie = workload != "no cookie" and server.cookie(path)
            headers = [f"Cookie: {cookie}"] if cookie else []
            headers += ["Connection: close"] if workload in EACH_CONNECTS else []
            return load(server, path, connections, options.seconds, headers)

        results = interleave(options, servers, run)
        time.sleep(10 if workload == "10 MB" else 0)
        for peer, server in servers.items():
            results[peer]["peak_kib"] = server.memory("VmHWM")
            results[peer]["retained_kib"] = server.memory("VmRSS")
        return results


def echo_servers(field, stack, peers):
    servers = {}
    for peer in peers:
        port = free_port()
        servers[peer] = Server(
            [field.program("host"), "--log-level", "off", "--no-secure", "--echo", "/echo",
             "--port", port] if peer == "host" else
            [field.build / "bench" / "bare-websocket-server", port], port)
        stack.callback(servers[peer].stop)
    return servers


def measure_echo(options, field, size, connections, in_flight, peers):
    client = field.build / "bench" / "websocket-load"
    with contextlib.ExitStack() as stack:
        return interleave(options, echo_servers(field, stack, peers), lambda peer, server: echo_load(
            client, server, "/echo", size, connections, in_flight, options.seconds))


def print_results(workload, connections, results):
    print(f"\n{workload}, {connections} connections")
    print(f"  {'':22}{'rate/s':>9}{'CPU us':>9}{'user':>8}{'system':>8}{'p50 us':>8}{'p99 us':>8}"
          f"{'peak MB':>9}{'kept MB':>9}{'CPU/bare':>9}{'rate/bare':>10}")
    bare = results.get("bare")
    for peer, row in results.items():
        cells = [f"{row[name] / scale:{width}.{digits}f}" if name in row else " " * width
                 for name, scale, width, digits in (
                     ("rate", 1, 9, 0), ("cpu_us", 1, 9, 1), ("user_us", 1, 8, 1),
                     ("system_us", 1, 8, 1), ("p50_us", 1, 8, 0), ("p99_us", 1, 8, 0),
                     ("peak_kib", 1024, 9, 1), ("retained_kib", 1024, 9, 1))]
        if bare:
            row["cpu_ratio"] = row["cpu_us"] / bare["cpu_us"]
            row["rate_ratio"] = row["rate"] / bare["rate"]
            cells.append(f"{row['cpu_ratio']:9.2f}{row['rate_ratio']:10.2f}")
        print(f"  {peer:22}" + "".join(cells), flush=True)


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--rounds", type=int, default=7)
    parser.add_argument("--seconds", type=int, default=1)
    parser.add_argument("--workload", nargs="+", default=[""])
    parser.add_argument("--peer", nargs="+", default=PEERS, choices=PEERS)
    parser.add_argument("--json", type=pathlib.Path)
    return parser.parse_args()


def main():
    options = parse_arguments()
    records = []
    with tempfile.TemporaryDirectory() as directory:
        os.chmod(directory, 0o755)  # for the workers of nginx
        field = Field(options.build.resolve(), directory)
        present = [peer for peer in options.peer if field.program(peer)]
        print("left out:", ", ".join(set(options.peer) - set(present)) or "none")

        def chosen(name):
            return any(word in name for word in options.workload)

        def note(workload, connections, results):
            print_results(workload, connections, results)
            records.extend({"workload": workload, "connections": connections, "peer": peer, **row}
                           for peer, row in results.items())

        for workload, connections, peers in LOADS:
            if chosen(workload):
                note(workload, connections,
                     measure_load(options, field, workload, connections,
                                  [peer for peer in peers if peer in present]))
        for workload, *load_of, peers in ECHOES:
            if chosen(workload):
                note(workload, load_of[1], measure_echo(options, field, *load_of, peers))
    if options.json:
        figures.keep(options.json, options, records)
    return 0


if __name__ == "__main__":
    sys.exit(main())
