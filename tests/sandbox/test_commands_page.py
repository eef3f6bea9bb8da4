"""docs/commands.md: every command is on it, and its examples do what it says."""

import os
import pathlib
import re
from dataclasses import dataclass

import pytest
import yaml

from harness import COMMAND_PREFIX, Call, expected
from harness.bus import ADDRESS
from journal_files import Entry, write_journal
from systemd_stand_in import Manager, Service, manager_calls

ROOT = pathlib.Path(__file__).parents[2]
PAGE = ROOT / "docs/commands.md"
INTERFACE = ROOT / "src/dbus/com/orvel/bmc/network/KEX.interface.yaml"

AUTOCONF = "/etc/plinth_script/network/systemautoconf.sh"
FIREWALL = "/etc/plinth_script/network/fwctrl.sh"
DHCPCD = "/usr/sbin/dhcpcd"
ARPING = "/usr/bin/arping"
UDC = "/sys/kernel/config/usb_gadget/usbpt/UDC"
IPV6 = "/proc/sys/net/ipv6/conf"
FRAME = bytes.fromhex("02005e0000aa 02005e0000bb 88b5") + bytes(range(100))


@dataclass
class Section:
    """What the page says about one command."""
    command: str
    text: str

    def blocks(self, kind):
        return [block for fence, block in
                re.findall(r"^```(\w*)\n(.*?)^```$", self.text, re.MULTILINE | re.DOTALL)
                if fence == kind]

    @property
    def example(self):
        (example,) = self.blocks("sh")
        return example

    @property
    def outcome(self):
        """The reply, and the log lines that come with it."""
        (outcome,) = self.blocks("")
        return outcome.splitlines()


def sections(page):
    parts = re.split(r"^### (\S+)\n", re.sub(r"^## .*$", "", page, flags=re.MULTILINE),
                     flags=re.MULTILINE)
    return [Section(*pair) for pair in zip(parts[1::2], parts[2::2])]


SECTIONS = {section.command: section for section in sections(PAGE.read_text("utf-8"))}


def interface_commands():
    """The commands in the order of their values, from the interface description."""
    described = yaml.safe_load(INTERFACE.read_text("utf-8"))
    (enumeration,) = [entry for entry in described["enumerations"] if entry["name"] == "CmdID"]
    return [value["name"] for value in enumeration["values"]]


# The page as a whole

def test_every_command_has_one_section():
    headings = [section.command for section in sections(PAGE.read_text("utf-8"))]
    assert sorted(headings) == sorted(interface_commands())


def test_table_lists_every_command_with_its_value():
    rows = re.findall(r"^\| (\d+) \| \[(\w+)\]\(#(\w+)\) \| ([^|]+) \| ([^|]+) \|$",
                      PAGE.read_text("utf-8"), re.MULTILINE)
    assert [(int(value), name) for value, name, *_ in rows] \
        == list(enumerate(interface_commands()))
    assert all(anchor == name.lower() for _, name, anchor, *_ in rows)


def placeholders_removed(text):
    return re.sub(r"<[^<>]+>", "%", text)


def texts_of_the_sources():
    """All string literals, with a % for what is filled in."""
    found = set()
    for path in (ROOT / "src").rglob("*.cpp"):
        for literals in re.findall(r'"(?:[^"\\\n]|\\.)*"(?:\s*"(?:[^"\\\n]|\\.)*")*',
                                   path.read_text("utf-8")):
            text = re.sub(r'"\s*"', "", literals)[1:-1].replace("\\n", "").strip()
            found.add(re.sub(r"%(?:ld|lu|d|s|u|x)", "%", text))
    return found


# A text that the page gives and the sources do not have would mislead a search of the log.
def test_every_log_text_of_the_page_is_in_the_sources():
    known = texts_of_the_sources()
    given = {text for section in SECTIONS.values()
             for row in re.findall(r"^\| (`(?!\d)[^|]*`) \| [^|]+ \|$", section.text, re.MULTILINE)
             for text in re.findall("`([^`]+)`", row)}
    assert len(given) > 50
    plain = {placeholders_removed(re.sub("^(ERROR|WARN) - ", "", text)) for text in given}
    assert plain - known == set()


