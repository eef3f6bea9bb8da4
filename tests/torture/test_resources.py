"""Descriptors, sockets and buffers run out under the daemon and come back."""

import os
import resource
import socket
import struct

import pytest

from harness import CallError, expected, wait_until
from harness.journal import Journal
from machine import LINK, QUICK, SLOW, kept
from scale import amount, measured
from system_calls import copy_descriptor

# A program would inherit the limit, and complain of it where it cannot be silenced.
COMMANDS = QUICK + SLOW
ROUNDS = amount("EXHAUSTION_ROUNDS", 1, 20)
_NLMSG_NOOP, _NLM_F_REQUEST_ACK = 1, 5


def limit_descriptors(daemon, count):
    """Sets the limit and returns the former one."""
    former = resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE)
    resource.prlimit(daemon.pid, resource.RLIMIT_NOFILE, (count, former[1]))
    return former[0]


def test_no_descriptor_is_left(machine):
    machine.client.ping()
    bystanders = kept(machine)
    held = machine.daemon.fd_count()
    former = limit_descriptors(machine.daemon, held)
    before = machine.log.content()
    for _ in range(ROUNDS):
        for command in COMMANDS:
            assert machine.call(*command, timeout=30) in (0, -1, -2)
    # What needs none works on, and the journal hears of it; the file cannot be opened.
    assert machine.log.content() == before
    assert any("interface eth1 not found" in text for text in machine.journal.messages())
    assert machine.daemon.fd_count() == held
    limit_descriptors(machine.daemon, former)
    machine.mark()
    assert machine.call("LINK_CTRL", "down", LINK) == 0
    assert "UP" not in machine.link(LINK)["flags"]
    assert machine.lines()[-1].endswith("set eth1 down rc=0\n")
    assert kept(machine) == bystanders
    measured("commands without a free descriptor", ROUNDS * len(COMMANDS))


def test_journal_that_is_replaced(kex):
    kex.journal.close()
    os.unlink(kex.path("/run/systemd/journal/socket"))
    assert kex.call("TERMINATE", "nobody listens") == 0
    kex.journal = Journal(kex.namespaces)
    assert kex.call("TERMINATE", "again") == 0
    assert kex.journal.messages()[-1].endswith("args[0]=[again]")


def test_journal_whose_socket_is_full(kex):
    kex.journal.pause()
    for _ in range(ROUNDS):
        assert kex.call("TERMINATE", *["x" * 100] * 3000, timeout=60) == 0
    assert kex.call("LINK_CTRL", "down", "lo") == 0
    assert "UP" not in kex.link("lo")["flags"]
    # The file has what the journal could not take.
    assert kex.log.content().endswith(b"set lo down rc=0\n")
    kex.journal.resume()
    wait_until(lambda: kex.call("TERMINATE", "later") == 0 and
               kex.journal.messages()[-1].endswith("args[0]=[later]"), what="the journal")


def netlink_socket(daemon):
    """A copy of the daemon's own command socket."""
    for name in os.listdir(f"/proc/{daemon.pid}/fd"):
        with socket.socket(fileno=copy_descriptor(daemon.pid, int(name))) \
                if os.readlink(f"/proc/{daemon.pid}/fd/{name}").startswith("socket:") \
                else socket.socket() as candidate:
            if candidate.family == socket.AF_NETLINK:
                return candidate.dup()
    raise AssertionError("the daemon has no netlink socket")


def test_netlink_buffer_that_overruns(machine):
    bystanders = kept(machine)
    request = struct.pack("=IHHII", 16, _NLMSG_NOOP, _NLM_F_REQUEST_ACK, 0, 0)
    with netlink_socket(machine.daemon) as channel:
        for _ in range(5000):  # acknowledgements that nobody reads
            channel.sendto(request, (0, 0))
    for state in ("down", "up") * 5:
        assert machine.call("LINK_CTRL", state, LINK) == 0
        # The kernel has done it, though its answer had no room: the log tells of the failed read.
        assert ("UP" in machine.link(LINK)["flags"]) == (state == "up")
    assert any("ERROR - netlink recv failed" in text for text in machine.lines())
    for kind in ("ipv4", "ipv6"):
        assert machine.call("INTERFACE_ADDR_FLUSH", LINK, kind, "all", "all") == 0
    assert machine.call("SET_STATIC_ROUTE", "disable", "ipv4", LINK, "static") == 0
    assert kept(machine) == bystanders
    # A new process begins with an empty channel.
    assert machine.terminate() == 0
    machine.start_daemon()
    machine.mark()
    assert machine.call("LINK_CTRL", "up", "nosuch0") == 0
    assert machine.lines()[-1].endswith("set nosuch0 up rc=-1\n")
    assert machine.call("LINK_CTRL", "up", LINK) == 0
    assert machine.lines()[-1].endswith("set eth1 up rc=0\n")


@pytest.mark.parametrize("size", [60_000, 400_000])
def test_bus_that_will_not_take_a_large_call(make_sandbox, size):
    sandbox = make_sandbox(bus_policy='<limit name="max_message_size">200000</limit>')
    sandbox.start_daemon()
    sandbox.mark()
    client = sandbox.bus.connect()
    try:
        assert client.call("TERMINATE", "x" * size) == 0
    except (CallError, ConnectionError, EOFError):
        assert size > 200_000
        sandbox.expect_log()
    assert sandbox.call("TERMINATE", "next") == 0
    assert sandbox.lines()[-2:] != [] and expected.command("TERMINATE", "next")[1].fits(
        sandbox.lines()[-1])
