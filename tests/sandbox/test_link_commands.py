"""The commands that change settings of a link, on the kernel's own links."""

import pytest

from harness import Call, expected, line

ETHTOOL = "/usr/sbin/ethtool"


@pytest.fixture
def veth(kex):
    """A sandbox with kex and the pair veth0 and veth1, both down."""
    kex.add_veth()
    kex.mark()
    return kex


def info(function, text):
    return line("nlc", function, None, text)


def error(function, text):
    return line("nlc", function, None, "ERROR - " + text)


def kernel_error(number):
    return error("send_and_recv_ack", f"netlink error response: {number}")


def entered_link_control():
    return line("exe", "link_control", 686, "")


def state_set(name, state):
    """The lines of link_control that set a link's state."""
    return [entered_link_control(), info("set_link_state", f"set {name} {state}"),
            line("exe", "link_control", 697, f"set {name} {state} rc=0")]


def is_up(sandbox, name):
    return "UP" in sandbox.link(name)["flags"]


def snapshot(sandbox):
    """All that the refused commands must leave as it is."""
    return sandbox.ip("-d", "link", "show")


# LINK_CTRL

def test_link_goes_up_and_down(veth):
    assert veth.call("LINK_CTRL", "up", "veth0") == 0
    veth.expect_log(*expected.command("LINK_CTRL", "up", "veth0"), *state_set("veth0", "up"))
    assert is_up(veth, "veth0") and not is_up(veth, "veth1")
    assert veth.call("LINK_CTRL", "down", "veth0") == 0
    veth.expect_log(*expected.command("LINK_CTRL", "down", "veth0"), *state_set("veth0", "down"))
    assert not is_up(veth, "veth0")


def test_setting_the_state_a_link_has_succeeds(veth):
    assert veth.call("LINK_CTRL", "down", "veth0") == 0
    veth.expect_log(*expected.command("LINK_CTRL", "down", "veth0"), *state_set("veth0", "down"))


@pytest.mark.parametrize("name", ["veth9", "x" * 16, "x" * 128, "-", ".", "..", "veth0.5", "VETH0"])
def test_link_that_does_not_exist(veth, name):
    before = snapshot(veth)
    assert veth.call("LINK_CTRL", "up", name) == 0
    veth.expect_log(*expected.command("LINK_CTRL", "up", name), entered_link_control(),
                    error("set_link_state", f"interface {name} not found"),
                    line("exe", "link_control", 697, f"set {name} up rc=-1"))
    assert snapshot(veth) == before


@pytest.mark.parametrize("arguments", [
    (), ("up",), ("up", "veth0", "x"), ("UP", "veth0"), ("Down", "veth0"), ("", "veth0"),
    ("up ", "veth0"), ("veth0", "up"), ("up", ""), ("up", "veth 0"), ("up", "veth0:1"),
    ("up", "veth0\n"), ("up", "veth0/"), ("up", "x" * 129), ("up", "v\u00e9th0"),
], ids=repr)
def test_link_control_refuses(veth, arguments):
    before = snapshot(veth)
    assert veth.call("LINK_CTRL", *arguments) == 0
    veth.expect_log(*expected.command("LINK_CTRL", *arguments), entered_link_control(),
                    expected.refused("link_control", 691))
    assert snapshot(veth) == before


# SET_MAC_ADDRESS

def setting_mac(name, address):
    return line("exe", "set_mac_address", 1272, f"setting {name}: {address}")


@pytest.mark.parametrize("text, address", [
    ("02:11:22:33:44:55", "02:11:22:33:44:55"), ("0A:bC:dE:F0:01:02", "0a:bc:de:f0:01:02"),
    ("2:0:0:0:0:7", "02:00:00:00:00:07"),
])
def test_mac_address_is_set_and_the_link_left_down(veth, text, address):
    veth.run("ip", "link", "set", "veth0", "up")
    assert veth.call("SET_MAC_ADDRESS", "veth0", text, "ignored") == 0
    veth.expect_log(*expected.command("SET_MAC_ADDRESS", "veth0", text, "ignored"),
                    setting_mac("veth0", text), *state_set("veth0", "down"),
                    info("set_link_address", f"set veth0 address {text}"))
    assert veth.link("veth0")["address"] == address
    assert not is_up(veth, "veth0")


@pytest.mark.parametrize("text", ["1", ":::", "0123456789abcdef", "02:11:22:33:44"])
def test_mac_text_that_does_not_parse_takes_the_link_down_only(veth, text):
    veth.run("ip", "link", "set", "veth0", "up")
    address = veth.link("veth0")["address"]
    assert veth.call("SET_MAC_ADDRESS", "veth0", text) == 0
    veth.expect_log(*expected.command("SET_MAC_ADDRESS", "veth0", text),
                    setting_mac("veth0", text), *state_set("veth0", "down"),
                    error("set_link_address", f"invalid MAC address {text}"),
                    line("exe", "set_mac_address", 1279,
                         f"ERROR - failed to set veth0 {text} rc=-1"))
    assert veth.link("veth0")["address"] == address
    assert not is_up(veth, "veth0")


