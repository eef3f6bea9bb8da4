# shellcheck shell=sh
# Sourced by a shell that has private mount, network, UTS, IPC and PID namespaces:
# gives it folders of its own, in which anything can be laid over the machine's.
# The tests and the demo share it. The program under test is found at
# /run/sandbox/kex.

make_private_mounts() { # BINARY
    mount -t tmpfs tmpfs /run
    mkdir /run/sandbox
    : >/run/sandbox/kex
    mount --bind "$1" /run/sandbox/kex
    for folder in etc usr; do
        mkdir "/run/sandbox/$folder" "/run/sandbox/$folder.work"
        mount -t overlay overlay -o \
            "lowerdir=/$folder,upperdir=/run/sandbox/$folder,workdir=/run/sandbox/$folder.work" \
            "/$folder"
    done
    mount -t tmpfs tmpfs /tmp
    mount -t proc proc /proc
    mount -t sysfs sysfs /sys
    # A stand-in for configfs, which belongs to the whole machine.
    mount -t tmpfs tmpfs /sys/kernel
    mkdir -p /run/dbus /run/systemd/journal /sys/kernel/config
    ip link set lo up
}
