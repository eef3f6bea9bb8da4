"""Interfaces are created, deleted, renamed, enslaved and released."""

import threading
import time

import pytest

from harness import expected
from netns_helpers import (add_links, command, descriptors_kept, exe, expect, flags,
                           kernel_error, master, nlc, not_found, start_daemon_without, trace)

ADD = "ADD_NETWORK_INTERFACE"
DELETE = "DELETE_NETWORK_INTERFACE"
RENAME = "RENAME_NETWORK_INTERFACE"
CONJOIN = "CONJOIN_IN_AN_INCLUSIVE_FASHION"
MAC = "02:00:5e:00:00:01"
CONF = "/proc/sys/net/ipv6/conf/"


def refused(number):
    return expected.refused("add_network_interface", number)


def never_appeared(name, tries=4):
    return [exe("wait_for_iface_ready", f"ERROR - Unable to open /sys/class/net/{name}/operstate",
                990),
            exe("wait_for_iface_ready", f"{name} is not ready", 991)] * tries


def ipv6_switched_off(name):
    return [exe("configure_ipv6", f"{name} enable:0 autoconf:0"),
            trace("ipv6_procfs_setting", f"{name} disable_ipv6 val:1 OK")]


def ipv6_of_missing_link(name, mode="0", autoconf=0):
    """What configure_ipv6 logs for a link that is not there."""
    read = [exe("determine_current_ipv6_settings", f"ERROR - failed to open {CONF}{name}/{setting}")
            for setting in ("disable_ipv6", "accept_ra", "addr_gen_mode")]
    written = [exe("ipv6_procfs_setting", f"ERROR - {name} {setting}={value} failed")
               for setting, value in (("accept_ra", autoconf), ("accept_dad", 2),
                                      ("accept_ra_rt_info_max_plen", 128),
                                      ("addr_gen_mode", mode), ("disable_ipv6", 0))]
    return [exe("configure_ipv6", f"{name} enable:1 autoconf:{autoconf}"), *read, *written]


def ipv6_switched_on(name, read=("0", "1", "0"), autoconf=1, mode="0", transition=False):
    """What configure_ipv6 logs for a link that is there."""
    values = [("accept_ra", autoconf), ("accept_dad", 2), ("accept_ra_rt_info_max_plen", 128)]
    if mode is not None:
        values.append(("addr_gen_mode", mode))
    values.append(("disable_ipv6", 0))
    lines = [exe("configure_ipv6", f"{name} enable:1 autoconf:{autoconf}"),
             *(exe("determine_current_ipv6_settings", f"read {text}") for text in read)]
    if transition:
        lines += [exe("configure_ipv6", f"IPv6 autoconfig transition on {name}"),
                  trace("ipv6_procfs_setting", f"{name} disable_ipv6 val:1 OK")]
    return lines + [trace("ipv6_procfs_setting", f"{name} {setting} val:{value} OK")
                    for setting, value in values]


def macvlan_made(name, lower, mode):
    return [nlc("create_macvlan", f"mcvlan {name} lower {lower} mode {mode}"),
            exe("add_macvlan", f"mcvlan {name} lower {lower} mode {mode} rc=0", 892)]


def macvlan_failed(name, lower, mode, error):
    return [kernel_error(error), nlc("create_macvlan", f"ERROR - failed to create mcvlan {name}"),
            exe("add_macvlan", f"mcvlan {name} lower {lower} mode {mode} rc={-error}", 892)]


def link_downed(name):
    return [exe("link_control", "", 686), nlc("set_link_state", f"set {name} down"),
            exe("link_control", f"set {name} down rc=0", 697)]


def link_not_downed(name):
    return [exe("link_control", "", 686),
            nlc("set_link_state", f"ERROR - interface {name} not found"),
            exe("link_control", f"set {name} down rc=-1", 697)]


def conf(kex, name, setting):
    return kex.run("cat", f"{CONF}{name}/{setting}").stdout.strip()


def names(kex):
    return sorted(link["ifname"] for link in kex.ip("link", "show"))


# --- macvlan ---

