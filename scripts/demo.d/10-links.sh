# shellcheck shell=bash
# shellcheck disable=SC2154 # kex_pid is the demo's
# Links: state, address, MTU, speed.

show_links() {
    show ip -brief link show type veth
}

group_links() {
    group "Links"
    ip link add eth1 type veth peer name eth2
    ip link set eth2 up

    step "Bring a link up"
    call LINK_CTRL up eth1
    show_links
    replied "i 0"
    has_logged "set eth1 up rc=0"
    shows "LOWER_UP"
    done_step

    step "Give it another MAC address: this takes it down and leaves it down"
    call SET_MAC_ADDRESS eth1 02:00:5e:10:20:30
    show ip -brief link show eth1
    replied "i 0"
    shows "02:00:5e:10:20:30"
    shows_no "LOWER_UP"
    done_step

    step "Bring it up again"
    call LINK_CTRL up eth1
    show ip -brief link show eth1
    shows "LOWER_UP"
    done_step

    step "Change its MTU"
    call LINK_TUNE eth1 mtu 9000
    show ip link show eth1
    replied "i 0"
    shows "mtu 9000"
    done_step

    step "The kernel refuses an MTU: the reply is still 0, the log says why"
    call LINK_TUNE eth1 mtu 20
    show ip link show eth1
    replied "i 0"
    has_logged "ERROR - failed to set link tuning mtu rc=-22"
    shows "mtu 9000"
    done_step

    step "A speed that cannot be forced is refused"
    call LINK_TUNE eth1 disable 1000 full
    replied "i 0"
    has_logged "ERROR - invalid parm list"
    done_step

    step "Bring it down"
    call LINK_CTRL down eth1
    show ip -brief link show eth1
    has_logged "set eth1 down rc=0"
    shows_no "LOWER_UP"
    done_step

    step "A link that does not exist"
    call LINK_CTRL up eth9
    replied "i 0"
    has_logged "interface eth9 not found"
    has_logged "set eth9 up rc=-1"
    done_step

    ip link delete eth1
}
demo_groups+=(group_links)
