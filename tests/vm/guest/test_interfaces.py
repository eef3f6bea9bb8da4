"""Interfaces that are made, renamed, enslaved, deleted, as the kernel shows them."""

import socket
import struct

from machine import (CommandTest, execute, has_link, ip, is_up, line, link, link_data,
                     link_setting, netlink, netlink_error, read)

MAC = "02:00:00:00:5a:01"

ETH_P_ALL = 3
RTM_SETLINK = 19


def ipv6(name, setting):
    return read(f"/proc/sys/net/ipv6/conf/{name}/{setting}")


class AddNetworkInterface(CommandTest):
    command = "ADD_NETWORK_INTERFACE"

    def add_lowers(self, *names):
        for name in names:
            self.add_link(name)

    def add_bond(self, name, mode, *lowers, mac=MAC, gen="eui64", autoconf="enable"):
        first, *further = lowers
        self.drop_link(name)
        return self.call("bond", name, gen, autoconf, mode, first, mac, str(len(further)), *further)

    def assert_logged(self, lines, *expected):
        """Among all that a handler wrote there is a line of each kind."""
        for want in expected:
            self.assertTrue(any(want.fits(got) for got in lines),
                            f"expected a line {want}, got {lines}")

    def test_active_backup_bond_of_three(self):
        self.add_lowers("lowa", "lowb", "lowc")
        for name in ("lowa", "lowb", "lowc"):
            ip("link", "set", name, "up")
        lines = self.add_bond("bond7", "active-backup", "lowa", "lowb", "lowc")
        self.assert_logged(lines, line("add_bond", "bond bond7 create rc=0", 905),
                           line("add_bond", "bond bond7 enjoin lowa rc=0", 918),
                           line("add_bond", "bond bond7 enjoin lowb rc=0", 918),
                           line("add_bond", "bond bond7 enjoin lowc rc=0", 918),
                           netlink("create_bond", "bond bond7 create mode active-backup"))
        self.assertEqual(link("bond7")["address"], MAC)
        self.assertTrue(is_up("bond7"))
        data = link_data("bond7")
        self.assertEqual({key: data[key] for key in ("mode", "miimon", "downdelay", "primary",
                                                     "all_slaves_active")},
                         {"mode": "active-backup", "miimon": 1000, "downdelay": 5000,
                          "primary": "lowa", "all_slaves_active": 1})
        self.assertEqual(link_setting("bond7", "bonding/slaves").split(), ["lowa", "lowb", "lowc"])
        for name in ("lowa", "lowb", "lowc"):
            self.assertEqual(link(name)["master"], "bond7")
        self.assertEqual([ipv6("bond7", name) for name in
                          ("disable_ipv6", "accept_ra", "accept_dad",
                           "accept_ra_rt_info_max_plen", "addr_gen_mode")],
                         ["0", "1", "2", "128", "0"])

    def test_broadcast_bond_gets_no_options(self):
        self.add_lowers("lowa", "lowb", "lowc")
        self.add_bond("bond7", "broadcast", "lowa", "lowb", "lowc", autoconf="disable")
        data = link_data("bond7")
        self.assertEqual((data["mode"], data["miimon"], data["downdelay"]), ("broadcast", 0, 0))
        self.assertEqual(link("bond7")["address"], MAC)
        self.assertEqual(link_setting("bond7", "bonding/slaves").split(), ["lowa", "lowb", "lowc"])
        self.assertEqual(link_setting("bond7", "bonding/all_slaves_active"), "0")
        self.assertEqual(ipv6("bond7", "accept_ra"), "0")

    def test_bond_with_ipv6_off(self):
        self.add_lowers("lowa")
        self.add_bond("bond7", "broadcast", "lowa", gen="disable", autoconf="disable")
        self.assertEqual(ipv6("bond7", "disable_ipv6"), "1")

    def test_bond_with_stable_privacy(self):
        self.add_lowers("lowa")
        # The kernel refuses the mode to a link that has no secret.
        self.addCleanup(execute, "SET_IP6_STABLE_PRIVACY", "disable", "none")
        execute("SET_IP6_STABLE_PRIVACY", "enable", "2001:db8::5ec")
        self.add_bond("bond7", "broadcast", "lowa", gen="stable-privacy", autoconf="disable")
        self.assertEqual([ipv6("bond7", name) for name in ("disable_ipv6", "addr_gen_mode")],
                         ["0", "2"])

    def test_bond_that_exists_gets_its_lowers(self):
        self.add_lowers("lowa", "lowb")
        self.add_link("bond7", "type", "bond", "mode", "active-backup")
        lines = self.add_bond("bond7", "active-backup", "lowa", "lowb", mac="")
        self.assert_logged(lines, line("add_bond", "bond bond7 create rc=-1", 905),
                           line("add_bond", "bond bond7 enjoin lowb rc=0", 918))
        self.assertEqual(link_setting("bond7", "bonding/slaves").split(), ["lowa", "lowb"])
        self.assertEqual(link_data("bond7")["primary"], "lowa")
        self.assertFalse(is_up("bond7"))

    def test_bond_whose_name_is_taken_by_a_bond(self):
        self.add_lowers("lowa")
        self.add_link("bond7", "type", "bond", "mode", "broadcast")
        lines = self.add_bond("bond7", "broadcast", "lowa")
        self.assert_logged(lines, line("add_bond", "bond bond7 create rc=-17", 905),
                           line("add_bond", "bond bond7 enjoin lowa rc=0", 918))

    def test_bond_with_a_lower_that_is_missing(self):
        self.add_lowers("lowb")
        lines = self.add_bond("bond7", "active-backup", "nolow", "lowb")
        self.assert_logged(lines, line("add_bond", "bond bond7 enjoin nolow rc=-1", 918),
                           line("add_bond", "bond bond7 enjoin lowb rc=0", 918))
        # A primary may be named before it is there: the kernel notes it.
        self.assertEqual(link_setting("bond7", "bonding/primary"), "")
        self.assertEqual(link_setting("bond7", "bonding/slaves"), "lowb")

    def test_vlans_of_the_lowest_and_highest_id(self):
        self.add_lowers("lowa")
        for number in (5, 4094):
            name = f"lowa.{number}"
            self.drop_link(name)
            lines = self.call("vlan", name, "eui64", "disable", "lowa", str(number))
            self.assert_logged(lines, line("add_vlan", f"vlan {name} lower lowa id {number} rc=0",
                                           952))
            self.assertEqual((link(name)["link"], link_data(name)["id"]), ("lowa", number))

    def test_vlan_id_beyond_the_kernels_limit(self):
        self.add_lowers("lowa")
        lines = self.call("vlan", "v4096", "disable", "disable", "lowa", "4096")
        self.assert_logged(lines, line("add_vlan", "vlan v4096 lower lowa id 4096 rc=-34", 952))
        self.assertFalse(has_link("v4096"))

    def test_vlan_id_4095_is_the_kernels_business(self):
        self.add_lowers("lowa")
        self.drop_link("v4095")
        lines = self.call("vlan", "v4095", "disable", "disable", "lowa", "4095")
        self.assert_logged(lines, line("add_vlan", "vlan v4095 lower lowa id 4095 rc=-34", 952))
        self.assertFalse(has_link("v4095"))

    def test_vlan_id_is_cut_to_16_bits(self):
        self.add_lowers("lowa")
        self.drop_link("vcut")
        self.call("vlan", "vcut", "disable", "disable", "lowa", "65541")
        self.assertEqual(link_data("vcut")["id"], 5)

    def test_vlan_on_a_missing_lower(self):
        lines = self.call("vlan", "v5", "disable", "disable", "nolow", "5")
        self.assert_logged(lines, netlink_error("resolve_ifindex", "interface nolow not found"),
                           line("add_vlan", "vlan v5 lower nolow id 5 rc=-1", 952))
        self.assertFalse(has_link("v5"))

    def test_vlan_of_a_taken_name(self):
        self.add_lowers("lowa", "taken")
        lines = self.call("vlan", "taken", "disable", "disable", "lowa", "5")
        self.assert_logged(lines, line("add_vlan", "vlan taken lower lowa id 5 rc=-17", 952))
        self.assertEqual(link("taken")["linkinfo"]["info_kind"], "dummy")

    def test_private_macvlan(self):
        self.add_lowers("lowa")
        self.drop_link("mv0")
        lines = self.call("macvlan", "mv0", "eui64", "enable", "lowa", MAC)
        self.assert_logged(lines, line("add_macvlan", "mcvlan mv0 lower lowa mode private rc=0",
                                       892))
        self.assertEqual((link("mv0")["link"], link("mv0")["address"], link_data("mv0")["mode"]),
                         ("lowa", MAC, "private"))
        self.assertEqual(ipv6("mv0", "accept_ra"), "1")

    def test_pass_through_macvlan(self):
        self.add_lowers("lowa")
        self.drop_link("mv0")
        lines = self.call("macvlan", "mv0", "disable", "disable", "lowa")
        self.assert_logged(lines, line("add_macvlan", "mcvlan mv0 lower lowa mode passthru rc=0",
                                       892))
        self.assertEqual(link("mv0")["address"], link("lowa")["address"])
        self.assertEqual(link_data("mv0")["mode"], "passthru")
        self.assertIn("nopromisc", str(link_data("mv0")))
        self.assertEqual(ipv6("mv0", "disable_ipv6"), "1")

    def test_refuses_a_bad_list(self):
        for arguments, number in (
                (("bridge", "br0", "eui64", "enable", "lowa"), 1147),
                (("vlan", "v5", "eui64", "enable", "lowa"), 1179),
                (("vlan", "v5", "eui64", "enable", "lowa", "0"), 1179),
                (("bond", "b0", "eui64", "enable", "802.3ad", "lowa", MAC, "0"), 1196),
                (("bond", "b0", "eui64", "enable", "broadcast", "lowa", MAC, "1"), 1204)):
            with self.subTest(arguments=arguments):
                self.expect(arguments, line("add_network_interface", "ERROR - invalid parm list",
                                            number))


