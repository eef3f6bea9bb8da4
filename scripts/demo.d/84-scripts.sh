# shellcheck shell=bash
# shellcheck disable=SC2154 # shown is the demo's
# Auto-configuration, firewall, dhcpcd and arping, played by programs that record
# how they were run.

program_calls=/run/sandbox/program_calls
pid_file=/run/tirvad/ostrelagent.pid

lay_program() { # PATH [STATUS]
    : >"$program_calls"
    mkdir -p "${1%/*}"
    rm -f "$1"
    printf '%s\n' '#!/bin/sh' "echo \"\$0\" \"\$@\" >>$program_calls" \
        'echo noise; echo noise >&2' "exit ${2:-0}" >"$1"
    chmod 755 "$1"
}

# A process with a command line of the caller's choice; sets agent.
start_process() { # NAME
    bash -c 'exec -a "$0" sleep 600' "$1" &
    agent=$!
    disown # the shell would report its end
    wait_for grep -qaF "$1" "/proc/$agent/cmdline"
    wait_for grep -qaF 600 "/proc/$agent/cmdline"
}

ended() { # PID
    local tries
    for tries in {1..200}; do
        [ -e "/proc/$1" ] || return 0
        sleep 0.02
    done
    return "$tries"
}

group_scripts() {
    local agent
    group "Scripts and tools (played by programs that record their calls)"

    step "Start the auto-configuration: its command string is one argument"
    lay_program /etc/plinth_script/network/systemautoconf.sh
    call AUTOCONF enable "scan all; now"
    show cat "$program_calls"
    replied "i 0"
    has_logged "starting server autoconfig"
    shows "systemautoconf.sh scan all; now"
    done_step

    step "Cancel it: the agent of the pid file is killed, the file removed"
    start_process /usr/bin/ostrelagent
    echo "$agent" >"$pid_file"
    call AUTOCONF disable
    has_logged "killed ostrelagent pid $agent rc=0"
    check "the agent is gone" ended "$agent"
    check "the pid file is gone" test ! -e "$pid_file"
    done_step

    step "A pid file that names another program: nothing is killed"
    start_process some-other-program
    echo "$agent" >"$pid_file"
    call AUTOCONF disable
    has_logged "wrong pid $agent dont kill some-other-program"
    check "the program still runs" kill -0 "$agent"
    check "the pid file is gone" test ! -e "$pid_file"
    done_step
    kill "$agent"

    step "Firewall: the link is passed on for dedipv4 only"
    lay_program /etc/plinth_script/network/fwctrl.sh
    call FIREWALL_CTRL dedipv4 true eth0
    call FIREWALL_CTRL ping false eth0
    show cat "$program_calls"
    shows "fwctrl.sh dedipv4 true eth0"
    shows "fwctrl.sh ping false"
    check "ping got no link" lacks "$shown" "ping false eth0"
    done_step

    step "The firewall script fails with 3: the raw status is logged"
    lay_program /etc/plinth_script/network/fwctrl.sh 3
    call FIREWALL_CTRL mdns true
    replied "i 0"
    has_logged "WARN - firewall config failed mdns true rc=768"
    done_step

    step "Release a DHCP lease"
    lay_program /usr/sbin/dhcpcd
    call DHCP_RELEASE ipv6 eth1
    show cat "$program_calls"
    has_logged "dhcp release ipv6 eth1 rc=0"
    shows "/usr/sbin/dhcpcd -k -6 eth1"
    done_step

    step "Send an ARP request: option words get their dash, the status is the reply"
    lay_program /usr/bin/arping 1
    call SENDARPING c 3 I eth0 192.168.0.1
    show cat "$program_calls"
    replied "i 256"
    has_logged "sent arp request rc=256"
    shows "/usr/bin/arping -c 3 -I eth0 192.168.0.1"
    done_step

    step "An argument that is refused: arping is not run"
    : >"$program_calls"
    call SENDARPING c 3 "a b"
    show cat "$program_calls"
    replied "i -2"
    check "arping was not run" test ! -s "$program_calls"
    done_step

    step "A program that does not exist"
    rm /usr/sbin/dhcpcd
    call DHCP_RELEASE ipv4 eth1
    replied "i 0"
    has_logged "ERROR - failed to execv"
    has_logged "dhcp release ipv4 eth1 rc=65280"
    check "nothing of the noise is in the log" lacks "$(cat "$LOG")" noise
    done_step
}
demo_groups+=(group_scripts)
