"""The kernel's IPv6 settings."""

import ctypes
import os
import struct

import pytest

from harness import expected
from netns_helpers import (add_links, addresses, command, descriptors_kept, exe, set_ipv6_conf,
                           trace)

SETTINGS = "SET_IPV6_SETTINGS"
PRIVACY = "SET_IP6_STABLE_PRIVACY"
HOPS = "SET_IP6_HOP_LIMIT"
CONF = "/proc/sys/net/ipv6/conf"
SECRET = "2001:db8::1234"

REFUSED = exe("set_ipv6_settings", "ERROR - invalid parm list")
HOPS_REFUSED = exe("set_ip6_hop_limit", "ERROR - invalid parm list")
ENTERED = exe("set_stable_privacy", "")


def configuring(link, enable, autoconf):
    return exe("configure_ipv6", f"{link} enable:{enable} autoconf:{autoconf}")


def read(*texts):
    return [exe("determine_current_ipv6_settings", f"read {text}") for text in texts]


def not_read(link, *settings):
    return [exe("determine_current_ipv6_settings",
                f"ERROR - failed to open {CONF}/{link}/{setting}") for setting in settings]


def transition(link):
    return exe("configure_ipv6", f"IPv6 autoconfig transition on {link}")


def written(link, *values):
    return [trace("ipv6_procfs_setting", f"{link} {setting} val:{value} OK")
            for setting, value in values]


def not_written(link, *values):
    return [exe("ipv6_procfs_setting", f"ERROR - {link} {setting}={value} failed")
            for setting, value in values]


OFF = ("disable_ipv6", "1")
ON = ("disable_ipv6", "0")


def values(autoconf, mode):
    """What every call that switches IPv6 on writes, in this order."""
    return [("accept_ra", autoconf), ("accept_dad", "2"), ("accept_ra_rt_info_max_plen", "128"),
            ("addr_gen_mode", mode), ON]


def setting(kex, name, link="eth1"):
    return kex.run("cat", f"{CONF}/{link}/{name}").stdout.strip()


def settings(kex, link="eth1"):
    return {name: setting(kex, name, link)
            for name in ("disable_ipv6", "accept_ra", "accept_dad", "accept_ra_rt_info_max_plen",
                         "addr_gen_mode")}


def put(kex, name, value, link="eth1"):
    set_ipv6_conf(kex, link, name, value)


@pytest.fixture
def linked(kex):
    add_links(kex, up=False)
    return kex


# --- set_ipv6_settings on the kernel's own files ---

@pytest.mark.parametrize("rest", [("enable", "enable"), ("disable", "enable"),
                                  ("enable", "disable"), ("disable", "disable", "surplus")])
def test_switching_off_writes_one_setting(linked, rest):
    before = settings(linked)
    with descriptors_kept(linked):
        command(linked, SETTINGS, "eth1", "disable", *rest,
                then=[configuring("eth1", 0, int(rest[0] == "enable")), *written("eth1", OFF)])
    assert settings(linked) == before | {"disable_ipv6": "1"}


def test_unchanged_settings_make_no_transition(linked):
    linked.run("ip", "addr", "add", "fd00::5/64", "dev", "eth1", "nodad")
    with descriptors_kept(linked):
        command(linked, SETTINGS, "eth1", "enable", "enable", "disable",
                then=[configuring("eth1", 1, 1), *read("0", "1", "0"),
                      *written("eth1", *values("1", "0"))])
    assert settings(linked) == {"disable_ipv6": "0", "accept_ra": "1", "accept_dad": "2",
                                "accept_ra_rt_info_max_plen": "128", "addr_gen_mode": "0"}
    # IPv6 was not off in between: that would have cost the address.
    assert addresses(linked, "eth1", "-6") == [("fd00::5", 64, None, "global")]


