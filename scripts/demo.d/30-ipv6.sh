# shellcheck shell=bash
# shellcheck disable=SC2154 # logged is the demo's
# IPv6 settings of the kernel.

show_ipv6() {
    show grep -H . /proc/sys/net/ipv6/conf/eth1/{disable_ipv6,accept_ra,accept_dad,addr_gen_mode}
}

group_ipv6() {
    group "IPv6 settings"
    ip link add eth1 type veth peer name eth2
    ip address add fd00::5/64 dev eth1 nodad

    step "Settings that do not change: IPv6 stays on, and its address stays"
    call SET_IPV6_SETTINGS eth1 enable enable disable
    show_ipv6
    replied "i 0"
    check "no transition was logged" lacks "$logged" "transition"
    shows "eth1/accept_dad:2"
    check "the address is there" test -n "$(ip -6 address show dev eth1 to fd00::5)"
    done_step

    step "Autoconfiguration is switched off: IPv6 goes off and on, which costs the address"
    call SET_IPV6_SETTINGS eth1 enable disable disable
    show_ipv6
    has_logged "IPv6 autoconfig transition on eth1"
    shows "eth1/disable_ipv6:0"
    shows "eth1/accept_ra:0"
    check "the address is gone" test -z "$(ip -6 address show dev eth1 to fd00::5)"
    done_step

    step "IPv6 is switched off: nothing else is written"
    call SET_IPV6_SETTINGS eth1 disable enable enable
    show_ipv6
    shows "eth1/disable_ipv6:1"
    shows "eth1/accept_ra:0"
    done_step

    step "The hop limit"
    call SET_IP6_HOP_LIMIT eth1 32
    show cat /proc/sys/net/ipv6/conf/eth1/hop_limit
    has_logged "set /proc/sys/net/ipv6/conf/eth1/hop_limit to 32"
    shows "32"
    done_step

    step "A hop limit that the kernel refuses is written all the same; the kernel keeps its own"
    call SET_IP6_HOP_LIMIT eth1 300
    show cat /proc/sys/net/ipv6/conf/eth1/hop_limit
    replied "i 0"
    shows "32"
    done_step

    step "A hop limit of 0 is refused"
    call SET_IP6_HOP_LIMIT eth1 0
    has_logged "ERROR - invalid parm list"
    done_step

    step "A secret for the stable addresses of links to come"
    call SET_IP6_STABLE_PRIVACY enable 2001:db8::1234
    show grep -H . /proc/sys/net/ipv6/conf/default/{stable_secret,addr_gen_mode}
    replied "i 0"
    shows "2001:0db8:0000:0000:0000:0000:0000:1234"
    shows "default/addr_gen_mode:2"
    done_step

    step "New links go back to addresses made of their MAC address"
    call SET_IP6_STABLE_PRIVACY disable -
    show grep -H . /proc/sys/net/ipv6/conf/default/addr_gen_mode
    shows "default/addr_gen_mode:0"
    done_step

    ip link delete eth1
}
demo_groups+=(group_ipv6)
