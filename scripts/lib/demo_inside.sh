#!/usr/bin/env bash
# The demo's other half: runs in the private namespaces that scripts/demo made.
set -euo pipefail
# shellcheck source-path=SCRIPTDIR
# shellcheck source=common.sh
. "$(dirname "${BASH_SOURCE[0]}")/common.sh"
# shellcheck source=demo_steps.sh
. "$ROOT/scripts/lib/demo_steps.sh"
# shellcheck source=../../tests/sandbox/harness/private_mounts.sh
. "$ROOT/tests/sandbox/harness/private_mounts.sh"

# Before the mounts, which may hide the folder that this checkout is in.
bus_config=$(cat "$ROOT/tests/sandbox/harness/bus.conf")
demo_groups=()
for file in "$ROOT"/scripts/demo.d/*.sh; do
    # shellcheck disable=SC1090 # one file per group
    . "$file"
done

# The first process of a PID namespace ignores signals that it does not handle.
trap 'exit 130' INT TERM

make_private_mounts "$1"
mkdir /run/tirvad
export DBUS_SYSTEM_BUS_ADDRESS=unix:path=/run/dbus/system_bus_socket

start_bus
start_kex
for group in "${demo_groups[@]}"; do
    "$group"
done
stop_kex
finish
