"""Units of systemd, on a stand-in for its manager."""

import os
import re
import signal
import time

import pytest
from jeepney import HeaderFields

from harness import expected, line, wait_until
from harness.bus import SOCKET
from sinks import Sinks
from systemd_stand_in import (JOB, NO_SUCH_UNIT, PATH, FalseBus, Manager, Service,
                              manager_calls)

SERVICES = ["systemd-networkd", "avahi-daemon", "network", "brisked", "lldpd-tarn", "quorrit",
            "llmnrd", "radvd", "dhcpcd", "udhcpd", "felmbrowse", "wpa_supplicant", "vemlod"]
METHODS = {"start": "StartUnit", "stop": "StopUnit", "restart": "RestartUnit"}
JOB_PATH = PATH + "/job/1"
AWAY = SOCKET + ".away"


@pytest.fixture
def kex(kex):
    sinks = Sinks(kex)
    yield kex
    sinks.assert_agreement()


@pytest.fixture
def systemd(kex):
    """Puts a manager on the bus; its script is given when it is made."""
    services = []

    def start(**script):
        manager = Manager(**script)
        services.append(Service(kex.bus.connect().connection, manager))
        return manager

    yield start
    for service in services:
        service.close()


def error(function, text):
    return line("syd", function, None, "ERROR - " + text)


def reset_failed(text):
    return error("reset_failed_unit", f"systemd reset-failed D-Bus call failed: {text}")


def call_failed(text):
    return error("systemd_dbus_call_method", f"systemd D-Bus call failed: {text}")


def not_connected(function, number):
    return error(function, f"failed to connect to systemd D-Bus: {number}")


def began(service, action):
    return line("exe", "service_control", None, re.compile(f"{service} {action} at \\d+"))


def completed(service, action, reset, rc):
    return line("exe", "service_control", None,
                re.compile(f"completed {service} {action} at \\d+ rc1={reset} rc={rc}"))


def frame(action, service, wait, *between, reset="[01]", rc=0):
    """The lines of one request; a reset that succeeds has any result from 0 on."""
    return [*expected.command("SYSTEMD_SERVICE_CTRL", action, service, wait),
            began(service, action), *between, completed(service, action, reset, rc)]


def control(kex, action="start", service="dhcpcd", wait="false", timeout=10):
    assert kex.call("SYSTEMD_SERVICE_CTRL", action, service, wait, timeout=timeout) == 0


def poll():
    return (JOB_PATH, "org.freedesktop.DBus.Properties", "Get", (JOB, "State"))


# What is asked of the manager

@pytest.mark.parametrize("service", SERVICES)
def test_unit_of_every_service(kex, systemd, service):
    manager = systemd()
    control(kex, "start", service)
    kex.expect_log(*frame("start", service, "false"))
    assert manager.requests() == manager_calls("StartUnit", service + ".service")
    assert manager.polls() == []


@pytest.mark.parametrize("wait", ["false", "true"])
@pytest.mark.parametrize("action", METHODS)
def test_method_of_every_action(kex, systemd, action, wait):
    manager = systemd()
    control(kex, action, "dhcpcd", wait)
    kex.expect_log(*frame(action, "dhcpcd", wait))
    assert manager.requests() == manager_calls(METHODS[action], "dhcpcd.service")
    # Without waiting nobody looks; with it one look finds that the job is gone.
    assert [call.what() for call in manager.polls()] == ([poll()] if wait == "true" else [])


def test_clock_is_shown_in_whole_seconds(kex, systemd):
    systemd(job_seconds=1.0)
    before = int(time.monotonic())
    control(kex, wait="true")
    after = int(time.monotonic())
    first, last = [int(re.search(r" at (\d+)", text)[1]) for text in kex.lines()[-2:]]
    assert before <= first < last <= after


def test_every_exchange_has_a_connection_of_its_own(kex, systemd):
    manager = systemd(job_seconds=0.5)
    control(kex, wait="true")
    senders = [call.sender for call in manager.calls]
    assert len(senders) >= 4
    assert len(set(senders)) == len(senders)
    assert kex.client.owner() not in senders
    names = kex.client.driver("ListNames")[0]
    wait_until(lambda: not set(senders) & set(kex.client.driver("ListNames")[0]),
               what=f"the connections to be closed, of {names}")