def test_changed_autoconfiguration_makes_a_transition(linked):
    linked.run("ip", "addr", "add", "fd00::5/64", "dev", "eth1", "nodad")
    command(linked, SETTINGS, "eth1", "enable", "disable", "disable",
            then=[configuring("eth1", 1, 0), *read("0", "1", "0"), transition("eth1"),
                  *written("eth1", OFF, *values("0", "0"))])
    assert settings(linked) == {"disable_ipv6": "0", "accept_ra": "0", "accept_dad": "2",
                                "accept_ra_rt_info_max_plen": "128", "addr_gen_mode": "0"}
    # IPv6 was off in between.
    assert addresses(linked, "eth1", "-6") == []


def test_changed_mode_makes_a_transition(linked):
    put(linked, "stable_secret", SECRET)
    put(linked, "addr_gen_mode", "0")
    command(linked, SETTINGS, "eth1", "enable", "enable", "enable",
            then=[configuring("eth1", 1, 1), *read("0", "1", "0"), transition("eth1"),
                  *written("eth1", OFF, *values("1", "2"))])
    assert setting(linked, "addr_gen_mode") == "2"
    command(linked, SETTINGS, "eth1", "enable", "enable", "enable",
            then=[configuring("eth1", 1, 1), *read("0", "1", "2"),
                  *written("eth1", *values("1", "2"))])
    command(linked, SETTINGS, "eth1", "enable", "enable", "disable",
            then=[configuring("eth1", 1, 1), *read("0", "1", "2"), transition("eth1"),
                  *written("eth1", OFF, *values("1", "0"))])
    assert setting(linked, "addr_gen_mode") == "0"


@pytest.mark.parametrize("autoconf, privacy", [("enable", "disable"), ("disable", "disable"),
                                               ("disable", "enable")])
def test_what_is_off_makes_no_transition(linked, autoconf, privacy):
    put(linked, "disable_ipv6", "1")
    accept = "1" if autoconf == "enable" else "0"
    mode = "2" if privacy == "enable" else "0"
    command(linked, SETTINGS, "eth1", "enable", autoconf, privacy, "surplus",
            then=[configuring("eth1", 1, int(accept)), *read("1", "1", "0"),
                  *written("eth1", *values(accept, mode))])
    assert setting(linked, "disable_ipv6") == "0"
    assert setting(linked, "accept_ra") == accept


# Autoconfiguration in spite of forwarding is not what this command means by it.
def test_accept_ra_of_2_counts_as_off(linked):
    put(linked, "accept_ra", "2")
    command(linked, SETTINGS, "eth1", "enable", "disable", "disable",
            then=[configuring("eth1", 1, 0), *read("0", "2", "0"),
                  *written("eth1", *values("0", "0"))])
    put(linked, "accept_ra", "2")
    command(linked, SETTINGS, "eth1", "enable", "enable", "disable",
            then=[configuring("eth1", 1, 1), *read("0", "2", "0"), transition("eth1"),
                  *written("eth1", OFF, *values("1", "0"))])


# The kernel's "none" counts as "eui64".
def test_other_modes_count_as_eui64(linked):
    put(linked, "addr_gen_mode", "1")
    command(linked, SETTINGS, "eth1", "enable", "enable", "disable",
            then=[configuring("eth1", 1, 1), *read("0", "1", "1"),
                  *written("eth1", *values("1", "0"))])
    assert setting(linked, "addr_gen_mode") == "0"


# The text says "OK" for a value that the kernel refused: the file could be opened.
def test_refused_value_goes_unnoticed(linked):
    command(linked, SETTINGS, "eth1", "enable", "enable", "enable",
            then=[configuring("eth1", 1, 1), *read("0", "1", "0"), transition("eth1"),
                  *written("eth1", OFF, *values("1", "2"))])
    assert setting(linked, "addr_gen_mode") == "0"
    assert setting(linked, "disable_ipv6") == "0"


