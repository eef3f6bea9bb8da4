"""Flushes of tables that take many datagrams.

A flush deletes while it reads, on one socket: each deletion takes the message that comes next
for its acknowledgement, which is mostly a further part of the dump, and the first
acknowledgement that the dump loop meets ends the flush. So one call removes what the first
datagram held, and the acknowledgements that are left unread are what later calls meet first.
"""

import re
import socket
import struct
from dataclasses import dataclass
from typing import Callable

import pytest

from harness import expected, line
from netns_helpers import (add_links, batch, command, descriptors_kept, exe, in_network,
                           kernel_error, nlc, set_ipv6_conf)

COUNT = 1000
_DONE = 3
_SO_RCVBUFFORCE = 33
_READ = 8192
_DUMP = 0x0301
_BUSY, _NO_BUFFERS = 16, 105


@dataclass(frozen=True)
class Table:
    """A table of the kernel, its flush, and how its messages look."""
    entries: Callable               # the commands of ip that lay a number of entries
    call: tuple
    report: str                     # what the flush logs, with {}
    dump: int
    entry: int                      # the message types
    deletion: int
    header: bytes                   # the dump request's
    group: int                      # which tells of deletions
    matches: Callable               # whether a dumped message's body is to be deleted
    left: tuple                     # the arguments of ip that show the entries


def _ipv4_addresses(count):
    return [f"addr add 10.{number // 250}.{number % 250}.1/24 brd + dev eth1"
            for number in range(count)]


def _ipv6_addresses(count):
    return [f"addr add fd00::{number:x}/64 dev eth1 nodad" for number in range(1, count + 1)]


def _ipv4_routes(count):
    return [f"route add 10.{number // 250}.{number % 250}.0/24 dev eth1 proto static"
            for number in range(count)]


def _ipv6_routes(count):
    return [f"route add fd00:{number:x}::/64 dev eth1 proto static"
            for number in range(1, count + 1)]


def _neighbours(count):
    return [f"neigh add fd00::{number:x} lladdr 02:00:5e:00:00:01 dev eth1 nud permanent"
            for number in range(1, count + 1)]


TABLES = {
    "IPv4 addresses": Table(
        _ipv4_addresses, ("INTERFACE_ADDR_FLUSH", "eth1", "ipv4", "all", "all"),
        "flushed {} addresses on eth1", 22, 20, 21, struct.pack("=BBBBI", 2, 0, 0, 0, 0), 5,
        lambda body, index: struct.unpack_from("=I", body, 4)[0] == index,
        ("-4", "addr", "show", "dev", "eth1")),
    "IPv6 addresses": Table(
        _ipv6_addresses, ("INTERFACE_ADDR_FLUSH", "eth1", "ipv6", "all", "static"),
        "flushed {} addresses on eth1", 22, 20, 21, struct.pack("=BBBBI", 10, 0, 0, 0, 0), 9,
        lambda body, index: struct.unpack_from("=I", body, 4)[0] == index,
        ("-6", "addr", "show", "dev", "eth1")),
    "IPv4 routes": Table(
        _ipv4_routes, ("SET_STATIC_ROUTE", "disable", "ipv4"), "flushed {} routes", 26, 24, 25,
        bytes([2]) + bytes(11), 7, lambda body, _: body[5] == 4 and body[4] == 254,
        ("-4", "route", "show", "proto", "static")),
    "IPv6 routes": Table(
        _ipv6_routes, ("SET_STATIC_ROUTE", "disable", "ipv6"), "flushed {} routes", 26, 24, 25,
        bytes([10]) + bytes(11), 11, lambda body, _: body[5] == 4 and body[4] == 254,
        ("-6", "route", "show", "proto", "static")),
    "neighbours": Table(
        _neighbours, ("SET_IP6_NEIGHBOR_CACHE", "disable"), "flushed {} permanent neighbors",
        30, 28, 29, bytes(12), 3,
        lambda body, _: bool(struct.unpack_from("=H", body, 8)[0] & 0x80),
        ("neigh", "show", "nud", "permanent")),
}


