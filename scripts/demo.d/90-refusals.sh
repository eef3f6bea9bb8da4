# shellcheck shell=bash
# shellcheck disable=SC2154 # kex_pid is the demo's
# What the daemon refuses, and that it goes on serving.

group_refusals() {
    group "Refusals"

    step "A word outside the list of states"
    call LINK_CTRL UP lo
    replied "i 0"
    has_logged "ERROR - invalid parm list"
    done_step

    step "A command without a handler"
    call SMARTNIC_INIT
    replied "i 0"
    has_logged "unknown"
    done_step

    step "A command that is no member of the enumeration reaches no handler"
    call NONSENSE
    replied "no valid enumeration value exists"
    check "kex logged nothing" test -z "$logged"
    done_step

    step "TERMINATE is accepted and does nothing"
    call TERMINATE
    replied "i 0"
    check "kex still runs" kill -0 "$kex_pid"
    done_step
}
demo_groups+=(group_refusals)
