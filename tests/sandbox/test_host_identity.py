"""Host name, domain name and the hosts file."""

import os

import pytest

from harness import expected, line
from sinks import Sinks

HOSTS = "/etc/hosts"
BEFORE = "192.0.2.1 earlier\n::1 localhost\n"

SETTERS = {
    "SET_HOSTNAME": ("set_host_name", "hostname"),
    "SET_DOMAINNAME": ("set_domain_name", "domainname"),
}
COMMANDS = [*SETTERS, "UPDATE_HOSTS_FILE"]
FUNCTIONS = {"UPDATE_HOSTS_FILE": "update_hosts_file"} \
    | {command: function for command, (function, _) in SETTERS.items()}

# One argument that none of the three accepts.
REFUSED = ["", " ", "two words", "bmc ", " bmc", "a\tb", "a\nb", "bmc\n", "\x7f", "\x01", "a;b",
           ";", "a&b", "a|b", "a<b", "a>b", "b\u00e9mc", "\u00a0", "x" * 258, "x" * 5000]

# What the text check lets through.
ACCEPTED = ["b", "bmc-1", "bmc_1.example", "-", "x" * 64, "$(reboot)", "`id`", "'\"", "a\\b", "*?!",
            "%s%n%d", "#x", "[a]{b}", "127.0.0.1"]


@pytest.fixture
def kex(kex):
    kex.put_file(HOSTS, BEFORE, mode=0o640)
    kex.run("hostname", "before")
    kex.run("domainname", "before.example")
    sinks = Sinks(kex)
    yield kex
    sinks.assert_agreement()


def kernel_name(sandbox, setting):
    """A name as the kernel tells it inside the namespaces."""
    return sandbox.run("cat", f"/proc/sys/kernel/{setting}").stdout[:-1]


def state(sandbox):
    """All that a refused command must leave as it is."""
    return (kernel_name(sandbox, "hostname"), kernel_name(sandbox, "domainname"),
            sandbox.read_file(HOSTS))


def hosts(name):
    return ("# Do not remove the following line, or various programs\n"
            "# that require network functionality will fail.\n"
            "127.0.0.1\tlocalhost wpcm450\n"
            f"127.0.0.1\t{name}\n").encode()


@pytest.mark.parametrize("command", SETTERS)
@pytest.mark.parametrize("name", ACCEPTED, ids=repr)
def test_name_is_set(kex, command, name):
    function, setting = SETTERS[command]
    assert kex.call(command, name) == 0
    kex.expect_log(*expected.command(command, name),
                   line("exe", function, None, f"setting {setting}:{name} rc=0"))
    assert kernel_name(kex, setting) == name
    other = "domainname" if setting == "hostname" else "hostname"
    assert kernel_name(kex, other).startswith("before")
    assert kex.read_file(HOSTS) == BEFORE.encode()


# The text check lets 257 characters through, the kernel 64.
@pytest.mark.parametrize("command", SETTERS)
@pytest.mark.parametrize("length", [65, 128, 257])
def test_name_that_the_kernel_refuses(kex, command, length):
    before = state(kex)
    function, setting = SETTERS[command]
    name = "x" * length
    assert kex.call(command, name) == 0
    kex.expect_log(*expected.command(command, name),
                   line("exe", function, None, f"setting {setting}:{name} rc=-1"))
    assert state(kex) == before


# A shorter name leaves nothing of the longer one behind.
@pytest.mark.parametrize("command", SETTERS)
def test_second_name_replaces_the_first(kex, command):
    for name in ["a-rather-long-name", "bmc"]:
        assert kex.call(command, name) == 0
    assert kernel_name(kex, SETTERS[command][1]) == "bmc"


@pytest.mark.parametrize("command", COMMANDS)
@pytest.mark.parametrize("arguments", [(), ("bmc", "example"), ("bmc", ""), ("a", "b", "c")],
                         ids=repr)
