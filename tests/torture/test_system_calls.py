"""Every system call of every handler fails in turn: the daemon goes on, or ends as it is meant to.

What a failing call leaves undone is the handlers' own matter and is tested with them. Here it is
that nothing else suffers: the next command works, nothing is held, no link, address or route that
the command did not name has changed.
"""

import errno
import re

import pytest

from fault_walk import ENDED, LOST_REPLY, OFF_THE_BUS, SERVED, FaultyMachine
from harness import expected, parse, wait_until
from machine import EVERY, LINK, MAC, PROGRAMS, furnish, kept
from scale import long_form, measured
from system_calls import names
from systemd_stand_in import Manager, Service

ERRORS = ["ENOMEM", "EMFILE", "ENOSPC", "EINTR", "EIO", "EPERM"]
SOME_ERRORS = ["ENOMEM", "EIO"]
MESSAGE = re.compile(r"(man|cul|dbs|exe|nlc|syd|cjn)_~?\w+\(\):\d+ - .*\n", re.DOTALL)

# More than fits on the stack or into what the allocator holds.
LARGE = [("TERMINATE", "x" * 300_000), ("AUTOCONF", "enable", "x" * 120_000)]

# What may come of a call beside that all goes on: the one that sends the reply can lose it, and a
# bus that cannot be read is a bus that is gone. A child that was not waited for ends while the daemon
# goes on, and its signal can interrupt the watched sending of the reply as it could no other.
LAWFUL = {"sendmsg": LOST_REPLY, "recvmsg": OFF_THE_BUS, "wait4": LOST_REPLY}

ADD = ("ADD_NETWORK_INTERFACE", "macvlan", "mv0", "eui64", "disable", LINK, MAC)
WITHOUT = [("DELETE_NETWORK_INTERFACE", "mv0"), ("DELETE_NETWORK_INTERFACE", "mv1")]
# What brings a command about again what it needs.
BEFORE = {
    "ADD_NETWORK_INTERFACE": WITHOUT,
    "RENAME_NETWORK_INTERFACE": [*WITHOUT, ADD],
    "DELETE_NETWORK_INTERFACE": [ADD],
}

# With which each command begins and ends; they have a test of their own.
OF_THE_LOOP = {"recvmsg", "epoll_wait"}


@pytest.fixture
def faulty(make_sandbox):
    sandbox = make_sandbox()
    machine = FaultyMachine(sandbox)
    furnish(sandbox)
    for program in PROGRAMS:  # without a word, for whoever has no /dev/null
        sandbox.put_file(program, "#!/bin/sh\nexit 0\n", mode=0o755)
    service = Service(sandbox.bus.connect().connection, Manager())
    yield machine
    service.close()
    machine.close()


@pytest.mark.parametrize("name", sorted(expected.COMMANDS))
def test_each_call_of_a_handler_fails(faulty, name):
    sandbox = faulty.sandbox
    bystanders = kept(sandbox)
    count = 0
    commands = [entry for entry in EVERY + LARGE if entry[0] == name]
    assert commands, f"machine.py has no {name}"
    for command in commands:
        faulty.strike(command)
        descriptors = sandbox.daemon.fd_count()
        for error in ERRORS if long_form() else SOME_ERRORS:
            count += walk(faulty, command, error)
        assert sandbox.daemon.fd_count() == descriptors
    # A child that could not be waited for is reaped later, and no message is torn.
    wait_until(lambda: sandbox.call("TERMINATE") == 0 and not children(sandbox.daemon),
               what="every child to be reaped")
    assert all(MESSAGE.fullmatch(message) for message in parse(sandbox.log.content()))
    assert kept(sandbox) == bystanders
    faulty.restart()
    measured("system calls that failed", count)


def walk(faulty, command, error):
    """Lets each call of one command fail with one error; their number."""
    index = count = 0
    while True:
        for before in BEFORE.get(command[0], ()):
            faulty.sandbox.call(*before)
        struck = faulty.strike(command, index, getattr(errno, error), spare=spared(command))
        if struck.failed is None:
            assert struck.outcome == SERVED
            return count
        assert struck.outcome == SERVED or struck.outcome == LAWFUL.get(struck.failed), \
            (command, index, struck.failed, error, struck.outcome)
        if struck.outcome == OFF_THE_BUS:
            faulty.restart()
        # The next step is not to be interrupted by the end of a child of this one.
        wait_until(lambda: not running_children(faulty.sandbox.daemon), what="the children to end")
        count += 1
        index += 1


def spared(command):
    # This one has connections of its own.
    return {"epoll_wait"} if command[0] == "SYSTEMD_SERVICE_CTRL" else OF_THE_LOOP


@pytest.mark.parametrize("error", ERRORS)
@pytest.mark.parametrize("name, outcome", [("epoll_wait", ENDED), ("recvmsg", OFF_THE_BUS)])
def test_loop_that_fails(faulty, name, outcome, error):
    command = ("TERMINATE", "x")
    others = set(names().values()) - {name}
    for index in range(faulty.strike(command).calls.count(name)):
        struck = faulty.strike(command, index, getattr(errno, error), spare=others)
        if struck.failed is None:
            break  # the loop has taken fewer turns
        assert struck.failed == name
        assert struck.outcome == (SERVED if error == "EINTR" else outcome)
        if struck.outcome == ENDED:
            assert faulty.sandbox.daemon.wait() == 0
            assert b"ERROR - kex exiting with exception [sd_event_loop: " in \
                faulty.sandbox.log.content()
            faulty.start()
        elif struck.outcome == OFF_THE_BUS:
            # It has lost its name, which the service manager sees; it still ends when it is told.
            faulty.restart()
        measured("system calls that failed", 1)
    assert faulty.strike(command).outcome == SERVED


@pytest.mark.parametrize("command", LARGE, ids=lambda command: command[0])
def test_daemon_without_memory(faulty, command):
    struck = faulty.strike(command, no_memory="daemon")
    assert struck.outcome in (ENDED, OFF_THE_BUS)
    if struck.outcome == ENDED:
        assert faulty.sandbox.daemon.wait() == 0
        assert b"exiting with exception [std::bad_alloc]" in faulty.sandbox.log.content()
        faulty.start()
    else:
        faulty.restart()
    assert faulty.strike(command).outcome == SERVED


# The child of a program run has no memory for its log line: it must end there and then, and not
# go on as a second daemon.
def test_child_without_memory(faulty):
    sandbox = faulty.sandbox
    command = ("AUTOCONF", "enable", "x" * 120_000)
    sandbox.mark()
    struck = faulty.strike(command, no_memory="children")
    assert "clone" in struck.calls and "execve" not in struck.calls
    assert struck.outcome == SERVED
    assert not any("man_main" in text or "event_loop" in text for text in sandbox.lines())
    assert any("failed to start server autoconfig rc=" in text for text in sandbox.lines())
    assert children(sandbox.daemon) == []
    assert faulty.strike(command).outcome == SERVED


def running_children(daemon):
    return [child for child in children(daemon) if state(child) not in ("Z", None)]


def state(process):
    """The letter that the kernel has for it; None when it is gone."""
    try:
        with open(f"/proc/{process}/stat", encoding="ascii", errors="replace") as file:
            return file.read().rpartition(") ")[2].split()[0]
    except FileNotFoundError:
        return None


def children(daemon):
    with open(f"/proc/{daemon.pid}/task/{daemon.pid}/children", encoding="ascii") as file:
        return file.read().split()