def test_macvlan_with_an_address_is_private(kex):
    add_links(kex)
    with descriptors_kept(kex):
        command(kex, ADD, "macvlan", "mv0", "eui64", "enable", "eth1", MAC,
                then=[*macvlan_made("mv0", "eth1", "private"), *ipv6_switched_on("mv0")])
    link = kex.link("mv0")
    assert link["address"] == MAC
    assert link["link"] == "eth1"
    assert link["linkinfo"]["info_kind"] == "macvlan"
    assert link["linkinfo"]["info_data"]["mode"] == "private"
    assert [conf(kex, "mv0", setting) for setting in
            ("disable_ipv6", "accept_ra", "accept_dad", "accept_ra_rt_info_max_plen",
             "addr_gen_mode")] == ["0", "1", "2", "128", "0"]


def test_macvlan_without_an_address_is_passthru(kex):
    add_links(kex)
    command(kex, ADD, "macvlan", "mv0", "disable", "disable", "eth1",
            then=[*macvlan_made("mv0", "eth1", "passthru"), *ipv6_switched_off("mv0")])
    link = kex.link("mv0")
    assert link["address"] == kex.link("eth1")["address"]
    assert link["linkinfo"]["info_data"]["mode"] == "passthru"
    assert "nopromisc" in kex.run("ip", "-d", "link", "show", "mv0").stdout
    assert conf(kex, "mv0", "disable_ipv6") == "1"


# The MAC address counts with exactly six arguments.
@pytest.mark.parametrize("surplus", [(MAC, "x"), (MAC, "x", "y"), ("no address", "")])
def test_macvlan_with_surplus_arguments_is_passthru(kex, surplus):
    add_links(kex)
    command(kex, ADD, "macvlan", "mv0", "disable", "disable", "eth1", *surplus,
            then=[*macvlan_made("mv0", "eth1", "passthru"), *ipv6_switched_off("mv0")])
    assert kex.link("mv0")["address"] == kex.link("eth1")["address"] != MAC


def test_ipv6_of_a_new_link_with_stable_privacy(kex):
    add_links(kex)
    # The kernel refuses the mode, as the new link has no secret; "OK" means opened.
    command(kex, ADD, "macvlan", "mv0", "stable-privacy", "disable", "eth1", MAC,
            then=[*macvlan_made("mv0", "eth1", "private"),
                  *ipv6_switched_on("mv0", autoconf=0, mode="2", transition=True)])
    assert conf(kex, "mv0", "addr_gen_mode") == "0"
    assert conf(kex, "mv0", "disable_ipv6") == "0"
    assert conf(kex, "mv0", "accept_ra") == "0"


@pytest.mark.parametrize("arguments, number", [
    ((), 1147),
    (("macvlan",), 1147),
    (("macvlan", "mv0", "eui64", "enable"), 1147),
    (("Macvlan", "mv0", "eui64", "enable", "eth1"), 1147),
    (("bridge", "mv0", "eui64", "enable", "eth1"), 1147),
    (("", "mv0", "eui64", "enable", "eth1"), 1147),
    (("macvlan", "", "eui64", "enable", "eth1"), 1147),
    (("macvlan", "mv/0", "eui64", "enable", "eth1"), 1147),
    (("macvlan", "m" * 129, "eui64", "enable", "eth1"), 1147),
    (("macvlan", "mv0", "EUI64", "enable", "eth1"), 1147),
    (("macvlan", "mv0", "enable", "enable", "eth1"), 1147),
    (("macvlan", "mv0", "eui64", "eui64", "eth1"), 1147),
    (("macvlan", "mv0", "eui64", "true", "eth1"), 1147),
    (("macvlan", "mv0", "eui64", "enable", ""), 1159),
    (("macvlan", "mv0", "eui64", "enable", "eth 1"), 1159),
    (("macvlan", "mv0", "eui64", "enable", "eth:1", MAC), 1159),
    (("macvlan", "mv0", "eui64", "enable", "eth1", ""), 1166),
    (("macvlan", "mv0", "eui64", "enable", "eth1", "02-00-5e-00-00-01"), 1166),
    (("macvlan", "mv0", "eui64", "enable", "eth1", "0" * 19), 1166),
    (("vlan", "v0", "eui64", "enable", "eth1"), 1179),
    (("vlan", "v0", "eui64", "enable", "eth1", "0"), 1179),
    (("vlan", "v0", "eui64", "enable", "eth1", "abc"), 1179),
    (("vlan", "v0", "eui64", "enable", "eth1", ""), 1179),
    (("vlan", "v0", "eui64", "enable", "eth1", "00x7"), 1179),
    (("vlan", "v0", "eui64", "enable", "eth/1", "7"), 1179),
    (("bond", "b0", "eui64", "enable", "broadcast"), 1196),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC), 1196),
    (("bond", "b0", "eui64", "enable", "802.3ad", "eth1", MAC, "0"), 1196),
    (("bond", "b0", "eui64", "enable", "Broadcast", "eth1", MAC, "0"), 1196),
    (("bond", "b0", "eui64", "enable", "broadcast", "", MAC, "0"), 1196),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", "zz", "0"), 1196),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "1"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "2", "eth2"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "4294967295", "eth2"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "4294967296", "eth2"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "-1", "eth2"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "-8", "eth2"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "-9", "eth2"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "18446744073709551608", "eth2"),
     1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "9" * 40, "eth2"), 1204),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "1", ""), 1211),
    (("bond", "b0", "eui64", "enable", "broadcast", "eth1", MAC, "2", "eth2", "e/3"), 1211),
])
def test_refused_lists_touch_nothing(kex, arguments, number):
    add_links(kex)
    before = (names(kex), flags(kex, "eth1"), flags(kex, "eth2"))
    with descriptors_kept(kex):
        command(kex, ADD, *arguments, then=[refused(number)])
    assert (names(kex), flags(kex, "eth1"), flags(kex, "eth2")) == before


