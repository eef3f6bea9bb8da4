# shellcheck shell=bash
# Routes and policy rules.

group_routes() {
    group "Routes and rules"
    ip link add eth1 type veth peer name eth2
    ip link set eth1 up
    ip link set eth2 up

    step "A default route; its gateway is taken as on the link"
    call SET_STATIC_ROUTE enable ipv4 eth1 default 10.0.0.1
    show ip -4 route show
    replied "i 0"
    has_logged "added route on eth1"
    shows "default via 10.0.0.1 dev eth1 proto static onlink"
    done_step

    step "Another one replaces it"
    call SET_STATIC_ROUTE enable ipv4 eth1 default 10.0.0.2
    show ip -4 route show
    shows "via 10.0.0.2"
    shows_no "via 10.0.0.1"
    done_step

    step "IPv6 routes are appended"
    call SET_STATIC_ROUTE enable ipv6 eth1 default fd00::1
    call SET_STATIC_ROUTE enable ipv6 eth1 default fd00::2
    show ip -6 route show proto static
    shows "via fd00::1"
    shows "via fd00::2"
    done_step

    step "A route without a gateway, in a table of its own"
    call SET_STATIC_ROUTE enable ipv4 eth1 10.9.0.0/16 0.0.0.0 100
    show ip -4 route show table 100
    shows "10.9.0.0/16 dev eth1 proto static"
    done_step

    step "There is no table 256"
    call SET_STATIC_ROUTE enable ipv4 eth1 10.9.0.0/16 0.0.0.0 256
    replied "i 0"
    has_logged "ERROR - invalid table ID: 256"
    done_step

    step "A gateway without a link: the kernel refuses"
    call SET_STATIC_ROUTE enable ipv4 "" default 10.0.0.1
    has_logged "ERROR - failed to set static ipv4 routes rc=-19"
    done_step

    step "A rule that sends what comes from an address to the table"
    call SET_STATIC_ROUTE routerule enable 10.0.0.5 100
    show ip -4 rule show
    has_logged "added rule from table 100"
    shows "from 10.0.0.5 lookup 100"
    done_step

    step "And one by destination"
    call SET_STATIC_ROUTE routerule enable 10.0.0.5 100 to
    show ip -4 rule show
    has_logged "added rule to table 100"
    shows "from all to 10.0.0.5 lookup 100"
    done_step

    step "Delete both, and one that is not there"
    call SET_STATIC_ROUTE routerule disable 10.0.0.5 100
    call SET_STATIC_ROUTE routerule disable 10.0.0.5 100 to
    call SET_STATIC_ROUTE routerule disable 10.0.0.5 100
    show ip -4 rule show
    has_logged "ERROR - failed to set route rule disable from 10.0.0.5 table 100 rc=-2"
    shows_no "10.0.0.5"
    done_step

    step "Flush the static IPv4 routes of the main table; the other table keeps its own"
    call SET_STATIC_ROUTE disable ipv4
    show ip -4 route show table all proto static
    has_logged "flushed 1 routes"
    shows_no "default"
    shows "10.9.0.0/16"
    done_step

    step "Flush those of the other table through one link"
    call SET_STATIC_ROUTE disable ipv4 eth1 static 100
    show ip -4 route show table all proto static
    has_logged "flushed 1 routes"
    shows_no "10.9.0.0/16"
    done_step

    step "Flush the static IPv6 routes: the two gateways make one"
    call SET_STATIC_ROUTE disable ipv6
    show ip -6 route show proto static
    has_logged "flushed 1 routes"
    shows_no "default"
    done_step

    ip link delete eth1
}
demo_groups+=(group_routes)
