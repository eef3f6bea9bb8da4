# shellcheck shell=bash
# shellcheck disable=SC2154 # shown is the demo's
# Permanent neighbours.

show_neighbours() {
    show ip neighbour show nud permanent
}

group_neighbours() {
    group "Neighbours"
    ip link add eth1 type veth peer name eth2
    ip link set eth1 up

    step "Pin an IPv6 neighbour to a MAC address"
    call SET_IP6_NEIGHBOR_CACHE enable fd00::9 02:00:5e:00:00:09 eth1
    show_neighbours
    replied "i 0"
    has_logged "update fd00::9 eth1 rc=0"
    shows "fd00::9 dev eth1 lladdr 02:00:5e:00:00:09 PERMANENT"
    done_step

    step "Pin it to another one"
    call SET_IP6_NEIGHBOR_CACHE enable fd00::9 02:00:5e:00:00:0a eth1
    show_neighbours
    shows "02:00:5e:00:00:0a"
    shows_no "02:00:5e:00:00:09"
    done_step

    step "An IPv4 address is refused"
    call SET_IP6_NEIGHBOR_CACHE enable 10.0.0.9 02:00:5e:00:00:09 eth1
    replied "i 0"
    has_logged "ERROR - invalid parm list"
    done_step

    step "Remove every permanent neighbour, also one that kex has not made"
    ip neighbour add 10.0.0.9 lladdr 02:00:5e:00:00:0b dev eth1 nud permanent
    call SET_IP6_NEIGHBOR_CACHE disable
    show_neighbours
    has_logged "flushed 2 permanent neighbors"
    has_logged "neighbor cache flush rc=0"
    check "none is left" test "$shown" = ""
    done_step

    ip link delete eth1
}
demo_groups+=(group_neighbours)