def test_requests_leave_no_descriptors(kex, systemd):
    systemd(job_seconds=0.1)
    control(kex)
    descriptors = kex.daemon.fd_count()
    for _ in range(5):
        control(kex, wait="true")
    assert kex.daemon.fd_count() == descriptors


# Refusals

@pytest.mark.parametrize("arguments", [
    (), ("start",), ("start", "dhcpcd"), ("start", "dhcpcd", "false", "x"),
    ("start", "dhcpcd", "true", ""), ("reload", "dhcpcd", "false"), ("Start", "dhcpcd", "false"),
    ("", "dhcpcd", "false"), ("status", "dhcpcd", "true"), ("start", "sshd", "false"),
    ("start", "", "false"), ("start", "dhcpcd.service", "false"), ("start", "DHCPCD", "false"),
    ("start", "dhcpcd ", "false"), ("start", "../dhcpcd", "false"), ("start", "x" * 256, "false"),
    ("start", "dhcpcd", ""), ("start", "dhcpcd", "False"), ("start", "dhcpcd", "1"),
    ("start", "dhcpcd", "wait"), ("dhcpcd", "start", "false"), ("start", "lldpd", "false"),
    ("stop", "kex", "true"), ("restart", "systemd-networkd\n", "false"),
], ids=lambda arguments: repr(arguments)[:60])
def test_wrong_list_is_refused(kex, systemd, arguments):
    manager = systemd()
    earlier = kex.bus.connect()
    assert kex.call("SYSTEMD_SERVICE_CTRL", *arguments) == 0
    kex.expect_log(*expected.command("SYSTEMD_SERVICE_CTRL", *arguments),
                   expected.refused("service_control", None))
    later = kex.bus.connect()
    assert manager.calls == []
    # The bus numbers its connections: none was made in between.
    assert int(later.name[3:]) == int(earlier.name[3:]) + 1
    earlier.close()
    later.close()


# A manager that refuses

@pytest.mark.parametrize("action", METHODS)
def test_unknown_unit_of_the_reset_does_not_stop_the_request(kex, systemd, action):
    text = "Unit dhcpcd.service not loaded."
    manager = systemd(reset_error=(NO_SUCH_UNIT, text))
    control(kex, action)
    kex.expect_log(*frame(action, "dhcpcd", "false", reset_failed(text), reset="-2"))
    assert manager.requests() == manager_calls(METHODS[action], "dhcpcd.service")


@pytest.mark.parametrize("wait", ["false", "true"])
@pytest.mark.parametrize("name, number", [
    (NO_SUCH_UNIT, 2), ("org.freedesktop.DBus.Error.AccessDenied", 13),
    ("org.freedesktop.DBus.Error.InvalidArgs", 22), ("com.example.Unheard", 5),
])
def test_unit_that_is_refused(kex, systemd, wait, name, number):
    manager = systemd(unit_error=(name, "It is refused: %s%n."))
    control(kex, wait=wait)
    kex.expect_log(*frame("start", "dhcpcd", wait, call_failed("It is refused: %s%n."),
                          rc=-number))
    assert manager.polls() == []


def test_refusal_of_both_calls(kex, systemd):
    systemd(reset_error=("org.freedesktop.DBus.Error.AccessDenied", "No."),
            unit_error=(NO_SUCH_UNIT, "None."))
    control(kex, "stop", "network", "true")
    kex.expect_log(*frame("stop", "network", "true", reset_failed("No."), call_failed("None."),
                          reset="-13", rc=-2))


# 113: no route to the host, which stands for a name that nobody has.
def test_no_manager_at_all(kex):
    text = "The name org.freedesktop.systemd1 was not provided by any .service files"
    control(kex, wait="true")
    kex.expect_log(*frame("start", "dhcpcd", "true", reset_failed(text), call_failed(text),
                          reset="-113", rc=-113))


# Waiting for a job

def test_job_that_takes_a_second_is_waited_for(kex, systemd):
    manager = systemd(job_seconds=1.0)
    start = time.monotonic()
    call = kex.client.start_call("SYSTEMD_SERVICE_CTRL", "restart", "systemd-networkd", "true")
    wait_until(manager.polls, what="a look at the job")
    other = kex.bus.connect()
    waiting = other.start_call("TERMINATE")
    assert call.reply() == (0,)
    assert 1.0 <= time.monotonic() - start < 3.0
    # The daemon serves no one else meanwhile.
    assert waiting.reply() == (0,)
    kex.expect_log(*frame("restart", "systemd-networkd", "true"), *expected.command("TERMINATE"))
    assert {call.what() for call in manager.polls()} == {poll()}
    # One look each 200 ms, and each takes some time itself.
    assert 3 <= len(manager.polls()) <= 6
    other.close()


