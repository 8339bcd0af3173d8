#!/usr/bin/env python3
"""What `cmake --install` installs is complete: programs out of the tree build against it and run.

usage: install_test.py BUILD_DIRECTORY SOURCE_DIRECTORY
"""

import glob
import os
import subprocess
import sys
import tempfile
import unittest

BUILD, SOURCE = (os.path.abspath(path) for path in sys.argv[1:3])
LIBRARIES = ["libqxconnectorcontract.so", "libqxconnectorhttpimpl.so"]
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(user LANGUAGES CXX)
find_package(connector 1.0 CONFIG REQUIRED)
add_executable(user main.cpp)
target_link_libraries(user PRIVATE connector::contract connector::http)
"""


def run(*command, cwd=None, **environment):
    done = subprocess.run(command, cwd=cwd, text=True, env={**os.environ, **environment},
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)}\n{done.stdout}")
    return done.stdout


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.prefix = os.path.join(cls.folder.name, "installed")
        run("cmake", "--install", BUILD, "--prefix", cls.prefix, "--strip")
        cls.library_dir, = {os.path.dirname(path) for path in
                            glob.glob(cls.prefix + "/lib/**/" + LIBRARIES[0], recursive=True)}
        cls.headers = sorted(glob.glob(cls.prefix + "/include/**/*.h", recursive=True))

    def make_folder(self, **files):
        folder = tempfile.mkdtemp(dir=self.folder.name)
        for name, text in files.items():
            with open(os.path.join(folder, name.replace("_", ".")), "w", encoding="utf-8") as file:
                file.write(text)
        return folder

    def test_libraries_have_versions_and_no_search_path(self):
        for name in LIBRARIES:
            dynamic = run("readelf", "-d", os.path.join(self.library_dir, name))
            self.assertIn(f"soname: [{name}.1]", dynamic)
            self.assertNotRegex(dynamic, "RPATH|RUNPATH")
        host = run("readelf", "-d", self.prefix + "/bin/connector-host")
        self.assertNotRegex(host, "RPATH|RUNPATH")

    def test_nothing_names_a_path_of_the_build(self):
        for folder, _, names in os.walk(self.prefix):
            for name in names:
                with open(os.path.join(folder, name), "rb") as file:
                    content = file.read()
                for path in (BUILD, SOURCE, self.prefix):
                    self.assertNotIn(os.fsencode(path), content, name)

    def test_all_headers_compile_by_either_way(self):
        includes = "".join(f"#include <{os.path.relpath(path, self.prefix + '/include')}>\n"
                           for path in self.headers)
        program = includes + """
int main() { return connector::Address(libqxconnectorhttpimpl_version).empty(); }
"""
        folder = self.make_folder(main_cpp=program, CMakeLists_txt=PROJECT)
        run("cmake", "-S", folder, "-B", folder + "/build", f"-DCMAKE_PREFIX_PATH={self.prefix}")
        run("cmake", "--build", folder + "/build")
        run(folder + "/build/user")
        flags = run("pkg-config", "--cflags", "--libs", "connector-http",
                    PKG_CONFIG_PATH=self.library_dir + "/pkgconfig").split()
        run("c++", "-fsyntax-only", "main.cpp", *flags, cwd=folder)

    def test_a_subdirectory_brings_the_libraries_alone(self):
        project = PROJECT.replace("find_package(connector 1.0 CONFIG REQUIRED)",
                                  f'add_subdirectory("{SOURCE}" connector)')
        folder = self.make_folder(main_cpp="int main() {}", CMakeLists_txt=project)
        run("cmake", "-S", folder, "-B", folder + "/build", "-G", "Ninja")
        targets = run("ninja", "-C", folder + "/build", "-t", "targets", "all")
        self.assertIn("libqxconnectorhttpimpl.so.1.0.0", targets)
        self.assertNotRegex(targets, "_test|micro-pipeline|connector-host|connector-embed")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