def test_wrong_count_is_refused(kex, command, arguments):
    before = state(kex)
    assert kex.call(command, *arguments) == 0
    kex.expect_log(*expected.command(command, *arguments),
                   expected.refused(FUNCTIONS[command], None))
    assert state(kex) == before


@pytest.mark.parametrize("command", COMMANDS)
def test_texts_that_are_refused(kex, command):
    before = state(kex)
    for name in REFUSED:
        assert kex.call(command, name) == 0
        kex.expect_log(*expected.command(command, name),
                       expected.refused(FUNCTIONS[command], None))
    assert state(kex) == before


@pytest.mark.parametrize("name", [*ACCEPTED, "x" * 257], ids=repr)
def test_hosts_file_has_four_lines(kex, name):
    assert kex.call("UPDATE_HOSTS_FILE", name) == 0
    # Success is not logged.
    kex.expect_log(*expected.command("UPDATE_HOSTS_FILE", name))
    assert kex.read_file(HOSTS) == hosts(name)
    assert kernel_name(kex, "hostname") == "before"


def test_hosts_file_is_the_same_after_a_second_call(kex):
    for _ in range(2):
        kex.call("UPDATE_HOSTS_FILE", "bmc-1")
        assert kex.read_file(HOSTS) == hosts("bmc-1")


def test_hosts_file_is_overwritten_in_place(kex):
    os.chown(kex.path(HOSTS), 1234, 5678)
    before = os.stat(kex.path(HOSTS))
    with open(kex.path(HOSTS), "rb") as reader:
        kex.call("UPDATE_HOSTS_FILE", "bmc-1")
        assert reader.read() == hosts("bmc-1")
    after = os.stat(kex.path(HOSTS))
    kept = ("st_ino", "st_mode", "st_uid", "st_gid")
    assert [getattr(after, field) for field in kept] == [getattr(before, field) for field in kept]


def test_hosts_file_is_written_through_a_link(kex):
    kex.put_file("/etc/hosts.real", BEFORE)
    kex.remove(HOSTS)
    os.symlink("hosts.real", kex.path(HOSTS))
    kex.call("UPDATE_HOSTS_FILE", "bmc-1")
    assert os.path.islink(kex.path(HOSTS))
    assert kex.read_file("/etc/hosts.real") == hosts("bmc-1")


def test_missing_hosts_file_is_created(kex):
    kex.remove(HOSTS)
    kex.call("UPDATE_HOSTS_FILE", "bmc-1")
    kex.expect_log(*expected.command("UPDATE_HOSTS_FILE", "bmc-1"))
    assert kex.read_file(HOSTS) == hosts("bmc-1")


def test_hosts_file_that_cannot_be_opened_is_not_reported(kex):
    kex.remove(HOSTS)
    os.mkdir(kex.path(HOSTS))
    assert kex.call("UPDATE_HOSTS_FILE", "bmc-1") == 0
    kex.expect_log(*expected.command("UPDATE_HOSTS_FILE", "bmc-1"))
    assert os.listdir(kex.path(HOSTS)) == []


# The open has emptied the file before the write fails; nothing recovers it.
def test_hosts_file_on_a_full_file_system_is_left_empty(kex):
    kex.run("mkdir", "/run/small")
    kex.run("mount", "-t", "tmpfs", "-o", "size=4k", "tmpfs", "/run/small")
    kex.put_file("/run/small/hosts")
    kex.run("mount", "--bind", "/run/small/hosts", HOSTS)
    kex.put_file("/run/small/fill", b"x" * 4096)
    assert kex.call("UPDATE_HOSTS_FILE", "bmc-1") == 0
    kex.expect_log(*expected.command("UPDATE_HOSTS_FILE", "bmc-1"))
    assert kex.read_file(HOSTS) == b""
    kex.remove("/run/small/fill")
    kex.call("UPDATE_HOSTS_FILE", "bmc-1")
    assert kex.read_file(HOSTS) == hosts("bmc-1")