def test_job_is_not_waited_for_unless_asked(kex, systemd):
    manager = systemd(job_seconds=None)
    control(kex, "restart", "systemd-networkd", "false")
    kex.expect_log(*frame("restart", "systemd-networkd", "false"))
    assert manager.polls() == []


@pytest.mark.parametrize("state", ["waiting", "done", "failed", ""])
def test_text_of_the_state_is_not_examined(kex, systemd, state):
    manager = systemd(job_seconds=0.3, state=("s", state))
    control(kex, wait="true")
    kex.expect_log(*frame("start", "dhcpcd", "true"))
    assert len(manager.polls()) >= 2


# A get that does not give a text has failed, and a get that fails ends the wait.
@pytest.mark.parametrize("state", [("u", 7), ("as", ["running"]), ("o", "/running")], ids=repr)
def test_state_of_another_type_ends_the_wait(kex, systemd, state):
    manager = systemd(job_seconds=None, state=state)
    control(kex, wait="true")
    kex.expect_log(*frame("start", "dhcpcd", "true"))
    assert len(manager.polls()) == 1


@pytest.mark.parametrize("reply", [("s", ("not a path",)), ("s", (JOB_PATH,)), ("u", (1,)),
                                   (None, ())], ids=repr)
@pytest.mark.parametrize("wait", ["false", "true"])
def test_reply_without_a_job_path_is_not_waited_for(kex, systemd, reply, wait):
    manager = systemd(job_seconds=None, job_reply=reply)
    control(kex, wait=wait)
    kex.expect_log(*frame("start", "dhcpcd", wait))
    assert manager.polls() == []


def test_path_that_is_no_job_ends_the_wait(kex, systemd):
    manager = systemd(job_reply=("o", ("/",)))
    control(kex, wait="true")
    kex.expect_log(*frame("start", "dhcpcd", "true"))
    assert [call.path for call in manager.polls()] == ["/"]


def test_job_that_never_ends_is_given_up(kex, systemd):
    manager = systemd(job_seconds=None)
    start = time.monotonic()
    control(kex, wait="true", timeout=60)
    elapsed = time.monotonic() - start
    # Whole seconds of the clock are compared, so up to one of them may be short. A busy machine
    # makes it longer and the looks at the job fewer.
    assert 29.0 < elapsed < 40.0
    given_up = line("syd", "wait_for_job_completion", None,
                    re.compile(f"WARN - timed out waiting for job {JOB_PATH} after 3[0-9]s"))
    kex.expect_log(*frame("start", "dhcpcd", "true", given_up, rc=-110))
    assert 30 < len(manager.polls()) <= 160
    # The job was left to run, and the daemon serves on.
    assert manager.requests() == manager_calls("StartUnit", "dhcpcd.service")
    control(kex)
    kex.expect_log(*frame("start", "dhcpcd", "false"))


def test_signal_during_the_wait_is_obeyed_behind_it(kex, systemd):
    manager = systemd(job_seconds=1.0)
    call = kex.client.start_call("SYSTEMD_SERVICE_CTRL", "start", "dhcpcd", "true")
    wait_until(manager.polls, what="a look at the job")
    kex.daemon.signal(signal.SIGTERM)
    assert call.reply() == (0,)
    assert kex.daemon.wait() == 0
    requested = frame("start", "dhcpcd", "true")
    kex.expect_log(*requested[:-1], expected.LOOP_EXITING, requested[-1], *expected.STOP[1:])


# A bus that is away

def hide_bus(kex):
    os.rename(kex.path(SOCKET), kex.path(AWAY))


def bring_bus_back(kex):
    os.replace(kex.path(AWAY), kex.path(SOCKET))


@pytest.mark.parametrize("wait", ["false", "true"])
def test_bus_that_cannot_be_reached(kex, systemd, wait):
    manager = systemd()
    client = kex.client
    hide_bus(kex)
    # The daemon's own connection stands.
    assert client.call("SYSTEMD_SERVICE_CTRL", "start", "dhcpcd", wait) == 0
    kex.expect_log(*frame("start", "dhcpcd", wait, not_connected("reset_failed_unit", 2),
                          not_connected("systemd_dbus_call_method", 2), reset="-2", rc=-2))
    assert manager.calls == []
    bring_bus_back(kex)
    control(kex)
    kex.expect_log(*frame("start", "dhcpcd", "false"))


