"""From the start to the end of the process: signals, failures, exceptions."""

import re
import signal
import time

import pytest

from harness import NAME, CallError, expected, line, wait_until

STOPPED_BY_ERROR = line("man", "main", 105,
                        "ERROR - failed to initialize netlink command socket")


def dbus_failure(pattern):
    # The two line feeds at its end are intended.
    return line("dbs", "dbus_manager", 205,
                re.compile(r"ERROR - failed to create D-Bus \[" + pattern + r"\]\n"))


def test_start_and_stop_write_these_lines(sandbox):
    sandbox.start_daemon()
    sandbox.expect_log(*expected.START)
    began = time.monotonic()
    assert sandbox.terminate() == 0
    sandbox.expect_log(*expected.STOP)
    # The loop sleeps for a second before it looks at the stop flag.
    assert 0.9 < time.monotonic() - began < 5


def test_process_and_thread_bear_the_name(kex):
    with open(f"/proc/{kex.daemon.pid}/comm", encoding="ascii") as comm:
        assert comm.read() == "kex\n"
    assert kex.daemon.status_field("Threads") == "1"


def test_environment_is_not_looked_at(sandbox):
    sandbox.start_daemon(environment={"KEX_LOG": "x", "LOG_LEVEL": "0"})
    sandbox.expect_log(*expected.START)


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_signal_stops_the_daemon(kex, number):
    kex.daemon.signal(number)
    assert kex.daemon.wait() == 0
    kex.expect_log(*expected.STOP)
    assert not kex.client.has_owner()


def test_child_signals_alone_do_not_stop_the_daemon(kex):
    for _ in range(5):
        kex.daemon.signal_and_wait_until_taken(signal.SIGCHLD)
    kex.client.ping()
    kex.expect_log()
    assert kex.call("TERMINATE") == 0


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_second_signal_during_the_last_second(kex, number):
    kex.daemon.signal(signal.SIGTERM)
    kex.wait_for_log("event loop is ended")
    began = time.monotonic()
    kex.daemon.signal_and_wait_until_taken(number)
    assert kex.daemon.wait() == 0
    # The sleep goes on for what remains of its second.
    assert time.monotonic() - began > 0.5
    kex.expect_log(expected.LOOP_EXITING, expected.LOOP_ENDED, expected.LOOP_EXITING,
                   expected.EXITING, expected.DESTRUCTED)


def test_child_signal_during_the_last_second(kex):
    kex.daemon.signal(signal.SIGTERM)
    kex.wait_for_log("event loop is ended")
    for _ in range(3):
        kex.daemon.signal_and_wait_until_taken(signal.SIGCHLD)
    assert kex.daemon.wait() == 0
    kex.expect_log(*expected.STOP)


def test_command_completes_before_the_daemon_stops(kex):
    gate = kex.put_program("/usr/sbin/ethtool", gated=True)
    call = kex.client.start_call("LINK_TUNE", "lo", "enable")
    kex.wait_for_log("Executing command")
    kex.daemon.signal(signal.SIGTERM)
    gate.open()
    assert call.reply() == (0,)
    assert kex.daemon.wait() == 0
    kex.expect_log(*expected.command("LINK_TUNE", "lo", "enable"),
                   expected.executing("/usr/sbin/ethtool", "-s", "lo", "autoneg", "on"),
                   *expected.STOP)


def test_two_signals_during_a_command(kex):
    gate = kex.put_program("/usr/sbin/ethtool", gated=True)
    call = kex.client.start_call("LINK_TUNE", "lo", "enable")
    kex.wait_for_log("Executing command")
    kex.daemon.signal(signal.SIGTERM)
    kex.daemon.signal(signal.SIGINT)
    gate.open()
    assert call.reply() == (0,)
    assert kex.daemon.wait() == 0
    kex.expect_log(*expected.command("LINK_TUNE", "lo", "enable"),
                   expected.executing("/usr/sbin/ethtool", "-s", "lo", "autoneg", "on"),
                   expected.LOOP_EXITING, *expected.STOP)


def test_command_that_waits_behind_the_last_one_is_not_begun(kex):
    gate = kex.put_program("/usr/sbin/ethtool", gated=True)
    first = kex.client.start_call("LINK_TUNE", "lo", "enable")
    kex.wait_for_log("Executing command")
    other = kex.bus.connect()
    second = other.start_call("LINK_CTRL", "up", "lo")
    kex.daemon.signal(signal.SIGTERM)
    gate.open()
    assert first.reply() == (0,)
    with pytest.raises(CallError) as error:
        second.reply()
    assert error.value.name == "org.freedesktop.DBus.Error.NoReply"
    assert kex.daemon.wait() == 0
    assert not any("LINK_CTRL" in entry for entry in kex.lines())
    other.close()