def test_every_command_with_a_handler_tells_its_refusal():
    for section in SECTIONS.values():
        if "| argument |" in section.text:
            assert "`ERROR - invalid par" in section.text, section.command


# The examples

def links(sandbox):
    sandbox.add_veth("eth0", "eth1")
    sandbox.run("ip", "link", "set", "eth1", "up")


def links_up(sandbox):
    links(sandbox)
    sandbox.run("ip", "link", "set", "eth0", "up")


def macvlan(sandbox):
    links(sandbox)
    sandbox.run("ip", "link", "add", "link", "eth0", "name", "macvlan0", "type", "macvlan")


def bridge(sandbox):
    links(sandbox)
    sandbox.run("ip", "link", "add", "bond0", "type", "bridge")


def link_named_like_a_vlan(sandbox):
    """Not every kernel has VLAN links; all take the request for any link."""
    sandbox.add_veth("eth0.100", "other")


def address(sandbox):
    links_up(sandbox)
    sandbox.run("ip", "address", "add", "192.0.2.10/24", "dev", "eth0")


def frame(sandbox):
    # So that the links carry nothing else.
    sandbox.run("sh", "-c", f"echo 1 >{IPV6}/default/disable_ipv6")
    links_up(sandbox)
    sandbox.put_file("/etc/lldpd.d/tirveth0.packet", FRAME)


def program(path):
    return lambda sandbox: sandbox.put_program(path)


def journal(sandbox):
    write_journal(sandbox, [Entry(5, b"from the start")])


def ran(path, *arguments):
    return lambda sandbox: sandbox.calls() == [Call(path, arguments)]


def setting(path, value):
    return lambda sandbox: sandbox.run("cat", path).stdout == value + "\n"


def addresses(sandbox):
    (link,) = sandbox.ip("address", "show", "dev", "eth0")
    return [entry["local"] for entry in link["addr_info"] if entry["family"] == "inet"]


def received_frame(sandbox):
    (link,) = sandbox.ip("-s", "link", "show", "dev", "eth1")
    return link["stats64"]["rx"]["bytes"] == len(FRAME)


def same(sandbox):
    """A command without effect: the daemon serves on."""
    return sandbox.call("TERMINATE") == 0


def nothing(_):
    return None


