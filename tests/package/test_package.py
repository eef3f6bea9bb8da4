"""The packages from installation to purge, as dpkg does it in a root that is not booted."""

import re

import pytest

UNIT = "/usr/lib/systemd/system/kex.service"
LINK = "/etc/systemd/system/multi-user.target.wants/kex.service"
PROGRAMS = ["/usr/libexec/kex", "/usr/bin/kexctl"]
FILES = [
    UNIT,
    "/usr/lib/sysusers.d/kex.conf",
    "/usr/lib/tmpfiles.d/kex.conf",
    "/usr/share/bash-completion/completions/kexctl",
    "/usr/share/dbus-1/interfaces/com.orvel.bmc.network.KEX.xml",
    "/usr/share/dbus-1/system-services/com.orvel.bmc.network.kex.service",
    "/usr/share/dbus-1/system.d/com.orvel.bmc.network.kex.conf",
    "/usr/share/doc/kex/architecture.md",
    "/usr/share/doc/kex/commands.md",
    "/usr/share/doc/kex/integration.md",
    "/usr/share/doc/kex/troubleshooting.md",
    "/usr/share/kex/com/orvel/bmc/network/KEX.interface.yaml",
    "/usr/share/man/man1/kexctl.1.gz",
    "/usr/share/man/man7/kex-commands.7.gz",
    "/usr/share/man/man8/kex.8.gz",
    "/usr/share/zsh/vendor-completions/_kexctl",
]


def test_packages_need_only_what_they_name(installed):
    assert installed.state("kex").startswith("install ok installed|")
    assert installed.state("kexctl").startswith("install ok installed|")
    assert installed.run("dpkg", "--audit").stdout == ""
    assert installed.run("dpkg", "--verify", "kex", "kexctl").stdout == ""


def test_files_are_in_their_places(installed):
    files = installed.files()
    missing = [path for path in PROGRAMS if files.get(path) != ("-rwxr-xr-x", 0, 0)]
    missing += [path for path in FILES if files.get(path) != ("-rw-r--r--", 0, 0)]
    assert missing == []


def test_users_and_groups_are_made(installed):
    installed.run("getent", "passwd", "kex")
    for group in ("kex", "kex-clients"):
        installed.run("getent", "group", group)


def test_unit_is_enabled_and_names_what_is_there(installed):
    assert installed.exists(LINK)
    unit = installed.read(UNIT)
    (program,) = re.findall(r"^ExecStart=(\S+)$", unit, re.MULTILINE)
    (page,) = re.findall(r"file:(\S+)", unit)
    assert installed.exists(program)
    assert installed.exists(page)
    assert installed.run("systemd-analyze", "verify", UNIT, check=False).stderr == ""


def test_client_works_and_finds_no_daemon(installed):
    listed = installed.run("kexctl", "list").stdout.splitlines()
    assert len(listed) == 32
    assert "example: kexctl LINK_CTRL up eth1" in installed.run("kexctl", "help", "link_ctrl").stdout
    assert installed.run("kexctl", "LINK_CTRL", "up", "lo", check=False).returncode == 3


@pytest.mark.parametrize("page, text", [
    ("kex", "com.orvel.bmc.network.KEX"), ("kexctl", "EXIT STATUS"),
    ("kex-commands", "kexctl LINK_CTRL up eth1")])
def test_manual_is_found_and_reads_well(installed, page, text):
    done = installed.run("man", "--warnings", "--encoding=ascii", page)
    assert text in done.stdout
    assert done.stderr == ""


def test_upgrade_restarts_the_daemon_and_leaves_one_version(installed):
    """Without a running systemd it can be seen only that the restart is asked for."""
    package = installed.next_version("kex")
    installed.run("dpkg", "--install", package)
    assert installed.state("kex").endswith("+next")
    script = installed.read("/var/lib/dpkg/info/kex.postinst")
    assert re.search(r"_dh_action=restart\b", script)
    assert "deb-systemd-invoke $_dh_action 'kex.service'" in script
    assert "kex-clients" in installed.accounts()


def test_client_can_be_removed_alone(installed):
    installed.run("dpkg", "--remove", "kexctl")
    assert not installed.exists("/usr/bin/kexctl")
    assert installed.exists("/usr/libexec/kex")


def test_removal_keeps_the_accounts_and_no_program(installed):
    installed.run("dpkg", "--remove", "kex")
    assert not installed.exists("/usr/libexec/kex")
    assert not installed.exists(UNIT)
    assert {"kex", "kex-clients"} <= installed.accounts()


def test_purge_leaves_nothing_behind(fresh, left):
    fresh.install("kex", "kexctl")
    assert left() != ([], set())
    fresh.run("dpkg", "--remove", "kex", "kexctl")
    fresh.run("dpkg", "--purge", "kex", "kexctl")
    assert left() == ([], set())
    assert not fresh.state("kex").endswith("installed")


def test_purge_removes_the_log_and_keeps_what_others_left_beside_it(fresh, left):
    fresh.install("kex")
    for name in ("kex.log", "kex.log.0", "kex.log.1", "ostrelagent.pid"):
        fresh.run("mkdir", "-p", "/run/tirvad")
        fresh.run("touch", "/run/tirvad/" + name)
    fresh.run("dpkg", "--purge", "kex")
    assert fresh.run("ls", "/run/tirvad").stdout.split() == ["ostrelagent.pid"]
    fresh.run("rm", "-r", "/run/tirvad")
    assert left() == ([], set())
