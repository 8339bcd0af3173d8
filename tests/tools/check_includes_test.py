#!/usr/bin/env python3
"""The include check catches wrong includes and lets right ones pass."""

import contextlib
import io
import os
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tools"))
import check_includes  # noqa: E402

# source, include, whether it passes
TABLE = [
    ("contract/messaging/A.cpp", '"contract/common/B.h"', True),
    ("contract/common/A.cpp", '"contract/messaging/B.h"', False),
    ("contract/http/A.cpp", '"contract/platform/B.h"', False),
    ("server/A.cpp", '"contract/http/B.h"', True),
    ("server/A.cpp", '"manager/B.h"', False),
    ("manager/A.cpp", '"server/B.h"', True),
    ("pipeline/A.cpp", '"client/B.h"', False),
    ("pipeline/A.cpp", '"B.h"', False),
    ("pipeline/A.cpp", '"host/B.h"', False),
    ("host/A.cpp", '"pipeline/B.h"', True),
    ("examples/A.cpp", '"host/B.h"', False),
    ("tests/streams/A.cpp", '"contract/streams/B.h"', True),
    ("tests/pipeline/A.cpp", '"staticcontent/B.h"', False),
    ("tests/wire/A.cpp", '"host/B.h"', True),
    ("nowhere/A.cpp", "<vector>", False),
    ("pipeline/A.cpp", "<regex>", False),
    ("pipeline/A.cpp", "<boost/regex.hpp>", True),
    ("server/A.cpp", "<boost/regex.hpp>", False),
    ("server/A.cpp", "<Poco/Net/HTTPServer.h>", True),
    ("manager/A.cpp", "<Poco/Net/HTTPServer.h>", False),
    ("manager/RegistryJson.cpp", "<Poco/JSON/Object.h>", True),
    ("manager/A.cpp", "<Poco/JSON/Object.h>", False),
    ("client/A.cpp", "<openssl/ssl.h>", False),
    ("contract/common/A.cpp", "<boost/log/core.hpp>", False),
    ("server/A.cpp", "<nlohmann/json.hpp>", False),
    ("server/A.cpp", "<server/B.h>", False),
]


class CheckIncludes(unittest.TestCase):
    def faults(self, path, text):
        with tempfile.TemporaryDirectory() as root:
            for header in ("contract/common/B.h", "contract/messaging/B.h", "contract/http/B.h",
                           "contract/platform/B.h", "contract/streams/B.h", "manager/B.h",
                           "server/B.h", "pipeline/B.h", "staticcontent/B.h", "client/B.h",
                           "host/B.h"):
                self.write(root, header, "#pragma once\n")
            if path.startswith("nowhere"):
                path = "tests/" + path
            self.write(root, path, text)
            with contextlib.redirect_stdout(io.StringIO()):
                return check_includes.check(root)[1]

    @staticmethod
    def write(root, path, text):
        os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
        with open(os.path.join(root, path), "w", encoding="utf-8") as file:
            file.write(text)

    def test_include_direction(self):
        for path, header, passes in TABLE:
            with self.subTest(path=path, header=header):
                self.assertEqual(self.faults(path, f"#include {header}\n"), 0 if passes else 1)

    def test_header_without_pragma_once_and_long_source(self):
        self.assertEqual(self.faults("server/A.h", "#include <vector>\n"), 1)
        self.assertEqual(self.faults("server/A.cpp", "\n" * 400), 0)
        self.assertEqual(self.faults("server/A.cpp", "\n" * 401), 1)


if __name__ == "__main__":
    unittest.main()
