"""Completion: what kexctl proposes, and that the shells show it."""

import os

import pytest

from kexctl_program import INSIDE, REPOSITORY

COMPLETION = os.path.join(REPOSITORY, "dist/completion")


@pytest.fixture
def kexctl(make_kexctl):
    kexctl = make_kexctl(daemon=False, bus=False)
    kexctl.sandbox.run("ip", "link", "add", "eth0", "type", "veth", "peer", "name", "eth1")
    for name in ("kexctl.bash", "_kexctl"):
        with open(os.path.join(COMPLETION, name), "rb") as file:
            kexctl.sandbox.put_file("/run/sandbox/" + name, file.read())
    return kexctl


LINKS = "eth0 eth1 lo"


@pytest.mark.parametrize("typed, proposed", [
    ("SET_IP6", "SET_IP6_HOP_LIMIT SET_IP6_NEIGHBOR_CACHE SET_IP6_STABLE_PRIVACY"),
    ("set_ip6_h", "set_ip6_hop_limit"),
    ("l", "link_ctrl link_tune list log"),
    ("s", "send_ntw_pkt sendarping set_domainname set_hostname set_ip6_hop_limit "
     "set_ip6_neighbor_cache set_ip6_stable_privacy set_ipv6_settings set_mac_address "
     "set_static_address set_static_route smartnic_init status systemd_service_ctrl"),
    ("help LINK_C", "LINK_CTRL"),
    ("--json LINK_CTRL ", "down up"),
    ("link_ctrl up ", LINKS),
    ("LINK_CTRL up eth", "eth0 eth1"),
    ("LINK_CTRL up eth0 ", ""),
    ("LINK_CTRL left ", ""),
    ("SET_STATIC_ROUTE ", "disable enable routerule"),
    ("SET_STATIC_ROUTE routerule ", "disable enable"),
    ("SET_STATIC_ROUTE disable ipv4 lo ", "dhcp kernel static"),
    ("SYSTEMD_SERVICE_CTRL stop d", "dhcpcd"),
    ("ADD_NETWORK_INTERFACE bond bond0 eui64 enable ", "active-backup broadcast"),
    ("ADD_NETWORK_INTERFACE bond b eui64 enable broadcast lo 02:00 2 eth0 eth", "eth0 eth1"),
    ("CONJOIN_IN_AN_INCLUSIVE_FASHION eth0 ", LINKS),
    ("FIREWALL_CTRL ping true ", ""),
    ("FIREWALL_CTRL dedipv4 true ", LINKS),
    ("TERMINATE ", ""),
    ("log --", "--errors --follow --json"),
    ("--", "--dry-run --json"),
    ("nonsense ", ""),
])
def test_bash_and_zsh_propose(kexctl, typed, proposed):
    assert sorted(in_bash(kexctl, typed)) == sorted(proposed.split())
    assert sorted(in_zsh(kexctl, typed)) == sorted(proposed.split())


def in_bash(kexctl, typed):
    """What bash's completion function finds for a line."""
    script = ('. /run/sandbox/kexctl.bash; COMP_LINE="$1"; COMP_POINT=${#1}; _kexctl; '
              'printf "%s\\n" "${COMPREPLY[@]}"')
    return kexctl.sandbox.run("bash", "-c", script, "bash", f"{INSIDE} {typed}").stdout.split()


def in_zsh(kexctl, typed):
    """The same of zsh, whose completion system is replaced by a print."""
    words = [INSIDE, *typed.split(), *([""] if typed.endswith(" ") else [])]
    script = ('compadd() { [[ $1 == -a ]] && print -l -- ${(P)2} }; words=("$@"); CURRENT=$#; '
              'complete_it() { . /run/sandbox/_kexctl }; complete_it')
    return kexctl.sandbox.run("zsh", "-f", "-c", script, "zsh", *words).stdout.split()


def test_bash_knows_the_function(kexctl):
    script = ". /run/sandbox/kexctl.bash; complete -p kexctl"
    assert kexctl.sandbox.run("bash", "-c", script).stdout == "complete -F _kexctl kexctl\n"


def test_no_file_in_the_class_folder_passes_for_an_interface(kexctl):
    kexctl.sandbox.run("mount", "-t", "tmpfs", "tmpfs", "/sys/class/net")
    kexctl.sandbox.put_file("/sys/class/net/bonding_masters")
    kexctl.sandbox.run("mkdir", "/sys/class/net/bond0")
    assert in_bash(kexctl, "LINK_CTRL up ") == ["bond0"]
