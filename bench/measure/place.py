"""The sandbox of the measurements: the harness of the tests with a bus, kex, the peers and the
measuring programs in it."""

import json
import os
import shutil
import subprocess

from harness import Daemon, NAME, Sandbox, wait_until

INSIDE = "/run/sandbox/bench"
PLAIN = "bench.plain"

# The peers log where kex does, and not on the terminal.
_TO_JOURNAL = {"SYSTEMD_LOG_TARGET": "journal"}


class Place(Sandbox):
    """A sandbox without a test's journal: a small program reads what kex sends there."""

    def __init__(self, settings):
        super().__init__(settings.kex, journal=False)
        self._settings = settings
        self._services = []
        # The owner of the log file, whom an installation has. Without him the look-up of kex
        # goes through everything that the C library can ask.
        users = self.read_file("/etc/passwd").decode()
        self.put_file("/etc/passwd", users + "kex:x:4242:4242::/:/bin/false\n")
        os.mkdir(self.path(INSIDE))
        for name in os.listdir(settings.programs):
            program = os.path.join(settings.programs, name)
            if os.path.isfile(program) and os.access(program, os.X_OK):
                shutil.copy(program, self.path(f"{INSIDE}/{name}"))
        self.start_service(f"{INSIDE}/journal_drain")
        wait_until(lambda: self.exists("/run/systemd/journal/socket"), what="the journal's drain")

    def start_service(self, *command, name=None):
        """Starts a program that stays; with a name returns when it owns that on the bus."""
        *first, last = command
        service = Daemon(self.namespaces, last, launcher=first, environment=_TO_JOURNAL)
        self._services.append(service)
        if name:
            wait_until(lambda: self.client.has_owner(name), what=f"{command[0]} on the bus",
                       timeout=30)
            self.client.ping(name)
        return service

    def start_plain_service(self):
        return self.start_service(f"{INSIDE}/plain_service", name=PLAIN)

    def start_hostnamed(self):
        """With a host name of its own: it wakes up for each one that somebody else sets."""
        return self.start_service("unshare", "--uts", "/usr/lib/systemd/systemd-hostnamed",
                                  name="org.freedesktop.hostname1")

    def start_kex_again(self):
        self.daemon.kill()
        wait_until(lambda: not self.client.has_owner(NAME), what="kex to leave the bus")
        return self.start_daemon()

    def program(self, name, *arguments):
        """What a measuring program prints."""
        done = subprocess.run(
            self.namespaces.enter(f"{INSIDE}/{name}", *map(str, arguments)), cwd="/",
            env={"PATH": "/usr/sbin:/usr/bin",
                 "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/run/dbus/system_bus_socket"},
            stdin=subprocess.DEVNULL, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{name} ended with {done.returncode}: {done.stderr.strip()}")
        return done.stdout

    def time(self, rounds, series):
        """Runs the bus client: series is a list of (label, count, operation words...)."""
        words = [rounds]
        for one in series:
            words += ["--", *one]
        return json.loads(self.program("bus_client", *words))

    def pss(self, service):
        """Proportional memory of a process, and what of it is private, in bytes."""
        sizes = {}
        with open(f"/proc/{service.pid}/smaps_rollup", encoding="ascii") as rollup:
            for line in rollup:
                name, _, value = line.partition(":")
                if value.endswith("kB\n"):
                    sizes[name] = int(value.split()[0]) * 1024
        return {"pss": sizes["Pss"], "private": sizes["Private_Clean"] + sizes["Private_Dirty"]}

    def close(self):
        for service in getattr(self, "_services", ()):
            service.kill()
        super().close()
