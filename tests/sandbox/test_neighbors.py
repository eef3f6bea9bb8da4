"""IPv6 neighbours are pinned; all permanent neighbours are removed."""

import pytest

from netns_helpers import (add_links, batch, command, descriptors_kept, exe, kernel_error,
                           neighbours, nlc, not_found, set_ipv6_conf, start_daemon_without)

NEIGHBOUR = "SET_IP6_NEIGHBOR_CACHE"
MAC = "02:00:5e:00:00:01"
REFUSED = exe("set_ip6_neighbor_cache", "ERROR - invalid parm list")


def pinned(address, link):
    return [nlc("replace_neighbor", f"replaced neighbor on {link}"),
            exe("set_ip6_neighbor_cache", f"update {address} {link} rc=0")]


def flushed(count):
    return [nlc("flush_neighbors", f"flushed {count} permanent neighbors"),
            exe("set_ip6_neighbor_cache", "neighbor cache flush rc=0")]


@pytest.fixture
def linked(kex):
    add_links(kex)
    return kex


def permanent(kex):
    return {key: mac for key, (mac, state) in neighbours(kex).items() if state == ["PERMANENT"]}


def test_neighbour_is_pinned(linked):
    with descriptors_kept(linked):
        command(linked, NEIGHBOUR, "enable", "fd00::9", MAC, "eth1", then=pinned("fd00::9", "eth1"))
    assert permanent(linked) == {("eth1", "fd00::9"): MAC}


def test_neighbour_is_replaced(linked):
    linked.run("ip", "neigh", "add", "fd00::9", "lladdr", "02:00:00:00:00:77", "dev", "eth1",
               "nud", "stale")
    for mac in (MAC, "02:00:5e:00:00:02", "02:00:5e:00:00:02"):
        command(linked, NEIGHBOUR, "enable", "fd00::9", mac, "eth1", then=pinned("fd00::9", "eth1"))
        assert permanent(linked) == {("eth1", "fd00::9"): mac}
        assert len([key for key in neighbours(linked) if key == ("eth1", "fd00::9")]) == 1


@pytest.mark.parametrize("text, mac", [
    ("2:0:5E:0:0:A", "02:00:5e:00:00:0a"), ("02:00:5e:00:00:0A", "02:00:5e:00:00:0a"),
    # What stands behind the sixth part is not looked at.
    ("02:00:5e:00:00:011", "02:00:5e:00:00:01"), ("02:00:5e:00:00:01:", "02:00:5e:00:00:01")])
def test_forms_of_mac_addresses(linked, text, mac):
    command(linked, NEIGHBOUR, "enable", "fd00::9", text, "eth1", then=pinned("fd00::9", "eth1"))
    assert permanent(linked) == {("eth1", "fd00::9"): mac}


@pytest.mark.parametrize("text, address", [
    ("FD00:0:0::0009", "fd00::9"), ("fe80::9", "fe80::9"), ("::ffff:10.0.0.9", "::ffff:10.0.0.9"),
    ("ff02::9", "ff02::9")])
def test_forms_of_addresses(linked, text, address):
    command(linked, NEIGHBOUR, "enable", text, MAC, "eth1", "surplus", then=pinned(text, "eth1"))
    assert permanent(linked) == {("eth1", address): MAC}


@pytest.mark.parametrize("arguments", [
    (), ("",), ("Enable",), ("on", "fd00::9", MAC, "eth1"), ("flush",),
    ("enable",), ("enable", "fd00::9"), ("enable", "fd00::9", MAC),
    ("enable", "10.0.0.9", MAC, "eth1"), ("enable", "", MAC, "eth1"),
    ("enable", "fd00::9/64", MAC, "eth1"), ("enable", "fe80::9%eth1", MAC, "eth1"),
    ("enable", "fd00::9 ", MAC, "eth1"), ("enable", "fd00:9", MAC, "eth1"),
    ("enable", "fd00::9", "", "eth1"), ("enable", "fd00::9", "02-00-5e-00-00-01", "eth1"),
    ("enable", "fd00::9", "0" * 19, "eth1"), ("enable", "fd00::9", MAC, ""),
    ("enable", "fd00::9", MAC, "eth/1"), ("enable", "fd00::9", MAC, "e" * 129),
])
def test_refused_lists_touch_nothing(linked, arguments):
    with descriptors_kept(linked):
        command(linked, NEIGHBOUR, *arguments, then=[REFUSED])
    assert permanent(linked) == {}


