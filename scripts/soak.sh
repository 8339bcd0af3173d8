#!/bin/sh
# Builds the host with ThreadSanitizer and lets clients of all kinds come, go, stall and reset while
# servers are stopped and started.
# usage: scripts/soak.sh [SECONDS]     600 without it
set -eu

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build test
cmake --preset tsan
cmake --build --preset tsan --target connector-host
exec bench/soak.py build/tsan "$@"
