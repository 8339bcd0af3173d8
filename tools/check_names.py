#!/usr/bin/env python3
"""Fails if a qualified name is defined twice in the product.

usage: check_names.py ROOT [ARCHIVE|OBJECT...]

The linker merges the inline functions, virtual tables and inline variables of one name without a
diagnostic, even if they come from two classes that share the name.

Sources: a class, and an inline function or variable of a namespace, is defined in one file.
Built files: no symbol is defined twice with external linkage. The copies of a symbol that the
linker merges come from one line, or have one size if they are data. Lines need debug information.
"""

import collections
import os
import re
import subprocess
import sys

MODULES = ["contract", "server", "manager", "pipeline", "staticcontent", "client", "application",
           "plugin", "host"]

IGNORED = re.compile(
    r'//[^\n]*|/\*.*?\*/|R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])+\''
    r"|^[ \t]*#(?:\\\n|[^\n])*", re.DOTALL | re.MULTILINE)
TOKEN = re.compile(r"[A-Za-z_]\w*|\d[\w'.]*|::|\S")
IDENTIFIER = re.compile(r"[A-Za-z_]\w*$")
CLASS_KEYS = ("class", "struct", "union", "enum")


def without_groups(tokens, opening, closing):
    """The tokens outside of the groups that a pair of brackets encloses."""
    depth = 0
    for token in tokens:
        depth += token == opening
        if depth == 0:
            yield token
        depth -= token == closing and depth > 0


def statement_of(tokens):
    """A statement or the head of a block without attributes, access labels and template heads."""
    tokens = list(without_groups(tokens, "[", "]"))
    while tokens[1:2] == [":"] and tokens[0] in ("public", "private", "protected"):
        del tokens[:2]
    while tokens[:2] == ["template", "<"]:
        depth = end = 1
        while depth and end + 1 < len(tokens):
            end += 1
            depth += (tokens[end] == "<") - (tokens[end] == ">")
        del tokens[:end + 1]
    return tokens


def class_of(head):
    """The name of the class or enumeration that a block defines; None for other blocks."""
    if not head or head[0] not in CLASS_KEYS:
        return None
    words = list(without_groups(head, "(", ")"))
    words = words[:words.index(":")] if ":" in words else words
    return "".join(word for word in words
                   if word not in CLASS_KEYS + ("alignas", "final", "CONNECTOR_API"))


def entity_of(statement, is_block):
    """The name of an inline function or variable that a namespace's statement defines, or None."""
    ends = [place for place, token in enumerate(statement) if token in "(="]
    if not ("inline" in statement or (is_block and ends)) or "operator" in statement:
        return None
    declarator = statement[:ends[0]] if ends else statement
    if len(declarator) < 2 or declarator[-2] == "::" or not IDENTIFIER.match(declarator[-1]):
        return None  # a member, which belongs to its class
    return declarator[-1]


def definitions(text, is_header):
    """The qualified names that a source defines, but for those with internal linkage."""
    scopes, statement = [], []  # a scope: its name or None, whether it is a namespace
    for token in TOKEN.findall(IGNORED.sub(" ", text)):
        if token not in "{};":
            statement.append(token)
            continue
        head, statement = statement_of(statement), []
        visible = all(name for name, _ in scopes)
        in_namespace = visible and all(is_namespace for _, is_namespace in scopes)
        qualified = "::".join(name for name, _ in scopes if name) + "::"
        if token != "}" and in_namespace and is_header and class_of(head) is None:
            entity = entity_of(head, token == "{")
            if entity and head[0] not in ("using", "typedef"):
                yield qualified + entity
        if token == "{":
            is_namespace = "namespace" in head[:2]
            name = "".join(head[head.index("namespace") + 1:]) if is_namespace else class_of(head)
            if visible and name and not is_namespace:
                yield qualified + name
            scopes.append((name, is_namespace))
        elif token == "}":
            scopes.pop()


def check_sources(root):
    """Yields the names that two files define; last, the number of names."""
    files = collections.defaultdict(set)
    for module in MODULES:
        for folder, _, names in os.walk(os.path.join(root, module)):
            for name in names:
                if name.endswith((".h", ".cpp")):
                    path = os.path.join(folder, name)
                    with open(path, encoding="utf-8") as source:
                        for defined in definitions(source.read(), name.endswith(".h")):
                            files[defined].add(os.path.relpath(path, root))
    for name in sorted(files):
        if len(files[name]) > 1:
            yield f"{name}: {', '.join(sorted(files[name]))}"
    yield len(files)


SYMBOL = re.compile(  # file, size, kind, name, line
    r"(.*):[0-9a-f]+ (?:([0-9a-f]+) )?([A-Zuvw]) (_ZNK?9connector\S+)(?:\t.*:(\d+))?$")


def check_symbols(built):
    """Yields the symbols that are defined twice; last, the number of symbols."""
    places = collections.defaultdict(lambda: collections.defaultdict(set))
    strong = collections.defaultdict(list)
    output = subprocess.run(["nm", "-A", "-S", "-l", "--defined-only", *built], check=True,
                            text=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL).stdout
    for line in output.splitlines():
        match = SYMBOL.match(line)
        if match is None:
            continue
        where, size, kind, name, number = match.groups()
        if kind in "TDBR":
            strong[name].append(where)
        # The file that nm gives for a line of a relocatable object is not reliable.
        place = f"line {number}" if number else f"size {size}" if kind in "Vu" else None
        if place:
            places[name][place].add(where)
    for name, objects in strong.items():
        if len(objects) > 1:
            yield f"{name}: {', '.join(objects)}"
    for name, found in places.items():
        if len(found) > 1:
            yield f"{name}: " + "; ".join(f"{place} of {min(found[place])}" for place in found)
    yield len(strong) + len(places)


def main(root, *built):
    faults = 0
    for check in [check_sources(root)] + ([check_symbols(built)] if built else []):
        *found, count = check
        print("\n".join([*found, f"{count} names, {len(found)} defined twice"]))
        faults += len(found) + (count == 0)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
