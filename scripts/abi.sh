#!/bin/sh
# Compares the binary interface of both libraries, as far as the public headers declare it, with the
# one that is kept in abi/. What was added passes; what was removed or changed fails. "--accept" keeps
# the present interface instead (see docs/stability.md).
# usage: scripts/abi.sh [--accept]
set -eu

cd "$(dirname -- "$0")/.."
scripts/install-deps.sh build abi
cmake --preset abi >/dev/null
cmake --build --preset abi

failed=0
for library in contract/libqxconnectorcontract plugin/libqxconnectorhttpimpl; do
    name=${library#*/}
    present=build/abi/$name.abi
    tools/private_symbols.py "build/abi/$library.so" build/abi/include >"build/abi/$name.suppr"
    abidw --headers-dir build/abi/include --drop-private-types --exported-interfaces-only \
        --no-corpus-path --no-comp-dir-path --no-show-locs --suppressions "build/abi/$name.suppr" \
        --out-file "$present" "build/abi/$library.so"
    if [ "${1:-}" = --accept ]; then
        xz -9 -c "$present" >"abi/$name.abi.xz"
        continue
    fi
    reference=build/abi/$name.reference.abi
    xz -dc "abi/$name.abi.xz" >"$reference"
    echo "$name:"
    # The report has the additions, the verdict does not count them.
    abidiff "$reference" "$present" || true
    abidiff --no-added-syms "$reference" "$present" >/dev/null || failed=1
done
exit $failed
