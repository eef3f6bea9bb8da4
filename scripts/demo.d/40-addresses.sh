# shellcheck shell=bash
# Static addresses and their removal.

show_addresses() {
    show ip -brief address show dev eth1
}

group_addresses() {
    group "Addresses"
    ip link add eth1 type veth peer name eth2

    step "An IPv4 address by netmask, with its broadcast address"
    call SET_STATIC_ADDRESS eth1 192.168.0.5 255.255.255.0 192.168.0.255
    show ip -4 address show dev eth1
    replied "i 0"
    has_logged "adding eth1 static IP 192.168.0.5/24"
    shows "inet 192.168.0.5/24 brd 192.168.0.255"
    shows "valid_lft forever"
    done_step

    step "The same address again: it is refreshed"
    call SET_STATIC_ADDRESS eth1 192.168.0.5 24 192.168.0.255
    show_addresses
    has_logged "added address on eth1"
    done_step

    step "IPv6 addresses by prefix length"
    call SET_STATIC_ADDRESS eth1 fd00::5 64
    call SET_STATIC_ADDRESS eth1 fe80::5 64
    show_addresses
    shows "fd00::5/64"
    shows "fe80::5/64"
    done_step

    step "A netmask with a hole is refused"
    call SET_STATIC_ADDRESS eth1 10.0.0.5 255.0.255.0 10.0.0.255
    show_addresses
    replied "i 0"
    has_logged "ERROR - invalid prefix length or subnet mask: 255.0.255.0"
    shows_no "10.0.0.5"
    done_step

    step "An address that the kernel refuses"
    call SET_STATIC_ADDRESS eth1 ff02::5 64
    replied "i 0"
    has_logged "ERROR - failed to add static IP rc=-99"
    done_step

    step "Flush the permanent IPv6 addresses of the link's own scope"
    call INTERFACE_ADDR_FLUSH eth1 ipv6 link static
    show_addresses
    has_logged "flushed 1 addresses on eth1"
    shows "fd00::5/64"
    shows_no "fe80::5/64"
    done_step

    step "Flush every IPv4 address"
    call INTERFACE_ADDR_FLUSH eth1 ipv4 all all
    show_addresses
    has_logged "flushed 1 addresses on eth1"
    shows_no "192.168.0.5"
    done_step

    step "A family in other case is refused"
    call INTERFACE_ADDR_FLUSH eth1 IPv6 all all
    show_addresses
    has_logged "ERROR - invalid parm list"
    shows "fd00::5/64"
    done_step

    ip link delete eth1
}
demo_groups+=(group_addresses)
