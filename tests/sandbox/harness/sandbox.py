"""The sandbox of one test: namespaces, bus, journal and daemons together."""

import os

from . import programs
from .bus import Bus
from .daemon import PROGRAM, Daemon
from .journal import Journal
from .log import Log
from .namespaces import Namespaces
from .waiting import wait_until

_LAUNCHER = os.path.join(os.path.dirname(__file__), "launcher.py")


def binary_under_test():
    """The daemon that the tests drive, named by KEX_BINARY."""
    path = os.environ.get("KEX_BINARY")
    if not path:
        raise RuntimeError("KEX_BINARY must name the daemon under test")
    if not os.access(path, os.X_OK):
        raise RuntimeError(f"KEX_BINARY={path} is not a program")
    return os.path.abspath(path)


class Sandbox:
    """Everything that one test changes lies in here and ends with it."""

    def __init__(self, binary=None, log_dir=True, bus=True, bus_policy="", journal=True):
        self.daemon = None
        self.daemons = []
        self.bus = None
        self.journal = None
        self._client = None
        self.namespaces = Namespaces(binary or binary_under_test(), log_dir)
        try:
            self.log = Log(self.namespaces)
            if journal:
                self.journal = Journal(self.namespaces)
            if bus:
                self.start_bus(bus_policy)
        except BaseException:
            self.close()
            raise
        self.path = self.namespaces.path
        self.run = self.namespaces.run
        self.ip = self.namespaces.ip
        self.put_file = self.namespaces.put_file
        self.read_file = self.namespaces.read_file
        self.exists = self.namespaces.exists
        self.remove = self.namespaces.remove

    def start_bus(self, policy=""):
        """Starts a bus, also in place of one that was stopped."""
        self._client = None
        self.bus = Bus(self.namespaces, policy)

    @property
    def client(self):
        """The connection that calls go through, made at first use."""
        if self._client is None:
            self._client = self.bus.connect()
        return self._client

    def start_daemon(self, ready=True, refuse=(), zombies=0, environment=None,
                     watched=False):
        """Starts kex. refuse names system calls that fail with EPERM ("socket:16" is
        a netlink socket); zombies is a number of ended children that it inherits.
        A watched one stands still until its system calls are listened to. With ready,
        returns when the event loop serves the bus."""
        launcher = []
        if refuse or zombies or watched:
            launcher = ["/usr/bin/python3", "-I", self._launcher_inside()]
            for name in refuse:
                launcher += ["--refuse", name]
            launcher += ["--zombies", str(zombies)]
            launcher += ["--watched", "yes"] if watched else []
        self.daemon = Daemon(self.namespaces, PROGRAM, launcher, environment)
        self.daemons.append(self.daemon)
        if ready:
            wait_until(self._serving, what="kex to own its name")
            self.client.ping()
        return self.daemon

    def _launcher_inside(self):
        inside = "/run/sandbox/launcher.py"
        if not self.namespaces.exists(inside):
            with open(_LAUNCHER, "rb") as script:
                self.namespaces.put_file(inside, script.read())
        return inside

    def _serving(self):
        if not self.daemon.running():
            raise AssertionError(f"kex ended with {self.daemon.wait()}: {self.daemon.output()}")
        return self.client.has_owner()

    def call(self, command, *arguments, timeout=10):
        """ExecuteCommand; the reply's number, or CallError."""
        return self.client.call(command, *arguments, timeout=timeout)

    def mark(self):
        """Log lines and journal records are counted from here."""
        self.log.mark()
        if self.journal:
            self.journal.mark()

    def lines(self):
        return self.log.lines()

    def expect_log(self, *expected):
        """Asserts the exact log lines since the mark, and marks."""
        self.log.expect(*expected)

    def wait_for_log(self, text, timeout=10):
        """Waits until a line since the mark holds a text."""
        wait_until(lambda: any(text in entry for entry in self.log.lines()), timeout,
                   f"a log line with {text!r}")

    def put_program(self, path, **options):
        """See programs.put_program."""
        return programs.put_program(self.namespaces, path, **options)

    def calls(self):
        """Every run of a stand-in so far."""
        return programs.recorded_calls(self.namespaces)

    def link(self, name):
        """`ip -d -j link show` of one link, or None when there is none."""
        found = [link for link in self.ip("-d", "link", "show") if link["ifname"] == name]
        return found[0] if found else None

    def add_veth(self, name="veth0", peer="veth1"):
        self.run("ip", "link", "add", name, "type", "veth", "peer", "name", peer)

    def terminate(self, timeout=10):
        """A regular stop of the daemon; its exit status."""
        return self.daemon.terminate(timeout)

    def stop(self):
        """Ends the daemon at once."""
        self.daemon.kill()

    def close(self):
        """Ends everything; raises when a daemon wrote to its outputs."""
        failures = []
        for daemon in self.daemons:
            try:
                daemon.close()
            except AssertionError as failure:
                failures.append(str(failure))
        self.daemons = []
        if self._client is not None:
            self._client.close()
        self.namespaces.close()
        if self.journal is not None:
            self.journal.close()
        if self.bus is not None:
            self.bus.reap()
        if failures:
            raise AssertionError("\n".join(failures))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
