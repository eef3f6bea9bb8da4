"""Many callers at once, and callers that do not wait."""

import pytest

from harness import CallError, expected, parse, wait_until
from machine import ETHTOOL
from raw_bus import RawBus
from scale import amount, measured

CLIENTS = 64
CALLS_EACH = amount("CALLS_OF_EACH_CLIENT", 20, 500)


def test_64_clients_at_once(kex):
    clients = [RawBus(kex) for _ in range(CLIENTS)]
    wanted = set()
    seen = []
    for number in range(CALLS_EACH):
        for index, client in enumerate(clients):
            client.call("UNKNOWN", f"{index}/{number}")
            wanted.add(f"{index}/{number}")
        for client in clients:
            assert client.take_replies(1) == (1, 0)
        seen += kex.journal.messages()
        kex.journal.mark()
    # Each call once, and its lines together.
    heads = [text.rpartition(" - ")[2] for text in seen]
    assert heads[0::3] == ["command[0]=[com.orvel.bmc.network.KEX.CmdID.UNKNOWN]"] * len(wanted)
    assert {head.strip()[len("args[0]=["):-1] for head in heads[1::3]} == wanted
    assert heads[2::3] == ["unknown"] * len(wanted)
    assert len(seen) == 3 * len(wanted)
    for client in clients:
        client.close()
    assert kex.call("TERMINATE") == 0
    measured("calls of 64 clients at once", len(wanted))


def test_clients_that_vanish_before_the_reply(machine):
    gate = machine.put_program(ETHTOOL, gated=True)
    descriptors = machine.daemon.fd_count()
    slow = machine.client.start_call("LINK_TUNE", "eth1", "enable")
    wait_until(machine.calls, what="the program to run")
    machine.mark()
    for index in range(CLIENTS):
        client = RawBus(machine)
        client.call("TERMINATE", str(index))
        client.close()
    gate.open()
    assert slow.reply() == (0,)
    assert machine.call("TERMINATE", "next") == 0
    # A call that the bus had taken is carried out, though nobody waits for it any more.
    lines = [text for text in machine.lines() if "LINK_TUNE" not in text and "args[" in text]
    numbers = [int(text.rpartition("[")[2][:-2]) for text in lines[:-1]]
    assert len(numbers) == len(set(numbers)) and set(numbers) <= set(range(CLIENTS))
    assert lines[-1].endswith("args[0]=[next]\n")
    assert machine.daemon.fd_count() == descriptors
    measured("clients that vanished", CLIENTS)


def test_client_that_vanishes_while_its_own_command_runs(machine):
    gate = machine.put_program(ETHTOOL, gated=True)
    with RawBus(machine) as client:
        client.call("LINK_TUNE", "eth1", "enable")
        wait_until(machine.calls, what="the program to run")
    gate.open()
    assert machine.call("TERMINATE") == 0
    assert any("args[1]=[enable]" in text for text in machine.lines())


# The bus lets a caller have only so many calls under way and refuses more in its own name.
def test_flood_of_one_client(kex):
    count = 900  # what they log fits into two files
    with RawBus(kex) as client:
        for index in range(count):
            client.call("UNKNOWN", str(index))
        returned, refused = client.take_replies(count)
    assert returned + refused == count and returned >= 64
    assert kex.call("TERMINATE") == 0
    logged = kex.read_file("/run/tirvad/kex.log.0") + kex.log.content()
    assert logged.count(b" - unknown\n") == returned


def test_next_caller_is_served_after_an_error(kex):
    for _ in range(20):
        with pytest.raises(CallError):
            kex.call("NOSUCH")
        assert kex.call("TERMINATE", "x") == 0
    assert kex.lines() and len(parse(kex.log.content())) == len(expected.START) + 40
