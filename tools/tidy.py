#!/usr/bin/env python3
"""Runs clang-tidy over the product's sources, on all cores, skipping what has passed before.

usage: tidy.py [FILE...]      default: every source of the rooms

A source has passed before if it, every header that it read, its compile command, .clang-tidy and
the version of clang-tidy are what they were, in this clone or in another one of this user; the
build tree knows the headers, so build first.
"""

import concurrent.futures
import functools
import hashlib
import json
import os
import shlex
import subprocess
import sys
import time

ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), ".."))
BUILD = os.path.join(ROOT, "build", "dev")
CACHE = os.path.join(os.environ.get("XDG_CACHE_HOME") or os.path.expanduser("~/.cache"),
                     "connector-tidy")
ROOMS = ("contract/", "server/", "manager/", "pipeline/", "staticcontent/", "client/", "plugin/",
         "host/")
TIDY = "clang-tidy-14"


@functools.lru_cache(maxsize=None)
def digest(path):
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()


def dependencies():
    """What each object file of the last build was made from."""
    output = subprocess.run(["ninja", "-C", BUILD, "-t", "deps"], check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    result = {}
    current = None
    for line in output.splitlines():
        if line.startswith("    "):
            if current is not None:
                current.append(os.path.join(BUILD, line.strip()))
        else:
            name = line.split(": #deps")[0]
            valid = line.endswith("(VALID)")
            current = result.setdefault(name, []) if valid else None
    return result


def key_of(command, headers, salt):
    """The name of the result in the cache, or None where the headers are not known."""
    if not headers or not all(map(os.path.exists, headers)):
        return None
    text = [salt, command["command"]] + [os.path.normpath(path) + digest(path) for path in headers]
    return hashlib.sha256("\n".join(text).replace(ROOT, "").encode()).hexdigest()


def object_of(command):
    words = shlex.split(command["command"])
    return words[words.index("-o") + 1]


def run(path):
    begin = time.monotonic()
    # The compile commands are those of g++.
    command = [TIDY, "--quiet", "--extra-arg=-Wno-unknown-warning-option", "-p", BUILD, path]
    result = subprocess.run(command, text=True, check=False,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    failed = result.returncode != 0
    return failed, result.stdout + (result.stderr if failed else ""), time.monotonic() - begin


def main(arguments):
    if not os.path.exists(os.path.join(BUILD, "compile_commands.json")):
        print("tidy.py: no build/dev; run scripts/test.sh first", file=sys.stderr)
        return 1
    with open(os.path.join(BUILD, "compile_commands.json"), encoding="utf-8") as file:
        commands = {os.path.realpath(entry["file"]): entry for entry in json.load(file)}
    wanted = {os.path.realpath(name) for name in arguments} or {
        name for name in commands if os.path.relpath(name, ROOT).startswith(ROOMS)}
    if not wanted or not wanted <= commands.keys():
        print("tidy.py: not in the build:", *sorted(wanted - commands.keys()), file=sys.stderr)
        return 1

    version = subprocess.run([TIDY, "--version"], check=True, stdout=subprocess.PIPE).stdout
    salt = digest(os.path.join(ROOT, ".clang-tidy")) + hashlib.sha256(version).hexdigest()
    built = dependencies()
    headers = {name: built.get(object_of(commands[name])) or [] for name in wanted}
    keys = {name: key_of(commands[name], headers[name], salt) for name in wanted}
    os.makedirs(CACHE, exist_ok=True)
    stale = [name for name in sorted(wanted)
             if keys[name] is None or not os.path.exists(os.path.join(CACHE, keys[name]))]
    # The slow ones first, so that no core waits for the last of them.
    stale.sort(key=lambda name: -len(headers[name]))

    faults = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for name, (failed, output, seconds) in zip(stale, pool.map(run, stale)):
            print(f"{seconds:5.1f} s  {os.path.relpath(name, ROOT)}", flush=True)
            if failed:
                faults += 1
                print(output, flush=True)
            elif keys[name] is not None:
                with open(os.path.join(CACHE, keys[name]), "w", encoding="utf-8"):
                    pass
    unchanged = len(wanted) - len(stale)
    print(f"{len(wanted)} sources, {unchanged} of them unchanged, {faults} with faults")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
