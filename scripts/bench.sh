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
compare "$@" --rounds 3 --seconds 3 --workload "10 MB" handshakes # fewer requests, each a long one
compare "$@" --workload "websocket 64 B" "websocket 1 MB"
for connections in 1 16 64 1000; do
    ${MEASURE:-} bench/loops.py build/release --json docs/figures.json --connections $connections "$@"
done
bench/tables.py docs/figures.json docs/performance.md docs/cpu-per-request.svg