def test_macvlan_whose_name_is_taken_still_sets_ipv6(kex):
    add_links(kex)
    add_links(kex, "eth3", "eth4")
    command(kex, ADD, "macvlan", "eth3", "disable", "disable", "eth1", MAC,
            then=[*macvlan_failed("eth3", "eth1", "private", 17), *ipv6_switched_off("eth3")])
    assert kex.link("eth3")["linkinfo"]["info_kind"] == "veth"
    assert conf(kex, "eth3", "disable_ipv6") == "1"


def test_macvlan_that_the_kernel_refuses_for_its_address(kex):
    add_links(kex)
    # The name is taken, so that nothing is waited for; a multicast address is refused first.
    command(kex, ADD, "macvlan", "eth1", "disable", "disable", "eth2", "01:00:5e:00:00:01",
            then=[*macvlan_failed("eth1", "eth2", "private", 99), *ipv6_switched_off("eth1")])


def test_macvlan_with_a_text_that_is_no_address(kex):
    add_links(kex)
    for text in ("f" * 16, ":::", "0", "02:00:5e:00:00", "2:0:5e:0:0::1"):
        command(kex, ADD, "macvlan", "eth1", "disable", "disable", "eth2", text,
                then=[nlc("create_macvlan", f"ERROR - invalid MAC address {text}"),
                      exe("add_macvlan", "mcvlan eth1 lower eth2 mode private rc=-1", 892),
                      *ipv6_switched_off("eth1")])
    assert kex.link("eth1")["linkinfo"]["info_kind"] == "veth"


def test_macvlan_on_a_lower_that_refuses_it(kex):
    add_links(kex)
    command(kex, ADD, "macvlan", "mv0", "disable", "disable", "eth1",
            then=[*macvlan_made("mv0", "eth1", "passthru"), *ipv6_switched_off("mv0")])
    # A link in pass-through mode gives itself to one upper link only.
    command(kex, ADD, "macvlan", "mv1", "disable", "disable", "eth1", MAC,
            then=[*macvlan_failed("mv1", "eth1", "private", 22), *never_appeared("mv1"),
                  exe("configure_ipv6", "mv1 enable:0 autoconf:0"),
                  exe("ipv6_procfs_setting", "ERROR - mv1 disable_ipv6=1 failed")])
    assert "mv1" not in names(kex)


