# shellcheck shell=bash
# What the groups of the demo are written with: steps that show a call, its reply,
# the log lines that kex wrote and what became of the system, and that check it.

# shellcheck disable=SC2154 # bus_config, demo_groups: set by demo_inside.sh
NAME=com.orvel.bmc.network.kex
OBJECT=/com/orvel/bmc/network/kex
INTERFACE=com.orvel.bmc.network.KEX
LOG=/run/tirvad/kex.log

steps=0
failures=0
reply=
shown=
logged=
log_mark=0

if [ -t 1 ]; then
    bold=$'\e[1m' dim=$'\e[2m' red=$'\e[31m' green=$'\e[32m' blue=$'\e[34m' plain=$'\e[0m'
else
    bold='' dim='' red='' green='' blue='' plain=''
fi

# Prints text with a label before its first line.
labelled() { # COLOUR LABEL TEXT
    local label=$2 line
    while IFS= read -r line; do
        printf '  %s%-7s%s %s\n' "$1" "$label" "$plain" "$line"
        label=
    done <<<"$3"
}

wait_for() { # COMMAND...
    local deadline=$((SECONDS + 10))
    while [ "$SECONDS" -lt "$deadline" ]; do
        if "$@" >/dev/null 2>&1; then
            return
        fi
        sleep 0.02
    done
    die "waited in vain for: $*"
}

start_bus() {
    printf '%s\n' "$bus_config" >/run/dbus/demo.conf
    dbus-daemon --config-file=/run/dbus/demo.conf --nofork --nopidfile 2>/run/dbus/errors &
    wait_for test -S /run/dbus/system_bus_socket
}

start_kex() {
    printf '%skex starts%s\n' "$bold" "$plain"
    /run/sandbox/kex &
    kex_pid=$!
    wait_for busctl --system call "$NAME" / org.freedesktop.DBus.Peer Ping
    show_log
    check "kex owns its name on the bus" busctl --system call "$NAME" / \
        org.freedesktop.DBus.Peer Ping
    printf '\n'
}

stop_kex() {
    local status=0
    printf '%skex is stopped with SIGTERM%s\n' "$bold" "$plain"
    kill -TERM "$kex_pid"
    wait "$kex_pid" || status=$?
    show_log
    check "the exit status is 0" test "$status" -eq 0
    printf '\n'
}

finish() {
    if [ "$failures" -gt 0 ]; then
        printf '%s%d steps, %d checks FAILED%s\n' "$red" "$steps" "$failures" "$plain"
        exit 1
    fi
    printf '%s%d steps, each with the effect shown%s\n' "$green" "$steps" "$plain"
}

group() { # TITLE
    printf '%s=== %s ===%s\n\n' "$bold" "$1" "$plain"
}

step() { # TITLE
    steps=$((steps + 1))
    printf '%s%d. %s%s\n' "$bold" "$steps" "$1" "$plain"
}

# The log lines that kex has written since the last ones shown.
show_log() {
    logged=$(tail -c "+$((log_mark + 1))" "$LOG")
    log_mark=$(stat -c %s "$LOG")
    labelled "$dim" log "${logged:-(none)}"
}

# Calls ExecuteCommand; sets reply and logged.
call() { # COMMAND ARGUMENT...
    local command=$1
    shift
    labelled "$blue" call "ExecuteCommand $command ($(quoted "$@"))"
    reply=$(busctl --system --timeout=60 -- call "$NAME" "$OBJECT" "$INTERFACE" ExecuteCommand \
        sas "$INTERFACE.CmdID.$command" "$#" "$@" 2>&1) || true
    labelled "$blue" reply "$reply"
    show_log
}

quoted() {
    local word text=
    for word in "$@"; do
        text+="${text:+, }\"$word\""
    done
    printf '%s' "$text"
}

# Shows what a command prints about the system; sets shown.
show() { # COMMAND...
    shown=$("$@" 2>&1) || true
    labelled "$dim" "\$" "$*"
    labelled "$dim" "" "${shown:-(nothing)}"
}

check() { # TEXT COMMAND...
    local text=$1
    shift
    if "$@" >/dev/null 2>&1; then
        printf '  %sok%s      %s\n' "$green" "$plain" "$text"
    else
        printf '  %sFAILED%s  %s\n' "$red" "$plain" "$text"
        failures=$((failures + 1))
    fi
}

holds() { # TEXT PART
    [[ $1 == *"$2"* ]]
}

lacks() { # TEXT PART
    [[ $1 != *"$2"* ]]
}

# The checks of a step; the last of them ends it with an empty line.
replied() { # TEXT
    check "the reply is $1" holds "$reply" "$1"
}

has_logged() { # TEXT
    check "kex logged: $1" holds "$logged" "$1"
}

shows() { # TEXT
    check "shown: $1" holds "$shown" "$1"
}

shows_no() { # TEXT
    check "not shown: $1" lacks "$shown" "$1"
}

done_step() {
    printf '\n'
}