# What an example needs, and what shows its effect.
EXAMPLES = {
    "UNKNOWN": (nothing, same),
    "AUTOCONF": (program(AUTOCONF), ran(AUTOCONF, "eth0")),
    "USBNIC": (lambda sandbox: sandbox.put_file(UDC, "\n"),
               lambda sandbox: sandbox.read_file(UDC) == b"ci_hdrc.5\n"),
    "SYSTEMD_SERVICE_CTRL": (nothing, same),  # see manager
    "FIREWALL_CTRL": (program(FIREWALL), ran(FIREWALL, "dedipv4", "true", "eth0")),
    "CONJOIN_IN_AN_INCLUSIVE_FASHION":
        (bridge, lambda sandbox: sandbox.link("eth0")["master"] == "bond0"),
    "LINK_CTRL": (links, lambda sandbox: "UP" in sandbox.link("eth0")["flags"]),
    "SET_HOSTNAME": (nothing, setting("/proc/sys/kernel/hostname", "bmc-1")),
    "SET_DOMAINNAME": (nothing, setting("/proc/sys/kernel/domainname", "example.net")),
    "SENDARPING": (program(ARPING), ran(ARPING, "-c", "3", "-I", "eth0", "192.0.2.1")),
    "VLANPRI_SET": (link_named_like_a_vlan,
                    lambda sandbox: sandbox.link("eth0.100")["linkinfo"]["info_kind"] == "veth"),
    "SEND_NTW_PKT": (frame, received_frame),
    "UPDATE_HOSTS_FILE": (nothing, lambda sandbox: sandbox.read_file("/etc/hosts")
                          .endswith(b"\n127.0.0.1\tbmc-1\n")),
    "IP4_DAD_START": (nothing, same),
    "SET_IP6_STABLE_PRIVACY": (nothing, setting(f"{IPV6}/default/addr_gen_mode", "2")),
    "ADD_NETWORK_INTERFACE": (links, lambda sandbox: sandbox.link("macvlan0") is not None),
    "RENAME_NETWORK_INTERFACE": (links, lambda sandbox: sandbox.link("lan0") is not None),
    "DELETE_NETWORK_INTERFACE": (macvlan, lambda sandbox: sandbox.link("macvlan0") is None),
    "SET_MAC_ADDRESS":
        (links, lambda sandbox: sandbox.link("eth0")["address"] == "02:00:5e:10:20:30"),
    "SET_IPV6_SETTINGS": (links, setting(f"{IPV6}/eth0/accept_dad", "2")),
    "INTERFACE_ADDR_FLUSH": (address, lambda sandbox: addresses(sandbox) == []),
    "DHCP_RELEASE": (program(DHCPCD), ran(DHCPCD, "-k", "-4", "eth0")),
    "SMARTNIC_INIT": (nothing, same),
    "INIT_FRONTDED": (nothing, same),
    "INIT_FLOP_USB_NIC": (nothing, same),
    "LINK_TUNE": (links, lambda sandbox: sandbox.link("eth0")["mtu"] == 1400),
    "SET_STATIC_ADDRESS": (links, lambda sandbox: addresses(sandbox) == ["192.0.2.10"]),
    "SET_STATIC_ROUTE": (address, lambda sandbox: [
        route["gateway"] for route in sandbox.ip("route", "show", "198.51.100.0/24")]
        == ["192.0.2.1"]),
    "SET_IP6_HOP_LIMIT": (links, setting(f"{IPV6}/eth0/hop_limit", "99")),
    "SET_IP6_NEIGHBOR_CACHE": (links_up, lambda sandbox: [
        neighbor["lladdr"] for neighbor in sandbox.ip("-6", "neighbor", "show", "2001:db8::5")]
        == ["02:00:5e:00:00:05"]),
    "TERMINATE": (nothing, same),
    "JOURNAL_CTRL": (journal, lambda sandbox: b"] -> [" in sandbox.read_file("/run/kernel.log")),
}


@pytest.fixture
def manager(kex):
    made = Manager(job_seconds=0.2)
    service = Service(kex.bus.connect().connection, made)
    yield made
    service.close()


def documented(text):
    """The pattern for a line of the page, which shows no blanks at the end."""
    return re.sub("<[^<>]+>", r"\\d+", re.escape(text)) + " ?"


def logged(sandbox, count):
    """The lines behind those of the call, as the page shows them."""
    return [re.sub(r"\A\w{3}_(.+?)\(\):\d+ - (.*)\n\Z", r"\1: \2", text, flags=re.DOTALL)
            for text in sandbox.lines()[count:]]


@pytest.mark.parametrize("command", EXAMPLES)
def test_example(kex, manager, command):
    section = SECTIONS[command]
    prepare, effect = EXAMPLES[command]
    prepare(kex)
    reply, *lines = section.outcome
    kex.mark()

    environment = os.environ | {"DBUS_SYSTEM_BUS_ADDRESS": ADDRESS}
    done = kex.run("sh", "-c", section.example, env=environment)
    assert done.stdout == reply + "\n"

    assert COMMAND_PREFIX + command in section.example
    arguments = section.example.split(COMMAND_PREFIX + command)[1].split()[2:]
    got = logged(kex, len(expected.command(command, *arguments)))
    assert len(got) == len(lines), got
    for text, line in zip(got, lines):
        assert re.fullmatch(documented(line), text), (text, line)

    assert effect(kex)
    if command == "SYSTEMD_SERVICE_CTRL":
        assert manager.requests() == manager_calls("RestartUnit", "systemd-networkd.service")
    else:
        assert manager.calls == []


def test_every_command_has_an_example():
    assert sorted(EXAMPLES) == sorted(interface_commands())
