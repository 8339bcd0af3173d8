#!/usr/bin/env python3
"""Every exported symbol of ours belongs to a class or function that is marked CONNECTOR_API.

usage: exported_symbols_test.py ROOT LIBRARY...
"""

import glob
import re
import subprocess
import sys

# The type information of an enumeration is always visible.
MARKED = re.compile(
    r"(?:(?:class|struct)\s+CONNECTOR_API|enum\s+class)\s+(\w+)"
    r"|CONNECTOR_API(?!\s+\d)[^;{}()]*?(\w+)\s*(?:\(|\[\]|;|=)")


def marked_names(root):
    for room in ("contract", "server", "manager", "pipeline", "staticcontent", "client",
                 "application", "plugin"):
        for header in glob.glob(f"{root}/{room}/**/*.h", recursive=True):
            with open(header, encoding="utf-8") as file:
                for match in MARKED.finditer(file.read()):
                    yield match[1] or match[2]


def exported_names(library):
    """The names without parameters and template arguments."""
    output = subprocess.run(["nm", "-D", "--defined-only", "-C", library], check=True, text=True,
                            stdout=subprocess.PIPE).stdout
    for line in output.splitlines():
        name, count = line.split(" ", 2)[2].removesuffix(" const"), 1
        while count:
            name, count = re.subn(r"<[^<>]*>|\([^()]*\)", "", name)
        yield name.split(" ")[-1]


def main(root, *libraries):
    marked = set(marked_names(root))
    ours = [name for library in libraries for name in exported_names(library)
            if name.startswith(("connector::", "libqxconnector"))]
    strangers = [name for name in ours if not marked & set(re.split(r"::|\[abi", name))]
    print(f"{len(ours)} symbols of {len(marked)} marked names, unmarked: {strangers}")
    return 1 if strangers or not ours else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
