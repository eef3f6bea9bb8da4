"""Texts that look like options reach a program as one word, in the place that was meant for them."""

import pytest

from harness import Call
from machine import ARPING, AUTOCONF, DHCPCD, ETHTOOL, FIREWALL, MAC, USBNIC

OPTIONS = ["-rf", "--help", "-", "--", "-c", "--version"]


@pytest.mark.parametrize("option", OPTIONS)
@pytest.mark.parametrize("command, words, program, passed", [
    ("LINK_TUNE", ("{}", "enable"), ETHTOOL, ("-s", "{}", "autoneg", "on")),
    ("DHCP_RELEASE", ("ipv4", "{}"), DHCPCD, ("-k", "-4", "{}")),
    ("AUTOCONF", ("enable", "{}"), AUTOCONF, ("{}",)),
    ("FIREWALL_CTRL", ("dedipv4", "true", "{}"), FIREWALL, ("dedipv4", "true", "{}")),
    ("SENDARPING", ("{}",), ARPING, ("{}",)),
    ("SENDARPING", ("c", "{}", "I"), ARPING, ("-c", "{}", "-I")),
])
def test_option_is_passed_on_as_one_word(machine, command, words, program, passed, option):
    def filled(texts):
        return tuple(text.format(option) for text in texts)
    assert machine.call(command, *filled(words)) == 0
    assert machine.calls() == [Call(program, filled(passed))]


@pytest.mark.parametrize("option", OPTIONS)
@pytest.mark.parametrize("command, words", [
    ("USBNIC", ("init", "{}", MAC, "up")), ("USBNIC", ("init", MAC, "{}", "up")),
    ("USBNIC", ("init", MAC, MAC, "{}")), ("FIREWALL_CTRL", ("{}", "true", "eth1")),
    ("FIREWALL_CTRL", ("dedipv4", "{}", "eth1")), ("DHCP_RELEASE", ("{}", "eth1")),
    ("AUTOCONF", ("{}", "x")), ("LINK_TUNE", ("eth1", "{}")),
])
def test_option_in_place_of_a_word_or_an_address_runs_nothing(machine, command, words, option):
    assert machine.call(command, *(word.format(option) for word in words)) == 0
    assert machine.calls() == []


# Nothing that is an option for the programs that take an address can be made of its characters.
def test_address_is_never_an_option(machine):
    for text in ("-" + MAC, "--", "-a", MAC + " -x", "a" * 19):
        assert machine.call("USBNIC", "init", text, MAC, "up") == 0
    assert machine.calls() == []
    assert machine.call("USBNIC", "init", MAC, MAC, "up") == 0
    assert machine.calls() == [Call(USBNIC, (MAC, MAC, "up"))]
