"""Arguments made to be taken for something else: by printf, by a reader of the log, by a shell,
by the file system."""

import pytest

from harness import COMMAND_PREFIX, Call, CallError, expected
from machine import ARPING, CAPTURE, DHCPCD, ETHTOOL
from scale import measured

FORGED = "x]\n[01-Jan 00:00:00] exe_link_control():697 - set eth0 up rc=0\n[01-Jan 00:00:00] y"

TEXTS = [
    "%n%n%n%n", "%s%s%s%s%s%s%s%s", "%1000000d", "%", "%*.*s%hhn", FORGED, "\n", "\n\n", "a\rb",
    "".join(map(chr, range(1, 32))), "\x7f", "\x1b[2J\x1b]0;x\x07", "\u202ex",
    "\ufeff", "\U0010fffd", "", " ", "\t", "../../../../tmp/x", "..", ".", "/", "/etc/passwd",
    "eth1/../../../x", "~root", "*", "$(touch /tmp/x)", "`touch /tmp/x`", "x;touch /tmp/x",
    "x\ntouch /tmp/x", "| touch /tmp/x", "&", "'", '"', "\\", "-rf", "--help", "-", "--", "-1",
    "0", "1", "18446744073709551616", "4294967296", "1e9", "0x10", "x" * 128, "x" * 129, "x" * 257,
    "x" * 258, "1" * 4096, "ff:ff:ff:ff:ff:ff", "::", "0.0.0.0", "999.999.999.999", "fe80::1%eth1",
]

# The words that lead further into a handler, before the hostile ones.
FIRST_WORDS = {
    "AUTOCONF": ["disable"], "USBNIC": ["init", "enable", "disable"],
    "SYSTEMD_SERVICE_CTRL": ["start"], "FIREWALL_CTRL": ["dedipv4", "ping"],
    "LINK_CTRL": ["up", "down"], "SET_IP6_STABLE_PRIVACY": ["enable", "disable"],
    "ADD_NETWORK_INTERFACE": ["vlan", "macvlan", "bond"], "DHCP_RELEASE": ["ipv4"],
    "SET_STATIC_ROUTE": ["enable", "disable", "routerule"],
    "SET_IP6_NEIGHBOR_CACHE": ["enable"], "LINK_TUNE": ["eth1"], "SET_STATIC_ADDRESS": ["eth1"],
    "INTERFACE_ADDR_FLUSH": ["eth1"], "SET_IPV6_SETTINGS": ["eth1"], "SET_IP6_HOP_LIMIT": ["eth1"],
    "VLANPRI_SET": ["eth1"], "SET_MAC_ADDRESS": ["eth1"],
}


# What the lists below may start at all, and the words that are not the caller's.
RUNS = {
    "LINK_TUNE": (ETHTOOL, ("-s", "eth1", "autoneg", "on", "off", "speed", "duplex")),
    "DHCP_RELEASE": (DHCPCD, ("-k", "-4")),
}


def lists(command):
    """Argument lists of one to eight hostile texts, with and without a word that is understood."""
    for text in TEXTS:
        for count in (1, 2, 3, 4, 5, 6, 8):
            yield [text] * count
        for word in FIRST_WORDS.get(command, ()):
            for count in (1, 2, 3, 7):
                yield [word] + [text] * count


# Each sandbox has one /tmp of its own, which only a command of a caller's text could have touched.
@pytest.mark.parametrize("command", sorted(set(expected.COMMANDS) - {"SENDARPING"}))
def test_nothing_is_run_that_was_not_asked_for(machine, command):
    tried = 0
    settings = machine.run("sh", "-c", "cd /proc/sys/net/ipv4/conf && grep -rs . keep0").stdout
    for arguments in lists(command):
        assert machine.call(command, *arguments) == 0
        tried += 1
    # Only the program of the command, and with its own words about a text that is whole.
    for call in machine.calls():
        assert call.program == RUNS[command][0], call
        assert all(word in TEXTS or word in RUNS[command][1] for word in call.arguments), call
    assert not machine.exists("/tmp/x")
    after = machine.run("sh", "-c", "cd /proc/sys/net/ipv4/conf && grep -rs . keep0").stdout
    assert after == settings
    assert machine.daemon.running() and machine.daemon.output() == (b"", b"")
    measured("hostile argument lists survived", tried)


# The bus passes it, the daemon's own reader of messages does not: U+10FFFF is no character.
@pytest.mark.parametrize("text", ["\U0010ffff", "\ufffe"])
def test_text_that_is_no_text_is_refused_before_it_is_looked_at(kex, text):
    with pytest.raises(CallError) as error:
        kex.call("TERMINATE", text)
    assert error.value.name == "org.freedesktop.DBus.Error.InconsistentMessage"
    kex.expect_log()
    assert kex.call("TERMINATE") == 0


def test_arping_gets_its_words_as_they_are(machine):
    passed = [text for text in TEXTS if machine.call("SENDARPING", text) == 0]
    assert machine.calls() == [Call(ARPING, (text,)) for text in passed]
    assert "$(touch" not in " ".join(passed) and "%n%n%n%n" in passed
    assert not machine.exists("/tmp/x")