def test_mac_address_that_the_kernel_refuses(veth):
    multicast = "01:00:5e:00:00:01"
    assert veth.call("SET_MAC_ADDRESS", "veth0", multicast) == 0
    veth.expect_log(*expected.command("SET_MAC_ADDRESS", "veth0", multicast),
                    setting_mac("veth0", multicast), *state_set("veth0", "down"),
                    kernel_error(99),
                    error("set_link_address", f"failed to set veth0 address {multicast}"),
                    line("exe", "set_mac_address", 1279,
                         f"ERROR - failed to set veth0 {multicast} rc=-99"))


def test_mac_address_of_a_link_that_does_not_exist(kex):
    arguments = ("veth9", "02:11:22:33:44:55")
    assert kex.call("SET_MAC_ADDRESS", *arguments) == 0
    kex.expect_log(*expected.command("SET_MAC_ADDRESS", *arguments), setting_mac(*arguments),
                   entered_link_control(), error("set_link_state", "interface veth9 not found"),
                   line("exe", "link_control", 697, "set veth9 down rc=-1"),
                   error("resolve_ifindex", "interface veth9 not found"),
                   line("exe", "set_mac_address", 1279,
                        "ERROR - failed to set veth9 02:11:22:33:44:55 rc=-1"))


@pytest.mark.parametrize("arguments", [
    (), ("veth0",), ("", "02:11:22:33:44:55"), ("veth 0", "02:11:22:33:44:55"), ("veth0", ""),
    ("veth0", "02:11:22:33:44:5g"), ("veth0", "02-11-22-33-44-55"),
    ("veth0", "02:11:22:33:44:55:6"), ("veth0", " 02:11:22:33:44:5"),
], ids=repr)
def test_set_mac_address_refuses(veth, arguments):
    veth.run("ip", "link", "set", "veth0", "up")
    before = snapshot(veth)
    assert veth.call("SET_MAC_ADDRESS", *arguments) == 0
    veth.expect_log(*expected.command("SET_MAC_ADDRESS", *arguments),
                    expected.refused("set_mac_address", 1268))
    assert snapshot(veth) == before


# LINK_TUNE

@pytest.mark.parametrize("text, mtu", [("1400", 1400), ("9000x", 9000), (" 68", 68), ("+576", 576),
                                       ("01280", 1280), ("4294968796", 1500)])
def test_mtu_is_set(veth, text, mtu):
    veth.run("ip", "link", "set", "veth0", "mtu", "2000")
    assert veth.call("LINK_TUNE", "veth0", "mtu", text, "ignored") == 0
    veth.expect_log(*expected.command("LINK_TUNE", "veth0", "mtu", text, "ignored"),
                    info("set_link_mtu", f"set veth0 mtu {mtu}"))
    assert veth.link("veth0")["mtu"] == mtu


# What is no number counts as 0, which is left to the kernel to refuse.
@pytest.mark.parametrize("text, mtu", [("abc", 0), ("", 0), ("0", 0), ("67", 67),
                                       ("65536", 65536), ("-1", 4294967295)])
def test_mtu_that_the_kernel_refuses(veth, text, mtu):
    assert veth.call("LINK_TUNE", "veth0", "mtu", text) == 0
    veth.expect_log(*expected.command("LINK_TUNE", "veth0", "mtu", text), kernel_error(22),
                    error("set_link_mtu", f"failed to set veth0 mtu {mtu}"),
                    line("exe", "set_link_tuning", 1937,
                         "ERROR - failed to set link tuning mtu rc=-22"))
    assert veth.link("veth0")["mtu"] == 1500


def test_mtu_of_a_link_that_does_not_exist(kex):
    assert kex.call("LINK_TUNE", "veth9", "mtu", "1400") == 0
    kex.expect_log(*expected.command("LINK_TUNE", "veth9", "mtu", "1400"),
                   error("resolve_ifindex", "interface veth9 not found"),
                   line("exe", "set_link_tuning", 1937,
                        "ERROR - failed to set link tuning mtu rc=-1"))


@pytest.mark.parametrize("arguments, words", [
    (("enable",), ("autoneg", "on")),
    (("enable", "100", "half"), ("autoneg", "on")),
    (("enable", "1000", "none", "x"), ("autoneg", "on")),
    (("disable", "10", "half"), ("autoneg", "off", "speed", "10", "duplex", "half")),
    (("disable", "100", "full"), ("autoneg", "off", "speed", "100", "duplex", "full")),
    (("disable", "100", "half", "x"), ("autoneg", "off", "speed", "100", "duplex", "half")),
])
def test_autonegotiation_is_set_with_ethtool(kex, arguments, words):
    kex.put_program(ETHTOOL)
    # Any printable text is a name here, not only that of an interface.
    for name in ("eth0", "a/b:c"):
        assert kex.call("LINK_TUNE", name, *arguments) == 0
        kex.expect_log(*expected.command("LINK_TUNE", name, *arguments),
                       expected.executing(ETHTOOL, "-s", name, *words))
        assert kex.calls()[-1] == Call(ETHTOOL, ("-s", name, *words))
    assert len(kex.calls()) == 2


