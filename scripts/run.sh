#!/bin/sh
# Builds the host (Release, in build/release) and runs it with the arguments given, on examples/site
# when they name no directory to serve.
# usage: scripts/run.sh [arguments of connector-host]
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)

# Tells whether the arguments name a directory to serve (or leave the host nothing to serve), reading
# them as the host does: these options take a value, as the next argument or after "=".
names_directory() {
    while [ $# -gt 0 ]; do
        case "$1" in
            --content | --content=* | --cached-content | --cached-content=*) return 0 ;;
            --help | -h | --version) return 0 ;;
            --port | --constant | --set | --log-level | --log-file)
                shift
                [ $# -gt 0 ] || return 0
                ;;
            --)
                [ $# -gt 1 ]
                return
                ;;
            -?*) ;;
            *) return 0 ;;
        esac
        shift
    done
    return 1
}

"$root/scripts/install-deps.sh" build
(
    cd "$root"
    cmake --preset release
    cmake --build --preset release --target connector-host
) </dev/null >&2

if ! names_directory "$@"; then
    set -- --content "/=$root/examples/site" "$@"
fi
exec "$root/build/release/host/connector-host" "$@"
