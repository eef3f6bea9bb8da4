"""Static addresses are added and addresses are flushed."""

import pytest

from harness import line, wait_until
from netns_helpers import (add_links, addresses, batch, command, descriptors_kept, exe,
                           kernel_error, nlc, not_found, set_ipv6_conf, start_daemon_without)

ADD = "SET_STATIC_ADDRESS"
FLUSH = "INTERFACE_ADDR_FLUSH"
FOR_EVER = 0xFFFFFFFF

REFUSED = exe("set_static_address", "ERROR - invalid parm list")
FLUSH_REFUSED = exe("addr_flush", "ERROR - invalid parm list")


def adding(link, address, prefix):
    return exe("set_static_address", f"adding {link} static IP {address}/{prefix}")


def added(link):
    return nlc("add_address", f"added address on {link}")


def not_added(link, error):
    return [kernel_error(error), nlc("add_address", f"ERROR - failed to add address on {link}"),
            exe("set_static_address", f"ERROR - failed to add static IP rc={-error}")]


def flushed(count, link):
    return nlc("flush_addresses", f"flushed {count} addresses on {link}")


def flushing(*arguments):
    return exe("addr_flush", f"flushing {' '.join(arguments[:4])} addrs")


@pytest.fixture
def linked(kex):
    """Two links that are down: the kernel adds no addresses of its own."""
    add_links(kex, up=False)
    return kex


# --- adding ---

@pytest.mark.parametrize("prefix, length", [
    ("255.255.255.0", 24), ("24", 24), (" 24", 24), ("+24", 24), ("\t\n24", 24), ("024", 24),
    ("32", 32), ("255.255.255.255", 32), ("0", 0), ("0.0.0.0", 0), ("128.0.0.0", 1), ("1", 1),
    ("255.255.255.254", 31), ("-0", 0)])
def test_ipv4(linked, prefix, length):
    with descriptors_kept(linked):
        command(linked, ADD, "eth1", "192.168.0.5", prefix, "192.168.0.255",
                then=[adding("eth1", "192.168.0.5", length), added("eth1")])
    assert addresses(linked, "eth1") == [("192.168.0.5", length, "192.168.0.255", "global")]
    (found,) = linked.ip("addr", "show", "dev", "eth1")[0]["addr_info"]
    assert found["valid_life_time"] == found["preferred_life_time"] == FOR_EVER
    assert "dynamic" not in found


# A fourth argument is the broadcast address of IPv4 only; here it is ignored.
@pytest.mark.parametrize("surplus", [(), ("192.168.0.255",), ("no address",), ("", "x")])
def test_ipv6(linked, surplus):
    command(linked, ADD, "eth1", "fd00::5", "64", *surplus,
            then=[adding("eth1", "fd00::5", 64), added("eth1")])
    assert addresses(linked, "eth1") == [("fd00::5", 64, None, "global")]
    (found,) = linked.ip("addr", "show", "dev", "eth1")[0]["addr_info"]
    assert found["valid_life_time"] == found["preferred_life_time"] == FOR_EVER


@pytest.mark.parametrize("address, prefix, seen", [
    ("FD00:0:0::0005", "128", ("fd00::5", 128, None, "global")),
    ("::ffff:10.0.0.1", "96", ("::ffff:10.0.0.1", 96, None, "global")),
    ("fe80::1", "64", ("fe80::1", 64, None, "link")),
    ("fd00::", "+1", ("fd00::", 1, None, "global")),
    ("fd00::9", "0", ("fd00::9", 0, None, "global"))])
def test_forms_of_ipv6(linked, address, prefix, seen):
    command(linked, ADD, "eth1", address, prefix,
            then=[adding("eth1", address, int(prefix)), added("eth1")])
    assert addresses(linked, "eth1") == [seen]


def test_surplus_arguments_of_ipv4_are_ignored(linked):
    command(linked, ADD, "eth1", "10.0.0.5", "8", "10.255.255.255", "x", "",
            then=[adding("eth1", "10.0.0.5", 8), added("eth1")])
    assert addresses(linked, "eth1") == [("10.0.0.5", 8, "10.255.255.255", "global")]