def test_link_that_never_appears_is_waited_for_for_two_seconds(kex):
    add_links(kex)
    begin = time.monotonic()
    with descriptors_kept(kex):
        command(kex, ADD, "macvlan", "mv0", "eui64", "disable", "eth9", MAC,
                then=[not_found("eth9"),
                      exe("add_macvlan", "mcvlan mv0 lower eth9 mode private rc=-1", 892),
                      *never_appeared("mv0"), *ipv6_of_missing_link("mv0")])
    assert 2.0 <= time.monotonic() - begin < 6.0
    assert "mv0" not in names(kex)


def test_new_name_that_is_too_long_for_the_kernel(kex):
    add_links(kex)
    name = "m" * 128
    command(kex, ADD, "macvlan", name, "stable-privacy", "enable", "eth1",
            then=[*macvlan_failed(name, "eth1", "passthru", 34), *never_appeared(name),
                  *ipv6_of_missing_link(name, mode="2", autoconf=1)])


def test_link_that_appears_late_is_configured(kex):
    add_links(kex)
    kex.mark()

    def create():
        kex.wait_for_log("mv0 is not ready")
        kex.run("ip", "link", "add", "mv0", "type", "veth", "peer", "name", "mv0-peer")

    creator = threading.Thread(target=create)
    creator.start()
    assert kex.call(ADD, "macvlan", "mv0", "eui64", "enable", "eth9") == 0
    creator.join()
    tries = sum("is not ready" in text for text in kex.lines())
    assert 1 <= tries <= 3
    expect(kex, *expected.command(ADD, "macvlan", "mv0", "eui64", "enable", "eth9"),
           not_found("eth9"), exe("add_macvlan", "mcvlan mv0 lower eth9 mode passthru rc=-1", 892),
           *never_appeared("mv0", tries), *ipv6_switched_on("mv0"))


def knows_kind(kex, kind, *options):
    """Whether the running kernel can make links of a kind."""
    known = kex.run("ip", "link", "add", "link", "eth1", "name", "probe", "type", kind, *options,
                    check=False).returncode == 0
    if known:
        kex.run("ip", "link", "delete", "probe")
    return known


# --- VLAN ---

# The name is taken, so that the kernel refuses and the link of that name is set at once.
@pytest.mark.parametrize("text, number", [
    ("5", 5), (" 7", 7), ("+7", 7), ("7x", 7), ("65536", 0), ("4294967296", 0), ("4095", 4095),
    ("4096", 4096), ("-1", 65535), ("9" * 30, 65535)])
def test_vlan_id_is_read_at_the_head_of_its_text(kex, text, number):
    add_links(kex)
    # A kernel that knows the kind looks at the id first.
    error = 34 if number >= 4095 and knows_kind(kex, "vlan", "id", "5") else 17
    command(kex, ADD, "vlan", "eth1", "disable", "disable", "eth2", text, "surplus",
            then=[kernel_error(error), nlc("create_vlan", "ERROR - failed to create vlan eth1"),
                  exe("add_vlan", f"vlan eth1 lower eth2 id {text} rc={-error}", 952),
                  *ipv6_switched_off("eth1")])
    assert kex.link("eth1")["linkinfo"]["info_kind"] == "veth"


def test_vlan(kex):
    add_links(kex)
    if knows_kind(kex, "vlan", "id", "5"):
        then = [nlc("create_vlan", "vlan v5 lower eth1 id 5"),
                exe("add_vlan", "vlan v5 lower eth1 id 5 rc=0", 952), *ipv6_switched_off("v5")]
    else:
        then = [kernel_error(95), nlc("create_vlan", "ERROR - failed to create vlan v5"),
                exe("add_vlan", "vlan v5 lower eth1 id 5 rc=-95", 952), *never_appeared("v5"),
                exe("configure_ipv6", "v5 enable:0 autoconf:0"),
                exe("ipv6_procfs_setting", "ERROR - v5 disable_ipv6=1 failed")]
    command(kex, ADD, "vlan", "v5", "disable", "disable", "eth1", "5", then=then)


def test_vlan_on_a_missing_lower(kex):
    add_links(kex)
    command(kex, ADD, "vlan", "eth1", "disable", "disable", "eth9", "5",
            then=[not_found("eth9"), exe("add_vlan", "vlan eth1 lower eth9 id 5 rc=-1", 952),
                  *ipv6_switched_off("eth1")])


