"""Policy rules are added and deleted."""

import pytest

from netns_helpers import (command, descriptors_kept, exe, kernel_error, nlc,
                           start_daemon_without)

ROUTE = "SET_STATIC_ROUTE"


def added(selector, table):
    return nlc("modify_rule", f"added rule {selector} table {table}")


def deleted(selector, table):
    return nlc("modify_rule", f"deleted rule {selector} table {table}")


def failed(action, address, table, error):
    word = "add" if action == "enable" else "delete"
    return [kernel_error(error), nlc("modify_rule", f"ERROR - failed to {word} rule"),
            exe("set_route_rule", f"ERROR - failed to set route rule {action} from {address} "
                                  f"table {table} rc={-error}")]


def rules(kex, family="-4"):
    """The rules beside the kernel's own, as (source, destination, table)."""
    return [(rule["src"], rule.get("dst"), rule["table"])
            for rule in kex.ip(family, "rule", "show")
            if rule["priority"] not in (0, 32766, 32767) or rule["table"] not in
            ("local", "main", "default")]


def test_rule_by_source(kex):
    with descriptors_kept(kex):
        command(kex, ROUTE, "routerule", "enable", "10.0.0.5", "100", then=[added("from", 100)])
    assert rules(kex) == [("10.0.0.5", None, "100")]
    assert rules(kex, "-6") == []
    command(kex, ROUTE, "routerule", "disable", "10.0.0.5", "100", then=[deleted("from", 100)])
    assert rules(kex) == []


# Every selector but "from" means the destination.
@pytest.mark.parametrize("selector", ["to", "From", "TO", "", "x y"])
def test_rule_by_destination(kex, selector):
    command(kex, ROUTE, "routerule", "enable", "10.0.0.5", "100", selector,
            then=[added(selector, 100)])
    assert rules(kex) == [("all", "10.0.0.5", "100")]
    # The rule of the other direction is another rule.
    command(kex, ROUTE, "routerule", "disable", "10.0.0.5", "100",
            then=failed("disable", "10.0.0.5", 100, 2))
    command(kex, ROUTE, "routerule", "disable", "10.0.0.5", "100", selector,
            then=[deleted(selector, 100)])
    assert rules(kex) == []


def test_selector_counts_with_exactly_five_arguments(kex):
    command(kex, ROUTE, "routerule", "enable", "10.0.0.5", "100", "to", "surplus",
            then=[added("from", 100)])
    command(kex, ROUTE, "routerule", "enable", "10.0.0.6", "100", "from",
            then=[added("from", 100)])
    assert sorted(rules(kex)) == [("10.0.0.5", None, "100"), ("10.0.0.6", None, "100")]


@pytest.mark.parametrize("text, table, seen", [("255", 255, "local"), ("254", 254, "main"),
                                               (" 7", 7, "7"), ("+7", 7, "7"), ("1", 1, "1")])
def test_tables(kex, text, table, seen):
    command(kex, ROUTE, "routerule", "enable", "10.0.0.5", text, then=[added("from", table)])
    assert rules(kex) == [("10.0.0.5", None, seen)]


def test_table_0_lets_the_kernel_choose_one(kex):
    command(kex, ROUTE, "routerule", "enable", "10.0.0.5", "0", then=[added("from", 0)])
    assert rules(kex) == [("10.0.0.5", None, "1")]


# The kernel gives each rule without a priority the next free one, so that the same rule once
# more is another rule; it is the same only when no lower priority is left.
def test_rule_that_exists(kex):
    for _ in range(2):
        command(kex, ROUTE, "routerule", "enable", "10.0.0.5", "100", then=[added("from", 100)])
    assert rules(kex) == [("10.0.0.5", None, "100")] * 2
    for _ in range(2):
        command(kex, ROUTE, "routerule", "disable", "10.0.0.5", "100", then=[deleted("from", 100)])
    assert rules(kex) == []

    kex.run("ip", "rule", "add", "from", "10.0.0.9", "table", "100", "pref", "1")
    command(kex, ROUTE, "routerule", "enable", "10.0.0.5", "100", then=[added("from", 100)])
    with descriptors_kept(kex):
        command(kex, ROUTE, "routerule", "enable", "10.0.0.5", "100",
                then=failed("enable", "10.0.0.5", 100, 17))
    assert sorted(rules(kex)) == [("10.0.0.5", None, "100"), ("10.0.0.9", None, "100")]


def test_rule_that_is_not_there(kex):
    kex.run("ip", "rule", "add", "from", "10.0.0.0/24", "table", "100")
    for address, table in (("10.0.0.5", 100), ("10.0.0.0", 100), ("10.0.0.5", 255)):
        command(kex, ROUTE, "routerule", "disable", address, str(table),
                then=failed("disable", address, table, 2))
    assert rules(kex) == [("10.0.0.0", None, "100")]


@pytest.mark.parametrize("arguments", [
    ("enable",), ("enable", "10.0.0.5"), ("Enable", "10.0.0.5", "100"), ("add", "10.0.0.5", "100"),
    ("", "10.0.0.5", "100"), ("enable", "", "100"), ("enable", "fd00::5", "100"),
    ("disable", "::ffff:10.0.0.5", "100"), ("enable", "10.0.0.0/24", "100"),
    ("enable", "1.2.3", "100"), ("enable", "all", "100"), ("enable", "default", "100"),
    ("enable", "100.100.100.10000", "100"), ("enable", "10.0.0.5 ", "100", "from"),
])
def test_refused_lists_touch_nothing(kex, arguments):
    with descriptors_kept(kex):
        command(kex, ROUTE, "routerule", *arguments,
                then=[exe("set_route_rule", "ERROR - invalid parm count")])
    assert rules(kex) == rules(kex, "-6") == []


@pytest.mark.parametrize("text", ["", "256", "-1", "100x", "100 ", "main", "0x64",
                                  "18446744073709551616"])
def test_table_that_is_refused(kex, text):
    # The address, which would not convert, is not reached.
    for action, address in (("enable", "10.0.0.5"), ("disable", "999.0.0.5")):
        command(kex, ROUTE, "routerule", action, address, text, "to",
                then=[exe("set_route_rule", f"ERROR - invalid table ID: {text}")])
    assert rules(kex) == []


@pytest.mark.parametrize("address", ["10.0.0.256", "1234567", ".......", "1.2.3.4.5",
                                     "010.0.0.5", "1234567890123456"])
def test_address_in_neither_family(kex, address):
    command(kex, ROUTE, "routerule", "enable", address, "100",
            then=[exe("set_route_rule", f"ERROR - failed to convert {address} to IPv6")])
    assert rules(kex) == rules(kex, "-6") == []


def test_kernel_that_permits_nothing(sandbox):
    start_daemon_without(sandbox, "net_admin")
    with descriptors_kept(sandbox):
        for action in ("enable", "disable"):
            command(sandbox, ROUTE, "routerule", action, "10.0.0.5", "100",
                    then=failed(action, "10.0.0.5", 100, 1))
    assert rules(sandbox) == []
