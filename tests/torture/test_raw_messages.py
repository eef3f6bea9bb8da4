"""Bytes that are no message, or not a whole one, written straight to the bus's socket."""

import random
import struct

import pytest

from harness import expected
from raw_bus import RawBus, command_bytes
from scale import amount, measured

MUTATIONS = amount("MUTATIONS", 300, 20_000)

CALL = command_bytes("TERMINATE", "x" * 16)
BODY_LENGTH, FIELDS_LENGTH = 4, 12
MEBIBYTE = 1 << 20


def patched(offset, value):
    return CALL[:offset] + struct.pack("<I", value) + CALL[offset + 4:]


def replaced(old, new):
    assert CALL.count(old) == 1 and len(old) == len(new)
    return CALL.replace(old, new)


def assert_serves(kex):
    """Nothing was written, nothing was run, and the next caller is answered."""
    kex.expect_log()
    assert kex.calls() == []
    assert kex.call("TERMINATE", "next") == 0
    kex.expect_log(*expected.command("TERMINATE", "next"))


@pytest.mark.parametrize("size", [1, 8, 15, 16, 17, len(CALL) // 2, len(CALL) - 1])
def test_message_that_stops_in_the_middle(kex, size):
    with RawBus(kex) as client:
        client.send(CALL[:size])
        # Others are served while the rest is awaited, and when it never comes.
        assert_serves(kex)
    assert_serves(kex)


def test_second_half_of_a_message_may_come_late(kex):
    with RawBus(kex) as client:
        client.send(CALL[:20])
        assert_serves(kex)
        client.send(CALL[20:])
        assert client.take_replies(1) == (1, 0)
    kex.expect_log(*expected.command("TERMINATE", "x" * 16))


@pytest.mark.parametrize("message", [
    patched(BODY_LENGTH, 129 * MEBIBYTE), patched(BODY_LENGTH, 0xFFFFFFFF),
    patched(FIELDS_LENGTH, 65 * MEBIBYTE), patched(FIELDS_LENGTH, 0xFFFFFFFF),
    patched(FIELDS_LENGTH, 0), b"B" + CALL[1:], b"x" + CALL[1:],
    CALL[:3] + b"\x02" + CALL[4:], CALL[:1] + b"\0" + CALL[2:], patched(8, 0),
    replaced(b"xxxx" * 4, b"xxx\0" * 4), replaced(b"xxxx" * 4, b"\xff\xfe\xc0\x80" * 4),
    replaced(b"\x10\0\0\0" + b"x" * 16, b"\xff\xff\xff\x7f" + b"x" * 16),
    replaced(b"sas\0", b"sa(\0"), replaced(b"sas\0", b"asa\0"),
    b"\0" * 64, b"\xff" * 4096, b"GET / HTTP/1.1\r\n\r\n" * 8,
], ids=range(18))
def test_bus_hangs_up_on_what_is_no_message(kex, message):
    with RawBus(kex) as client:
        client.send(message)
        assert client.closed_by_the_bus()
    assert_serves(kex)


@pytest.mark.parametrize("seed", range(3))
def test_damaged_messages(kex, seed):
    chance = random.Random(seed)
    for _ in range(MUTATIONS // 3):
        message = bytearray(CALL)
        for _ in range(chance.randrange(1, 4)):
            message[chance.randrange(len(message))] = chance.randrange(256)
        with RawBus(kex) as client:
            client.send(bytes(message[:chance.choice([len(message), chance.randrange(len(message))])]))
    # What of it arrived as a call was this command with other arguments, or was refused.
    kex.client.ping()
    assert all(text.startswith(("dbs_executeCommand():71 - command[30]=[",
                                "dbs_executeCommand():76 -    args[0]=["))
               for text in kex.lines())
    kex.mark()
    assert_serves(kex)
    measured("damaged messages survived", MUTATIONS // 3)