def test_ethtool_that_fails(kex):
    kex.put_program(ETHTOOL, status=75)
    assert kex.call("LINK_TUNE", "eth0", "disable", "10", "full") == 0
    words = ("-s", "eth0", "autoneg", "off", "speed", "10", "duplex", "full")
    kex.expect_log(*expected.command("LINK_TUNE", "eth0", "disable", "10", "full"),
                   expected.executing(ETHTOOL, *words),
                   line("exe", "set_link_tuning", 1961, "ERROR - failed to set link tuning rc=19200"))


@pytest.mark.parametrize("number, arguments", [
    (1919, ()), (1919, ("veth0",)), (1919, ("", "enable")), (1919, ("veth 0", "enable")),
    (1919, ("veth0;x", "enable")), (1919, ("x" * 258, "enable")), (1919, ("v\u00e9th0", "enable")),
    (1924, ("veth0", "")), (1924, ("veth0", "Enable")), (1924, ("veth0", "MTU", "1400")),
    (1924, ("veth0", "on")), (1924, ("enable", "veth0")),
    (1931, ("veth0", "mtu")),
    (1946, ("veth0", "disable")), (1946, ("veth0", "disable", "100")),
    (1946, ("veth0", "disable", "1000", "full")), (1946, ("veth0", "disable", "", "full")),
    (1946, ("veth0", "disable", "100", "auto")), (1946, ("veth0", "disable", "100", "Full")),
    (1946, ("veth0", "disable", "full", "100")), (1946, ("veth0", "disable", "0100", "full")),
], ids=repr)
def test_set_link_tuning_refuses(veth, number, arguments):
    veth.put_program(ETHTOOL)
    before = snapshot(veth)
    assert veth.call("LINK_TUNE", *arguments) == 0
    veth.expect_log(*expected.command("LINK_TUNE", *arguments),
                    expected.refused("set_link_tuning", number))
    assert snapshot(veth) == before
    assert veth.calls() == []


# VLANPRI_SET

@pytest.mark.parametrize("number, arguments", [
    (1977, ()), (1977, ("veth0",)), (1977, ("", "1")), (1977, ("veth 0", "1")),
    (1977, ("veth0|x", "1")), (1977, ("x" * 258, "1")),
    (1983, ("veth0", "8")), (1983, ("veth0", "-1")), (1983, ("veth0", "99999999999999999999")),
    (1983, ("veth0", "10x")), (1983, ("veth0.5", "8")),
], ids=repr)
def test_set_vlan_priority_refuses(veth, number, arguments):
    before = snapshot(veth)
    assert veth.call("VLANPRI_SET", *arguments) == 0
    veth.expect_log(*expected.command("VLANPRI_SET", *arguments),
                    expected.refused("set_vlan_priority", number))
    assert snapshot(veth) == before


# 4294967303 is 7 in 32 bits; what is no number counts as 0.
@pytest.mark.parametrize("text", ["0", "7", "7x", " 3", "abc", "", "4294967303"])
def test_vlan_priority_of_a_link_that_does_not_exist(kex, text):
    assert kex.call("VLANPRI_SET", "veth0.5", text) == 0
    kex.expect_log(*expected.command("VLANPRI_SET", "veth0.5", text),
                   error("resolve_ifindex", "interface veth0.5 not found"),
                   line("exe", "set_vlan_priority", 1993,
                        "ERROR - failed to set vlan priority rc=-1"))


# The kernel does not look at the kind's own settings in a request to change a link,
# so that a link that is no VLAN is as good as one.
@pytest.mark.parametrize("text", ["0", "7", "4294967303"])
def test_vlan_priority_is_sent_to_the_kernel(veth, text):
    assert veth.call("VLANPRI_SET", "veth0", text, "ignored") == 0
    veth.expect_log(*expected.command("VLANPRI_SET", "veth0", text, "ignored"),
                    info("set_vlan_egress_qos", "set veth0 vlan egress qos"))


def test_every_link_command_leaves_the_daemon_with_its_descriptors(veth):
    veth.put_program(ETHTOOL)
    veth.call("TERMINATE")
    before = veth.daemon.fd_count()
    for _ in range(20):
        veth.call("LINK_CTRL", "up", "veth0")
        veth.call("SET_MAC_ADDRESS", "veth0", "02:11:22:33:44:55")
        veth.call("LINK_TUNE", "veth0", "mtu", "1")
        veth.call("LINK_TUNE", "veth0", "enable")
        veth.call("VLANPRI_SET", "veth0", "1")
    assert veth.daemon.fd_count() == before
