"""What the tests of the network commands share."""

import contextlib
import ctypes
import os
import select
import socket
import threading
import time
from dataclasses import dataclass

from harness import Daemon, assert_lines, expected, line, wait_until
from harness.log import Line

_CLONE_NEWNET = 0x40000000
_ETH_P_ALL = 0x0003
_PACKET_OUTGOING = 4
_COMPONENT = "320"


@dataclass(frozen=True)
class Trace:
    """A line for the debug-log library only: the log file must not have it."""
    line: Line


def exe(function, text, number=None):
    return line("exe", function, number, text)


def nlc(function, text):
    return line("nlc", function, None, text)


def trace(function, text):
    return Trace(exe(function, text))


def kernel_error(number):
    """The line of a request that the kernel has refused."""
    return nlc("send_and_recv_ack", f"ERROR - netlink error response: {number}")


def not_found(name):
    return nlc("resolve_ifindex", f"ERROR - interface {name} not found")


def level_of(entry):
    if isinstance(entry, Trace):
        return "5"
    if entry.text.startswith("ERROR - "):
        return "2"
    return "3" if entry.text.startswith("WARN - ") else "4"


def expect(kex, *lines):
    """Asserts the exact lines since the mark, in the log file and, with the traces
    and each at its level, in the journal; marks."""
    kex.log.expect(*(entry for entry in lines if isinstance(entry, Line)))
    records = kex.journal.records()
    whole = [entry.line if isinstance(entry, Trace) else entry for entry in lines]
    # The journal's entries come without the line feeds at their end.
    without_end = [Line(entry.tag, entry.function, entry.number, entry.text.rstrip("\n"))
                   for entry in whole]
    assert_lines([record["MESSAGE"] + "\n" for record in records], without_end)
    assert [record["PRIORITY"] for record in records] == [level_of(entry) for entry in lines]
    assert {record["QLOG_COMPONENT"] for record in records} <= {_COMPONENT}
    kex.mark()


def command(kex, name, *arguments, then=(), timeout=10):
    """Calls a command, which answers 0, and asserts all its lines: then are those
    of its handler."""
    kex.mark()
    assert kex.call(name, *arguments, timeout=timeout) == 0
    expect(kex, *expected.command(name, *arguments), *then)


@contextlib.contextmanager
def descriptors_kept(kex):
    """Asserts that what is done inside leaves no descriptor open."""
    kex.client.ping()
    before = sorted(os.listdir(f"/proc/{kex.daemon.pid}/fd"))
    yield
    kex.client.ping()
    assert sorted(os.listdir(f"/proc/{kex.daemon.pid}/fd")) == before


def start_daemon_without(sandbox, *capabilities):
    """Starts kex without some capabilities of root."""
    dropped = ",".join(f"-{name}" for name in capabilities)
    sandbox.daemon = Daemon(sandbox.namespaces,
                            launcher=["setpriv", f"--bounding-set={dropped}"])
    sandbox.daemons.append(sandbox.daemon)
    wait_until(sandbox.client.has_owner, what="kex to own its name")
    sandbox.client.ping()
    sandbox.mark()


def set_ipv6_conf(kex, link, name, value):
    kex.run("sh", "-c", 'echo "$2" >"$1"', "sh", f"/proc/sys/net/ipv6/conf/{link}/{name}",
            str(value))


def add_links(kex, name="eth1", peer="eth2", up=True, ipv6=True):
    """A veth pair; without ipv6 the kernel sends nothing of its own on it."""
    kex.add_veth(name, peer)
    for link in (name, peer):
        if not ipv6:
            set_ipv6_conf(kex, link, "disable_ipv6", 1)
        if up:
            kex.run("ip", "link", "set", link, "up")
    if up:
        # The kernel reports the carriers a moment later, which is not to happen in mid-test.
        wait_until(lambda: all(kex.link(link)["operstate"] == "UP" and
                               "NO-CARRIER" not in flags(kex, link) for link in (name, peer)),
                   what=f"the carriers of {name} and {peer}")


def batch(kex, commands):
    """Runs many commands of ip in one process."""
    kex.put_file("/tmp/batch", "".join(f"{text}\n" for text in commands))
    kex.run("ip", "-batch", "/tmp/batch")


def flags(kex, link):
    return kex.link(link)["flags"]


def master(kex, link):
    return kex.link(link).get("master")


def addresses(kex, link, *families):
    """The addresses of a link as (address, prefix length, broadcast, scope)."""
    found = []
    for family in families or ("-4", "-6"):
        for entry in kex.ip(family, "addr", "show", "dev", link):
            found += [(info["local"], info["prefixlen"], info.get("broadcast"), info["scope"])
                      for info in entry.get("addr_info", ())]
    return found


def routes(kex, family, table="all", proto="static"):
    """The routes of a protocol as `ip -j route` shows them."""
    return kex.ip(family, "route", "show", "table", table, "proto", proto)


def destinations(kex, family, table="all", proto="static"):
    return sorted(route["dst"] for route in routes(kex, family, table, proto))


def neighbours(kex):
    """Every neighbour entry: (link, address) to (MAC address, states)."""
    return {(entry["dev"], entry["dst"]): (entry.get("lladdr"), entry["state"])
            for entry in kex.ip("neigh", "show", "nud", "all")}


def in_network(kex, work):
    """The result of work(), done by a thread in the sandbox's network namespace."""
    results = []

    def enter_and_work():
        with open(f"/proc/{kex.namespaces.pid}/ns/net", "rb") as namespace:
            if ctypes.CDLL(None, use_errno=True).setns(namespace.fileno(), _CLONE_NEWNET) == 0:
                results.append(work())

    # Entering a network namespace changes the calling thread only.
    thread = threading.Thread(target=enter_and_work)
    thread.start()
    thread.join()
    if not results:
        raise OSError("the sandbox's network namespace could not be entered")
    return results[0]


class Capture:
    """Keeps the frames that arrive at a link."""

    def __init__(self, kex, link):
        self._socket = in_network(kex, lambda: socket.socket(
            socket.AF_PACKET, socket.SOCK_RAW, socket.htons(_ETH_P_ALL)))
        self._socket.bind((link, _ETH_P_ALL))
        self._frames = []

    def frames(self, count, timeout=10):
        """The frames so far, at least count of them."""
        deadline = time.monotonic() + timeout
        while len(self._frames) < count:
            ready, _, _ = select.select([self._socket], [], [],
                                        max(0, deadline - time.monotonic()))
            if not ready:
                raise TimeoutError(f"{count} frames expected, got {self._frames}")
            self._take()
        while select.select([self._socket], [], [], 0)[0]:
            self._take()
        return self._frames

    def _take(self):
        # A VLAN tag is kept apart from the frame's bytes; none of these frames has one.
        data, (_, _, kind, _, _) = self._socket.recvfrom(65536)
        if kind != _PACKET_OUTGOING:
            self._frames.append(data)

    def close(self):
        self._socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