def poll_failed(number):
    return error("wait_for_job_completion",
                 f"failed to connect to systemd D-Bus for job poll: {number}")


def test_bus_that_goes_away_between_looks(kex, systemd):
    manager = systemd(job_seconds=None)
    call = kex.client.start_call("SYSTEMD_SERVICE_CTRL", "start", "dhcpcd", "true")
    wait_until(lambda: len(manager.polls()) >= 2, what="two looks at the job")
    hide_bus(kex)
    assert call.reply() == (0,)
    kex.expect_log(*frame("start", "dhcpcd", "true", poll_failed(2), rc=-2))
    bring_bus_back(kex)
    assert kex.call("TERMINATE") == 0


# 111: connection refused.
def test_bus_that_dies_between_looks(kex, systemd):
    manager = systemd(job_seconds=None)
    kex.client.start_call("SYSTEMD_SERVICE_CTRL", "start", "dhcpcd", "true")
    wait_until(lambda: len(manager.polls()) >= 2, what="two looks at the job")
    kex.bus.stop()
    kex.wait_for_log("completed")
    requested = frame("start", "dhcpcd", "true", poll_failed(111), rc=-111)
    lines = kex.lines()[:len(requested)]
    assert all(map(lambda want, got: want.fits(got), requested, lines)), lines


class TestFalseBus:
    """Exchanges that no real bus lets happen. The daemon's own connection is to the
    real bus; new ones reach the false bus."""

    @pytest.fixture
    def false_bus(self, kex):
        buses = []

        def start(answer=None):
            assert kex.client.name
            hide_bus(kex)
            buses.append(FalseBus(kex.path(SOCKET), answer))

        yield start
        for bus in buses:
            bus.close()

    def test_bus_that_hangs_up(self, kex, false_bus):
        false_bus()
        control(kex, wait="true")
        # Which one it is depends on whether the request was on its way already.
        hung_up = re.compile("ERROR - systemd .*D-Bus call failed: "
                             "(Connection reset by peer|Transport endpoint is not connected)")
        kex.expect_log(*frame("start", "dhcpcd", "true",
                              line("syd", "reset_failed_unit", None, hung_up),
                              line("syd", "systemd_dbus_call_method", None, hung_up),
                              reset="-(104|107)", rc="-(104|107)"))

    # A text that is not UTF-8 passes for a State, and cannot be read: 74, a bad message.
    # The time is not looked at on this path.
    def test_state_that_cannot_be_read(self, kex, false_bus):
        manager = Manager(job_seconds=0.9, state=("s", "running"))

        def answer(message):
            reply = manager.answer(message)
            if message.header.fields[HeaderFields.member] == "Get":
                return reply.serialise(7).replace(b"running", b"runn\xffng")
            return reply

        false_bus(answer)
        control(kex, wait="true")
        unread = line("syd", "wait_for_job_completion", None,
                      f"WARN - failed to read job state for {JOB_PATH}: 74")
        polls = len(manager.polls())
        assert 3 <= polls <= 6
        # The last look finds the job gone.
        kex.expect_log(*frame("start", "dhcpcd", "true", *[unread] * (polls - 1)))

    def test_state_that_can_be_read_again(self, kex, false_bus):
        manager = Manager(job_seconds=0.7, state=("s", "running"))

        def answer(message):
            reply = manager.answer(message)
            if len(manager.polls()) == 2:
                return reply.serialise(7).replace(b"running", b"runn\xffng")
            return reply

        false_bus(answer)
        control(kex, wait="true")
        unread = line("syd", "wait_for_job_completion", None,
                      f"WARN - failed to read job state for {JOB_PATH}: 74")
        kex.expect_log(*frame("start", "dhcpcd", "true", unread))
        assert len(manager.polls()) >= 3

    def test_reply_whose_path_cannot_be_read(self, kex, false_bus):
        manager = Manager(job_seconds=None)

        def answer(message):
            reply = manager.answer(message)
            if message.header.fields[HeaderFields.member] == "StartUnit":
                return reply.serialise(7).replace(b"/org/freedesktop/systemd1/job/1",
                                                  b"not a path, however you look at")
            return reply

        false_bus(answer)
        control(kex, wait="true")
        kex.expect_log(*frame("start", "dhcpcd", "true"))
        assert manager.polls() == []