class DeleteNetworkInterface(CommandTest):
    command = "DELETE_NETWORK_INTERFACE"

    def test_deletes_each_kind_of_link(self):
        self.add_link("lowa")
        self.add_link("del0")
        self.add_link("del1", "type", "bond")
        self.add_link("del2", "link", "lowa", "type", "vlan", "id", "7")
        self.add_link("del3", "link", "lowa", "type", "macvlan")
        for name in ("del0", "del1", "del2", "del3"):
            self.expect([name], line("delete_network_interface", f"deleting interface {name}", 880),
                        netlink("delete_link", f"deleted {name}"))
            self.assertFalse(has_link(name), f"{name} is still there")

    def test_missing_link(self):
        self.expect(["nolink"], line("delete_network_interface", "deleting interface nolink", 880),
                    netlink_error("resolve_ifindex", "interface nolink not found"),
                    line("delete_network_interface", "WARN - failed to delete nolink rc=-1", 883))

    def test_loopback_stays(self):
        self.expect(["lo"], line("delete_network_interface", "deleting interface lo", 880),
                    netlink_error("send_and_recv_ack", "netlink error response: 95"),
                    netlink_error("delete_link", "failed to delete lo"),
                    line("delete_network_interface", "WARN - failed to delete lo rc=-95", 883))
        self.assertTrue(has_link("lo"))


