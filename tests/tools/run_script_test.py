#!/usr/bin/env python3
"""scripts/run.sh reads the arguments as the host does.

usage: run_script_test.py RUN_SCRIPT HOST
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest

SCRIPT, HOST = sys.argv[1:3]

# arguments, whether examples/site and the user's certificate are added
TABLE = [
    ([], "yes yes"), (["--port", "8080"], "yes yes"), (["--port=8080", "--no-secure"], "yes no"),
    (["--certificate", "site"], "yes no"), (["--certificate=site", "site"], "no no"),
    (["--constant", "/a=200,text"], "yes yes"), (["--constant", "/=200,text"], "no yes"),
    (["--echo", "/"], "no yes"), (["--echo", "/e"], "yes yes"), (["--log-file"], "yes yes"),
    (["--"], "yes yes"), (["--", "--no-secure"], "no yes"), (["site"], "no yes"),
    (["--port", "8080", "site"], "no yes"), (["--no-secure", "site"], "no no"),
    (["--content", "/=site", "--no-secure"], "no no"), (["--cached-content=/=site"], "no yes"),
    (["--version"], "no no"),
]


class RunScript(unittest.TestCase):
    def setUp(self):
        with open(SCRIPT, encoding="utf-8") as file:
            text = file.read()
        self.functions = {name: re.search(rf"^{name}\(\) {{\n.*?^}}\n", text, re.M | re.S)[0]
                          for name in ("read_arguments", "certificate_place")}

    def shell(self, function, command, *arguments, **environment):
        return subprocess.run(["sh", "-euc", self.functions[function] + command, "sh", *arguments],
                              check=False, timeout=10, env={"PATH": os.defpath, **environment},
                              stdout=subprocess.PIPE, text=True)

    def test_what_is_not_named_is_added(self):
        for arguments, wanted in TABLE:
            with self.subTest(arguments=arguments):
                result = self.shell("read_arguments", 'read_arguments "$@"; '
                                    "echo $wants_site $wants_certificate", *arguments)
                self.assertEqual(result.stdout, wanted + "\n")

    def test_the_certificate_has_a_folder_of_its_own_if_there_is_a_place(self):
        with tempfile.TemporaryDirectory() as home:
            state = home + "/.local/state"
            for environment in ({"HOME": home}, {"XDG_STATE_HOME": state}):
                result = self.shell("certificate_place", "certificate_place", **environment)
                self.assertEqual(result.stdout, state + "/connector/certificate.pem\n")
                self.assertEqual(os.stat(state + "/connector").st_mode & 0o777, 0o700)
        self.assertEqual(self.shell("certificate_place", "certificate_place").returncode, 1)

    def test_every_option_with_a_value_is_known(self):
        text = subprocess.run([HOST, "--help"], check=True, text=True, timeout=10,
                              stdout=subprocess.PIPE).stdout
        options = re.findall(r"^\s+(--[\w-]+) [A-Z]+\b(?!:)", text, re.MULTILINE)
        self.assertIn("--port", options)
        for option in options:
            self.assertRegex(self.functions["read_arguments"], rf"{option}(?=[ )])")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
