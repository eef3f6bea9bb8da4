"""Settings of links: state, address, MTU, speed."""

from machine import CommandTest, executing, ip, is_up, line, link, netlink, netlink_error, run

# The machine's one emulated card: speed and duplex are real settings there.
CARD = "eth0"


class LinkCtrl(CommandTest):
    command = "LINK_CTRL"

    def test_up_and_down(self):
        self.add_link("la")
        self.expect(["up", "la"], line("link_control", "", 686),
                    netlink("set_link_state", "set la up"),
                    line("link_control", "set la up rc=0", 697))
        self.assertTrue(is_up("la"))
        self.call("down", "la")
        self.assertFalse(is_up("la"))

    def test_missing_link(self):
        self.expect(["up", "nolink"], line("link_control", "", 686),
                    netlink_error("set_link_state", "interface nolink not found"),
                    line("link_control", "set nolink up rc=-1", 697))

    def test_refuses_another_case(self):
        self.expect(["UP", "lo"], line("link_control", "", 686),
                    line("link_control", "ERROR - invalid parm list", 691))


class SetMacAddress(CommandTest):
    command = "SET_MAC_ADDRESS"

    def test_sets_the_address_and_leaves_the_link_down(self):
        self.add_link("la")
        ip("link", "set", "la", "up")
        self.expect(["la", "02:00:00:00:77:01"],
                    line("set_mac_address", "setting la: 02:00:00:00:77:01", 1272),
                    line("link_control", "", 686), netlink("set_link_state", "set la down"),
                    line("link_control", "set la down rc=0", 697),
                    netlink("set_link_address", "set la address 02:00:00:00:77:01"))
        self.assertEqual(link("la")["address"], "02:00:00:00:77:01")
        self.assertFalse(is_up("la"))

    def test_multicast_address_is_refused_by_the_kernel(self):
        self.add_link("la")
        before = link("la")["address"]
        lines = self.call("la", "01:00:5e:00:00:01")
        self.assertTrue(line("set_mac_address",
                             "ERROR - failed to set la 01:00:5e:00:00:01 rc=-99",
                             1279).fits(lines[-1]), lines)
        self.assertEqual(link("la")["address"], before)


class LinkTune(CommandTest):
    command = "LINK_TUNE"

    def settings(self):
        shown = run("ethtool", CARD)
        return {key: shown.partition(f"{key}: ")[2].partition("\n")[0]
                for key in ("Speed", "Duplex", "Auto-negotiation")}

    def test_forced_speed_and_autonegotiation_of_a_card(self):
        ip("link", "set", CARD, "up")
        self.addCleanup(ip, "link", "set", CARD, "down")
        for speed, duplex in (("100", "full"), ("10", "half")):
            self.expect([CARD, "disable", speed, duplex],
                        executing("/usr/sbin/ethtool", "-s", CARD, "autoneg", "off",
                                  "speed", speed, "duplex", duplex))
            self.assertEqual(self.settings()["Auto-negotiation"], "off")
            self.assertIn("Advertised auto-negotiation: No", run("ethtool", CARD))
        self.expect([CARD, "enable", "100", "half"],
                    executing("/usr/sbin/ethtool", "-s", CARD, "autoneg", "on"))
        self.assertEqual(self.settings()["Auto-negotiation"], "on")

    def test_link_without_such_settings(self):
        self.add_link("la")
        self.expect(["la", "disable", "100", "full"],
                    executing("/usr/sbin/ethtool", "-s", "la", "autoneg", "off",
                              "speed", "100", "duplex", "full"),
                    line("set_link_tuning", "ERROR - failed to set link tuning rc=19200", 1961))

    def test_mtu(self):
        self.add_link("la")
        self.expect(["la", "mtu", "1400"], netlink("set_link_mtu", "set la mtu 1400"))
        self.assertEqual(link("la")["mtu"], 1400)

    def test_mtu_of_a_card_beyond_its_limit(self):
        before = link(CARD)["mtu"]
        lines = self.call(CARD, "mtu", "70000")
        self.assertTrue(line("set_link_tuning", "ERROR - failed to set link tuning mtu rc=-22",
                             1937).fits(lines[-1]), lines)
        self.assertEqual(link(CARD)["mtu"], before)

    def test_refuses_a_gigabit(self):
        self.expect([CARD, "disable", "1000", "full"],
                    line("set_link_tuning", "ERROR - invalid parm list", 1946))