# --- bond: what is done after the creation, whatever came of it ---

def bond_started(name, *lowers):
    return [exe("add_network_interface", f"adding bond interface {name}", 1218),
            *(exe("add_network_interface", f"lower interface {lower}", 1220) for lower in lowers)]


def bond_refused_by_kernel(name, error):
    return [kernel_error(error), nlc("create_bond", f"ERROR - failed to create bond {name}"),
            exe("add_bond", f"bond {name} create rc={-error}", 905)]


def bond_with_bad_address(name, text):
    return [nlc("create_bond", f"ERROR - invalid MAC address {text}"),
            exe("add_bond", f"bond {name} create rc=-1", 905)]


def enjoined(name, lower):
    return [*link_downed(lower), nlc("set_link_boss", f"set {lower} boss {name}"),
            exe("add_bond", f"bond {name} enjoin {lower} rc=0", 918)]


def not_enjoined(name, lower):
    """To a bond that is not there."""
    return [*link_downed(lower), not_found(name),
            exe("add_bond", f"bond {name} enjoin {lower} rc=-1", 918)]


def options(name, primary):
    return [("miimon", "1000"), ("downdelay", "5000"), ("primary", primary),
            ("all_slaves_active", "1")]


def options_failed(name, primary):
    lines = []
    for option, value in options(name, primary):
        lines += [exe("set_bonding_config", f"setting /sys/class/net/{name}/bonding/{option}", 934),
                  exe("set_bonding_config", f"ERROR - {name} {option}={value} failed", 943)]
    return lines


def options_written(name, primary):
    lines = []
    for option, value in options(name, primary):
        lines += [exe("set_bonding_config", f"setting /sys/class/net/{name}/bonding/{option}", 934),
                  exe("set_bonding_config", f"{name} {option} val:{value} OK", 940)]
    return lines


def test_bond_without_an_address_is_not_created(kex):
    add_links(kex)
    with descriptors_kept(kex):
        command(kex, ADD, "bond", "b0", "eui64", "enable", "active-backup", "eth1", "", "1", "eth2",
                then=[*bond_started("b0", "eth1", "eth2"), *bond_with_bad_address("b0", ""),
                      *not_enjoined("b0", "eth1"), *not_enjoined("b0", "eth2"),
                      *options_failed("b0", "eth1")])
    assert "b0" not in names(kex)
    assert "UP" not in flags(kex, "eth1") and "UP" not in flags(kex, "eth2")


def test_bond(kex):
    add_links(kex)
    if knows_kind(kex, "bond"):
        then = [nlc("create_bond", "bond b0 create mode active-backup"),
                exe("add_bond", "bond b0 create rc=0", 905), *ipv6_switched_off("b0"),
                exe("link_control", "", 686), nlc("set_link_state", "set b0 up"),
                exe("link_control", "set b0 up rc=0", 697), *enjoined("b0", "eth1"),
                *options_written("b0", "eth1")]
    else:
        then = [*bond_refused_by_kernel("b0", 95), *not_enjoined("b0", "eth1"),
                *options_failed("b0", "eth1")]
    command(kex, ADD, "bond", "b0", "disable", "disable", "active-backup", "eth1", MAC, "0",
            then=[*bond_started("b0", "eth1"), *then])


def test_broadcast_bond_gets_no_options(kex):
    add_links(kex)
    command(kex, ADD, "bond", "b0", "eui64", "enable", "broadcast", "eth1", "0:0:0", "0",
            then=[*bond_started("b0", "eth1"), *bond_with_bad_address("b0", "0:0:0"),
                  *not_enjoined("b0", "eth1")])
    assert "UP" in flags(kex, "eth2")


# A bridge stands for a bond of that name: it takes the lowers as one does.
def test_bond_that_exists_still_gets_its_lowers(kex):
    add_links(kex)
    add_links(kex, "eth3", "eth4")
    kex.run("ip", "link", "add", "br0", "type", "bridge")
    command(kex, ADD, "bond", "br0", "eui64", "enable", "active-backup", "eth1", MAC, "2", "eth3",
            "eth9", "surplus",
            then=[*bond_started("br0", "eth1", "eth3", "eth9"), *bond_refused_by_kernel("br0", 17),
                  *enjoined("br0", "eth1"), *enjoined("br0", "eth3"),
                  *link_not_downed("eth9"), not_found("eth9"),
                  exe("add_bond", "bond br0 enjoin eth9 rc=-1", 918),
                  *options_failed("br0", "eth1")])
    assert master(kex, "eth1") == master(kex, "eth3") == "br0"
    assert "UP" not in flags(kex, "eth1") and "UP" not in flags(kex, "br0")


