# shellcheck shell=bash
# Interfaces: macvlan, a master's lowers, renaming, deletion.

group_interfaces() {
    group "Interfaces"
    ip link add eth1 type veth peer name eth2
    ip link set eth1 up
    ip link set eth2 up
    ip link add br0 type bridge

    step "A macvlan with an address of its own is a private one"
    call ADD_NETWORK_INTERFACE macvlan mv0 eui64 enable eth1 02:00:5e:00:00:01
    show ip -d -brief link show mv0
    replied "i 0"
    has_logged "mcvlan mv0 lower eth1 mode private rc=0"
    has_logged "mv0 enable:1 autoconf:1"
    shows "mv0@eth1"
    shows "02:00:5e:00:00:01"
    done_step

    step "Delete it"
    call DELETE_NETWORK_INTERFACE mv0
    show ip -brief link show type macvlan
    replied "i 0"
    has_logged "deleted mv0"
    check "mv0 is gone" test ! -e /sys/class/net/mv0
    done_step

    step "A macvlan without an address takes over its lower link's"
    call ADD_NETWORK_INTERFACE macvlan mv0 disable disable eth1
    show ip -d link show mv0
    has_logged "mcvlan mv0 lower eth1 mode passthru rc=0"
    shows "macvlan mode passthru nopromisc"
    check "IPv6 is off on it" grep -qx 1 /proc/sys/net/ipv6/conf/mv0/disable_ipv6
    done_step
    ip link delete mv0

    step "Put a link under a master: it stays up"
    call CONJOIN_IN_AN_INCLUSIVE_FASHION eth1 br0
    show ip link show eth1
    has_logged "set eth1 boss br0"
    shows "master br0"
    shows "LOWER_UP"
    done_step

    step "Release it"
    call CONJOIN_IN_AN_INCLUSIVE_FASHION eth1
    show ip link show eth1
    has_logged "cleared eth1 boss"
    shows_no "master"
    done_step

    step "A bond without an address is not created; its lower is taken down all the same"
    call ADD_NETWORK_INTERFACE bond bond0 eui64 enable active-backup eth1 "" 0
    show ip -brief link show eth1
    replied "i 0"
    has_logged "bond bond0 create rc=-1"
    has_logged "bond bond0 enjoin eth1 rc=-1"
    has_logged "ERROR - bond0 primary=eth1 failed"
    shows_no "LOWER_UP"
    done_step

    step "Rename a running link: it is down afterwards"
    call RENAME_NETWORK_INTERFACE eth2 wan0
    show ip -brief link show wan0
    has_logged "renamed eth2 to wan0"
    shows "wan0@eth1"
    shows_no "LOWER_UP"
    done_step

    step "A name that is taken"
    call RENAME_NETWORK_INTERFACE wan0 br0
    replied "i 0"
    has_logged "ERROR - failed to rename wan0 to br0 rc=-17"
    done_step

    step "A VLAN without an id is refused"
    call ADD_NETWORK_INTERFACE vlan v0 eui64 enable eth1
    show ip -brief link show
    replied "i 0"
    has_logged "add_network_interface():1179 - ERROR - invalid parm list"
    shows_no "v0@"
    done_step

    ip link delete eth1
    ip link delete br0
}
demo_groups+=(group_interfaces)
