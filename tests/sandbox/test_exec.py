"""How outside programs are run, seen through the commands that run them."""

import signal

import pytest

from harness import NOISE, Call, assert_lines, expected, line

ETHTOOL = "/usr/sbin/ethtool"


def failed(status):
    return line("exe", "set_link_tuning", 1961, f"ERROR - failed to set link tuning rc={status}")


def tune(kex, *arguments):
    """LINK_TUNE, and the lines of its start."""
    assert kex.call("LINK_TUNE", *arguments) == 0
    return expected.command("LINK_TUNE", *arguments)


def executing(*arguments):
    return expected.executing(ETHTOOL, "-s", *arguments)


def test_program_that_succeeds(kex):
    kex.put_program(ETHTOOL)
    called = tune(kex, "lo", "enable")
    # The text ends in a blank: each word is followed by one.
    kex.expect_log(*called, executing("lo", "autoneg", "on"))
    assert kex.calls() == [Call(ETHTOOL, ("-s", "lo", "autoneg", "on"))]


@pytest.mark.parametrize("status", [1, 3, 127, 255])
def test_exit_status_is_reported_raw(kex, status):
    kex.put_program(ETHTOOL, status=status)
    called = tune(kex, "lo", "enable")
    kex.expect_log(*called, executing("lo", "autoneg", "on"), failed(status * 256))


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGKILL, signal.SIGINT, signal.SIGHUP])
def test_death_by_signal_is_reported_raw(kex, number):
    kex.put_program(ETHTOOL, signal=number)
    called = tune(kex, "lo", "enable")
    kex.expect_log(*called, executing("lo", "autoneg", "on"), failed(int(number)))
    assert kex.call("TERMINATE") == 0


def lay_nothing(kex):
    kex.remove(ETHTOOL)


def lay_without_permission(kex):
    kex.put_file(ETHTOOL, "#!/bin/sh\nexit 0\n", mode=0o644)


def lay_text(kex):
    kex.put_file(ETHTOOL, "no program\n", mode=0o755)


def lay_without_interpreter(kex):
    kex.put_file(ETHTOOL, "#!/nonexistent\n", mode=0o755)


@pytest.mark.parametrize("lay", [lay_nothing, lay_without_permission, lay_text,
                                 lay_without_interpreter])
def test_program_that_cannot_be_run(kex, lay):
    lay(kex)
    assert kex.call("LINK_TUNE", "lo", "enable") == 0
    # What the exit handlers of the failed child log is accepted.
    lines = [text for text in kex.lines() if not expected.DESTRUCTED.fits(text)]
    assert_lines(lines, [*expected.command("LINK_TUNE", "lo", "enable"),
                         executing("lo", "autoneg", "on"), expected.EXECV_FAILED, failed(65280)])


# The failed child ends with exit(): its exit handlers must not touch what it shares
# with the daemon, whose connection and event loop stay as they were.
def test_failed_child_leaves_the_daemon_alone(kex):
    kex.remove(ETHTOOL)
    owner = kex.client.owner()
    descriptors = kex.daemon.fd_count()
    for _ in range(20):
        assert kex.call("LINK_TUNE", "lo", "enable") == 0
    assert kex.client.owner() == owner
    assert kex.client.property("State") == ("i", 0)
    assert kex.daemon.fd_count() == descriptors
    kex.mark()
    assert kex.call("LINK_CTRL", "down", "lo") == 0
    assert "UP" not in kex.link("lo")["flags"]
    kex.mark()
    assert kex.terminate() == 0
    kex.expect_log(*expected.STOP)


def test_words_reach_the_program_unchanged(kex):
    kex.put_program(ETHTOOL)
    for word in ["$(touch${IFS}/tmp/x)", "`id`", "'\"*?\\", "--help", "%s%n", "a" * 257]:
        called = tune(kex, word, "enable")
        kex.expect_log(*called, executing(word, "autoneg", "on"))
        assert kex.calls()[-1] == Call(ETHTOOL, ("-s", word, "autoneg", "on"))
    assert kex.read_file("/run/sandbox/calls").count(ETHTOOL.encode()) == 6
    assert not kex.exists("/tmp/x")


def test_noise_reaches_neither_log_nor_outputs(kex):
    kex.put_program(ETHTOOL, status=1)
    tune(kex, "lo", "enable")
    assert len(kex.calls()) == 1
    assert NOISE.encode() not in kex.log.content()
    assert not any(NOISE in message for message in kex.journal.messages())
    assert kex.daemon.output() == (b"", b"")


def test_program_starts_with_a_clean_process(kex):
    kex.put_file(ETHTOOL, """#!/bin/sh
grep -E '^Sig(Blk|Ign)' /proc/self/status >/tmp/signals
for fd in 0 1 2; do readlink /proc/$$/fd/$fd; done | cat >/tmp/standard
for fd in /proc/$$/fd/*; do readlink "$fd"; done | grep -c socket: | cat >/tmp/sockets
env >/tmp/environment
""", mode=0o755)
    called = tune(kex, "lo", "enable")
    kex.expect_log(*called, executing("lo", "autoneg", "on"))
    signals = kex.read_file("/tmp/signals").decode().split()
    assert signals == ["SigBlk:", "0" * 16, "SigIgn:", "0" * 16]
    # Standard input is left alone; the tests start kex with /dev/null there.
    assert kex.read_file("/tmp/standard") == b"/dev/null\n" * 3
    assert kex.read_file("/tmp/sockets") == b"0\n"
    assert b"DBUS_SYSTEM_BUS_ADDRESS=" in kex.read_file("/tmp/environment")


def test_many_programs_leave_no_descriptors_or_children(kex):
    kex.put_program(ETHTOOL)
    kex.call("TERMINATE")
    descriptors = kex.daemon.fd_count()
    for _ in range(50):
        tune(kex, "lo", "enable")
    assert kex.daemon.fd_count() == descriptors
    assert len(kex.calls()) == 50
    with open(f"/proc/{kex.daemon.pid}/task/{kex.daemon.pid}/children", encoding="ascii") as file:
        assert file.read() == ""


def test_fork_that_fails(make_sandbox):
    sandbox = make_sandbox()
    # The leak check of a sanitized daemon forks too; it does not run at SIGKILL.
    sandbox.start_daemon(refuse=["clone", "clone3", "fork"])
    sandbox.put_program(ETHTOOL)
    sandbox.mark()
    called = tune(sandbox, "lo", "enable")
    sandbox.expect_log(*called, line("exe", "exec_cmd", 511, "ERROR - failed to fork"), failed(-1))
    assert sandbox.calls() == []
    assert sandbox.call("TERMINATE") == 0


def test_command_line_of_the_child_reaches_the_library(kex):
    kex.put_program(ETHTOOL)
    tune(kex, "lo", "enable")
    (record,) = [entry for entry in kex.journal.records() if "exec_cmd" in entry["MESSAGE"]]
    assert record["MESSAGE"] == ("exe_exec_cmd():503 - Executing command: "
                                 "/usr/sbin/ethtool -s lo autoneg on ")
    assert record["PRIORITY"] == "4"
