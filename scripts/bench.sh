#!/bin/sh
# Measures everything that docs/performance.md has figures of, and writes its tables and its picture.
# Takes about twenty minutes, in which the machine should do nothing else. MEASURE may hold a command
# that each part is run by, one that waits for a quiet machine for instance.
# usage: [MEASURE=COMMAND] scripts/bench.sh [--rounds N] [--seconds N]
set -eu

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build bench
cmake --preset release -DCONNECTOR_BENCH=ON
cmake --build --preset release --target connector-host bench_servers

compare() {
    ${MEASURE:-} bench/compare.py build/release --json docs/figures.json "$@"
}

compare "$@" --workload constant "no cookie"
compare "$@" --workload "1 KB" "connection per request"
compare "$@" --workload "64 KB"
compare "$@" --workload "10 MB" handshakes
compare "$@" --workload "websocket 64 B" "websocket 1 MB"
${MEASURE:-} bench/loops.py build/release --json docs/figures.json "$@"
bench/tables.py docs/figures.json docs/performance.md docs/cpu-per-request.svg
