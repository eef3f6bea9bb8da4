"""IPv6 settings of the kernel."""

from machine import CommandTest, addresses, ip, line, read, set_value, wait_until

CONF = "/proc/sys/net/ipv6/conf/"


def setting(name, which):
    return read(f"{CONF}{name}/{which}")


def transition(name):
    return line("configure_ipv6", f"IPv6 autoconfig transition on {name}")


class SetIpv6Settings(CommandTest):
    command = "SET_IPV6_SETTINGS"

    def setUp(self):
        self.add_link("la")
        # Once there has been a secret, new links begin with it.
        set_value(CONF + "la/addr_gen_mode", "0")
        ip("link", "set", "la", "up")

    def state(self):
        return [setting("la", which) for which in
                ("disable_ipv6", "accept_ra", "accept_dad", "accept_ra_rt_info_max_plen",
                 "addr_gen_mode")]

    def test_off_and_on(self):
        self.expect(["la", "disable", "enable", "enable"],
                    line("configure_ipv6", "la enable:0 autoconf:1"))
        self.assertEqual(setting("la", "disable_ipv6"), "1")
        self.assertEqual(addresses("la", "-6"), [])
        self.expect(["la", "enable", "enable", "disable"],
                    line("configure_ipv6", "la enable:1 autoconf:1"),
                    line("determine_current_ipv6_settings", "read 1"),
                    line("determine_current_ipv6_settings", "read 1"),
                    line("determine_current_ipv6_settings", "read 0"))
        self.assertEqual(self.state(), ["0", "1", "2", "128", "0"])
        wait_until(lambda: addresses("la", "-6"), what="a link-local address")

    def test_transition_when_autoconfiguration_changes(self):
        lines = self.call("la", "enable", "disable", "disable")
        self.assertTrue(transition("la").fits(lines[-1]), lines)
        self.assertEqual(self.state(), ["0", "0", "2", "128", "0"])
        lines = self.call("la", "enable", "disable", "disable")
        self.assertFalse(any(transition("la").fits(got) for got in lines), lines)

    def test_link_without_settings(self):
        lines = self.call("nolink", "enable", "enable", "disable")
        self.assertTrue(line("ipv6_procfs_setting", "ERROR - nolink disable_ipv6=0 failed")
                        .fits(lines[-1]), lines)
        self.assertEqual(len(lines), 1 + 3 + 5, lines)


class SetIp6StablePrivacy(CommandTest):
    command = "SET_IP6_STABLE_PRIVACY"

    def test_secret_makes_addresses_of_new_links(self):
        self.addCleanup(set_value, CONF + "default/addr_gen_mode", "0")
        self.expect(["enable", "2001:db8::5ec"], line("set_stable_privacy", ""))
        self.assertEqual(setting("default", "addr_gen_mode"), "2")
        self.assertEqual(setting("default", "stable_secret"),
                         "2001:0db8:0000:0000:0000:0000:0000:05ec")
        self.add_link("la")
        self.assertEqual(setting("la", "addr_gen_mode"), "2")
        ip("link", "set", "la", "up")
        (address,) = wait_until(lambda: addresses("la", "-6"), what="a link-local address")
        # One that is made from the link's own address has these bits in its middle.
        self.assertNotIn("ff:fe", address)
        self.expect(["disable", "any"], line("set_stable_privacy", ""))
        self.assertEqual(setting("default", "addr_gen_mode"), "0")

    def test_refuses_one_argument(self):
        self.expect(["disable"], line("set_stable_privacy", ""),
                    line("set_stable_privacy", "ERROR - invalid parm list"))


class SetIp6HopLimit(CommandTest):
    command = "SET_IP6_HOP_LIMIT"

    def test_sets_a_links_limit(self):
        self.add_link("la")
        path = CONF + "la/hop_limit"
        self.expect(["la", "37"], line("set_ip6_hop_limit", f"set {path} to 37"))
        self.assertEqual(read(path), "37")
        # The kernel's refusal goes unsaid.
        self.expect(["la", "256"], line("set_ip6_hop_limit", f"set {path} to 256"))
        self.assertEqual(read(path), "37")

    def test_refuses_zero_and_a_missing_link(self):
        self.expect(["lo", "0"], line("set_ip6_hop_limit", "ERROR - invalid parm list"))
        self.expect(["nolink", "64"], line("set_ip6_hop_limit",
                                           f"ERROR - Unable to open {CONF}nolink/hop_limit"))
