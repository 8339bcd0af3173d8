#!/usr/bin/env python3
"""Every exported symbol of ours belongs to a class or function that is marked CONNECTOR_API.

usage: exported_symbols_test.py ROOT LIBRARY...
"""

import glob
import os
import re
import subprocess
import sys

# The type information of an enumeration is always visible.
MARKED = re.compile(
    r"(?:class|struct)\s+CONNECTOR_API\s+(\w+)"
    r"|enum\s+class\s+(\w+)"
    r"|CONNECTOR_API(?!\s+\d)[^;{}()]*?(\w+)\s*(?:\(|\[\]|;|=)")
SYMBOL = re.compile(r"^[0-9a-f]+ \w (?:(?:vtable|typeinfo(?: name)?|VTT|guard variable|"
                    r"non-virtual thunk|virtual thunk) (?:for|to) )?(.*)$")


def marked_names(root):
    names = set()
    for room in ("contract", "server", "manager", "pipeline", "staticcontent", "client", "plugin"):
        for header in glob.glob(os.path.join(root, room, "**", "*.h"), recursive=True):
            with open(header, encoding="utf-8") as file:
                for match in MARKED.finditer(file.read()):
                    names.add(match[1] or match[2] or match[3])
    return names


def without_arguments(text):
    """a::b<c>::d[abi:cxx11](e) const -> a::b::d"""
    result, depth = [], 0
    text = text.replace("(anonymous namespace)", "@").replace("[abi:cxx11]", "")
    for character in text.replace("operator()", "call"):
        if character == "<":
            depth += 1
        elif character == ">":
            depth -= 1
        elif character == "(" and depth == 0:
            break
        elif depth == 0:
            result.append(character)
    return "".join(result)


def main(root, *libraries):
    names = marked_names(root)
    ours = strangers = 0
    for library in libraries:
        output = subprocess.run(["nm", "-D", "--defined-only", "-C", library], check=True,
                                text=True, stdout=subprocess.PIPE).stdout
        for line in output.splitlines():
            symbol = without_arguments(SYMBOL.match(line)[1]).split(" ")[-1]
            if not symbol.startswith(("connector::", "libqxconnector")):
                continue
            ours += 1
            if not names & set(symbol.split("::")):
                strangers += 1
                print(f"{os.path.basename(library)}: {line}")
    print(f"{ours} symbols of {len(names)} marked names, {strangers} unmarked")
    return 1 if strangers or not ours else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
