"""The daemon as a process: started, signalled, waited for, its outputs kept."""

import os
import signal
import subprocess
import tempfile

from . import bus
from .waiting import wait_until

_PASSED_ON = ("ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "LD_LIBRARY_PATH",
              "LLVM_PROFILE_FILE", "TZ")

PROGRAM = "/run/sandbox/kex"


class Daemon:
    """One run of a program inside the namespaces."""

    def __init__(self, namespaces, program=PROGRAM, launcher=(), environment=None):
        self._stdout = tempfile.TemporaryFile()
        self._stderr = tempfile.TemporaryFile()
        variables = {name: os.environ[name] for name in _PASSED_ON if name in os.environ}
        variables |= {"PATH": "/usr/sbin:/usr/bin", "DBUS_SYSTEM_BUS_ADDRESS": bus.ADDRESS}
        variables |= environment or {}
        self._process = subprocess.Popen(
            namespaces.enter(*launcher, program), env=variables, cwd="/",
            stdin=subprocess.DEVNULL, stdout=self._stdout, stderr=self._stderr)
        self.pid = wait_until(self._find, what="the daemon's process")

    def _find(self):
        """nsenter forks to enter the PID namespace: the daemon is its child."""
        entering = self._process.pid
        try:
            with open(f"/proc/{entering}/task/{entering}/children") as children:
                pids = children.read().split()
        except FileNotFoundError:
            pids = []
        if pids:
            return int(pids[0])
        if self._process.poll() is not None:
            # Over before it was seen; there is nothing left to signal.
            return -1
        return None

    def status_field(self, name):
        """A field of /proc/<pid>/status, or None when the process is gone."""
        try:
            with open(f"/proc/{self.pid}/status") as status:
                for entry in status:
                    key, _, value = entry.partition(":")
                    if key == name:
                        return value.strip()
        except (FileNotFoundError, ProcessLookupError):
            pass
        return None

    def handles(self, number):
        """Whether the daemon has installed its handler for a signal."""
        caught = self.status_field("SigCgt")
        return caught is not None and bool(int(caught, 16) >> (number - 1) & 1)

    def pending(self, number):
        """Whether a signal was sent and has not been taken yet."""
        masks = [self.status_field(field) for field in ("SigPnd", "ShdPnd")]
        return any(mask and int(mask, 16) >> (number - 1) & 1 for mask in masks)

    def running(self):
        return self._process.poll() is None

    def signal(self, number):
        """Sends a signal; one to a process that is already gone is lost."""
        try:
            if self.pid > 0 and self.running():
                os.kill(self.pid, number)
        except ProcessLookupError:
            pass

    def signal_and_wait_until_taken(self, number):
        self.signal(number)
        wait_until(lambda: not self.pending(number), what=f"signal {number} to be taken")

    def wait(self, timeout=10):
        """The exit status; the negative signal number when one ended it."""
        return self._process.wait(timeout)

    def terminate(self, timeout=10):
        """A regular stop, which takes about a second; the exit status."""
        self.signal(signal.SIGTERM)
        return self.wait(timeout)

    def kill(self):
        self.signal(signal.SIGKILL)
        self._process.wait(10)

    def fd_count(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))

    def output(self):
        """What the daemon wrote to stdout and stderr, as bytes."""
        kept = []
        for file in (self._stdout, self._stderr):
            file.seek(0)
            kept.append(file.read())
        return tuple(kept)

    def close(self):
        """Ends the daemon if it runs; raises when it wrote to its outputs (a
        sanitizer's report lands there)."""
        self.kill()
        stdout, stderr = self.output()
        self._stdout.close()
        self._stderr.close()
        if stdout or stderr:
            raise AssertionError("the daemon wrote to its outputs\n"
                                 f"stdout: {stdout.decode(errors='replace')}\n"
                                 f"stderr: {stderr.decode(errors='replace')}")
