#!/usr/bin/env python3
"""scripts/run.sh reads the arguments as the host does.

usage: run_script_test.py RUN_SCRIPT HOST
"""

import re
import subprocess
import sys
import unittest

SCRIPT, HOST = sys.argv[1:3]

# arguments, whether they leave no place for examples/site
TABLE = [
    ([], False),
    (["--port", "8080"], False),
    (["--port=8080", "--no-secure"], False),
    (["--constant", "/a=200,text"], False),
    (["--constant", "/=200,text"], True),
    (["--echo", "/"], True),
    (["--echo", "/e"], False),
    (["--log-file"], False),
    (["--"], False),
    (["site"], True),
    (["--port", "8080", "site"], True),
    (["--no-secure", "site"], True),
    (["--", "-site"], True),
    (["--content", "/=site"], True),
    (["--cached-content=/=site"], True),
    (["--version"], True),
]


class RunScript(unittest.TestCase):
    def setUp(self):
        with open(SCRIPT, encoding="utf-8") as file:
            self.function = re.search(r"^names_directory\(\) \{\n.*?^\}\n", file.read(),
                                      re.MULTILINE | re.DOTALL)[0]

    def test_site_is_added_where_nothing_is_named(self):
        for arguments, named in TABLE:
            with self.subTest(arguments=arguments):
                result = subprocess.run(
                    ["sh", "-euc", self.function + 'if names_directory "$@"; then exit 9; fi',
                     "sh", *arguments], check=False, timeout=10)
                self.assertEqual(result.returncode, 9 if named else 0)

    def test_every_option_with_a_value_is_known(self):
        text = subprocess.run([HOST, "--help"], check=True, text=True, timeout=10,
                              stdout=subprocess.PIPE).stdout
        options = re.findall(r"^\s+(--[\w-]+) [A-Z]+\b(?!:)", text, re.MULTILINE)
        self.assertIn("--port", options)
        for option in options:
            self.assertRegex(self.function, rf"{option}(?=[ )])")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
