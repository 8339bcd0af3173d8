#!/usr/bin/env python3
"""Writes the tables of docs/performance.md and its picture from a file of figures.

usage: bench/tables.py FIGURES.json PAGE.md PICTURE.svg

A table replaces what stands between <!-- NAME --> and <!-- end NAME --> in the page. The table of
bounds says which ones are kept.
"""

import json
import pathlib
import re
import sys

import chart

SMALL = ("constant", "1 KB", "64 KB", "10 MB", "connection per request")
DRAWN = (("constant", 64), ("constant", 500), ("1 KB", 64), ("64 KB", 64), ("10 MB", 16))
LOOP = "same work"

# CPU time, ours to bare POCO's, at most.
RATIOS = {("constant", 16): 0.48, ("constant", 64): 0.46, ("1 KB", 16): 0.46, ("1 KB", 64): 0.44,
          ("connection per request", 16): 0.55, ("no cookie", 16): 0.65,
          ("https constant", 16): 0.62, ("websocket 64 B", 32): 0.70,
          # as with a thread for each connection
          ("websocket 64 B", 1): 0.88, ("websocket 64 KB", 1): 0.73, ("websocket 1 MB", 1): 0.45}


def text_of(value):
    return f"{value:,.0f}" if value >= 100 else f"{value:.1f}"


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "\n".join("| " + " | ".join(line) + " |" for line in lines)


class Figures:
    def __init__(self, file):
        read = json.loads(file.read_text())
        self.date, self.machine = read["date"], read["machine"]
        self.rows = {}
        for record in read["results"]:
            key = record["workload"], record["connections"]
            self.rows.setdefault(key, {})[record["peer"]] = record

    def loads(self, wanted):
        """[((workload, connections), {peer: record}), ...]"""
        return [(key, self.rows[key]) for key in self.rows if wanted(key)]

    def by_peer(self, name, wanted):
        loads = sorted(self.loads(wanted), key=lambda load: SMALL.index(load[0][0]))
        peers = list(dict.fromkeys(peer for _, row in loads for peer in row))
        return table(["workload, connections", *peers],
                     [[", ".join(map(str, key)),
                       *(text_of(row[peer][name]) if peer in row else "" for peer in peers)]
                      for key, row in loads])

    def beside_bare(self):
        rows = []
        for key, row in self.loads(lambda key: "bare" in self.rows[key]):
            host, bare = row["host"], row["bare"]

            def pair(name, scale, host=host, bare=bare):
                if host.get(name) is None or bare.get(name) is None:
                    return ""
                return f"{text_of(host[name] / scale)} / {text_of(bare[name] / scale)}"

            rows.append([", ".join(map(str, key)), pair("cpu_us", 1),
                         f"{host['cpu_us'] / bare['cpu_us']:.2f}",
                         f"{host['rate'] / bare['rate']:.2f}", pair("p99_us", 1000),
                         pair("peak_kib", 1024)])
        return table(["workload, connections", "CPU µs, host / bare", "CPU ratio", "rate ratio",
                      "p99 ms, host / bare", "peak MB, host / bare"], rows)

    def bounds(self):
        """What is wanted of the host, in words, and what was seen."""
        cpu = {key: row["host"]["cpu_us"] for key, row in self.rows.items() if "host" in row}
        checks = [(f"CPU, {workload}, {connections}: beside bare POCO",
                   cpu[workload, connections] / self.rows[workload, connections]["bare"]["cpu_us"],
                   bound, True) for (workload, connections), bound in RATIOS.items()]
        at_500 = self.rows["constant", 500]["host"]
        checks += [
            ("CPU, constant, 500: beside that at 64", at_500["cpu_us"] / cpu["constant", 64], 1.1,
             True),
            ("failed requests, constant, 500", at_500["errors"], 0, True),
            ("rate, constant, 64: beside bare POCO", self.rate("constant", 64, "bare"), 1.8, False),
            ("rate, 1 KB, 64: beside nginx", self.rate("1 KB", 64, "nginx"), 0.95, False)]
        for peer in ("civetweb", "libmicrohttpd threads"):
            for key, row in self.loads(lambda key: key[0] in SMALL):
                checks.append((f"CPU, {key[0]}, {key[1]}: beside {peer}",
                               cpu[key] / row[peer]["cpu_us"], 1, True))
        rows = []
        for what, seen, bound, most in checks:
            kept = round(seen, 2) <= bound if most else round(seen, 2) >= bound
            rows.append([what, f"{seen:.2f}", f"at {'most' if most else 'least'} {bound:g}",
                         "" if kept else "missed"])
        return table(["what", "seen", "wanted", ""], rows)

    def rate(self, workload, connections, peer):
        row = self.rows[workload, connections]
        return row["host"]["rate"] / row[peer]["rate"]

    def loops(self):
        sizes = sorted(connections for workload, connections in self.rows if workload == LOOP)
        rows = [[peer, *(f"{record['cpu_us']:.1f}, {record['rate'] / 1000:.0f}"
                         for record in (self.rows[LOOP, size][peer] for size in sizes))]
                for peer in self.rows[LOOP, sizes[0]]]
        return table(["", *(f"{size} connection{'s' if size > 1 else ''}" for size in sizes)], rows)

    def picture(self):
        groups = [(f"{workload}, {connections} connections",
                   [(peer, record["cpu_us"])
                    for peer, record in self.rows[workload, connections].items()])
                  for workload, connections in DRAWN]
        return chart.draw(f"CPU time per request, {self.date}", groups, "host")


def main(file, page, picture):
    figures, page = Figures(pathlib.Path(file)), pathlib.Path(page)
    tables = {"measured": f"Measured {figures.date} on {figures.machine}.",
              "cpu": figures.by_peer("cpu_us", lambda key: key[0] in SMALL),
              "rate": figures.by_peer("rate", lambda key: key[0] in SMALL),
              "bare": figures.beside_bare(), "bounds": figures.bounds(), "loops": figures.loops()}
    text = page.read_text()
    for name, content in tables.items():
        text, found = re.subn(rf"(<!-- {name} -->\n).*?(<!-- end {name} -->)",
                              lambda match, content=content: f"{match[1]}{content}\n{match[2]}",
                              text, flags=re.DOTALL)
        if found != 1:
            raise SystemExit(f"{page} has no place for the table {name}")
    page.write_text(text)
    pathlib.Path(picture).write_text(figures.picture())


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
