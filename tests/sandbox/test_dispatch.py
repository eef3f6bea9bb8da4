"""Every command is logged, routed to its handler and answered; children are reaped."""

import re
import signal

import pytest

from harness import expected, line

# The refusal of an empty list shows which handler a command reaches.
INVALID = "ERROR - invalid parm list"
REFUSALS = {
    "AUTOCONF": [line("exe", "server_autoconfig", None, INVALID)],
    "USBNIC": [line("exe", "usbnic_control", 767, INVALID)],
    "SYSTEMD_SERVICE_CTRL": [line("exe", "service_control", None, INVALID)],
    "FIREWALL_CTRL": [line("exe", "firewall_control", None, INVALID)],
    "CONJOIN_IN_AN_INCLUSIVE_FASHION":
        [line("exe", "conjoin_in_an_inclusive_fashion", 1322, INVALID)],
    "LINK_CTRL": [line("exe", "link_control", 686, ""), line("exe", "link_control", 691, INVALID)],
    "SET_HOSTNAME": [line("exe", "set_host_name", None, INVALID)],
    "SET_DOMAINNAME": [line("exe", "set_domain_name", None, INVALID)],
    "VLANPRI_SET": [line("exe", "set_vlan_priority", 1977, INVALID)],
    "SEND_NTW_PKT": [line("exe", "send_network_pkt", None,
                          re.compile("ERROR - invalid parm or incorrect ifacename for LLDP *\n*"))],
    "UPDATE_HOSTS_FILE": [line("exe", "update_hosts_file", None, INVALID)],
    "SET_IP6_STABLE_PRIVACY": [line("exe", "set_stable_privacy", None, ""),
                               line("exe", "set_stable_privacy", None, INVALID)],
    "ADD_NETWORK_INTERFACE": [line("exe", "add_network_interface", 1147, INVALID)],
    "RENAME_NETWORK_INTERFACE": [line("exe", "rename_network_interface", 1241, INVALID)],
    "DELETE_NETWORK_INTERFACE": [line("exe", "delete_network_interface", 877, INVALID)],
    "SET_MAC_ADDRESS": [line("exe", "set_mac_address", 1268, INVALID)],
    "SET_IPV6_SETTINGS": [line("exe", "set_ipv6_settings", None, INVALID)],
    "INTERFACE_ADDR_FLUSH": [line("exe", "addr_flush", None, INVALID)],
    "DHCP_RELEASE": [line("exe", "dhcp_release", None, ""),
                     line("exe", "dhcp_release", None, INVALID)],
    "LINK_TUNE": [line("exe", "set_link_tuning", 1919, INVALID)],
    "SET_STATIC_ADDRESS": [line("exe", "set_static_address", None, INVALID)],
    "SET_STATIC_ROUTE": [line("exe", "set_static_route", None, INVALID)],
    "SET_IP6_HOP_LIMIT": [line("exe", "set_ip6_hop_limit", None, INVALID)],
    "SET_IP6_NEIGHBOR_CACHE": [line("exe", "set_ip6_neighbor_cache", None, INVALID)],
    "JOURNAL_CTRL": [line("exe", "journal_ctrl", 2011, INVALID)],
}
WITHOUT_HANDLER = ["UNKNOWN", "SMARTNIC_INIT", "INIT_FRONTDED", "INIT_FLOP_USB_NIC"]
WITHOUT_ACTION = ["IP4_DAD_START", "TERMINATE"]


def test_every_command_is_covered():
    covered = [*REFUSALS, *WITHOUT_HANDLER, *WITHOUT_ACTION, "SENDARPING"]
    assert sorted(covered) == sorted(expected.COMMANDS)


@pytest.mark.parametrize("command", REFUSALS)
def test_empty_list_reaches_the_handler_of_the_command(kex, command):
    assert kex.call(command) == 0
    kex.expect_log(*expected.command(command), *REFUSALS[command])


@pytest.mark.parametrize("command", WITHOUT_HANDLER)
def test_value_without_handler_is_unknown(kex, command):
    assert kex.call(command, "a") == 0
    kex.expect_log(*expected.command(command, "a"), expected.UNKNOWN)


@pytest.mark.parametrize("command", WITHOUT_ACTION)
def test_value_without_action_does_nothing(kex, command):
    assert kex.call(command, "a", "b") == 0
    kex.expect_log(*expected.command(command, "a", "b"))
    kex.client.ping()
    kex.expect_log()