def test_an_address_that_exists_is_refreshed(linked):
    linked.run("ip", "addr", "add", "10.0.0.5/24", "dev", "eth1", "valid_lft", "1000",
               "preferred_lft", "500")
    linked.run("ip", "addr", "add", "fd00::5/64", "dev", "eth1", "valid_lft", "1000",
               "preferred_lft", "500")
    for _ in range(2):
        command(linked, ADD, "eth1", "10.0.0.5", "24", "10.0.0.255",
                then=[adding("eth1", "10.0.0.5", 24), added("eth1")])
        command(linked, ADD, "eth1", "fd00::5", "64",
                then=[adding("eth1", "fd00::5", 64), added("eth1")])
    found = linked.ip("addr", "show", "dev", "eth1")[0]["addr_info"]
    assert [info["valid_life_time"] for info in found] == [FOR_EVER, FOR_EVER]
    assert [info["preferred_life_time"] for info in found] == [FOR_EVER, FOR_EVER]


@pytest.mark.parametrize("arguments", [
    (), ("eth1",), ("eth1", "10.0.0.5"), ("eth1", "fd00::5"),
    ("eth1", "10.0.0.5", "24"),                      # IPv4 needs its broadcast address
    ("", "10.0.0.5", "24", "10.0.0.255"),
    ("eth/1", "10.0.0.5", "24", "10.0.0.255"),
    ("e" * 129, "fd00::5", "64"),
    ("eth1", "", "24", "10.0.0.255"),
    ("eth1", "1.2.3", "24", "10.0.0.255"),           # six characters and fewer are too short
    ("eth1", "10.0.0.5 ", "24", "10.0.0.255"),
    ("eth1", "host.name", "24", "10.0.0.255"),
    ("eth1", "1000.1000.100.100", "24", "10.0.0.255"),
    ("eth1", "10.0.0.5", "24", ""),
    ("eth1", "10.0.0.5", "24", "fd00::1"),
    ("eth1", "10.0.0.5", "255.255.255.0", "broadcast"),
    ("eth1", "fd00::5::1", "64"),
    ("eth1", ":", "64"),
    ("eth1", "fd00::5/64", "64"),
    ("eth1", "fe80::1%eth1", "64"),
    ("eth1", "fd00::g", "64", "10.0.0.255"),
    ("eth1", " fd00::5", "64"),
])
def test_refused_lists_touch_nothing(linked, arguments):
    with descriptors_kept(linked):
        command(linked, ADD, *arguments, then=[REFUSED])
    assert addresses(linked, "eth1") == []


@pytest.mark.parametrize("address, broadcast, wrong", [
    ("10.0.0.256", "10.0.0.255", "10.0.0.256"), ("1.2.3.4.5", "10.0.0.255", "1.2.3.4.5"),
    ("1234567", "10.0.0.255", "1234567"), (".......", "10.0.0.255", "......."),
    ("10.0.0.05", "10.0.0.255", "10.0.0.05"), ("10.0.0.5", "10.0.0.999", "10.0.0.999"),
    ("10.0.0.5", "7777777", "7777777"), ("999.0.0.1", "999.0.0.2", "999.0.0.1")])
def test_ipv4_text_that_does_not_convert(linked, address, broadcast, wrong):
    # The prefix, which is wrong too, is not reached.
    command(linked, ADD, "eth1", address, "99", broadcast, then=[
        exe("set_static_address", f"ERROR - failed to convert {wrong} to IPv4")])
    assert addresses(linked, "eth1") == []


@pytest.mark.parametrize("address, prefix", [
    ("10.0.0.5", prefix) for prefix in (
        "", " ", "24x", "24 ", "x", "33", "128", "255.0.255.0", "0.255.255.0", "255.255.255.1",
        "0.0.0.255", "255.255.255.253", "255.255.255", "255.255.255.256", "255.255.255.0 ",
        " 255.255.255.0", ".", "24.", "-1", "-24", "0x18", "4294967296", "4294967320",
        "18446744073709551615", "99999999999999999999999", "fd00::", "+", "- 1")
] + [
    ("fd00::5", prefix) for prefix in (
        "", "129", "64x", "255.255.255.0", "0.0.0.0", ".", "-1", "64 ", "ffff::",
        "18446744073709551680", "x")])