def test_existing_bond_is_completed_without_an_address(kex):
    add_links(kex)
    kex.run("ip", "link", "add", "br0", "type", "bridge")
    command(kex, ADD, "bond", "br0", "disable", "disable", "broadcast", "eth1", "", "0",
            then=[*bond_started("br0", "eth1"), *bond_with_bad_address("br0", ""),
                  *enjoined("br0", "eth1")])
    assert master(kex, "eth1") == "br0"


# A count without digits is 0; surplus names are ignored.
@pytest.mark.parametrize("count", ["0", "abc", "", "-0", "0x1", " "])
def test_count_of_no_further_lowers(kex, count):
    add_links(kex)
    kex.run("ip", "link", "add", "br0", "type", "bridge")
    command(kex, ADD, "bond", "br0", "disable", "disable", "broadcast", "eth1", "", count, "eth2",
            then=[*bond_started("br0", "eth1"), *bond_with_bad_address("br0", ""),
                  *enjoined("br0", "eth1")])
    assert master(kex, "eth2") is None
    assert "UP" in flags(kex, "eth2")


@pytest.mark.parametrize("count", ["1", " 1", "+1", "01", "1x", "-18446744073709551615"])
def test_count_of_one_further_lower(kex, count):
    add_links(kex)
    kex.run("ip", "link", "add", "br0", "type", "bridge")
    command(kex, ADD, "bond", "br0", "disable", "disable", "broadcast", "eth1", "", count, "eth2",
            then=[*bond_started("br0", "eth1", "eth2"), *bond_with_bad_address("br0", ""),
                  *enjoined("br0", "eth1"), *enjoined("br0", "eth2")])
    assert master(kex, "eth2") == "br0"


def test_options_are_written_although_nothing_was_enslaved(kex):
    kex.run("mount", "-t", "tmpfs", "tmpfs", "/sys/class/net")
    for option in ("miimon", "downdelay", "primary", "all_slaves_active"):
        kex.put_file(f"/sys/class/net/b0/bonding/{option}", "what stood there before\n")
    with descriptors_kept(kex):
        command(kex, ADD, "bond", "b0", "eui64", "enable", "active-backup", "eth8", "", "1", "eth9",
                then=[*bond_started("b0", "eth8", "eth9"), *bond_with_bad_address("b0", ""),
                      *link_not_downed("eth8"), not_found("eth8"),
                      exe("add_bond", "bond b0 enjoin eth8 rc=-1", 918),
                      *link_not_downed("eth9"), not_found("eth9"),
                      exe("add_bond", "bond b0 enjoin eth9 rc=-1", 918),
                      *options_written("b0", "eth8")])
    assert kex.read_file("/sys/class/net/b0/bonding/miimon") == b"1000\n"
    assert kex.read_file("/sys/class/net/b0/bonding/downdelay") == b"5000\n"
    assert kex.read_file("/sys/class/net/b0/bonding/primary") == b"eth8\n"
    assert kex.read_file("/sys/class/net/b0/bonding/all_slaves_active") == b"1\n"


def test_options_are_written_independently_of_each_other(kex):
    kex.run("mount", "-t", "tmpfs", "tmpfs", "/sys/class/net")
    for option in ("miimon", "downdelay"):
        kex.put_file(f"/sys/class/net/b0/bonding/{option}/in/the/way")
    # "OK" means that the file was opened: what becomes of the write is not looked at.
    kex.run("ln", "-s", "/dev/full", "/sys/class/net/b0/bonding/primary")
    lines = options_failed("b0", "eth8")[:4] + options_written("b0", "eth8")[4:]
    command(kex, ADD, "bond", "b0", "eui64", "enable", "active-backup", "eth8", "", "0",
            then=[*bond_started("b0", "eth8"), *bond_with_bad_address("b0", ""),
                  *link_not_downed("eth8"), not_found("eth8"),
                  exe("add_bond", "bond b0 enjoin eth8 rc=-1", 918), *lines])
    assert kex.read_file("/sys/class/net/b0/bonding/all_slaves_active") == b"1\n"


