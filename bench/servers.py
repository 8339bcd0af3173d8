"""Server processes that are measured, and the loads that measure them."""

import os
import pathlib
import re
import signal
import socket
import ssl
import subprocess
import time
import urllib.request

TICKS = os.sysconf("SC_CLK_TCK")
SECONDS = {"us": 1e-6, "ms": 1e-3, "s": 1.0, "m": 60.0}


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def is_ready(port):
    """Whether a server answers, and not that it is still starting."""
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=5) as connection:
            connection.sendall(b"GET / HTTP/1.0\r\nHost: localhost\r\n\r\n")
            return not connection.recv(4096).endswith(b"starting")
    except ConnectionResetError:
        return True  # it wants TLS
    except OSError:
        return False


class Server:
    """A server process and its children, in a group of their own, once it accepts connections."""

    def __init__(self, command, port, secure=False):
        self.origin = f"{'https' if secure else 'http'}://127.0.0.1:{port}"
        self.port = port
        self.process = subprocess.Popen([str(word) for word in command], stdin=subprocess.DEVNULL,
                                        stdout=subprocess.DEVNULL, start_new_session=True)
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline and self.process.poll() is None:
            if is_ready(port):
                return
            time.sleep(0.05)
        self.stop()
        raise SystemExit(f"{command[0]} did not start")

    def pids(self):
        found = []
        for stat in pathlib.Path("/proc").glob("[0-9]*/stat"):
            try:
                fields = stat.read_text().rpartition(")")[2].split()
            except OSError:
                continue  # it has ended meanwhile
            if int(fields[2]) == self.process.pid:
                found.append(int(stat.parent.name))
        return found

    def cpu(self):
        """Seconds spent so far: (user, system)."""
        user = system = 0
        for pid in self.pids():
            fields = pathlib.Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
            user += int(fields[11])
            system += int(fields[12])
        return user / TICKS, system / TICKS

    def memory(self, name):
        """KiB by that name of /proc/PID/status: VmHWM, the peak, or VmRSS, what is held now."""
        return sum(int(re.search(rf"{name}:\s+(\d+)",
                                 pathlib.Path(f"/proc/{pid}/status").read_text())[1])
                   for pid in self.pids())

    def cookie(self, path):
        """The cookie of a live session, as a browser would keep it; empty without sessions."""
        trusting = ssl._create_unverified_context()
        with urllib.request.urlopen(self.origin + path, context=trusting) as answer:
            return (answer.headers["Set-Cookie"] or "").partition(";")[0]

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.stop()

    def stop(self):
        try:
            os.killpg(self.process.pid, signal.SIGTERM)
        except ProcessLookupError:
            pass
        self.process.wait()


def _duration(output, percent):
    found = re.search(rf"\s{percent}%\s+([\d.]+)(us|ms|s|m)\b", output)
    return float(found[1]) * SECONDS[found[2]] * 1e6 if found else None


def _figures(server, before, count, seconds):
    user, system = (after - start for after, start in zip(server.cpu(), before))
    per = 1e6 / max(count, 1)
    return {"rate": count / seconds, "user_us": user * per, "system_us": system * per,
            "cpu_us": (user + system) * per}


def load(server, path, connections, seconds, headers=()):
    """One run of wrk: rate, CPU microseconds a request, latencies."""
    command = ["wrk", "-t1", f"-c{connections}", f"-d{seconds}s", "--latency", server.origin + path]
    for header in headers:
        command += ["-H", header]
    before = server.cpu()
    output = subprocess.run(command, check=True, capture_output=True, text=True).stdout
    requests, elapsed, unit = re.search(r"(\d+) requests in ([\d.]+)(ms|s|m)", output).groups()
    figures = _figures(server, before, int(requests), float(elapsed) * SECONDS[unit])
    broken = re.search(r"Socket errors: connect (\d+), read (\d+), write (\d+), timeout (\d+)", output)
    figures.update(p50_us=_duration(output, 50), p99_us=_duration(output, 99),
                   errors=sum(map(int, broken.groups())) if broken else 0)
    failed = re.search(r"Non-2xx.*?(\d+)", output)
    if failed or int(requests) == 0:
        raise SystemExit(f"{' '.join(command)}:\n{output}")
    return figures


def echo_load(client, server, path, size, connections, in_flight, seconds):
    """One run of the WebSocket client: rate and CPU microseconds a message."""
    command = [client, server.port, path, size, connections, in_flight, seconds]
    process = subprocess.Popen([str(word) for word in command], stdout=subprocess.PIPE, text=True)
    process.stdout.readline()  # connected
    before = server.cpu()
    output = process.stdout.read()
    if process.wait() != 0:
        raise SystemExit(f"the load client failed: {command}")
    return _figures(server, before, int(output or 0), seconds)