def test_prefix_or_mask_that_is_refused(linked, address, prefix):
    command(linked, ADD, "eth1", address, prefix, "10.0.0.255", then=[
        exe("set_static_address", f"ERROR - invalid prefix length or subnet mask: {prefix}")])
    assert addresses(linked, "eth1") == []


def test_link_that_is_not_there(linked):
    for name in ("eth9", "e" * 128, "."):
        command(linked, ADD, name, "10.0.0.5", "24", "10.0.0.255", then=[
            adding(name, "10.0.0.5", 24), not_found(name),
            exe("set_static_address", "ERROR - failed to add static IP rc=-1")])
        command(linked, ADD, name, "fd00::5", "64", then=[
            adding(name, "fd00::5", 64), not_found(name),
            exe("set_static_address", "ERROR - failed to add static IP rc=-1")])


@pytest.mark.parametrize("address", ["ff02::5", "::", "::1"])
def test_address_that_the_kernel_refuses(linked, address):
    with descriptors_kept(linked):
        command(linked, ADD, "eth1", address, "64",
                then=[adding("eth1", address, 64), *not_added("eth1", 99)])
    assert addresses(linked, "eth1") == []
    command(linked, ADD, "eth1", "fd00::5", "64", then=[adding("eth1", "fd00::5", 64),
                                                         added("eth1")])


def test_link_on_which_ipv6_is_off(linked):
    set_ipv6_conf(linked, "eth1", "disable_ipv6", 1)
    command(linked, ADD, "eth1", "fd00::5", "64",
            then=[adding("eth1", "fd00::5", 64), *not_added("eth1", 13)])


def test_link_whose_mtu_is_too_small_for_ipv6(linked):
    linked.run("ip", "link", "set", "eth1", "mtu", "1000")
    command(linked, ADD, "eth1", "fd00::5", "64",
            then=[adding("eth1", "fd00::5", 64), *not_added("eth1", 22)])


# --- flushing ---

def lay_addresses(kex):
    """Permanent and temporary ones of both families and of several scopes."""
    lifetime = "valid_lft 1000 preferred_lft 1000"
    batch(kex, [
        "addr add 10.0.1.1/24 dev eth1",
        f"addr add 10.0.2.1/24 dev eth1 {lifetime}",
        "addr add 10.0.3.1/24 dev eth1 scope link",
        f"addr add 10.0.4.1/24 dev eth1 scope link {lifetime}",
        "addr add 10.0.5.1/24 dev eth1 scope host",
        "addr add fd00:1::1/64 dev eth1 nodad",
        f"addr add fd00:2::1/64 dev eth1 nodad {lifetime}",
        "addr add fe80::3/64 dev eth1 nodad",
        f"addr add fe80::4/64 dev eth1 nodad {lifetime}",
        "addr add 10.0.1.2/24 dev eth2",
        "addr add fd00:1::2/64 dev eth2 nodad",
        "addr add fe80::2/64 dev eth2 nodad",
    ])


@pytest.mark.parametrize("arguments, gone", [
    (("ipv4", "global", "static"), {"10.0.1.1"}),
    (("ipv4", "global", "all"), {"10.0.1.1", "10.0.2.1"}),
    (("ipv4", "link", "static"), {"10.0.3.1"}),
    (("ipv4", "link", "all"), {"10.0.3.1", "10.0.4.1"}),
    (("ipv4", "all", "static"), {"10.0.1.1", "10.0.3.1", "10.0.5.1"}),
    (("ipv4", "all", "all"), {"10.0.1.1", "10.0.2.1", "10.0.3.1", "10.0.4.1", "10.0.5.1"}),
    (("ipv6", "global", "static"), {"fd00:1::1"}),
    (("ipv6", "global", "all"), {"fd00:1::1", "fd00:2::1"}),
    (("ipv6", "link", "static"), {"fe80::3"}),
    (("ipv6", "link", "all"), {"fe80::3", "fe80::4"}),
    (("ipv6", "all", "static"), {"fd00:1::1", "fe80::3"}),
    (("ipv6", "all", "all"), {"fd00:1::1", "fd00:2::1", "fe80::3", "fe80::4"}),
])
def test_flush(linked, arguments, gone):
    lay_addresses(linked)
    before = {entry[0] for entry in addresses(linked, "eth1")}
    others = addresses(linked, "eth2")
    whole = ("eth1", *arguments, "surplus")
    with descriptors_kept(linked):
        command(linked, FLUSH, *whole,
                then=[flushing(*whole), flushed(len(gone), "eth1")])
    assert {entry[0] for entry in addresses(linked, "eth1")} == before - gone
    assert addresses(linked, "eth2") == others
    command(linked, FLUSH, *whole, then=[flushing(*whole), flushed(0, "eth1")])