def test_result_of_arping_is_the_reply(kex):
    kex.put_program("/usr/bin/arping", status=3)
    assert kex.call("SENDARPING", "c", "1") == 3 * 256
    kex.expect_log(*expected.command("SENDARPING", "c", "1"),
                   expected.executing("/usr/bin/arping", "-c", "1"),
                   line("exe", "send_arping", None, "sent arp request rc=768"))
    assert kex.call("SENDARPING") == -1
    kex.expect_log(*expected.command("SENDARPING"),
                   line("exe", "send_arping", None, "ERROR - invalid parm count"))
    assert kex.call("SENDARPING", " ") == -2
    kex.expect_log(*expected.command("SENDARPING", " "),
                   line("exe", "send_arping", None, "ERROR - invalid parm list"))


def test_failing_command_still_replies_zero(kex):
    assert kex.call("SET_STATIC_ADDRESS", "lo", "999.1.1.1", "24", "999.1.1.255") == 0
    lines = kex.lines()[5:]
    assert len(lines) == 1 and " - ERROR - " in lines[0]


@pytest.mark.parametrize("argument", [
    "", " ", "%s%n%d", "%", "a\nb", "\n", "a\tb", "\x7f", "\u00e4\u20ac\U0001f600", "[x]=[y]",
    "\x1b[31mred", "x" * 5000,
], ids=repr)
def test_arguments_are_logged_as_they_are(kex, argument):
    assert kex.call("TERMINATE", argument, "next") == 0
    kex.expect_log(*expected.command("TERMINATE", argument, "next"))


def test_calls_of_several_clients_are_served_one_after_the_other(kex):
    gate = kex.put_program("/usr/sbin/ethtool", gated=True)
    kex.add_veth()
    clients = [kex.bus.connect() for _ in range(3)]
    slow = clients[0].start_call("LINK_TUNE", "veth0", "enable")
    kex.wait_for_log("Executing command")
    waiting = [client.start_call("TERMINATE", str(number))
               for number, client in enumerate(clients[1:], 1)]
    assert len(kex.lines()) == 4
    gate.open()
    assert slow.reply() == (0,)
    assert [call.reply() for call in waiting] == [(0,), (0,)]
    assert len(kex.lines()) == 8
    pairs = sorted(map("".join, zip(kex.lines()[4::2], kex.lines()[5::2])))
    assert [pair[-len("args[0]=[1]\n"):] for pair in pairs] == ["args[0]=[1]\n", "args[0]=[2]\n"]
    for client in clients:
        client.close()


# Zombies that the daemon inherited, and whose SIGCHLD it never saw, are collected
# one by one, by the signals that the test sends: one waitpid per counted signal.
# 768 is the status of a child that ended with 3.
def test_children_are_reaped_one_for_each_signal(sandbox):
    sandbox.start_daemon(zombies=3)
    sandbox.mark()
    sandbox.call("TERMINATE")
    sandbox.expect_log(*expected.command("TERMINATE"))

    sandbox.daemon.signal_and_wait_until_taken(signal.SIGCHLD)
    sandbox.expect_log()
    sandbox.call("TERMINATE")
    sandbox.expect_log(*expected.command("TERMINATE"), expected.reaped(768))

    for _ in range(2):
        sandbox.daemon.signal_and_wait_until_taken(signal.SIGCHLD)
    sandbox.call("UNKNOWN")
    sandbox.expect_log(*expected.command("UNKNOWN"), expected.UNKNOWN,
                       expected.reaped(768), expected.reaped(768))


def test_more_signals_than_children_reap_what_there_is(sandbox):
    sandbox.start_daemon(zombies=1)
    for _ in range(3):
        sandbox.daemon.signal_and_wait_until_taken(signal.SIGCHLD)
    sandbox.mark()
    sandbox.call("TERMINATE")
    sandbox.expect_log(*expected.command("TERMINATE"), expected.reaped(768))
    # The counter is back at zero: nothing is left for the next command.
    sandbox.call("TERMINATE")
    sandbox.expect_log(*expected.command("TERMINATE"))


# exec_cmd has collected its child itself, so the signal it leaves finds none.
def test_child_that_was_waited_for_leaves_no_line(kex):
    kex.put_program("/usr/sbin/ethtool")
    kex.call("LINK_TUNE", "lo", "enable")
    kex.call("TERMINATE")
    kex.expect_log(*expected.command("LINK_TUNE", "lo", "enable"),
                   expected.executing("/usr/sbin/ethtool", "-s", "lo", "autoneg", "on"),
                   *expected.command("TERMINATE"))
