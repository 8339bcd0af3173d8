#!/bin/sh
# Installs the Debian packages that are missing. Groups: build (the default), test, lint, gate, docs, abi, bench, load, fuzz.
# usage: scripts/install-deps.sh [GROUP...]
set -eu

packages_of() {
    case "$1" in
        build) echo "g++ cmake ninja-build ccache libpoco-dev libssl-dev libboost-log-dev \
            libboost-thread-dev libboost-regex-dev libcli11-dev" ;;
        test) echo "libgtest-dev libgmock-dev libbenchmark-dev python3 binutils pkg-config curl openssl \
            nginx-light chromium libnss3-tools nodejs"
            # Some builds of nodejs bring it along.
            command -v npm >/dev/null || echo npm ;;
        lint) echo "clang-format-14 clang-tidy-14 python3" ;;
        gate) echo "libbenchmark-dev python3 valgrind strace" ;;
        bench) echo "libbenchmark-dev python3 wrk openssl nginx-light h2o libcivetweb-dev \
            libmicrohttpd-dev" ;;
        docs) echo "doxygen" ;;
        abi) echo "abigail-tools xz-utils" ;;
        load) echo "python3 slowhttptest" ;;
        fuzz) echo "clang libclang-rt-14-dev llvm" ;;
        *)
            echo "install-deps.sh: unknown group \"$1\" (build, test, lint, gate, docs, abi, bench, load, fuzz)" >&2
            exit 2
            ;;
    esac
}

is_installed() {
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

[ $# -gt 0 ] || set -- build
missing=
for group in "$@"; do
    # Not in the "for" list, where a failure would go unnoticed.
    packages=$(packages_of "$group")
    for package in $packages; do
        is_installed "$package" || missing="$missing $package"
    done
done
[ -n "$missing" ] || exit 0

as_root=
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "install-deps.sh: needs root or sudo to install:$missing" >&2
        exit 1
    fi
    as_root=sudo
fi

# Standard output belongs to the program that the caller runs next, standard input too.
echo "Installing:$missing" >&2
$as_root apt-get -qq update </dev/null >&2
# A run level of 1 keeps packages from starting their services: nginx is there for the tests alone.
# shellcheck disable=SC2086
$as_root env DEBIAN_FRONTEND=noninteractive RUNLEVEL=1 \
    apt-get -qq install --yes --no-install-recommends $missing </dev/null >&2
