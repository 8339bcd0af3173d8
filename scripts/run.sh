#!/bin/sh
# Builds the host (Release, in build/release) and runs it with the arguments given, on examples/site
# when they name no directory to serve.
# usage: scripts/run.sh [arguments of connector-host]
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)

# Tells whether the arguments leave no place for examples/site: they name a directory, take the root
# route or only ask for a text. They are read as the host reads them: an option's value is the next
# argument or follows "=".
names_directory() {
    while [ $# -gt 0 ]; do
        case "$1" in
            --content | --content=* | --cached-content | --cached-content=*) return 0 ;;
            --help | -h | --version) return 0 ;;
            --constant=/=* | --proxy=/=* | --echo=/) return 0 ;;
            --constant | --proxy | --echo)
                case "${2:-}" in / | /=*) return 0 ;; esac
                shift
                ;;
            --port | --secure-port | --certificate | --set | --log-level | --log-file) shift ;;
            --)
                [ $# -gt 1 ]
                return
                ;;
            -?*) ;;
            *) return 0 ;;
        esac
        [ $# -eq 0 ] || shift
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
