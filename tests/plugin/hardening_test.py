#!/usr/bin/env python3
"""Programs and libraries are built with the flags that make a fault of memory harder to exploit.

usage: hardening_test.py BINARY...
"""

import re
import subprocess
import sys


def output_of(*command):
    return subprocess.run(command, check=True, text=True, stdout=subprocess.PIPE).stdout


def faults_of(binary):
    file = output_of("readelf", "--file-header", "--dynamic", "--program-headers", "--wide", binary)
    imports = output_of("nm", "--dynamic", "--undefined-only", binary)
    executable = "INTERP" in file
    checks = {  # what is wrong where the check does not hold
        "not position independent": re.search(r"Type:\s+DYN", file)
                                    and (not executable or re.search(r"FLAGS_1.*\bPIE\b", file)),
        "no -z relro": "GNU_RELRO" in file,
        "no -z now": re.search(r"FLAGS_1.*\bNOW\b", file),
        "executable stack": re.search(r"GNU_STACK.* RW ", file),
        "no -fstack-protector-strong": "__stack_chk_fail" in imports,
    }
    return [fault for fault, holds in checks.items() if not holds]


def is_fortified(binary):
    """Whether it calls checked functions: few do, as most sizes are known or unknown for good."""
    return re.search(r"__(?!stack)\w+_chk\b", output_of("nm", "--dynamic", binary)) is not None


def main(*binaries):
    faults = {binary: faults_of(binary) for binary in binaries}
    fortified = any(map(is_fortified, binaries))
    print(f"{faults}, _FORTIFY_SOURCE: {fortified}")
    return 1 if any(faults.values()) or not fortified else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
