#!/bin/sh
# Makes the reference of the public headers in build/doc/html; a warning is a failure.
set -eu

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build docs
# To configure is enough: that makes the headers as they are installed.
cmake -S . -B build/doc/configured -G Ninja -DCONNECTOR_TESTS=OFF -DCONNECTOR_BENCH=OFF >/dev/null
doxygen docs/Doxyfile
