#!/bin/sh
# Builds the host and holds it against crowds of idle, slow and waiting clients. The arguments go to
# bench/load.py.
set -eu

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build bench load
cmake --preset release -DCONNECTOR_BENCH=ON
cmake --build --preset release --target connector-host load-host
exec bench/load.py build/release "$@"
