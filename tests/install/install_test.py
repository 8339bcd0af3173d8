#!/usr/bin/env python3
"""What `cmake --install` installs is complete: the programs of docs/embedding.md and the example of
a provider build against it, out of the source tree, and do what is written of them.

usage: install_test.py BUILD_DIRECTORY SOURCE_DIRECTORY
"""

import base64
import glob
import os
import re
import socket
import subprocess
import sys
import tempfile
import unittest

BUILD, SOURCE = (os.path.abspath(path) for path in sys.argv[1:3])
LIBRARIES = ["libqxconnectorcontract.so", "libqxconnectorhttpimpl.so"]
FILE = re.compile(r"<!-- file: (\S+) -->\n```\w+\n(.*?)^```", re.DOTALL | re.MULTILINE)
EXAMPLES = r"<!-- {}: (\S+) -->\n```console\n(.*?)^```"

# Libraries that the host refuses, and what it says of them.
REFUSED = {
    "old": ("static struct { unsigned abi; } m = {99}; extern \"C\" "
            "void* connector_provider_module() { return &m; }",
            "It was built for version 99 of the interface, and this host has version 1."),
    "throwing": ("void make() { throw 42; }\n"
                 "static struct { unsigned abi; void (*make)(); } m = {1, make}; extern \"C\" "
                 "void* connector_provider_module() { return &m; }", "Unknown exception."),
    "empty": ("", "It exports no function connector_provider_module."),
    "unlinked": ("void missing(); void f() { missing(); }", "undefined symbol"),
}


def run(*command, cwd=None, **environment):
    done = subprocess.run(command, cwd=cwd, text=True, env={**os.environ, **environment},
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}\n{done.stdout}")
    return done.stdout


def examples(text):
    """What is typed, behind "$" into a shell or behind ">" into a console, and what comes back."""
    for example in re.split(r"^(?=[$>] )", text, flags=re.MULTILINE)[1:]:
        typed, _, answer = example.partition("\n")
        yield typed[0], typed[2:], answer


class Server:
    """A program that serves until its standard input ends, and tells its port first."""

    def __init__(self, *command, last_line=None, **environment):
        self.last_line = last_line
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True, bufsize=1, env={**os.environ, **environment})
        self.port = re.search(r"(?:localhost:|HTTP: )(\d+)", self.process.stdout.readline())[1]

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.process.communicate(self.last_line, timeout=30)
        finally:
            self.process.kill()
        if self.process.returncode != 0:
            raise AssertionError(f"The program ended with {self.process.returncode}")

    def check(self, test, text):
        for kind, typed, answer in examples(text.replace("31415", self.port)):
            with test.subTest(typed=typed):
                if kind == "$":
                    shown = run("sh", "-c", typed)
                else:
                    self.process.stdin.write(typed + "\n")
                    shown = "".join(iter(self.process.stdout.readline, "\n"))
                test.assertEqual(shown, answer)