class RenameNetworkInterface(CommandTest):
    command = "RENAME_NETWORK_INTERFACE"

    def test_renames_a_running_link_and_leaves_it_down(self):
        self.add_link("olda")
        self.drop_link("newa")
        ip("link", "set", "olda", "up")
        index = link("olda")["ifindex"]
        self.expect(["olda", "newa"],
                    line("rename_network_interface", "renaming olda to newa", 1244),
                    line("link_control", "", 686), netlink("set_link_state", "set olda down"),
                    line("link_control", "set olda down rc=0", 697),
                    netlink("rename_link", "renamed olda to newa"))
        self.assertFalse(has_link("olda"))
        self.assertEqual(link("newa")["ifindex"], index)
        self.assertFalse(is_up("newa"))

    def test_taken_name(self):
        self.add_link("olda")
        self.add_link("taken")
        lines = self.call("olda", "taken")
        self.assertTrue(line("rename_network_interface",
                             "ERROR - failed to rename olda to taken rc=-17", 1251).fits(lines[-1]),
                        lines)
        self.assertTrue(has_link("olda"))

    def test_name_longer_than_the_kernel_takes(self):
        self.add_link("olda")
        self.call("olda", "a-name-of-17-char")
        self.assertTrue(has_link("olda"))


class Conjoin(CommandTest):
    command = "CONJOIN_IN_AN_INCLUSIVE_FASHION"

    def test_release_and_enslave_again(self):
        self.add_link("bond7", "type", "bond", "mode", "active-backup", "miimon", "100")
        self.add_link("lowa")
        self.expect(["lowa", "bond7"],
                    line("conjoin_in_an_inclusive_fashion", "conjoining lowa to bond7", 1338),
                    netlink("set_link_boss", "set lowa boss bond7"))
        self.assertEqual(link("lowa")["master"], "bond7")
        self.expect(["lowa"], line("conjoin_in_an_inclusive_fashion", "disjoining lowa", 1328),
                    netlink("clear_link_boss", "cleared lowa boss"))
        self.assertNotIn("master", link("lowa"))
        # A release leaves the link up, and a link that is up is refused.
        self.assertEqual(link_setting("bond7", "bonding/slaves"), "")
        execute("LINK_CTRL", "down", "lowa")
        self.call("lowa", "bond7", "surplus")
        self.assertEqual(link_setting("bond7", "bonding/slaves"), "lowa")

    def test_running_link_is_refused_by_the_kernel(self):
        self.add_link("bond7", "type", "bond", "mode", "active-backup", "miimon", "100")
        self.add_link("lowa")
        ip("link", "set", "lowa", "up")
        lines = self.call("lowa", "bond7")
        self.assertTrue(line("conjoin_in_an_inclusive_fashion", "ERROR - failed to conjoin rc=-1",
                             1342).fits(lines[-1]), lines)
        self.assertNotIn("master", link("lowa"))


