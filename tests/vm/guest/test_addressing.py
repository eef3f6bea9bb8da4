"""Addresses, routes, rules, neighbours and frames."""

import os
import socket

from machine import (CommandTest, addresses, execute, ip, ip_json, line, netlink, netlink_error,
                     set_value, write)


class Addressed(CommandTest):
    """Tests of one command on the link la, which is up."""

    def setUp(self):
        self.add_link("la")
        ip("link", "set", "la", "up")

    def refusal(self, function, text):
        return line(function, "ERROR - " + text)


class SetStaticAddress(Addressed):
    command = "SET_STATIC_ADDRESS"

    def test_ipv4_with_netmask_and_broadcast(self):
        self.expect(["la", "192.0.2.5", "255.255.255.0", "192.0.2.255"],
                    line("set_static_address", "adding la static IP 192.0.2.5/24"),
                    netlink("add_address", "added address on la"))
        (entry,) = ip_json("-4", "address", "show", "dev", "la")[0]["addr_info"]
        self.assertEqual((entry["local"], entry["prefixlen"], entry["broadcast"], entry["scope"]),
                         ("192.0.2.5", 24, "192.0.2.255", "global"))
        self.assertEqual(entry["valid_life_time"], 2 ** 32 - 1)
        # The same again refreshes it.
        self.call("la", "192.0.2.5", "24", "192.0.2.255")
        self.assertEqual(addresses("la", "-4"), ["192.0.2.5/24"])

    def test_ipv6(self):
        self.call("la", "2001:db8::5", "64")
        self.assertIn("2001:db8::5/64", addresses("la", "-6"))

    def test_refused_texts(self):
        self.expect(["la", "192.0.2.5", "24"],
                    self.refusal("set_static_address", "invalid parm list"))
        self.expect(["la", "192.0.2.5", "255.0.255.0", "192.0.2.255"], self.refusal(
            "set_static_address", "invalid prefix length or subnet mask: 255.0.255.0"))
        self.assertEqual(addresses("la", "-4"), [])

    def test_missing_link(self):
        self.expect(["nolink", "192.0.2.5", "24", "192.0.2.255"],
                    line("set_static_address", "adding nolink static IP 192.0.2.5/24"),
                    netlink_error("resolve_ifindex", "interface nolink not found"),
                    self.refusal("set_static_address", "failed to add static IP rc=-1"))


class InterfaceAddrFlush(Addressed):
    command = "INTERFACE_ADDR_FLUSH"

    def test_one_ipv4_address(self):
        ip("address", "add", "192.0.2.5/24", "dev", "la")
        self.expect(["la", "ipv4", "all", "all"],
                    line("addr_flush", "flushing la ipv4 all all addrs"),
                    netlink("flush_addresses", "flushed 1 addresses on la"))
        self.assertEqual(addresses("la", "-4"), [])

    def test_ipv6_scopes_are_kept_apart(self):
        ip("address", "add", "2001:db8::5/64", "dev", "la", "nodad")
        linklocal = [text for text in addresses("la", "-6") if text.startswith("fe80")]
        self.assertEqual(len(linklocal), 1)
        self.call("la", "ipv6", "global", "static")
        self.assertEqual(addresses("la", "-6"), linklocal)
        self.call("la", "ipv6", "link", "static")
        self.assertEqual(addresses("la", "-6"), [])

    def test_static_leaves_an_address_with_a_lifetime(self):
        ip("address", "add", "2001:db8::5/64", "dev", "la", "nodad")
        ip("address", "add", "2001:db8::6/64", "dev", "la", "nodad", "valid_lft", "900",
           "preferred_lft", "900")
        self.call("la", "ipv6", "global", "static")
        self.assertIn("2001:db8::6/64", addresses("la", "-6"))
        self.assertNotIn("2001:db8::5/64", addresses("la", "-6"))

    def test_other_links_keep_their_addresses(self):
        self.add_link("lb")
        ip("address", "add", "192.0.2.5/24", "dev", "la")
        ip("address", "add", "198.51.100.5/24", "dev", "lb")
        self.call("la", "ipv4", "global", "all")
        self.assertEqual(addresses("lb", "-4"), ["198.51.100.5/24"])

    def test_refuses_another_case(self):
        self.expect(["la", "IPv4", "all", "all"],
                    self.refusal("addr_flush", "invalid parm list"))