@pytest.mark.parametrize("text", [FORGED, "%n%s%n", "\x1b[2J", "\n", "a\r\nb"], ids=repr)
def test_log_shows_an_argument_byte_for_byte(kex, text):
    before = len(kex.log.content())
    assert kex.call("LINK_CTRL", "up", text) == 0
    content = kex.log.content()[before:]
    # A line that an argument brings along stands between the brackets of that argument.
    assert content.count(f"   args[1]=[{text}]\n".encode()) == 1
    outside = content.replace(f"   args[1]=[{text}]\n".encode(), b"*\n").decode().splitlines()
    assert [entry[18:] for entry in outside] == [
        f"dbs_executeCommand():71 - command[6]=[{COMMAND_PREFIX}LINK_CTRL]",
        "dbs_executeCommand():76 -    args[0]=[up]", "dbs_executeCommand():76 - *",
        "exe_link_control():686 - ", "exe_link_control():691 - ERROR - invalid parm list"]
    # In the journal an entry is one message, whatever its text, with fields of its own.
    assert len(kex.journal.records()) == 5
    (record,) = [entry for entry in kex.journal.records() if "args[1]" in entry["MESSAGE"]]
    assert record["MESSAGE"] == f"dbs_executeCommand():76 -    args[1]=[{text}]"
    assert (record["PRIORITY"], record["SYSLOG_IDENTIFIER"]) == ("4", "kex")


def test_text_that_ends_like_an_entry_adds_no_fields(kex):
    text = "x\nPRIORITY=0\nSYSLOG_IDENTIFIER=sshd\nMESSAGE=forged\n\n"
    assert kex.call("TERMINATE", text) == 0
    record = kex.journal.records()[-1]
    assert record["MESSAGE"] == f"dbs_executeCommand():76 -    args[0]=[{text}]"
    assert (record["PRIORITY"], record["SYSLOG_IDENTIFIER"]) == ("4", "kex")


@pytest.mark.parametrize("name", ["..", ".", "../..", "../../../../../tmp", "../../ipv4/conf/all",
                                  "eth1/..", "/tmp", "all/../all", "..eth1", "%2e%2e"])
def test_names_do_not_leave_the_settings_of_a_link(machine, name):
    show = ("sh", "-c", "cd /proc/sys/net && grep -rs . core ipv4/conf ipv6/conf ipv6/*_* "
                        "ipv4/ip_* | sort")
    before = machine.run(*show).stdout
    assert before.count("\n") > 100
    machine.call("SET_IPV6_SETTINGS", name, "enable", "enable", "enable")
    machine.call("SET_IPV6_SETTINGS", name, "disable", "disable", "disable")
    machine.call("SET_IP6_HOP_LIMIT", name, "77")
    machine.call("SET_IP6_STABLE_PRIVACY", name, name)
    machine.call("SEND_NTW_PKT", name)
    assert machine.run(*show).stdout == before
    assert machine.run("find", "/tmp", "/etc", "-newermt", "-1 minute", "-name", "*_*limit").stdout \
        == ""


def test_hundred_thousand_arguments(kex):
    assert kex.call("TERMINATE", *["x"] * 100_000, timeout=120) == 0
    assert kex.log.content().endswith(b"   args[99999]=[x]\n")
    assert kex.call("SENDARPING", *["c"] * 100_000, timeout=120) == -1
    kex.mark()
    assert kex.call("TERMINATE", "next") == 0
    kex.expect_log(*expected.command("TERMINATE", "next"))


@pytest.mark.parametrize("command, words", [
    ("SENDARPING", ()), ("AUTOCONF", ("disable",)), ("LINK_TUNE", ("eth1",)),
    ("SET_STATIC_ROUTE", ("enable",)), ("UPDATE_HOSTS_FILE", ()),
    ("SET_IP6_STABLE_PRIVACY", ("disable",)),
])
def test_megabytes_in_every_place(machine, command, words):
    hosts = machine.read_file("/etc/hosts")
    for count in (1, 3):
        assert machine.call(command, *words, *["x" * (1 << 20)] * count) in (0, -2)
    assert machine.calls() == [] and machine.read_file("/etc/hosts") == hosts
    assert machine.call("TERMINATE") == 0


# The kernel takes no argument of more than 128 KiB: the child says so and the daemon goes on.
def test_megabyte_for_a_program(machine):
    assert machine.call("AUTOCONF", "enable", "x" * (1 << 20)) == 0
    assert machine.calls() == []
    assert b"exe_exec_cmd():505 - ERROR - failed to execv\n" in machine.log.content()
    assert machine.call("LINK_TUNE", "eth1", "enable") == 0
    assert machine.calls() == [Call(ETHTOOL, ("-s", "eth1", "autoneg", "on"))]


@pytest.mark.parametrize("path", ["/proc/nosuch", "/nosuch/x", "/", "/tmp", "/dev/full", "", "x" * 5000,
                                  "/proc/sys/net/nosuch", "/tmp/a\nb"], ids=lambda text: text[:12])
def test_capture_into_anything(machine, path):
    assert machine.call("JOURNAL_CTRL", "kernel", "1", path) == 0
    assert machine.call("JOURNAL_CTRL", "kernel", "1", CAPTURE) == 0
    assert machine.call("TERMINATE") == 0
