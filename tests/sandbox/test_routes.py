"""Static routes are added and flushed."""

import pytest

from netns_helpers import (add_links, batch, command, descriptors_kept, destinations, exe,
                           kernel_error, nlc, not_found, routes, start_daemon_without)

ROUTE = "SET_STATIC_ROUTE"
REFUSED = exe("set_static_route", "ERROR - invalid parm list")


def added(link):
    return nlc("add_route", f"added route on {link}")


def not_added(family, link, error):
    return [kernel_error(error), nlc("add_route", f"ERROR - failed to add route on {link}"),
            exe("set_static_route", f"ERROR - failed to set static {family} routes rc={-error}")]


def flushed(count):
    return nlc("flush_routes", f"flushed {count} routes")


@pytest.fixture
def routed(kex):
    """Two links with an address of each family."""
    add_links(kex)
    batch(kex, ["addr add 10.0.0.5/24 dev eth1", "addr add fd00::5/64 dev eth1 nodad",
                "addr add 10.1.0.5/24 dev eth2", "addr add fd01::5/64 dev eth2 nodad"])
    return kex


def every_route(kex):
    """The routes of every table, but for those of IPv6 that the kernel makes when a new
    address has been found unique, which is at a time of its own."""
    return [route for family in ("-4", "-6")
            for route in kex.ip(family, "route", "show", "table", "all")
            if family == "-4" or route["protocol"] != "kernel"]


# --- adding IPv4 routes ---

def test_default_route_is_on_link_and_replaces(routed):
    with descriptors_kept(routed):
        command(routed, ROUTE, "enable", "ipv4", "eth1", "default", "10.0.0.1",
                then=[added("eth1")])
    (route,) = routes(routed, "-4")
    assert route == {"dst": "default", "gateway": "10.0.0.1", "dev": "eth1", "flags": ["onlink"]}
    # A gateway that no address of the link reaches is accepted: it is taken as on the link.
    command(routed, ROUTE, "enable", "ipv4", "eth2", "default", "172.16.0.1", then=[added("eth2")])
    (route,) = routes(routed, "-4")
    assert (route["gateway"], route["dev"], route["flags"]) == ("172.16.0.1", "eth2", ["onlink"])
    assert destinations(routed, "-4", "main") == ["default"]


@pytest.mark.parametrize("destination, seen", [
    ("10.9.0.0/16", "10.9.0.0/16"), ("10.9.1.2", "10.9.1.2"), ("10.9.1.2/32", "10.9.1.2"),
    ("128.0.0.0/1", "128.0.0.0/1"), ("10.9.0.0/16abc", "10.9.0.0/16"),
    ("10.9.0.0/16/24", "10.9.0.0/16"), ("10.9.0.0/ +16", "10.9.0.0/16"),
    ("10.9.0.0/0016", "10.9.0.0/16")])
def test_forms_of_ipv4_destinations(routed, destination, seen):
    command(routed, ROUTE, "enable", "ipv4", "eth1", destination, "0.0.0.0", then=[added("eth1")])
    (route,) = routes(routed, "-4")
    assert route["dst"] == seen
    assert "gateway" not in route
    # Without a gateway nothing is on the link.
    assert route["flags"] == []


# --- adding IPv6 routes ---

def test_ipv6_route_without_gateway(routed):
    command(routed, ROUTE, "enable", "ipv6", "eth1", "fd09::/64", "0.0.0.0", then=[added("eth1")])
    (route,) = routes(routed, "-6")
    assert (route["dst"], route["dev"]) == ("fd09::/64", "eth1")
    assert "gateway" not in route


