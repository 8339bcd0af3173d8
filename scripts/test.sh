#!/bin/sh
# Builds everything and runs all tests.
# usage: scripts/test.sh [PRESET [arguments of ctest]]     PRESET: dev (default), asan, tsan, release
set -eu

preset=${1:-dev}
[ $# -eq 0 ] || shift

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build test
cmake --preset "$preset" -DCONNECTOR_TESTS=ON
cmake --build --preset "$preset"
exec ctest --preset "$preset" --parallel "$(nproc)" "$@"