@pytest.mark.parametrize("link", ["eth9", "..", ".", "e" * 128])
def test_link_that_is_not_there(linked, link):
    with descriptors_kept(linked):
        command(linked, SETTINGS, link, "enable", "disable", "enable",
                then=[configuring(link, 1, 0),
                      *not_read(link, "disable_ipv6", "accept_ra", "addr_gen_mode"),
                      *not_written(link, *values("0", "2"))])
        command(linked, SETTINGS, link, "disable", "enable", "enable",
                then=[configuring(link, 0, 1), *not_written(link, OFF)])


def test_default_is_a_name_like_others(linked):
    command(linked, SETTINGS, "default", "disable", "disable", "disable",
            then=[configuring("default", 0, 0), *written("default", OFF)])
    assert setting(linked, "disable_ipv6", "default") == "1"
    assert setting(linked, "disable_ipv6") == "0"


@pytest.mark.parametrize("arguments", [
    (), ("eth1",), ("eth1", "enable"), ("eth1", "disable", "disable"),
    ("", "enable", "enable", "enable"), ("../eth1", "enable", "enable", "enable"),
    ("eth/1", "disable", "enable", "enable"), ("e" * 129, "enable", "enable", "enable"),
    ("eth1", "Enable", "enable", "enable"), ("eth1", "1", "enable", "enable"),
    ("eth1", "", "enable", "enable"), ("eth1", "enable", "true", "enable"),
    ("eth1", "disable", "x", "enable"), ("eth1", "enable", "enable", "stable-privacy"),
    ("eth1", "disable", "enable", "")])
def test_refused_lists_touch_nothing(linked, arguments):
    before = settings(linked)
    with descriptors_kept(linked):
        command(linked, SETTINGS, *arguments, then=[REFUSED])
    assert settings(linked) == before


# --- the same on files of the test's own: any content, every access seen ---

class Watch:
    """The accesses to files of a folder, in order."""

    _CLOSE_WRITE, _CLOSE_NOWRITE = 0x8, 0x10

    def __init__(self, folder):
        self._libc = ctypes.CDLL(None, use_errno=True)
        self._fd = self._libc.inotify_init1(os.O_NONBLOCK | os.O_CLOEXEC)
        if self._libc.inotify_add_watch(self._fd, folder.encode(),
                                        self._CLOSE_WRITE | self._CLOSE_NOWRITE) < 0:
            raise OSError(ctypes.get_errno(), folder)

    def accesses(self):
        try:
            data = os.read(self._fd, 65536)
        except BlockingIOError:
            return []
        found = []
        while data:
            _, mask, _, length = struct.unpack_from("iIII", data)
            name = data[16:16 + length].rstrip(b"\0").decode()
            found.append(("write" if mask & self._CLOSE_WRITE else "read", name))
            data = data[16 + length:]
        return found

    def close(self):
        os.close(self._fd)


# Where the files that stand for a link's settings really lie: which settings
# /proc/sys/net shows depends on who looks.
PLAIN = "/run/sandbox/conf"


def lay_folder(kex, link, **values):
    """Plain files in place of the settings of a link; their folder as the outside sees it."""
    for name, value in values.items():
        kex.put_file(f"{PLAIN}/{link}/{name}", f"{value}\n")
    kex.run("mount", "--bind", f"{PLAIN}/{link}", f"{CONF}/{link}")
    return kex.path(f"{PLAIN}/{link}")


@pytest.fixture
def laid(linked):
    """eth1's settings are plain files."""
    lay_folder(linked, "eth1", disable_ipv6=0, accept_ra=1, accept_dad=1,
               accept_ra_rt_info_max_plen=0, addr_gen_mode=0, hop_limit=64)
    return linked


def contents(kex, link="eth1"):
    folder = f"{PLAIN}/{link}"
    return {name: kex.read_file(f"{folder}/{name}").decode()
            for name in os.listdir(kex.path(folder))}