def test_ipv6_routes_are_appended(routed):
    for gateway in ("fd00::1", "fd00::2"):
        command(routed, ROUTE, "enable", "ipv6", "eth1", "default", gateway, then=[added("eth1")])
    (route,) = routes(routed, "-6")
    assert route["dst"] == "default"
    assert [(hop["gateway"], hop["flags"]) for hop in route["nexthops"]] == [
        ("fd00::1", ["onlink"]), ("fd00::2", ["onlink"])]
    # What exists already is not replaced.
    command(routed, ROUTE, "enable", "ipv6", "eth1", "default", "fd00::2",
            then=not_added("ipv6", "eth1", 17))


@pytest.mark.parametrize("destination, seen", [
    ("fd09::1", "fd09::1"), ("fd09::1/128", "fd09::1"), ("FD09:0::/32", "fd09::/32"),
    ("fd09::/33x", "fd09::/33"), ("::ffff:10.0.0.0/120", "::ffff:10.0.0.0/120"),
    ("8000::/1", "8000::/1")])
def test_forms_of_ipv6_destinations(routed, destination, seen):
    command(routed, ROUTE, "enable", "ipv6", "eth1", destination, "fd00::1", then=[added("eth1")])
    (route,) = routes(routed, "-6")
    assert (route["dst"], route["gateway"]) == (seen, "fd00::1")


# The family is IPv4 for exactly "ipv4".
@pytest.mark.parametrize("family", ["ipv6", "IPv4", "", "ipx", "4"])
def test_any_other_family_is_ipv6(routed, family):
    command(routed, ROUTE, "enable", family, "eth1", "fd09::/64", "0.0.0.0", then=[added("eth1")])
    assert destinations(routed, "-6") == ["fd09::/64"]
    command(routed, ROUTE, "enable", family, "eth1", "10.9.0.0/16", "0.0.0.0", then=[
        exe("set_static_route", "ERROR - failed to convert 10.9.0.0 to IPv6")])
    command(routed, ROUTE, "enable", family, "eth1", "fd09::/64", "0.0.0.0",
            then=not_added(family, "eth1", 17))


# --- the table ---

@pytest.mark.parametrize("text, table", [
    ("255", "255"), ("1", "1"), ("100", "100"), ("254", "254"), ("0", "254"), ("+7", "7"),
    ("007", "7")])
def test_table_of_six_arguments(routed, text, table):
    command(routed, ROUTE, "enable", "ipv4", "eth1", "10.9.0.0/16", "10.0.0.1", text,
            then=[added("eth1")])
    assert destinations(routed, "-4", table) == ["10.9.0.0/16"]
    assert destinations(routed, "-4") == ["10.9.0.0/16"]


# With any other number of arguments the table is the main one, and the text is not looked at.
@pytest.mark.parametrize("surplus", [("100", ""), ("no table", "x", "y")])
def test_surplus_arguments_select_the_main_table(routed, surplus):
    command(routed, ROUTE, "enable", "ipv6", "eth1", "fd09::/64", "0.0.0.0", *surplus,
            then=[added("eth1")])
    assert destinations(routed, "-6", "main") == ["fd09::/64"]


@pytest.mark.parametrize("text", ["256", "-1", "100x", "x", "+", "-", "4294967296", "0x10",
                                  "18446744073709551616", "9" * 257])
def test_table_that_is_refused(routed, text):
    command(routed, ROUTE, "enable", "ipv4", "eth1", "10.9.0.0/16", "10.0.0.1", text,
            then=[exe("set_static_route", f"ERROR - invalid table ID: {text}")])
    assert routes(routed, "-4") == []


# --- refusals ---