def test_without_netlink_socket_it_ends_before_the_bus_is_touched(sandbox):
    daemon = sandbox.start_daemon(ready=False, refuse=["socket:16"])
    assert daemon.wait() == 1
    sandbox.expect_log(
        expected.STARTING, expected.NETLINK_OPENING,
        line("nlc", "init_socket", None,
             "ERROR - forbidden by checkmarx to say why unable to open netlink command socket"),
        STOPPED_BY_ERROR)


def test_without_netlink_socket_no_connection_is_made(sandbox):
    assert sandbox.client.driver("ListNames")[0]
    watcher = sandbox.bus.connect()
    watcher.driver("AddMatch", "s", ("type='signal',member='NameOwnerChanged'",))
    assert sandbox.start_daemon(ready=False, refuse=["socket:16"]).wait() == 1
    watcher.driver("GetId")
    with pytest.raises(TimeoutError):
        while True:
            message = watcher.connection.receive(timeout=0.1)
            assert not (message.body and str(message.body[0]).startswith(":")), message
    watcher.close()


def test_name_of_the_thread_that_cannot_be_set(sandbox):
    set_name = 15
    sandbox.start_daemon(refuse=[f"prctl:{set_name}"])
    failure = line("cul", "set_thread_name", None, "ERROR - failed to set the thread name [kex]")
    sandbox.expect_log(expected.STARTING, failure, *expected.START[1:])


# A daemon without its object serves nothing but signals.

def assert_stops_without_object(sandbox):
    assert sandbox.terminate() == 0
    sandbox.expect_log(expected.LOOP_EXITING, expected.LOOP_ENDED, expected.EXITING)


def test_without_a_bus_it_runs_on(make_sandbox):
    sandbox = make_sandbox(bus=False)
    sandbox.start_daemon(ready=False)
    sandbox.wait_for_log("event loop is entering")
    sandbox.expect_log(expected.STARTING, expected.NETLINK_OPENING, expected.NETLINK_OPEN,
                       dbus_failure(".+"), expected.ENTERING, expected.LOOP_ENTERING)
    assert_stops_without_object(sandbox)


def test_name_that_the_bus_policy_refuses(make_sandbox):
    sandbox = make_sandbox(
        bus_policy=f'<policy context="mandatory"><deny own="{NAME}"/></policy>')
    sandbox.start_daemon(ready=False)
    sandbox.wait_for_log("event loop is entering")
    sandbox.expect_log(expected.STARTING, expected.NETLINK_OPENING, expected.NETLINK_OPEN,
                       dbus_failure("sd_bus_request_name.*"), expected.ENTERING,
                       expected.LOOP_ENTERING)
    assert_stops_without_object(sandbox)


def test_name_that_another_keeps(sandbox):
    assert sandbox.client.driver("RequestName", "su", (NAME, 0)) == (1,)
    sandbox.start_daemon(ready=False)
    sandbox.wait_for_log("event loop is entering")
    assert dbus_failure("sd_bus_request_name.*").fits(sandbox.lines()[3])
    sandbox.mark()
    assert sandbox.client.owner() == sandbox.client.name
    assert_stops_without_object(sandbox)


def test_bus_that_goes_away_leaves_the_daemon_to_its_signals(kex):
    kex.bus.stop()
    # The loop has seen the end of the connection when it sleeps again.
    wait_until(lambda: kex.daemon.status_field("State").startswith("S"), what="kex to be idle")
    kex.expect_log()
    assert kex.terminate() == 0
    kex.expect_log(*expected.STOP)


# A number that does not convert is the exception that no handler catches.

@pytest.mark.parametrize("text", ["abc", "", "99999999999999999999"])
def test_exception_of_a_handler_ends_the_process(kex, text):
    with pytest.raises(CallError) as error:
        kex.call("JOURNAL_CTRL", "kernel", text, "/tmp/capture")
    assert error.value.name == "org.freedesktop.DBus.Error.NoReply"
    assert kex.daemon.wait() == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", text, "/tmp/capture"),
                   line("man", "main", 124, "ERROR - kex exiting with exception [stoul]"),
                   expected.EXITING, expected.DESTRUCTED)
    assert not kex.exists("/tmp/capture")


def test_exception_loses_calls_that_wait(kex):
    gate = kex.put_program("/usr/sbin/ethtool", gated=True)
    calls = [(kex.bus.connect(), arguments) for arguments in (
        ("LINK_TUNE", "lo", "enable"), ("JOURNAL_CTRL", "kernel", "abc", "/tmp/capture"),
        ("LINK_CTRL", "up", "lo"))]
    pending = []
    for client, arguments in calls:
        pending.append(client.start_call(*arguments))
        client.driver("GetId")
        kex.wait_for_log("Executing command")
    gate.open()
    assert pending[0].reply() == (0,)
    for call in pending[1:]:
        with pytest.raises(CallError) as error:
            call.reply()
        assert error.value.name == "org.freedesktop.DBus.Error.NoReply"
    assert kex.daemon.wait() == 0
    assert not any("LINK_CTRL" in entry for entry in kex.lines())
    for client, _ in calls:
        client.close()