READS = [("read", name) for name in ("disable_ipv6", "accept_ra", "addr_gen_mode")]
WRITES = [("write", name) for name in ("accept_ra", "accept_dad", "accept_ra_rt_info_max_plen",
                                       "addr_gen_mode", "disable_ipv6")]


def test_order_of_accesses(laid):
    watch = Watch(laid.path(f"{PLAIN}/eth1"))
    assert laid.call(SETTINGS, "eth1", "enable", "enable", "disable") == 0
    assert watch.accesses() == READS + WRITES
    assert laid.call(SETTINGS, "eth1", "enable", "disable", "enable") == 0
    assert watch.accesses() == [*READS, ("write", "disable_ipv6"), *WRITES]
    assert laid.call(SETTINGS, "eth1", "disable", "enable", "enable") == 0
    assert watch.accesses() == [("write", "disable_ipv6")]
    assert laid.call(SETTINGS, "eth1", "enable", "enable", "enable") == 0
    assert watch.accesses() == READS + WRITES
    watch.close()
    # Each value is its text and one line feed.
    assert contents(laid) == {"disable_ipv6": "0\n", "accept_ra": "1\n", "accept_dad": "2\n",
                              "accept_ra_rt_info_max_plen": "128\n", "addr_gen_mode": "2\n",
                              "hop_limit": "64\n"}


# Whole lines are compared: anything beside the one character makes it another value.
@pytest.mark.parametrize("content, shown, on", [
    ("0", "0", True), ("0\nx\n", "0", True), ("0 \n", "0 ", False), (" 0\n", " 0", False),
    ("00\n", "00", False), ("", "", False), ("\n0\n", "", False), ("0\r\n", "0\r", False)])
def test_reading_of_the_state(laid, content, shown, on):
    laid.put_file(f"{PLAIN}/eth1/disable_ipv6", content)
    change = [transition("eth1"), *written("eth1", OFF)] if on else []
    command(laid, SETTINGS, "eth1", "enable", "disable", "disable",
            then=[configuring("eth1", 1, 0), *read(shown, "1", "0"), *change,
                  *written("eth1", *values("0", "0"))])


@pytest.mark.parametrize("content, shown, on", [
    ("1", "1", True), ("1\n2\n", "1", True), ("1 \n", "1 ", False), ("+1\n", "+1", False),
    ("01\n", "01", False), ("2\n", "2", False), ("", "", False)])
def test_reading_of_autoconfiguration(laid, content, shown, on):
    laid.put_file(f"{PLAIN}/eth1/accept_ra", content)
    change = [] if on else [transition("eth1"), *written("eth1", OFF)]
    command(laid, SETTINGS, "eth1", "enable", "enable", "disable",
            then=[configuring("eth1", 1, 1), *read("0", shown, "0"), *change,
                  *written("eth1", *values("1", "0"))])


@pytest.mark.parametrize("content, shown, stable", [
    ("2", "2", True), ("2 \n", "2 ", False), ("3\n", "3", False), ("22\n", "22", False),
    ("", "", False)])
def test_reading_of_the_mode(laid, content, shown, stable):
    laid.put_file(f"{PLAIN}/eth1/addr_gen_mode", content)
    change = [] if stable else [transition("eth1"), *written("eth1", OFF)]
    command(laid, SETTINGS, "eth1", "enable", "enable", "enable",
            then=[configuring("eth1", 1, 1), *read("0", "1", shown), *change,
                  *written("eth1", *values("1", "2"))])


def block(kex, link, name):
    """A folder in place of a file does not open."""
    kex.remove(f"{PLAIN}/{link}/{name}")
    os.mkdir(kex.path(f"{PLAIN}/{link}/{name}"))


def test_one_setting_that_does_not_open_stops_nothing(laid):
    block(laid, "eth1", "accept_dad")
    command(laid, SETTINGS, "eth1", "enable", "enable", "disable",
            then=[configuring("eth1", 1, 1), *read("0", "1", "0"),
                  *written("eth1", ("accept_ra", "1")), *not_written("eth1", ("accept_dad", "2")),
                  *written("eth1", *values("1", "0")[2:])])
    laid.remove(f"{PLAIN}/eth1/disable_ipv6")
    command(laid, SETTINGS, "eth1", "disable", "enable", "disable",
            then=[configuring("eth1", 0, 1), *written("eth1", OFF)])


