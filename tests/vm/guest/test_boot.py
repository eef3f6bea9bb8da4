"""The daemon as the boot left it: its start, its log, its sandbox."""

import os
import re

import log
from machine import (LOG, MachineTest, daemon_pid, execute, line, read, read_log, run,
                     unit_property, wait_until)

STARTING = line("main", "kex starting up", 98, tag="man")
SERVING = line("start_event_loop", "event loop is entering", 237, tag="dbs")


class Start(MachineTest):
    def test_daemon_is_ready_before_the_network_services(self):
        ready, reached = (int(unit_property("ActiveEnterTimestampMonotonic", unit))
                          for unit in ("kex.service", "network-pre.target"))
        self.assertGreater(reached, 0, "network-pre.target was not reached")
        self.assertLess(ready, reached)

    def test_no_ordering_cycle(self):
        self.assertNotIn("ordering cycle", run("journalctl", "-b", "_PID=1"))

    def test_first_lines_of_the_log(self):
        first = LOG + ".0"
        lines = log.parse(read_log(first if os.path.exists(first) else LOG))
        self.assertTrue(STARTING.fits(lines[0]), lines[0])
        self.assertTrue(SERVING.fits(lines[8]), lines[:10])

    def test_log_goes_to_the_journal_too(self):
        execute("UNKNOWN", "to the journal")
        wait_until(lambda: "executeCommand():76 -    args[0]=[to the journal]" in
                   run("journalctl", "-b", "-t", "kex"), what="the journal")


class Sandbox(MachineTest):
    def status(self, field):
        (value,) = re.findall(rf"^{field}:\s*(\S+)$", read(f"/proc/{daemon_pid()}/status"), re.M)
        return value

    def test_capabilities(self):
        """NET_ADMIN, NET_RAW, SYS_ADMIN, KILL, CHOWN and no others."""
        wanted = sum(1 << number for number in (12, 13, 21, 5, 0))
        for field in ("CapEff", "CapPrm", "CapBnd"):
            self.assertEqual(int(self.status(field), 16), wanted, field)

    def test_filters_hold(self):
        self.assertEqual((self.status("NoNewPrivs"), self.status("Seccomp")), ("1", "2"))

    def test_exposure(self):
        run("systemd-analyze", "security", "--threshold=27", "kex.service")
