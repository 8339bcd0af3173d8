#!/usr/bin/env python3
"""The documents tell the truth: excerpts equal the sources they are from, linked files exist.

usage: docs_test.py ROOT
"""

import os
import re
import sys
import unittest

ROOT = sys.argv[1]
DOCUMENTS = ["README.md", "CONTRIBUTING.md", "docs/architecture.md",
             "docs/embedding.md", "docs/life-of-a-request.md", "docs/operating.md",
             "docs/performance.md", "docs/stability.md"]
EXCERPT = re.compile(r"<!-- from: (\S+) -->\n```\w*\n(.*?)```", re.DOTALL)
LINK = re.compile(r"\]\((?!\w+:)([^)#]+)[^)]*\)")


def read(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


class Documents(unittest.TestCase):
    def test_excerpts_are_in_their_sources(self):
        excerpts = [match for name in DOCUMENTS for match in EXCERPT.findall(read(name))]
        self.assertTrue(excerpts)
        for path, text in excerpts:
            with self.subTest(path=path):
                self.assertIn(text, read(path))

    def test_named_files_exist(self):
        for name in DOCUMENTS:
            text = re.sub(r"^```.*?^```", "", read(name), flags=re.DOTALL | re.MULTILINE)
            paths = {os.path.join(os.path.dirname(name), link) for link in LINK.findall(text)}
            paths |= set(re.findall(r"`([\w.]+/[\w./]+\.\w+)`", text))
            for path in sorted(paths):
                with self.subTest(document=name, path=path):
                    self.assertTrue(os.path.exists(os.path.join(ROOT, path)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
