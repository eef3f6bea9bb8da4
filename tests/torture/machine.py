"""A sandbox in which every command has something to do, and commands of every kind for it."""

LINK = "eth1"
BYSTANDER = "keep0"
MAC = "02:00:5e:00:00:01"
UDC = "/sys/kernel/config/usb_gadget/usbpt/UDC"
FRAME = f"/etc/lldpd.d/tirv{LINK}.packet"
CAPTURE = "/tmp/capture"

ETHTOOL = "/usr/sbin/ethtool"
ARPING = "/usr/bin/arping"
DHCPCD = "/usr/sbin/dhcpcd"
AUTOCONF = "/etc/plinth_script/network/systemautoconf.sh"
FIREWALL = "/etc/plinth_script/network/fwctrl.sh"
USBNIC = "/bin/configfs_gadget_usbpt.sh"
PROGRAMS = (ETHTOOL, ARPING, DHCPCD, AUTOCONF, FIREWALL, USBNIC)


def furnish(sandbox):
    """Links, addresses and a route that no command names, and what commands need."""
    for name in (LINK, "eth3", BYSTANDER):
        sandbox.add_veth(name, name + "p")
        sandbox.run("ip", "link", "set", name, "up")
        sandbox.run("ip", "link", "set", name + "p", "up")
    sandbox.run("ip", "addr", "add", "10.9.0.1/24", "dev", BYSTANDER)
    sandbox.run("ip", "addr", "add", "fd09::1/64", "dev", BYSTANDER, "nodad")
    sandbox.run("ip", "route", "add", "10.10.0.0/16", "via", "10.9.0.2", "table", "77")
    sandbox.run("ip", "addr", "add", "10.1.0.1/24", "dev", LINK)
    for program in PROGRAMS:
        sandbox.put_program(program)
    sandbox.put_file(UDC, "\n")
    sandbox.put_file(FRAME, bytes(range(64)))
    sandbox.mark()


def kept(sandbox):
    """What no command of the mix may touch."""
    addresses = [(info["local"], info["prefixlen"])
                 for entry in sandbox.ip("addr", "show", "dev", BYSTANDER)
                 for info in entry["addr_info"]]
    return addresses, [entry["dst"] for entry in sandbox.ip("route", "show", "table", "77")]