@pytest.mark.parametrize("text", ["0" * 18, ":" * 18, "02:00:5e:00:00", "0", "020:0:5e:0:0:1",
                                  "02:00:5e::00:00:01", "02005e000001", "02:00:5e:00:00:"])
def test_text_that_is_no_mac_address(linked, text):
    # The link, which is not there, is not reached.
    command(linked, NEIGHBOUR, "enable", "fd00::9", text, "eth9",
            then=[exe("set_ip6_neighbor_cache", f"ERROR - invalid MAC address {text}")])
    assert permanent(linked) == {}


# This outcome is information, whatever it is.
def test_link_that_is_not_there(linked):
    command(linked, NEIGHBOUR, "enable", "fd00::9", MAC, "eth9",
            then=[not_found("eth9"), exe("set_ip6_neighbor_cache", "update fd00::9 eth9 rc=-1")])


def test_neighbour_that_the_kernel_refuses(linked):
    set_ipv6_conf(linked, "eth1", "disable_ipv6", 1)
    linked.run("ip", "link", "set", "eth1", "mtu", "1000")
    with descriptors_kept(linked):
        command(linked, NEIGHBOUR, "enable", "fd00::9", MAC, "eth1", then=[
            kernel_error(22), nlc("replace_neighbor", "ERROR - failed to replace neighbor on eth1"),
            exe("set_ip6_neighbor_cache", "update fd00::9 eth1 rc=-22")])


# Those of every link and family go, not only those that were pinned by a command.
@pytest.mark.parametrize("surplus", [(), ("fd00::9", MAC, "eth1"), ("", "x")])
def test_flush(linked, surplus):
    command(linked, NEIGHBOUR, "enable", "fd00::9", MAC, "eth1", then=pinned("fd00::9", "eth1"))
    batch(linked, [f"neigh add fd00::a lladdr {MAC} dev eth2 nud permanent",
                   f"neigh add 10.0.0.9 lladdr {MAC} dev eth1 nud permanent",
                   f"neigh add 10.0.0.10 lladdr {MAC} dev eth1 nud permanent",
                   f"neigh add fd00::b lladdr {MAC} dev eth1 nud reachable",
                   f"neigh add 10.0.0.11 lladdr {MAC} dev eth2 nud stale",
                   f"neigh add 10.0.0.12 lladdr {MAC} dev eth2 nud noarp"])
    with descriptors_kept(linked):
        command(linked, NEIGHBOUR, "disable", *surplus, then=flushed(4))
    assert permanent(linked) == {}
    assert {("eth1", "fd00::b"), ("eth2", "10.0.0.11"), ("eth2", "10.0.0.12")} <= set(
        neighbours(linked))
    command(linked, NEIGHBOUR, "disable", *surplus, then=flushed(0))


def test_kernel_that_permits_nothing(sandbox):
    start_daemon_without(sandbox, "net_admin")
    add_links(sandbox)
    with descriptors_kept(sandbox):
        command(sandbox, NEIGHBOUR, "enable", "fd00::9", MAC, "eth1", then=[
            kernel_error(1), nlc("replace_neighbor", "ERROR - failed to replace neighbor on eth1"),
            exe("set_ip6_neighbor_cache", "update fd00::9 eth1 rc=-1")])
        command(sandbox, NEIGHBOUR, "disable", then=flushed(0))
    assert permanent(sandbox) == {}