# --- deletion ---

def test_delete(kex):
    add_links(kex)
    with descriptors_kept(kex):
        command(kex, DELETE, "eth1", then=[exe("delete_network_interface",
                                               "deleting interface eth1", 880),
                                           nlc("delete_link", "deleted eth1")])
    assert names(kex) == ["lo"]


def test_delete_what_is_not_there(kex):
    command(kex, DELETE, "eth9", then=[
        exe("delete_network_interface", "deleting interface eth9", 880), not_found("eth9"),
        exe("delete_network_interface", "WARN - failed to delete eth9 rc=-1", 883)])


def test_delete_what_the_kernel_keeps(kex):
    command(kex, DELETE, "lo", then=[
        exe("delete_network_interface", "deleting interface lo", 880), kernel_error(95),
        nlc("delete_link", "ERROR - failed to delete lo"),
        exe("delete_network_interface", "WARN - failed to delete lo rc=-95", 883)])
    assert "lo" in names(kex)


@pytest.mark.parametrize("arguments", [(), ("",), ("eth1", "eth1"), ("eth 1",), ("../eth1",)])
def test_delete_refuses(kex, arguments):
    add_links(kex)
    command(kex, DELETE, *arguments, then=[expected.refused("delete_network_interface", 877)])
    assert names(kex) == ["eth1", "eth2", "lo"]


# --- renaming ---

def test_rename_leaves_the_link_down(kex):
    add_links(kex)
    with descriptors_kept(kex):
        command(kex, RENAME, "eth1", "wan.0-a_b", "surplus", then=[
            exe("rename_network_interface", "renaming eth1 to wan.0-a_b", 1244),
            *link_downed("eth1"), nlc("rename_link", "renamed eth1 to wan.0-a_b")])
    assert names(kex) == ["eth2", "lo", "wan.0-a_b"]
    assert "UP" not in flags(kex, "wan.0-a_b")


@pytest.mark.parametrize("new, error", [("eth2", 17), ("e" * 16, 34), ("..", 22)])
def test_rename_that_the_kernel_refuses(kex, new, error):
    add_links(kex)
    command(kex, RENAME, "eth1", new, then=[
        exe("rename_network_interface", f"renaming eth1 to {new}", 1244), *link_downed("eth1"),
        kernel_error(error), nlc("rename_link", f"ERROR - failed to rename eth1 to {new}"),
        exe("rename_network_interface", f"ERROR - failed to rename eth1 to {new} rc={-error}",
            1251)])
    assert names(kex) == ["eth1", "eth2", "lo"]
    # The step before the failed one is not undone.
    assert "UP" not in flags(kex, "eth1")


def test_rename_what_is_not_there(kex):
    command(kex, RENAME, "eth9", "eth8", then=[
        exe("rename_network_interface", "renaming eth9 to eth8", 1244), *link_not_downed("eth9"),
        not_found("eth9"),
        exe("rename_network_interface", "ERROR - failed to rename eth9 to eth8 rc=-1", 1251)])


@pytest.mark.parametrize("arguments", [(), ("eth1",), ("eth1", ""), ("", "x"), ("eth1", "a b"),
                                       ("eth1", "a/b"), ("eth1", "x" * 129)])
def test_rename_refuses(kex, arguments):
    add_links(kex)
    command(kex, RENAME, *arguments, then=[expected.refused("rename_network_interface", 1241)])
    assert names(kex) == ["eth1", "eth2", "lo"]
    assert "UP" in flags(kex, "eth1")


# --- enslaving and releasing; a bridge is the master ---

@pytest.fixture
def bridged(kex):
    add_links(kex)
    kex.run("ip", "link", "add", "br0", "type", "bridge")
    return kex


