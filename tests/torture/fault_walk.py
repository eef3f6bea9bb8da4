"""One command with one of its system calls failing, and what becomes of it."""

import contextlib
import time

from jeepney import DBusAddress, HeaderFields, new_method_call

from harness import NAME, CallError, wait_until
from harness.bus import unwrap
from system_calls import SystemCalls

PATIENCE = 60
_PEER = DBusAddress("/", NAME, "org.freedesktop.DBus.Peer")

SERVED, LOST_REPLY, ENDED, OFF_THE_BUS = "served", "lost reply", "ended", "off the bus"


class Struck:
    """What came of it: outcome is one of the words above, calls are the names of the system calls,
    failed the one that failed or None when the command was over before."""

    def __init__(self, outcome, calls, fail_at):
        self.outcome = outcome
        self.calls = calls
        self.failed = calls[fail_at] if fail_at is not None and fail_at < len(calls) else None


class FaultyMachine:
    """A sandbox whose daemon is watched, and started again when a fault has ended it."""

    def __init__(self, sandbox):
        self.sandbox = sandbox
        self._watches = []
        self._watch = None
        self.start()

    def start(self):
        self.sandbox.start_daemon(ready=False, watched=True)
        self._watch = SystemCalls(self.sandbox.daemon)
        self._watches.append(self._watch)
        wait_until(self.sandbox.client.has_owner, what="kex to own its name")
        self.sandbox.client.ping()

    def restart(self):
        """A regular stop, which has to work whatever a fault has done, and a new daemon."""
        assert self.sandbox.daemon.terminate(PATIENCE) == 0
        self.start()

    def strike(self, command, fail_at=None, error=0, spare=(), no_memory=None):
        """Calls a command whose system call of that index fails, those to spare not counted.
        Returns with the daemon idle."""
        self._watch.begin(fail_at, error, spare, no_memory)
        replied = self._call(command)
        calls = self._watch.end()
        return Struck(self._outcome(replied), calls, fail_at)

    def _call(self, command):
        """Whether the reply came. Pings after it tell a reply that is late from one that was lost:
        the daemon answers in order."""
        client = self.sandbox.client
        pending = client.start_call(*command)
        pings = set()
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            try:
                message = client.connection.receive(timeout=0.2)
            except TimeoutError:
                pings.add(self._send_ping(client))
                continue
            serial = message.header.fields.get(HeaderFields.reply_serial)
            if serial == pending.serial:
                with contextlib.suppress(CallError):
                    unwrap(message)
                    return True
                return False
            if serial in pings:
                return False
        raise AssertionError(f"{command} was not answered, and nor was anybody else")

    @staticmethod
    def _send_ping(client):
        serial = next(client.connection.outgoing_serial)
        client.connection.send(new_method_call(_PEER, "Ping"), serial=serial)
        return serial

    def _outcome(self, replied):
        if self._serves():
            return SERVED if replied else LOST_REPLY
        daemon = self.sandbox.daemon
        wait_until(lambda: not daemon.running() or not self.sandbox.client.has_owner(),
                   what="the daemon to end or to lose its name")
        # A daemon that has lost the bus sleeps in its loop; one that ends goes on to its end.
        wait_until(lambda: not daemon.running() or self._watch.latest == "epoll_wait",
                   what="the daemon to end or to sleep")
        return OFF_THE_BUS if daemon.running() else ENDED

    def _serves(self):
        try:
            self.sandbox.client.ping(timeout=PATIENCE)
        except CallError:
            return False
        return True

    def close(self):
        self.sandbox.stop()
        for watch in self._watches:
            watch.close()
