#!/usr/bin/env python3
"""Fails if a source includes what its room may not.

usage: check_includes.py [ROOT]

A room includes itself and the rooms named for it below; a test room also the room that it tests
and what that may include. Third-party headers are allowed by name, anything else is refused.

The public headers, listed in cmake/PublicHeaders.cmake, include no private one. Programs of users
write <connector/...>: examples include nothing else of ours.
"""

import os
import re
import sys

CONTRACT = ["contract/common", "contract/messaging", "contract/streams", "contract/platform",
            "contract/http"]
ROOMS = {
    "contract/common": [],
    "contract/messaging": CONTRACT[:1],
    "contract/streams": CONTRACT[:2],
    "contract/platform": CONTRACT[:3],
    "contract/http": CONTRACT[:4],
    "server": CONTRACT,
    "manager": CONTRACT + ["server"],
    "pipeline": CONTRACT,
    "staticcontent": CONTRACT,
    "client": CONTRACT,
    "application": CONTRACT + ["server", "manager", "pipeline", "staticcontent", "client"],
    "plugin": CONTRACT,
}
PRODUCT = list(ROOMS) + ["host"]
ROOMS["host"] = PRODUCT
ROOMS["examples"] = []
ROOMS["bench"] = PRODUCT
ROOMS["tests/support"] = CONTRACT
ROOMS["tests/wire"] = PRODUCT + ["tests/support"]
ROOMS["tests/fuzz"] = PRODUCT + ["tests/support"]

# Header pattern, then the files that may include it. The first pattern that matches decides.
NETWORK = r"(server|client|tests/(server|client|support|wire)|bench)/"
JSON = r"(contract/platform/|(manager|staticcontent)/\w*Json\w*\.|tests/|bench/)"
THIRD_PARTY = [
    (r"regex$", r"(?!)"),  # std::regex overflows the stack on long input
    (r"Poco/Net/", NETWORK),
    (r"Poco/Crypto/|openssl/", r"(server|tests/(server|wire))/"),
    (r"Poco/(JSON|Dynamic)/", JSON),
    (r"Poco/Exception\.h$", r""),  # what() is of no use for them
    (r"Poco/", r"(contract/platform|server|manager|pipeline|staticcontent|client|tests|bench)/"),
    (r"boost/regex", r"(pipeline|staticcontent|tests/(pipeline|staticcontent)|bench)"),
    (r"boost/asio/", r"bench/"),  # to be measured beside
    (r"boost/thread", r"pipeline/"),
    (r"boost/log/", r"(contract/common|tests/support)/Log\w*\.cpp$"),
    (r"boost/(core/demangle|format|locale/encoding_utf|make_shared|variant)\.hpp$", r""),
    (r"boost/intrusive/", r"pipeline/"),
    (r"CLI/", r"host/"),
    (r"(gtest|gmock)/", r"tests/"),
    (r"benchmark/", r"bench/"),
    (r"ext/stdio_filebuf\.h$", r"tests/support/"),  # streams on descriptors
    (r"(sys|netinet|arpa|net)/\w+\.h$", r""),
    (r"[a-z_0-9]+(\.h)?$", r""),  # the standard library and POSIX
]

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')


def room_of(path):
    """The room that a file below the root belongs to, or None."""
    parts = path.split("/")
    if parts[0] in ("contract", "tests") and len(parts) > 2:
        return "/".join(parts[:2])
    return parts[0] if len(parts) > 1 else None


def may_include(room):
    """The rooms that a room includes, itself among them."""
    if room in ROOMS:
        return ROOMS[room] + [room]
    tested = room.removeprefix("tests/")
    for candidate in (tested, "contract/" + tested):
        if candidate in ROOMS:
            return ROOMS[candidate] + [candidate, room, "tests/support"]
    return None


def public_headers(root):
    with open(os.path.join(root, "cmake/PublicHeaders.cmake"), encoding="utf-8") as file:
        return set(re.findall(r"^ +(\S+\.h)\)?$", file.read(), re.MULTILINE))


def fault_of(path, quoted, angled, exists, public):
    """Why the file may not include the header, or None. exists(path) tells of files of ours."""
    if angled is not None and angled.startswith("connector/"):
        installed = angled.removeprefix("connector/")
        if not public & {installed, "contract/" + installed}:
            return f"<{angled}> is no public header"
        return None if path.startswith("examples/") else f"<{angled}> is for users"
    if path.startswith("examples/") and quoted is not None:
        own = os.path.join(os.path.dirname(path), quoted)
        return None if exists(own) else f'"{quoted}" is not in the folder of the example'
    if quoted is not None:
        if not exists(quoted):
            return f'"{quoted}" is not a path from the root of the repository'
        if room_of(quoted) not in may_include(room_of(path)):
            return f'{room_of(path)} may not include {room_of(quoted)} ("{quoted}")'
        if path in public and quoted not in public:
            return f'the public header includes a private one ("{quoted}")'
        return None
    if exists(angled):
        return f"<{angled}> is ours and goes in quotes"
    for header, includer in THIRD_PARTY:
        if re.match(header, angled):
            return None if re.match(includer, path) else f"<{angled}> is not for this file"
    return f"<{angled}> has no rule"


def check(root):
    """Prints each fault below root as "file:line: reason"; returns (files, faults)."""
    files = faults = 0
    public = public_headers(root)
    for header in sorted(public):
        if not os.path.isfile(os.path.join(root, header)):
            faults += 1
            print(f"cmake/PublicHeaders.cmake: there is no {header}")
    for top in sorted({room.split("/")[0] for room in ROOMS} | {"tests"}):
        for folder, _, names in os.walk(os.path.join(root, top)):
            for name in sorted(names):
                if not name.endswith((".h", ".cpp")):
                    continue
                path = os.path.relpath(os.path.join(folder, name), root)
                files += 1
                for line, fault in check_file(root, path, public):
                    faults += 1
                    print(f"{path}:{line}: {fault}")
    return files, faults


def check_file(root, path, public):
    if may_include(room_of(path)) is None:
        yield 1, f"no room {room_of(path)}"
        return
    with open(os.path.join(root, path), encoding="utf-8") as source:
        lines = source.readlines()
    if path.endswith(".h") and "#pragma once\n" not in lines:
        yield 1, "a header begins with #pragma once"
    if len(lines) > 400:
        yield 401, "a source of more than 400 lines is two sources"
    for number, text in enumerate(lines, 1):
        match = INCLUDE.match(text)
        if match:
            fault = fault_of(path, match[1], match[2],
                             lambda name: os.path.isfile(os.path.join(root, name)), public)
            if fault:
                yield number, fault


def main(arguments):
    root = arguments[0] if arguments else os.path.join(os.path.dirname(__file__), "..")
    files, faults = check(root)
    print(f"{files} files, {faults} faults")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