# A mode that cannot be read is no mode, and so a change.
def test_mode_that_does_not_open(laid):
    laid.remove(f"{PLAIN}/eth1/addr_gen_mode")
    command(laid, SETTINGS, "eth1", "enable", "enable", "disable",
            then=[configuring("eth1", 1, 1), *read("0", "1"), *not_read("eth1", "addr_gen_mode"),
                  transition("eth1"), *written("eth1", OFF, *values("1", "0"))])


def test_state_that_does_not_open(laid):
    laid.remove(f"{PLAIN}/eth1/disable_ipv6")
    command(laid, SETTINGS, "eth1", "enable", "disable", "enable",
            then=[configuring("eth1", 1, 0), *not_read("eth1", "disable_ipv6"), *read("1", "0"),
                  *written("eth1", *values("0", "2"))])


# "disable" as a mode comes from ADD_NETWORK_INTERFACE only, and switches IPv6 off there.
def test_new_interface_with_mode_disable_writes_one_setting(laid):
    watch = Watch(laid.path(f"{PLAIN}/eth1"))
    assert laid.call("ADD_NETWORK_INTERFACE", "macvlan", "eth1", "disable", "enable", "eth9") == 0
    assert watch.accesses() == [("write", "disable_ipv6")]
    watch.close()
    assert contents(laid)["disable_ipv6"] == "1\n"


# --- set_stable_privacy ---

def test_stable_privacy(linked):
    with descriptors_kept(linked):
        command(linked, PRIVACY, "enable", SECRET, "surplus", then=[ENTERED])
    assert setting(linked, "stable_secret", "default") == \
        "2001:0db8:0000:0000:0000:0000:0000:1234"
    assert setting(linked, "addr_gen_mode", "default") == "2"
    # Only the dispatcher's line shows the secret, as it shows every argument.
    assert linked.log.content().count(SECRET.encode()) == 1
    linked.add_veth("eth3", "eth4")
    assert setting(linked, "addr_gen_mode", "eth3") == "2"
    for link in ("eth3", "eth4"):
        linked.run("ip", "link", "set", link, "up")

    command(linked, PRIVACY, "disable", "any text", then=[ENTERED])
    assert setting(linked, "addr_gen_mode", "default") == "0"
    assert setting(linked, "stable_secret", "default") == \
        "2001:0db8:0000:0000:0000:0000:0000:1234"


# Nothing tells of a secret that the kernel refuses, and the mode is written all the same.
@pytest.mark.parametrize("secret", ["garbage", "", "10.0.0.1", "%s%n"])
def test_secret_that_the_kernel_refuses(linked, secret):
    command(linked, PRIVACY, "enable", secret, then=[ENTERED])
    assert linked.run("cat", f"{CONF}/default/stable_secret", check=False).returncode != 0
    assert setting(linked, "addr_gen_mode", "default") == "2"


def test_files_of_stable_privacy(linked):
    watch = Watch(lay_folder(linked, "default", stable_secret="before", addr_gen_mode="before"))
    assert linked.call(PRIVACY, "disable", SECRET) == 0
    assert watch.accesses() == [("write", "addr_gen_mode")]
    assert contents(linked, "default") == {"stable_secret": "before\n", "addr_gen_mode": "0\n"}
    watch.accesses()  # the test's own
    assert linked.call(PRIVACY, "enable", SECRET) == 0
    assert watch.accesses() == [("write", "stable_secret"), ("write", "addr_gen_mode")]
    assert contents(linked, "default") == {"stable_secret": f"{SECRET}\n", "addr_gen_mode": "2\n"}
    watch.close()


