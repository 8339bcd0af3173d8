#!/bin/sh
# Builds the fuzz targets and runs each for SECONDS, as many at a time as there are processors. What
# they find out stays in build/fuzz/corpus and is where the next run goes on. Fails on a finding; the
# input that shows it is then in build/fuzz/findings.
# usage: scripts/fuzz.sh SECONDS [TARGET...]     TARGET: request chunks frames files json response
set -eu

seconds=${1:-}
case "$seconds" in
    "" | *[!0-9]*)
        sed -n '/^# usage: /s/..//p' "$0" >&2
        exit 2
        ;;
esac
shift
[ $# -gt 0 ] || set -- request chunks frames files json response

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build fuzz
cmake --preset fuzz
cmake --build --preset fuzz

cd build/fuzz
mkdir -p findings tmp
export seconds TMPDIR="$PWD/tmp" # where targets keep their files, should one be ended
for target in "$@"; do
    mkdir -p "corpus/$target"
    rm -f "$target.log"
done
# An input that takes ten seconds is a finding.
printf '%s\n' "$@" | xargs -P "$(nproc)" -I TARGET sh -c '
    "tests/fuzz/TARGET_fuzz" -max_total_time="$seconds" -max_len=10000 -timeout=10 \
        -print_final_stats=1 -dict=../../tests/fuzz/words.dict -artifact_prefix=findings/TARGET- \
        corpus/TARGET ../../tests/fuzz/seeds/TARGET >TARGET.log 2>&1
    echo "exit $?" >>TARGET.log' || true

failed=0
for target in "$@"; do
    executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$target.log")
    verdict=passed
    if [ "$(tail -n 1 "$target.log")" != "exit 0" ]; then
        verdict=FAILED
        failed=1
        tail -n 60 "$target.log"
    fi
    printf '%-10s %-8s %12s executions\n' "$target" "$verdict" "${executions:-no}"
done
rm -rf tmp
exit $failed
