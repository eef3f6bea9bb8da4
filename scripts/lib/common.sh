# shellcheck shell=bash
# shellcheck disable=SC2034 # used by the scripts that source this
# Shared by the scripts: where things are, and how they speak.

ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
BUILD=$ROOT/build
RESULTS=$BUILD/results

# Debian's own tools, whatever else the user has put before them.
export PATH="/usr/sbin:/usr/bin:/sbin:/bin:$PATH"

say() {
    printf '%s\n' "$*" >&2
}

die() {
    say "error: $*"
    exit 1
}

# Runs a command; its output is seen only when it fails.
quietly() {
    local log status=0
    log=$(mktemp)
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if [ "$status" -ne 0 ]; then
        cat "$log" >&2
        say "failed ($status): $*"
    fi
    rm -f "$log"
    return "$status"
}

need_root() {
    if [ "$(id -u)" -ne 0 ]; then
        say "error: must run as root (private namespaces, packages)"
        return 1
    fi
}
