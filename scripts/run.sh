#!/bin/sh
# Builds the host (Release, in build/release) and runs it with the arguments given, on examples/site
# when they name no directory to serve, and with a certificate in the user's state folder when they
# say nothing of one, so that what a browser was told to accept survives a restart.
# usage: scripts/run.sh [arguments of connector-host]
set -eu

root=$(CDPATH='' cd -- "$(dirname -- "$0")/.." && pwd)

# Tells what the arguments leave open: wants_site where they name no directory and leave the root
# route free, wants_certificate where they neither name one nor rule HTTPS out, neither where they
# only ask for a text. They are read as the host reads them: an option's value is the next argument
# or follows "=".
read_arguments() {
    wants_site=yes
    wants_certificate=yes
    while [ $# -gt 0 ]; do
        case "$1" in
            --content | --cached-content)
                wants_site=no
                shift
                ;;
            --content=* | --cached-content=* | --constant=/=* | --proxy=/=* | --provider=/=* | --echo=/) wants_site=no ;;
            --help | -h | --version)
                wants_site=no
                wants_certificate=no
                ;;
            --constant | --proxy | --provider | --echo)
                case "${2:-}" in / | /=*) wants_site=no ;; esac
                shift
                ;;
            --certificate)
                wants_certificate=no
                shift
                ;;
            --certificate=* | --no-secure) wants_certificate=no ;;
            --port | --secure-port | --set | --log-level | --log-file | --proxy-limit | --upstream-timeout | --max-connections)
                shift
                ;;
            --)
                [ $# -eq 1 ] || wants_site=no
                break
                ;;
            -?*) ;;
            *) wants_site=no ;;
        esac
        [ $# -eq 0 ] || shift
    done
}

# Prints the certificate's place after making its folder, which nobody else may enter. Where there is
# none the host makes a certificate for this run alone.
certificate_place() {
    state=${XDG_STATE_HOME:-${HOME:+$HOME/.local/state}}
    if [ -z "$state" ] || ! mkdir -p -- "$state" || ! (umask 077 && mkdir -p -- "$state/connector"); then
        echo "run.sh: no place for a certificate; this run's will not be kept" >&2
        return 1
    fi
    printf '%s\n' "$state/connector/certificate.pem"
}

"$root/scripts/install-deps.sh" build
(
    cd "$root"
    cmake --preset release
    cmake --build --preset release --target connector-host
) </dev/null >&2

read_arguments "$@"
if [ $wants_site = yes ]; then
    set -- --content "/=$root/examples/site" "$@"
fi
if [ $wants_certificate = yes ] && certificate=$(certificate_place); then
    set -- --certificate "$certificate" "$@"
fi
exec "$root/build/release/host/connector-host" "$@"