def netlink_socket(kex, group=0):
    def make():
        made = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
        made.bind((0, 1 << (group - 1) if group else 0))
        return made
    return in_network(kex, make)


def messages(datagram):
    """(type, body) of each message."""
    found = []
    while len(datagram) >= 16:
        length, kind = struct.unpack_from("=IH", datagram)
        found.append((kind, datagram[16:length]))
        datagram = datagram[(length + 3) & ~3:]
    return found


def dump(kex, table):
    """The datagrams of a dump that is read without deletions, on a socket of its own."""
    datagrams = []
    with netlink_socket(kex) as sock:
        sock.settimeout(10)
        sock.send(struct.pack("=IHHII", 16 + len(table.header), table.dump, _DUMP, 1, 0)
                  + table.header)
        while True:
            datagrams.append(sock.recv(_READ))
            if any(kind == _DONE for kind, _ in messages(datagrams[-1])):
                return datagrams


def matching(kex, table, datagram):
    index = kex.ip("link", "show", "dev", "eth1")[0]["ifindex"]
    return sum(kind == table.entry and table.matches(body, index)
               for kind, body in messages(datagram))


class Deletions:
    """Counts the deletions that the kernel tells of."""

    def __init__(self, kex, table):
        self._kind = table.deletion
        self._socket = netlink_socket(kex, table.group)
        self._socket.setsockopt(socket.SOL_SOCKET, _SO_RCVBUFFORCE, 64 * 1024 * 1024)
        self._socket.setblocking(False)

    def take(self):
        count = 0
        while True:
            try:
                datagram = self._socket.recv(65536)
            except BlockingIOError:
                return count
            count += sum(kind == self._kind for kind, _ in messages(datagram))

    def close(self):
        self._socket.close()


def lay(kex, table, count):
    add_links(kex, up=False)
    # The kernel puts no address of its own on a link with this mode.
    for link in ("eth1", "eth2"):
        set_ipv6_conf(kex, link, "addr_gen_mode", 1)
        kex.run("ip", "link", "set", link, "up")
    batch(kex, table.entries(count))


def flush(kex, table):
    """One call; the count that it logs, and the errors among its lines."""
    kex.journal.mark()
    assert kex.call(*table.call) == 0
    # The log file is rotated under way; the journal has every line.
    texts = kex.journal.messages()
    pattern = re.compile(r"nlc_\w+\(\):\d+ - " + re.escape(table.report).replace(r"\{\}", r"(\d+)"))
    counts = [int(found[1]) for found in map(pattern.fullmatch, texts) if found]
    assert len(counts) == 1, texts
    errors = {int(text.rsplit(" ", 1)[1]) for text in texts if "netlink error response" in text}
    assert not any("failed" in text or "invalid" in text for text in texts), texts
    return counts[0], errors


def is_left(kex, table):
    return kex.run("ip", "-o", *table.left).stdout.strip() != ""


@pytest.mark.parametrize("name", TABLES)
def test_many_entries(kex, name, record_property):
    table = TABLES[name]
    lay(kex, table, COUNT)
    datagrams = dump(kex, table)
    held = [matching(kex, table, datagram) for datagram in datagrams]
    assert sum(held) == COUNT
    deletions = Deletions(kex, table)

    # One call removes what the first datagram held.
    first, errors = flush(kex, table)
    assert (first, errors) == (held[0], set())
    assert 0 < first < COUNT
    assert deletions.take() == first

    # The next one meets an acknowledgement that was left over.
    assert flush(kex, table) == (0, set())
    assert deletions.take() == 0

    # Repeated, it removes all: every call counts what it has deleted.
    counts = [first, 0]
    while sum(counts) < COUNT:
        assert len(counts) < 5000
        count, errors = flush(kex, table)
        assert deletions.take() == count
        # A dump that is asked for while the last one is not read to its end is refused.
        assert errors <= {_BUSY, _NO_BUFFERS}
        counts.append(count)
    assert sum(counts) == COUNT
    assert not is_left(kex, table)
    deletions.close()

    record_property("datagrams", [len(datagram) for datagram in datagrams])
    record_property("entries_of_datagrams", held)
    record_property("calls", len(counts))
    record_property("removed_by_calls", [(at, count) for at, count in enumerate(counts) if count])