class VlanPriSet(CommandTest):
    command = "VLANPRI_SET"

    def egress(self, name):
        return {entry["from"]: entry["to"] for entry in link_data(name).get("egress_qos", ())}

    def test_kernel_takes_the_request_and_keeps_its_map(self):
        """Linux reads a kind's own settings in RTM_NEWLINK only, by which ip changes them; in
        RTM_SETLINK it acknowledges them and goes on."""
        self.add_link("lowa")
        self.add_link("lowa.5", "link", "lowa", "type", "vlan", "id", "5")
        self.expect(["lowa.5", "7"],
                    netlink("set_vlan_egress_qos", "set lowa.5 vlan egress qos"))
        self.assertEqual(self.egress("lowa.5"), {})
        ip("link", "set", "lowa.5", "type", "vlan", "egress-qos-map", "0:1", "2:6")
        self.expect(["lowa.5", "3"],
                    netlink("set_vlan_egress_qos", "set lowa.5 vlan egress qos"))
        self.assertEqual(self.egress("lowa.5"), {0: 1, 2: 6})
        self.assertIn("egress-qos-map { 0:1 2:6 }", " ".join(
            ip("-d", "link", "show", "dev", "lowa.5").split()))

    def test_request_is_a_change_of_the_link_with_all_eight_priorities(self):
        """What the kernel is sent, as a monitor of netlink sees it."""
        self.add_link("lowa")
        self.add_link("lowa.5", "link", "lowa", "type", "vlan", "id", "5")
        self.add_link("monitor0", "type", "nlmon")
        ip("link", "set", "monitor0", "up")
        with socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, 0) as monitor:
            monitor.bind(("monitor0", ETH_P_ALL))
            monitor.settimeout(10)
            self.call("lowa.5", "7")
            request = self.first_of_type(monitor, RTM_SETLINK)
        self.assertEqual(struct.unpack_from("=i", request, 20)[0], link("lowa.5")["ifindex"])
        mappings = b"".join(struct.pack("=HHII", 12, 1, number, 7) for number in range(8))
        self.assertTrue(request.endswith(struct.pack("=HH", 4 + len(mappings), 3) + mappings),
                        request.hex())

    def first_of_type(self, monitor, wanted):
        """The first message of that type which the monitor gets."""
        while True:
            message = monitor.recv(8192)
            if struct.unpack_from("=H", message, 4)[0] == wanted:
                return message

    def test_missing_link(self):
        self.expect(["nolink", "1"],
                    netlink_error("resolve_ifindex", "interface nolink not found"),
                    line("set_vlan_priority", "ERROR - failed to set vlan priority rc=-1", 1993))

    def test_refuses_8(self):
        self.expect(["lowa.5", "8"], line("set_vlan_priority", "ERROR - invalid parm list", 1983))
