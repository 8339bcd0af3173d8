#!/bin/sh
# Builds what the gate measures and runs it: instructions and system calls of a request, against
# bounds. The arguments go to bench/gate.py.
set -eu

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build gate
cmake --preset release -DCONNECTOR_BENCH=ON
cmake --build --preset release --target connector-host bare-server bare-websocket-server
exec bench/gate.py build/release "$@"