def shout(port, text):
    """What a WebSocket of the port sends back."""
    with socket.create_connection(("localhost", int(port)), timeout=30) as client:
        client.sendall(b"GET /shout HTTP/1.1\r\nHost: x\r\nConnection: Upgrade\r\n"
                       b"Upgrade: websocket\r\nSec-WebSocket-Version: 13\r\nSec-WebSocket-Key: "
                       + base64.b64encode(bytes(16)) + b"\r\n\r\n")
        stream = client.makefile("rb")
        while stream.readline() not in (b"\r\n", b""):
            pass
        client.sendall(bytes([0x81, 0x80 | len(text), 0, 0, 0, 0]) + text)  # masked by zeros
        return stream.read(2 + len(text))[2:]


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.prefix = os.path.join(cls.folder.name, "installed")
        run("cmake", "--install", BUILD, "--prefix", cls.prefix, "--strip")
        cls.library_dir, = {os.path.dirname(path) for path in
                            glob.glob(cls.prefix + "/lib/**/" + LIBRARIES[0], recursive=True)}
        cls.host = cls.prefix + "/bin/connector-host"
        cls.flags = run("pkg-config", "--cflags", "--libs", "connector-http",
                        PKG_CONFIG_PATH=cls.library_dir + "/pkgconfig").split()
        with open(os.path.join(SOURCE, "docs/embedding.md"), encoding="utf-8") as file:
            cls.document = file.read()
        for name, text in FILE.findall(cls.document):
            path = os.path.join(cls.folder.name, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)

    def build(self, source, binary):
        run("cmake", "-S", source, "-B", binary, f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", binary)

    def test_libraries_have_versions_and_no_search_path(self):
        for name in LIBRARIES:
            dynamic = run("readelf", "-d", os.path.join(self.library_dir, name))
            self.assertIn(f"soname: [{name}.1]", dynamic)
            self.assertNotRegex(dynamic, "RPATH|RUNPATH")
        self.assertNotRegex(run("readelf", "-d", self.host), "RPATH|RUNPATH")

    def test_nothing_names_a_path_of_the_build(self):
        for folder, _, names in os.walk(self.prefix):
            for name in names:
                with open(os.path.join(folder, name), "rb") as file:
                    content = file.read()
                for path in (BUILD, SOURCE, self.prefix):
                    self.assertNotIn(os.fsencode(path), content, name)

    def test_every_header_compiles_with_what_is_installed(self):
        include = self.prefix + "/include/"
        with open(self.folder.name + "/headers.cpp", "w", encoding="utf-8") as file:
            for path in sorted(glob.glob(include + "**/*.h", recursive=True)):
                file.write(f"#include <{path.removeprefix(include)}>\n")
        run("c++", "-fsyntax-only", "headers.cpp", *self.flags, cwd=self.folder.name)

    def test_the_programs_of_the_document_run_as_they_stand(self):
        programs = re.findall(EXAMPLES.format("run"), self.document, re.DOTALL | re.MULTILINE)
        self.assertEqual([name for name, _ in programs], ["hello", "board"])
        for name, text in programs:
            folder = os.path.join(self.folder.name, name)
            self.build(folder, folder + "/build")
            run("c++", "main.cpp", "-o", name, *self.flags, cwd=folder)
            for program in (f"{folder}/build/{name}", f"{folder}/{name}"):
                with Server(program, LD_LIBRARY_PATH=self.library_dir) as server:
                    server.check(self, text)
                    if name == "board":
                        self.assertEqual(shout(server.port, b"hello"), b"HELLO")

    def test_the_host_loads_the_example_of_a_provider(self):
        (name, text), = re.findall(EXAMPLES.format("host"), self.document, re.DOTALL | re.MULTILINE)
        binary = self.folder.name + "/provider"
        self.build(os.path.join(SOURCE, "examples/provider"), binary)
        with Server(self.host, "--no-secure", "--provider", f"/{name}={binary}/lib{name}.so",
                    last_line="quit\n", LD_LIBRARY_PATH=self.library_dir) as server:
            server.process.stdout.readline()  # the address
            server.check(self, text)

    def test_the_host_refuses_other_libraries(self):
        for name, (source, reason) in {**REFUSED, "absent": (None, "cannot open")}.items():
            path = os.path.join(self.folder.name, name + ".so")
            if source is not None:
                subprocess.run(["c++", "-shared", "-fPIC", "-x", "c++", "-", "-o", path],
                               input=source, text=True, check=True)
            done = subprocess.run([self.host, "--no-secure", "--provider", "/x=" + path],
                                  env={**os.environ, "LD_LIBRARY_PATH": self.library_dir},
                                  text=True, capture_output=True, check=False, timeout=30)
            self.assertEqual(done.returncode, 1)
            self.assertIn(f"connector-host: Cannot load the provider {path}: ", done.stderr)
            self.assertIn(reason, done.stderr)

    def test_a_subdirectory_brings_the_libraries_alone(self):
        folder = self.folder.name + "/subdirectory"
        os.makedirs(folder)
        with open(folder + "/CMakeLists.txt", "w", encoding="utf-8") as file:
            file.write("cmake_minimum_required(VERSION 3.25)\nproject(user LANGUAGES CXX)\n"
                       f'add_subdirectory("{SOURCE}" connector)\n'
                       "add_library(user INTERFACE)\n"
                       "target_link_libraries(user INTERFACE connector::contract connector::http)")
        run("cmake", "-S", folder, "-B", folder + "/build", "-G", "Ninja")
        targets = run("ninja", "-C", folder + "/build", "-t", "targets", "all")
        self.assertIn("libqxconnectorhttpimpl.so.1.0.0", targets)
        self.assertNotRegex(targets, "_test|micro-pipeline|connector-host|connector-embed")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
