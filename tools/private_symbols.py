#!/usr/bin/env python3
"""Prints what abidw leaves out of the interface of a library: all but what the public headers declare.

usage: private_symbols.py LIBRARY INCLUDE_DIRECTORY

Private are symbols that are exported for other rooms alone, and inline functions and instances of
templates, of which programs have their own.
"""

import glob
import re
import subprocess
import sys

MARKED = re.compile(r"(?:class|struct)\s+CONNECTOR_API\s+(\w+)"
                    r"|CONNECTOR_API(?!\s+\d)[^;{}()]*?(\w+)\s*(?:\(|\[\]|;|=)")


def exported(library, *options):
    """The kinds and names of the symbols."""
    lines = subprocess.run(["nm", "-D", "--defined-only", *options, library], check=True, text=True,
                           stdout=subprocess.PIPE).stdout.splitlines()
    return [tuple(line.split(" ", 2)[1:]) for line in lines]


def owner_of(name):
    """The qualified name of a symbol without parameters and template arguments."""
    name, count = name.removesuffix(" const"), 1
    while count:
        name, count = re.subn(r"<[^<>]*>|\([^()]*\)", "", name)
    return name.split(" ")[-1]


def main(library, include_directory):
    public = set()
    for header in glob.glob(include_directory + "/**/*.h", recursive=True):
        with open(header, encoding="utf-8") as file:
            public |= {match[1] or match[2] for match in MARKED.finditer(file.read())}
    for (kind, symbol), (_, name) in zip(exported(library, "-p"), exported(library, "-pC")):
        owner = re.sub(r"\[abi:.*?\]", "", owner_of(name)).split("::")
        ours = owner[0].startswith(("connector", "libqx"))
        if kind in "WwVu" or not ours or not public & set(owner[-2:]):
            for entity in ("function", "variable"):
                print(f"[suppress_{entity}]\n  symbol_name = {symbol}\n  drop = yes")


if __name__ == "__main__":
    main(*sys.argv[1:])
