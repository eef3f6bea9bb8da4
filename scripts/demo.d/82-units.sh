# shellcheck shell=bash
# Units of systemd, whose manager is played by the stand-in of the tests.

# Read now: the folder of the checkout may be hidden later.
systemd_stand_in=$(cat "$ROOT/tests/sandbox/systemd_stand_in.py")
systemd_calls=/run/sandbox/systemd_calls

systemd_owned() {
    busctl --system call org.freedesktop.DBus /org/freedesktop/DBus org.freedesktop.DBus \
        GetNameOwner s org.freedesktop.systemd1
}

systemd_gone() {
    ! systemd_owned
}

start_systemd() { # SECONDS-OF-A-JOB
    : >"$systemd_calls"
    /usr/bin/python3 -c "$systemd_stand_in" "$systemd_calls" "$1" &
    systemd_pid=$!
    wait_for systemd_owned
}

stop_systemd() {
    kill "$systemd_pid"
    wait "$systemd_pid" || true
    wait_for systemd_gone
}

group_units() {
    local systemd_pid before
    group "Units of systemd (on a stand-in for its manager)"
    start_systemd 1

    step "Start a service: its failed state is cleared, then systemd gets a job"
    call SYSTEMD_SERVICE_CTRL start dhcpcd false
    show cat "$systemd_calls"
    replied "i 0"
    has_logged "completed dhcpcd start"
    has_logged "rc=0"
    shows "ResetFailedUnit dhcpcd.service"
    shows "StartUnit dhcpcd.service replace"
    shows_no "Get"
    done_step

    step "Restart another and wait for its job, which takes a second"
    : >"$systemd_calls"
    before=$EPOCHREALTIME
    call SYSTEMD_SERVICE_CTRL restart systemd-networkd true
    show cat "$systemd_calls"
    has_logged "rc=0"
    shows "RestartUnit systemd-networkd.service replace"
    shows "Get org.freedesktop.systemd1.Job State"
    check "the call took a second or more" \
        test $((${EPOCHREALTIME/[.,]/} - ${before/[.,]/})) -ge 1000000
    done_step

    step "A service that is not on the list"
    : >"$systemd_calls"
    call SYSTEMD_SERVICE_CTRL start sshd false
    show cat "$systemd_calls"
    has_logged "ERROR - invalid parm list"
    check "systemd was not called" test ! -s "$systemd_calls"
    done_step

    stop_systemd
    step "No systemd on the bus"
    call SYSTEMD_SERVICE_CTRL stop radvd true
    replied "i 0"
    has_logged "ERROR - systemd D-Bus call failed"
    has_logged "rc1=-113 rc=-113"
    done_step
}
demo_groups+=(group_units)