@pytest.mark.parametrize("arguments", [
    (), ("enable",), ("routerule",), ("disable",), ("",), ("Enable", "ipv4"), ("add", "ipv4"),
    ("", "ipv4", "eth1", "default", "10.0.0.1"),
    ("enable", "ipv4"), ("enable", "ipv4", "eth1"), ("enable", "ipv4", "eth1", "default"),
    ("enable", "ipv4", "eth1", "", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "Default", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10.9.0.0/", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10.9.0.0/0", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10.9.0.0/33", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10.9.0.0/x", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10.9.0.0/-1", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10.9.0.0/4294967304", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10/8", "10.0.0.1"),
    ("enable", "ipv4", "eth1", "10.9.1", "10.0.0.1"),
    ("enable", "ipv6", "eth1", "fd09::/0", "fd00::1"),
    ("enable", "ipv6", "eth1", "fd09::/129", "fd00::1"),
    ("enable", "ipv6", "eth1", "fd09::g", "fd00::1"),
    ("enable", "ipv6", "eth1", "fd09::1%eth1", "fd00::1"),
    ("enable", "ipv4", "eth1", "default", ""),
    ("enable", "ipv4", "eth1", "default", "default"),
    ("enable", "ipv4", "eth1", "default", "0.0.0"),
    ("enable", "ipv4", "eth1", "default", "10.0.0.1/24"),
    ("enable", "ipv6", "eth1", "default", "fd00::1::"),
    ("enable", "ipv4", "eth1", "default", "10.0.0.1", ""),
    ("enable", "ipv4", "eth1", "default", "10.0.0.1", "100;"),
    ("enable", "ipv4", "eth1", "default", "10.0.0.1", " 100"),
    ("enable", "ipv4", "eth1", "default", "10.0.0.1", "1" * 258),
])
def test_refused_lists_touch_nothing(routed, arguments):
    before = every_route(routed)
    with descriptors_kept(routed):
        command(routed, ROUTE, *arguments, then=[REFUSED])
    assert every_route(routed) == before


@pytest.mark.parametrize("family, destination, gateway, wrong, name", [
    ("ipv4", "x.y/8", "10.0.0.1", "x.y", "IPv4"),
    ("ipv4", "10.9.0.256/24", "10.0.0.1", "10.9.0.256", "IPv4"),
    ("ipv4", "1.2.3.4.5", "10.0.0.1", "1.2.3.4.5", "IPv4"),
    ("ipv4", "fd09::/64", "10.0.0.1", "fd09::", "IPv4"),
    ("ipv4", "fd09::1", "10.0.0.1", "fd09::1", "IPv4"),
    ("ipv4", "/8.", "10.0.0.1", "", "IPv4"),
    ("ipv6", "10.9.0.0/24", "fd00::1", "10.9.0.0", "IPv6"),
    ("ipv6", ":/64", "fd00::1", ":", "IPv6"),
    ("ipv6", "/64:", "fd00::1", "", "IPv6"),
    ("ipv4", "10.9.0.0/24", "10.0.0.256", "10.0.0.256", "IPv4"),
    ("ipv4", "10.9.0.0/24", "fd00::1", "fd00::1", "IPv4"),
    ("ipv4", "default", "7777777", "7777777", "IPv4"),
    ("ipv6", "fd09::/64", "10.0.0.1", "10.0.0.1", "IPv6"),
    ("ipv6", "default", "0.0.0.1", "0.0.0.1", "IPv6"),
])
def test_text_that_does_not_convert(routed, family, destination, gateway, wrong, name):
    command(routed, ROUTE, "enable", family, "eth1", destination, gateway, then=[
        exe("set_static_route", f"ERROR - failed to convert {wrong} to {name}")])
    assert routes(routed, "-4") == routes(routed, "-6") == []


@pytest.mark.parametrize("link", ["eth9", "eth/1", "e" * 300])
def test_link_that_is_not_there(routed, link):
    command(routed, ROUTE, "enable", "ipv4", link, "10.9.0.0/16", "0.0.0.0", then=[
        not_found(link), exe("set_static_route", "ERROR - failed to set static ipv4 routes rc=-1")])


@pytest.mark.parametrize("family, link, destination, gateway, error", [
    ("ipv4", "", "10.9.0.0/16", "0.0.0.0", 19),    # neither a link nor a gateway
    ("ipv4", "", "default", "10.0.0.1", 19),       # "on the link" needs the link
    ("ipv6", "", "default", "fd00::1", 19),
    ("ipv6", "", "fd09::/64", "0.0.0.0", 19),
    ("ipv4", "eth1", "10.9.0.1/16", "0.0.0.0", 22),  # bits behind the prefix
    ("ipv4", "eth1", "10.9.0.0/16", "10.0.0.5", 22),  # an address of its own
    ("ipv4", "eth1", "10.9.0.0/16", "224.0.0.1", 22),
    ("ipv6", "eth1", "fd09::/64", "::", 22),
    ("ipv6", "eth1", "fd09::/64", "ff02::1", 22),
    ("ipv6", "eth1", "fd09::/64", "fd00::5", 22),
])
def test_route_that_the_kernel_refuses(routed, family, link, destination, gateway, error):
    with descriptors_kept(routed):
        command(routed, ROUTE, "enable", family, link, destination, gateway,
                then=not_added(family, link, error))
    assert routes(routed, "-4") == routes(routed, "-6") == []
    command(routed, ROUTE, "enable", "ipv4", "eth1", "10.8.0.0/16", "0.0.0.0", then=[added("eth1")])


def test_link_that_is_down(routed):
    routed.run("ip", "link", "set", "eth1", "down")
    command(routed, ROUTE, "enable", "ipv4", "eth1", "10.9.0.0/16", "10.0.0.1",
            then=not_added("ipv4", "eth1", 100))


# --- flushing ---

PREFIXES = {"-4": "10.20.{}.0/24", "-6": "fd20:{}::/32"}
LAID = [("eth1", "static", 254), ("eth1", "static", 100), ("eth2", "static", 254),
        ("eth2", "static", 100), ("eth1", "kernel", 100), ("eth2", "kernel", 100),
        ("eth1", "dhcp", 254), ("eth1", "boot", 254)]
ALL = set(range(1, len(LAID) + 1))


def lay_routes(kex):
    batch(kex, [f"route add {prefix.format(number)} dev {link} proto {proto} table {table}"
                for prefix in PREFIXES.values()
                for number, (link, proto, table) in enumerate(LAID, 1)])


def laid(kex, family):
    """The numbers of the routes that are left."""
    found = {route["dst"] for route in kex.ip(family, "route", "show", "table", "all")}
    return {number for number in ALL if PREFIXES[family].format(number) in found}


@pytest.mark.parametrize("version", ["ipv4", "ipv6"])
@pytest.mark.parametrize("arguments, gone", [
    ((), {1, 3}),                                   # static ones of the main table
    (("eth1",), {1}),
    (("eth2", "static"), {3}),
    (("eth1", "dhcp"), {1}),                        # "dhcp" means the static ones
    (("eth1", "static", "100"), {2}),
    (("eth2", "dhcp", "100"), {4}),
    (("eth1", "kernel", "100"), {5}),
    (("eth2", "kernel", "100", "surplus"), {6}),
    (("eth1", "static", "254", "x", "y"), {1}),
    (("eth1", "static", " +254"), {1}),
    (("lo",), set()),
    (("eth1", "static", "101"), set()),
    (("eth1", "static", "0"), set()),
])
def test_flush(routed, version, arguments, gone):
    lay_routes(routed)
    other = "-6" if version == "ipv4" else "-4"
    mine = "-4" if version == "ipv4" else "-6"
    with descriptors_kept(routed):
        command(routed, ROUTE, "disable", version, *arguments, then=[flushed(len(gone))])
    assert laid(routed, mine) == ALL - gone
    assert laid(routed, other) == ALL


def test_flush_of_kernel_routes_of_the_main_table(routed):
    command(routed, ROUTE, "disable", "ipv4", "eth1", "kernel", then=[flushed(1)])
    assert destinations(routed, "-4", "main", "kernel") == ["10.1.0.0/24"]


def test_flush_removes_what_was_added(routed):
    command(routed, ROUTE, "enable", "ipv4", "eth1", "default", "10.0.0.1", then=[added("eth1")])
    command(routed, ROUTE, "enable", "ipv4", "eth1", "10.9.0.0/16", "0.0.0.0", then=[added("eth1")])
    command(routed, ROUTE, "enable", "ipv6", "eth2", "default", "fd01::1", then=[added("eth2")])
    command(routed, ROUTE, "enable", "ipv6", "eth2", "fd09::/64", "fd01::1", then=[added("eth2")])
    command(routed, ROUTE, "disable", "ipv4", then=[flushed(2)])
    assert routes(routed, "-4") == []
    assert destinations(routed, "-6") == ["default", "fd09::/64"]
    command(routed, ROUTE, "disable", "ipv6", then=[flushed(2)])
    assert routes(routed, "-6") == []
    command(routed, ROUTE, "disable", "ipv6", then=[flushed(0)])


# Appended routes make one of several hops, whose message names no output interface of its own.
def test_flush_of_a_route_of_several_hops(routed):
    for gateway in ("fd00::1", "fd00::2"):
        command(routed, ROUTE, "enable", "ipv6", "eth1", "default", gateway, then=[added("eth1")])
    command(routed, ROUTE, "disable", "ipv6", "eth1", then=[flushed(0)])
    assert len(routes(routed, "-6")) == 1
    command(routed, ROUTE, "disable", "ipv6", then=[flushed(1)])
    assert routes(routed, "-6") == []


@pytest.mark.parametrize("arguments, refusal", [
    (("IPv4",), "invalid protocol parm"),
    (("",), "invalid protocol parm"),
    (("static", "eth/1"), "invalid protocol parm"),
    (("ipv4", ""), "invalid parm list"),
    (("ipv4", "eth/1"), "invalid parm list"),
    (("ipv4", "e" * 129, "x"), "invalid parm list"),
    (("ipv4", "eth1", ""), "invalid route proto"),
    (("ipv4", "eth1", "Static"), "invalid route proto"),
    (("ipv4", "eth1", "boot", "x"), "invalid route proto"),
    (("ipv4", "eth1", "static", ""), "invalid table ID: "),
    (("ipv4", "eth1", "static", "256"), "invalid table ID: 256"),
    (("ipv6", "eth1", "static", "-1"), "invalid table ID: -1"),
    (("ipv6", "eth1", "kernel", "254x"), "invalid table ID: 254x"),
    (("ipv6", "eth1", "kernel", "254 "), "invalid table ID: 254 "),
    (("ipv6", "eth1", "kernel", "main"), "invalid table ID: main"),
    (("ipv6", "eth1", "kernel", "18446744073709551615"), "invalid table ID: 18446744073709551615"),
])
def test_flush_refuses(routed, arguments, refusal):
    lay_routes(routed)
    with descriptors_kept(routed):
        command(routed, ROUTE, "disable", *arguments,
                then=[exe("clear_route", f"ERROR - {refusal}")])
    assert laid(routed, "-4") == laid(routed, "-6") == ALL


def test_flush_of_a_link_that_is_not_there(routed):
    command(routed, ROUTE, "disable", "ipv4", "eth9", then=[
        not_found("eth9"), exe("clear_route", "ERROR - failed to flush ipv4 routes rc=-1")])
    command(routed, ROUTE, "disable", "ipv6", "eth9", then=[
        not_found("eth9"), exe("clear_route", "ERROR - failed to flush ipv6 routes rc=-1")])


# --- without the right to change routes ---

def test_kernel_that_permits_nothing(sandbox):
    start_daemon_without(sandbox, "net_admin")
    add_links(sandbox)
    with descriptors_kept(sandbox):
        command(sandbox, ROUTE, "enable", "ipv4", "eth1", "10.9.0.0/16", "0.0.0.0",
                then=not_added("ipv4", "eth1", 1))
        command(sandbox, ROUTE, "disable", "ipv4", then=[flushed(0)])
    assert routes(sandbox, "-4") == []
