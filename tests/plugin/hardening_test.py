#!/usr/bin/env python3
"""The programs and libraries named are built so that a fault of memory is harder to exploit."""

import re
import subprocess
import sys

EACH = ["Type: +DYN", "GNU_RELRO", "FLAGS_1.* NOW", "GNU_STACK.* RW ", "__stack_chk_fail"]
CHECKED = r"__(?!stack)\w+_chk"  # by _FORTIFY_SOURCE, where a size is known only at run time


def describe(binary):
    return "".join(subprocess.check_output([*command, binary], text=True)
                   for command in (["readelf", "-hdlW"], ["nm", "-D"]))


texts = {binary: describe(binary) for binary in sys.argv[1:]}
missing = [f"{binary}: {pattern}" for binary, text in texts.items()
           for pattern in EACH + ["FLAGS_1.* PIE"] * ("INTERP" in text)
           if not re.search(pattern, text)]
if not re.search(CHECKED, "".join(texts.values())):
    missing.append(CHECKED)
sys.exit("\n".join(missing) or 0)