def test_flush_removes_the_link_local_address_of_the_kernel(kex):
    add_links(kex)
    wait_until(lambda: addresses(kex, "eth1"), what="the kernel to add its address")
    command(kex, FLUSH, "eth1", "ipv6", "link", "static",
            then=[flushing("eth1", "ipv6", "link", "static"), flushed(1, "eth1")])
    assert addresses(kex, "eth1") == []


# A secondary address goes with its primary one: its own deletion fails, and is counted.
def test_failed_deletions_are_counted_and_do_not_stop_the_flush(linked):
    batch(linked, ["addr add 10.0.0.1/24 dev eth1", "addr add 10.0.0.2/24 dev eth1",
                   "addr add 10.0.0.3/24 dev eth1", "addr add 10.1.0.1/24 dev eth1"])
    assert linked.call(FLUSH, "eth1", "ipv4", "all", "all") == 0
    texts = linked.lines()
    assert line("nlc", "flush_addresses", None, "flushed 4 addresses on eth1").fits(texts[-1])
    failed = kernel_error(99)
    # Where a dump ends in a datagram of its own, that takes the place of the last
    # acknowledgement.
    assert 1 <= sum(map(failed.fits, texts)) <= 2
    assert addresses(linked, "eth1") == []


@pytest.mark.parametrize("arguments", [
    (), ("eth1",), ("eth1", "ipv4", "all"), ("", "ipv4", "all", "all"),
    ("eth/1", "ipv4", "all", "all"), ("eth1", "IPv4", "all", "all"), ("eth1", "", "all", "all"),
    ("eth1", "ip", "all", "all"), ("eth1", "ipv4", "host", "all"),
    ("eth1", "ipv4", "Global", "all"),
    ("eth1", "ipv4", "", "all"), ("eth1", "ipv6", "all", "dynamic"),
    ("eth1", "ipv6", "all", "Static"), ("eth1", "ipv6", "all", ""),
])
def test_flush_refuses(linked, arguments):
    lay_addresses(linked)
    before = addresses(linked, "eth1")
    command(linked, FLUSH, *arguments, then=[FLUSH_REFUSED])
    assert addresses(linked, "eth1") == before


def test_flush_of_a_link_that_is_not_there(linked):
    for arguments in (("eth9", "ipv4", "all", "all"), ("e" * 128, "ipv6", "link", "static")):
        command(linked, FLUSH, *arguments, then=[
            flushing(*arguments), not_found(arguments[0]),
            exe("addr_flush", "ERROR - failed to flush rc=-1")])


# --- without the right to change addresses ---

def test_kernel_that_permits_nothing(sandbox):
    start_daemon_without(sandbox, "net_admin")
    add_links(sandbox, up=False)
    sandbox.run("ip", "addr", "add", "10.0.0.1/24", "dev", "eth1")
    with descriptors_kept(sandbox):
        command(sandbox, ADD, "eth1", "10.0.0.5", "24", "10.0.0.255",
                then=[adding("eth1", "10.0.0.5", 24), *not_added("eth1", 1)])
        # The dump itself needs no right; the deletion that it leads to does.
        sandbox.mark()
        assert sandbox.call(FLUSH, "eth1", "ipv4", "all", "all") == 0
    assert flushed(1, "eth1").fits(sandbox.lines()[-1])
    assert addresses(sandbox, "eth1") == [("10.0.0.1", 24, None, "global")]