def test_conjoin_leaves_the_link_up(bridged):
    with descriptors_kept(bridged):
        command(bridged, CONJOIN, "eth1", "br0", "sur/plus", then=[
            exe("conjoin_in_an_inclusive_fashion", "conjoining eth1 to br0", 1338),
            nlc("set_link_boss", "set eth1 boss br0")])
    assert master(bridged, "eth1") == "br0"
    assert "UP" in flags(bridged, "eth1")


def test_disjoin_a_link(bridged):
    bridged.run("ip", "link", "set", "eth1", "master", "br0")
    command(bridged, CONJOIN, "eth1", then=[
        exe("conjoin_in_an_inclusive_fashion", "disjoining eth1", 1328),
        nlc("clear_link_boss", "cleared eth1 boss")])
    assert master(bridged, "eth1") is None
    assert "UP" in flags(bridged, "eth1")
    # A link without a master is one that the kernel releases without complaint.
    command(bridged, CONJOIN, "eth1", then=[
        exe("conjoin_in_an_inclusive_fashion", "disjoining eth1", 1328),
        nlc("clear_link_boss", "cleared eth1 boss")])


@pytest.mark.parametrize("link, boss, error", [("eth1", "eth2", 95), ("lo", "br0", 22),
                                               ("br0", "br0", 40)])
def test_conjoin_that_the_kernel_refuses(bridged, link, boss, error):
    command(bridged, CONJOIN, link, boss, then=[
        exe("conjoin_in_an_inclusive_fashion", f"conjoining {link} to {boss}", 1338),
        kernel_error(error), nlc("set_link_boss", f"ERROR - failed to set {link} boss {boss}"),
        exe("conjoin_in_an_inclusive_fashion", f"ERROR - failed to conjoin rc={-error}", 1342)])
    assert master(bridged, link) is None


# The link is looked for first.
@pytest.mark.parametrize("link, boss, missing", [("eth8", "eth9", "eth8"), ("eth8", "br0", "eth8"),
                                                 ("eth1", "eth9", "eth9")])
def test_conjoin_of_what_is_not_there(bridged, link, boss, missing):
    command(bridged, CONJOIN, link, boss, then=[
        exe("conjoin_in_an_inclusive_fashion", f"conjoining {link} to {boss}", 1338),
        not_found(missing),
        exe("conjoin_in_an_inclusive_fashion", "ERROR - failed to conjoin rc=-1", 1342)])


def test_disjoin_what_is_not_there(kex):
    command(kex, CONJOIN, "eth9", then=[
        exe("conjoin_in_an_inclusive_fashion", "disjoining eth9", 1328), not_found("eth9"),
        exe("conjoin_in_an_inclusive_fashion", "ERROR - failed to conjoin rc=-1", 1342)])


@pytest.mark.parametrize("arguments, number", [((), 1322), (("",), 1322), (("a/b",), 1322),
                                               (("", "br0"), 1322), (("eth1", ""), 1333),
                                               (("eth1", "br 0"), 1333)])
def test_conjoin_refuses(bridged, arguments, number):
    bridged.run("ip", "link", "set", "eth1", "master", "br0")
    command(bridged, CONJOIN, *arguments,
            then=[expected.refused("conjoin_in_an_inclusive_fashion", number)])
    assert master(bridged, "eth1") == "br0"


# --- without the right to change links ---

def test_kernel_that_permits_nothing(sandbox):
    start_daemon_without(sandbox, "net_admin")
    add_links(sandbox)
    with descriptors_kept(sandbox):
        command(sandbox, DELETE, "eth1", then=[
            exe("delete_network_interface", "deleting interface eth1", 880), kernel_error(1),
            nlc("delete_link", "ERROR - failed to delete eth1"),
            exe("delete_network_interface", "WARN - failed to delete eth1 rc=-1", 883)])
        command(sandbox, CONJOIN, "eth1", "eth2", then=[
            exe("conjoin_in_an_inclusive_fashion", "conjoining eth1 to eth2", 1338),
            kernel_error(1), nlc("set_link_boss", "ERROR - failed to set eth1 boss eth2"),
            exe("conjoin_in_an_inclusive_fashion", "ERROR - failed to conjoin rc=-1", 1342)])
    assert names(sandbox) == ["eth1", "eth2", "lo"]