# Each handler's ways: accepted, refused by the kernel, refused by its own checks. None of these
# starts a program or makes a link, which takes a while.
QUICK = [
    ("UNKNOWN",), ("TERMINATE", "x"), ("IP4_DAD_START",), ("SMARTNIC_INIT", "read"),
    ("INIT_FRONTDED",), ("INIT_FLOP_USB_NIC", ""),
    ("LINK_CTRL", "up", LINK), ("LINK_CTRL", "up", "nosuch0"), ("LINK_CTRL", "sideways", LINK),
    ("SET_MAC_ADDRESS", "eth3", MAC), ("SET_MAC_ADDRESS", "eth3", "zz"),
    ("SET_MAC_ADDRESS", "eth3", ":::"),
    ("LINK_TUNE", LINK, "mtu", "1400"), ("LINK_TUNE", LINK, "mtu", "1"), ("LINK_TUNE", "a b", "mtu"),
    ("VLANPRI_SET", LINK, "3"), ("VLANPRI_SET", "nosuch0", "3"), ("VLANPRI_SET",),
    ("RENAME_NETWORK_INTERFACE", "nosuch0", "other0"), ("RENAME_NETWORK_INTERFACE", "x"),
    ("DELETE_NETWORK_INTERFACE", "nosuch0"), ("DELETE_NETWORK_INTERFACE", "a/b"),
    ("CONJOIN_IN_AN_INCLUSIVE_FASHION", "eth3"), ("CONJOIN_IN_AN_INCLUSIVE_FASHION", "eth3", LINK),
    ("CONJOIN_IN_AN_INCLUSIVE_FASHION",),
    ("ADD_NETWORK_INTERFACE", "vlan", "v0", "eui64", "enable", "nosuch0"),
    ("ADD_NETWORK_INTERFACE", "tun"),
    ("USBNIC", "enable"), ("USBNIC", "disable"), ("USBNIC", "init"),
    ("SET_STATIC_ADDRESS", LINK, "10.1.0.1", "24", "10.1.0.255"),
    ("SET_STATIC_ADDRESS", "nosuch0", "fd01::1", "64"), ("SET_STATIC_ADDRESS", LINK, "10.1.0"),
    ("INTERFACE_ADDR_FLUSH", "eth3", "ipv4", "all", "all"), ("INTERFACE_ADDR_FLUSH", "eth3", "ipx"),
    ("SET_STATIC_ROUTE", "enable", "ipv4", LINK, "10.2.0.0/16", "0.0.0.0"),
    ("SET_STATIC_ROUTE", "disable", "ipv4", LINK, "static"),
    ("SET_STATIC_ROUTE", "routerule", "enable", "10.1.0.1", "88"),
    ("SET_STATIC_ROUTE", "routerule", "disable", "10.1.0.1", "88"),
    ("SET_STATIC_ROUTE", "enable", "ipv4", LINK, "10.2.0.0/99", "0.0.0.0"),
    ("SET_IP6_NEIGHBOR_CACHE", "enable", "fd01::5", MAC, LINK), ("SET_IP6_NEIGHBOR_CACHE", "disable"),
    ("SET_IP6_NEIGHBOR_CACHE", "enable", "fd01::5"),
    ("SEND_NTW_PKT", LINK), ("SEND_NTW_PKT", "eth3"), ("SEND_NTW_PKT", "../x"),
    ("SET_IPV6_SETTINGS", LINK, "enable", "enable", "disable"),
    ("SET_IPV6_SETTINGS", "nosuch0", "enable", "disable", "disable"), ("SET_IPV6_SETTINGS", LINK),
    ("SET_IP6_STABLE_PRIVACY", "enable", "fd01::1234"), ("SET_IP6_STABLE_PRIVACY", "disable", "x"),
    ("SET_IP6_HOP_LIMIT", LINK, "99"), ("SET_IP6_HOP_LIMIT", LINK, "100000"),
    ("SET_IP6_HOP_LIMIT", LINK, "x"),
    ("SET_HOSTNAME", "bmc-1"), ("SET_HOSTNAME", "x" * 100), ("SET_HOSTNAME", "a b"),
    ("SET_DOMAINNAME", "example.net"), ("SET_DOMAINNAME",),
    ("UPDATE_HOSTS_FILE", "bmc-1"), ("UPDATE_HOSTS_FILE", "a;b"),
    ("SENDARPING",), ("SENDARPING", " "), ("FIREWALL_CTRL", "http", "true"), ("DHCP_RELEASE", "ipv5"),
    ("AUTOCONF", "disable"), ("AUTOCONF", "enable"),
    ("SYSTEMD_SERVICE_CTRL", "start", "sshd", "true"), ("JOURNAL_CTRL", "user", "1", CAPTURE),
]

# Those that start a program.
PROGRAM_RUNS = [
    ("LINK_TUNE", LINK, "enable"), ("SENDARPING", "c", "1", "I", LINK, "10.1.0.2"),
    ("DHCP_RELEASE", "ipv4", LINK), ("AUTOCONF", "enable", "run"),
    ("FIREWALL_CTRL", "dedipv4", "true", LINK), ("USBNIC", "init", MAC, MAC, "up"),
]

# Those that wait, each with what undoes it.
SLOW = [
    ("ADD_NETWORK_INTERFACE", "macvlan", "mv0", "disable", "disable", LINK, MAC),
    ("RENAME_NETWORK_INTERFACE", "mv0", "mv1"), ("DELETE_NETWORK_INTERFACE", "mv1"),
    ("SYSTEMD_SERVICE_CTRL", "restart", "radvd", "false"),
    ("JOURNAL_CTRL", "kernel", "60", CAPTURE),
]

EVERY = QUICK + PROGRAM_RUNS + SLOW