# A secret that cannot be written goes as unnoticed as one that the kernel refuses.
def test_file_of_the_secret_that_does_not_open(linked):
    lay_folder(linked, "default", stable_secret="before", addr_gen_mode="before")
    block(linked, "default", "stable_secret")
    with descriptors_kept(linked):
        command(linked, PRIVACY, "enable", SECRET, then=[ENTERED])
    assert linked.read_file(f"{PLAIN}/default/addr_gen_mode") == b"2\n"


@pytest.mark.parametrize("arguments", [(), ("disable",), ("enable",), ("", SECRET),
                                       ("Enable", SECRET), (SECRET, "enable"), ("on", SECRET)])
def test_stable_privacy_refuses(linked, arguments):
    before = setting(linked, "addr_gen_mode", "default")
    with descriptors_kept(linked):
        command(linked, PRIVACY, *arguments,
                then=[ENTERED, exe("set_stable_privacy", "ERROR - invalid parm list")])
    assert setting(linked, "addr_gen_mode", "default") == before
    assert linked.run("cat", f"{CONF}/default/stable_secret", check=False).returncode != 0


# --- set_ip6_hop_limit ---

def hops_set(link, text):
    return exe("set_ip6_hop_limit", f"set {CONF}/{link}/hop_limit to {text}")


@pytest.mark.parametrize("text, seen", [
    ("1", "1"), ("255", "255"), (" 9", "9"),
    # What the kernel refuses is written all the same.
    ("256", "64"), ("300", "64"), ("64abc", "64"), ("+7", "64"), ("-2", "64"),
    ("4294967296", "64"), ("18446744073709551614", "64")])
def test_hop_limit(linked, text, seen):
    with descriptors_kept(linked):
        command(linked, HOPS, "eth1", text, "surplus", then=[hops_set("eth1", text)])
    assert setting(linked, "hop_limit") == seen
    assert setting(linked, "hop_limit", "eth2") == "64"


@pytest.mark.parametrize("text", ["1", "255", "256", "300", "64abc", " 9", "+7", "-2", "007",
                                  "3 4", "1%n"])
def test_hop_limit_is_written_as_given(laid, text):
    watch = Watch(laid.path(f"{PLAIN}/eth1"))
    command(laid, HOPS, "eth1", text, then=[hops_set("eth1", text)])
    assert watch.accesses() == [("write", "hop_limit")]
    watch.close()
    assert contents(laid)["hop_limit"] == text + "\n"


@pytest.mark.parametrize("arguments", [
    (), ("eth1",), ("", "64"), ("eth/1", "64"), ("../eth1", "64"), ("e" * 129, "64"),
    ("eth1", "0"), ("eth1", "00"), ("eth1", "abc"), ("eth1", ""), ("eth1", "-1"), ("eth1", "-0"),
    ("eth1", "x64"), ("eth1", "18446744073709551615"), ("eth1", "9" * 30),
    ("eth1", "-" + "9" * 30)])
def test_hop_limit_refuses(linked, arguments):
    with descriptors_kept(linked):
        command(linked, HOPS, *arguments, then=[HOPS_REFUSED])
    assert setting(linked, "hop_limit") == "64"


@pytest.mark.parametrize("link", ["eth9", "..", "e" * 128])
def test_hop_limit_of_a_link_that_is_not_there(linked, link):
    with descriptors_kept(linked):
        command(linked, HOPS, link, "64", then=[
            exe("set_ip6_hop_limit", f"ERROR - Unable to open {CONF}/{link}/hop_limit")])


def test_commands_go_on_after_refusals(linked):
    for name in (SETTINGS, PRIVACY, HOPS):
        assert linked.call(name) == 0
    command(linked, "TERMINATE")
    command(linked, HOPS, "eth1", "7", then=[hops_set("eth1", "7")])
    assert linked.daemon.running()
    assert expected.COMMANDS[HOPS] == 28