class SetStaticRoute(Addressed):
    command = "SET_STATIC_ROUTE"

    def routes(self, family="-4", table="main"):
        return [entry for entry in ip_json(family, "route", "show", "table", table)
                if entry.get("dev") == "la" and entry.get("protocol") == "static"]

    def rules(self):
        return [entry for entry in ip_json("-4", "rule", "show") if entry.get("table") == "100"]

    def test_default_route_on_the_link(self):
        ip("address", "add", "192.0.2.5/24", "dev", "la")
        self.expect(["enable", "ipv4", "la", "default", "203.0.113.1"],
                    netlink("add_route", "added route on la"))
        (entry,) = self.routes()
        self.assertEqual((entry["dst"], entry["gateway"], entry["flags"]),
                         ("default", "203.0.113.1", ["onlink"]))
        # IPv4 replaces.
        self.call("enable", "ipv4", "la", "default", "203.0.113.2")
        self.assertEqual([entry["gateway"] for entry in self.routes()], ["203.0.113.2"])

    def test_connected_ipv6_route(self):
        self.call("enable", "ipv6", "la", "2001:db8:1::/64", "0.0.0.0")
        (entry,) = self.routes("-6")
        self.assertEqual(entry["dst"], "2001:db8:1::/64")
        self.assertNotIn("gateway", entry)

    def test_table_and_flush(self):
        self.call("enable", "ipv4", "la", "198.51.100.0/24", "0.0.0.0", "100")
        self.assertEqual([entry["dst"] for entry in self.routes(table="100")], ["198.51.100.0/24"])
        self.call("enable", "ipv4", "la", "198.51.100.0/24", "0.0.0.0")
        self.expect(["disable", "ipv4", "la", "static", "100"],
                    netlink("flush_routes", "flushed 1 routes"))
        self.assertEqual(self.routes(table="100"), [])
        self.assertEqual(len(self.routes()), 1)
        self.call("disable", "ipv4")
        self.assertEqual(self.routes(), [])

    def test_table_beyond_255_is_refused(self):
        self.expect(["enable", "ipv4", "la", "198.51.100.0/24", "0.0.0.0", "256"],
                    self.refusal("set_static_route", "invalid table ID: 256"))

    def test_rule_from_and_to(self):
        self.expect(["routerule", "enable", "192.0.2.5", "100"],
                    netlink("modify_rule", "added rule from table 100"))
        self.call("routerule", "enable", "192.0.2.6", "100", "to")
        self.assertEqual([(entry["src"], entry.get("dst")) for entry in self.rules()],
                         [("all", "192.0.2.6"), ("192.0.2.5", None)])
        self.expect(["routerule", "disable", "192.0.2.5", "100"],
                    netlink("modify_rule", "deleted rule from table 100"))
        self.call("routerule", "disable", "192.0.2.6", "100", "to")
        self.assertEqual(self.rules(), [])

    def test_unreachable_gateway_family(self):
        self.expect(["enable", "ipv4", "la", "198.51.100.0/24", "2001:db8::1"],
                    self.refusal("set_static_route", "failed to convert 2001:db8::1 to IPv4"))


class SetIp6NeighborCache(Addressed):
    command = "SET_IP6_NEIGHBOR_CACHE"

    def neighbours(self):
        return {entry["dst"]: entry["lladdr"] for entry in
                ip_json("neigh", "show", "nud", "permanent")
                if entry["dev"] == "la" and "lladdr" in entry}

    def test_pins_replaces_and_flushes(self):
        self.expect(["enable", "2001:db8::9", "02:00:00:00:99:01", "la"],
                    netlink("replace_neighbor", "replaced neighbor on la"),
                    line("set_ip6_neighbor_cache", "update 2001:db8::9 la rc=0"))
        self.call("enable", "2001:db8::9", "02:00:00:00:99:02", "la")
        self.assertEqual(self.neighbours(), {"2001:db8::9": "02:00:00:00:99:02"})
        # Other families' entries go too.
        ip("neigh", "add", "192.0.2.9", "lladdr", "02:00:00:00:99:03", "dev", "la", "nud",
           "permanent")
        lines = self.call("disable")
        self.assertTrue(line("set_ip6_neighbor_cache", "neighbor cache flush rc=0").fits(lines[-1]),
                        lines)
        self.assertEqual(self.neighbours(), {})

    def test_refuses_an_ipv4_address(self):
        self.expect(["enable", "192.0.2.9", "02:00:00:00:99:01", "la"],
                    self.refusal("set_ip6_neighbor_cache", "invalid parm list"))


class SendNtwPkt(CommandTest):
    command = "SEND_NTW_PKT"

    DESTINATION = bytes.fromhex("0180c200000e")
    SOURCE = bytes.fromhex("020000000b01")

    def setUp(self):
        self.add_link("pa", "type", "veth", "peer", "name", "pb")
        for name in ("pa", "pb"):
            set_value(f"/proc/sys/net/ipv6/conf/{name}/disable_ipv6", "1")
            ip("link", "set", name, "up")
        self.receiver = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(0x88cc))
        self.addCleanup(self.receiver.close)
        self.receiver.bind(("pb", 0x88cc))
        self.receiver.settimeout(10)

    def frame(self, size):
        head = self.DESTINATION + self.SOURCE + b"\x88\xcc"
        content = head + bytes(number % 251 for number in range(size - len(head)))
        path = "/etc/lldpd.d/tirvpa.packet"
        write(path, content)
        self.addCleanup(os.remove, path)
        return content

    def test_sends_the_file_as_it_is(self):
        content = self.frame(200)
        self.expect(["pa"])
        self.assertEqual(self.receiver.recv(4096), content)

    def test_smallest_frame(self):
        content = self.frame(64)
        self.expect(["pa"])
        self.assertEqual(self.receiver.recv(4096), content)

    def test_longer_file_is_cut(self):
        for name in ("pa", "pb"):
            ip("link", "set", name, "mtu", "1600")
        content = self.frame(2000)
        self.expect(["pa"], line("send_network_pkt",
                                 "ERROR - File size is too large or small 2000\n"))
        self.assertEqual(self.receiver.recv(4096), content[:1522])

    def test_file_that_is_missing(self):
        self.expect(["pa"], line("send_network_pkt",
                                 "ERROR - failed to open /etc/lldpd.d/tirvpa.packet"))

    def test_link_that_is_down(self):
        self.frame(100)
        execute("LINK_CTRL", "down", "pa")
        self.expect(["pa"], line("send_network_pkt", "ERROR - Failed to send packet \n"))