# What one datagram holds is removed by one call, which leaves nothing unread: the next verdict
# is its own.
@pytest.mark.parametrize("name", TABLES)
@pytest.mark.parametrize("count", [0, 1, 2, 25])
def test_few_entries(kex, name, count):
    table = TABLES[name]
    lay(kex, table, count)
    with descriptors_kept(kex):
        for held in (count, 0):
            assert flush(kex, table) == (held, set())
            assert not is_left(kex, table)
            command(kex, "CONJOIN_IN_AN_INCLUSIVE_FASHION", "eth1", "eth2", then=[
                exe("conjoin_in_an_inclusive_fashion", "conjoining eth1 to eth2", 1338),
                kernel_error(95), nlc("set_link_boss", "ERROR - failed to set eth1 boss eth2"),
                exe("conjoin_in_an_inclusive_fashion", "ERROR - failed to conjoin rc=-95", 1342)])


# A dump without a match is read to its end, however long it is.
def test_long_table_without_a_match(kex):
    table = TABLES["IPv4 routes"]
    lay(kex, table, 0)
    batch(kex, [text.replace("proto static", "proto boot") for text in _ipv4_routes(COUNT)])
    for _ in range(3):
        assert flush(kex, table) == (0, set())
    batch(kex, ["route add 10.200.0.0/24 dev eth1 proto static"])
    assert kex.ip("-4", "route", "show", "proto", "static") != []


# A match in the first datagram ends the flush before the one in the last is reached.
def test_matches_far_apart(kex):
    table = TABLES["IPv4 routes"]
    lay(kex, table, 0)
    batch(kex, [text.replace("proto static", "proto boot") for text in _ipv4_routes(COUNT)])
    batch(kex, ["route add 9.0.0.0/24 dev eth1 proto static",
                "route add 200.0.0.0/24 dev eth1 proto static"])
    held = [matching(kex, table, datagram) for datagram in dump(kex, table)]
    assert held[0] == 1 and sum(held) == 2
    assert flush(kex, table) == (1, set())
    (route,) = kex.ip("-4", "route", "show", "proto", "static")
    assert route["dst"] == "200.0.0.0/24"


# No message is matched to its request: after a flush that has left acknowledgements unread each
# command takes one of them for its own verdict, and its verdict is taken by a later command.
def test_acknowledgements_left_over_are_taken_for_later_verdicts(kex):
    table = TABLES["IPv4 addresses"]
    lay(kex, table, COUNT)
    assert flush(kex, table)[0] > 0
    kex.mark()
    link, failing = ("eth1", "eth2"), "CONJOIN_IN_AN_INCLUSIVE_FASHION"
    command(kex, failing, *link, then=[
        exe("conjoin_in_an_inclusive_fashion", "conjoining eth1 to eth2", 1338),
        nlc("set_link_boss", "set eth1 boss eth2")])
    assert "master" not in kex.link("eth1")
    later = 0
    while True:
        kex.mark()
        assert kex.call("LINK_CTRL", "up", "eth1") == 0
        later += 1
        if line("exe", "link_control", 697, "set eth1 up rc=-95").fits(kex.lines()[-1]):
            break
        kex.expect_log(*expected.command("LINK_CTRL", "up", "eth1"),
                       line("exe", "link_control", 686, ""),
                       nlc("set_link_state", "set eth1 up"),
                       line("exe", "link_control", 697, "set eth1 up rc=0"))
        assert later < 200
    assert "UP" in kex.link("eth1")["flags"]
