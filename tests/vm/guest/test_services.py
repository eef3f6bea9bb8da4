"""Services under allow-listed names, run by the machine's own systemd."""

import os
import time

from machine import (CommandTest, LIMIT, line, lines_since, log, log_mark, run, start_execute,
                     systemctl, unit_property, wait_until, write)

NUMBER = r"\d+"

# What the slow service waits for at each step.
GO = "/run/lldpd-tarn.go"


def began(name, action):
    return line("service_control", log.re.compile(f"{name} {action} at {NUMBER}"))


def completed(name, action, rc, reset):
    return line("service_control", log.re.compile(
        f"completed {name} {action} at {NUMBER} rc1={reset} rc={rc}"))


def systemd(function, text):
    return log.line("syd", function, None, text)


def not_loaded(name):
    return systemd("reset_failed_unit", "ERROR - systemd reset-failed D-Bus call failed: "
                                        f"Unit {name}.service not loaded.")


class SystemdServiceCtrl(CommandTest):
    command = "SYSTEMD_SERVICE_CTRL"

    def state(self, name):
        return unit_property("ActiveState", f"{name}.service")

    def main_pid(self, name):
        return unit_property("MainPID", f"{name}.service")

    def control(self, action, name, wait, *lines, rc=0):
        """Asserts the log of one request; the seconds that it took.

        systemd forgets a service that is neither running nor failed, and then has no failed
        state to reset: both outcomes of the reset are right."""
        start = time.monotonic()
        got = self.call(action, name, wait)
        took = time.monotonic() - start
        reset = r"[01]"
        expected = [began(name, action), *lines]
        if any(not_loaded(name).fits(text) for text in got):
            expected.insert(1, not_loaded(name))
            reset = r"-\d+"
        log.assert_lines(got, [*expected, completed(name, action, rc, reset)])
        return took

    def assert_limit_is_reached(self, name):
        run("systemctl", "start", name, check=False)
        run("journalctl", "--sync")
        self.assertIn("repeated too quickly", run("journalctl", "-b", "-u", name, "-n", "4"))

    def test_quick_service(self):
        for wait in ("false", "true"):
            with self.subTest(wait=wait):
                self.control("start", "quorrit", wait)
                wait_until(lambda: self.state("quorrit") == "active", what="the start")
                before = self.main_pid("quorrit")
                self.control("restart", "quorrit", wait)
                wait_until(lambda: self.main_pid("quorrit") not in (before, "0"),
                           what="the restart")
                self.control("stop", "quorrit", wait)
                wait_until(lambda: self.state("quorrit") == "inactive", what="the stop")

    def let_go(self):
        """The slow service takes its next step."""
        write(GO, "")
        wait_until(lambda: not os.path.exists(GO), what="the service to go on")

    def test_slow_service_with_waiting(self):
        """The reply comes when the service is there, not before."""
        for action, steps, state in (("start", ["activating"], "active"),
                                     ("restart", ["deactivating", "activating"], "active"),
                                     ("stop", ["deactivating"], "inactive")):
            with self.subTest(action=action):
                mark = log_mark()
                caller = start_execute(self.command, action, "lldpd-tarn", "true")
                for step in steps:
                    wait_until(lambda: self.state("lldpd-tarn") == step, what=step)
                    self.assertIsNone(caller.poll())
                    self.let_go()
                self.assertEqual(caller.communicate(timeout=LIMIT)[0], "i 0\n")
                self.assertEqual(self.state("lldpd-tarn"), state)
                last = lines_since(mark)[-1]
                self.assertTrue(completed("lldpd-tarn", action, 0, r"-?\d+").fits(last), last)

    def test_slow_service_without_waiting(self):
        self.control("start", "lldpd-tarn", "false")
        self.assertEqual(self.state("lldpd-tarn"), "activating")
        self.let_go()
        wait_until(lambda: self.state("lldpd-tarn") == "active", what="the start")
        self.control("stop", "lldpd-tarn", "false")
        self.assertEqual(self.state("lldpd-tarn"), "deactivating")
        self.let_go()
        wait_until(lambda: self.state("lldpd-tarn") == "inactive", what="the stop")

    def test_failing_service(self):
        """The job is done either way: how it ended is the unit's state."""
        for wait in ("false", "true"):
            with self.subTest(wait=wait):
                self.control("start", "llmnrd", wait)
                wait_until(lambda: self.state("llmnrd") == "failed", what="the failure")
                self.assertEqual(unit_property("Result", "llmnrd.service"), "exit-code")

    def test_service_that_failed_before(self):
        """Its start limit would refuse it, but for the failed state that is reset."""
        flag = "/run/udhcpd.may-start"
        self.addCleanup(systemctl, "stop", "udhcpd")
        for wait in ("false", "true"):
            with self.subTest(wait=wait):
                if os.path.exists(flag):
                    os.remove(flag)
                systemctl("stop", "udhcpd")
                self.control("start", "udhcpd", "true")
                self.assertEqual(self.state("udhcpd"), "failed")
                self.assert_limit_is_reached("udhcpd")
                write(flag, "")
                self.control("start", "udhcpd", wait)
                wait_until(lambda: self.state("udhcpd") == "active", what="the start")

    def test_queued_for_more_than_30_seconds(self):
        self.addCleanup(systemctl, "stop", "brisked", "brisked-gate")
        self.control("start", "brisked", "false")
        self.assertNotEqual(unit_property("Job", "brisked.service"), "")
        systemctl("stop", "brisked", "brisked-gate")
        took = self.control(
            "start", "brisked", "true",
            systemd("wait_for_job_completion", log.re.compile(
                r"WARN - timed out waiting for job /org/freedesktop/systemd1/job/\d+"
                r" after [3-9]\d+s")), rc=-110)
        self.assertGreater(took, 29)
        # The job is left in the queue.
        self.assertNotEqual(unit_property("Job", "brisked.service"), "")
        self.assertEqual(self.state("brisked"), "inactive")

    def test_masked_service(self):
        refusal = systemd("systemd_dbus_call_method",
                          "ERROR - systemd D-Bus call failed: Unit vemlod.service is masked.")
        for wait in ("false", "true"):
            for action in ("start", "restart"):
                with self.subTest(wait=wait, action=action):
                    self.control(action, "vemlod", wait, refusal, rc=r"-\d+")

    def test_absent_service(self):
        missing = systemd("systemd_dbus_call_method", "ERROR - systemd D-Bus call failed: "
                                                      "Unit felmbrowse.service not found.")
        for wait in ("false", "true"):
            with self.subTest(wait=wait):
                self.control("start", "felmbrowse", wait, missing, rc=r"-\d+")

    def test_every_allowed_name(self):
        for name in ("avahi-daemon", "network", "radvd", "dhcpcd", "wpa_supplicant",
                     "systemd-networkd"):
            with self.subTest(name=name):
                self.control("start", name, "true")
                self.assertEqual(self.state(name), "active")
                self.control("stop", name, "true")
                self.assertEqual(self.state(name), "inactive")

    def test_refuses_what_is_not_allowed(self):
        for arguments in (("reload", "quorrit", "true"), ("start", "dbus", "true"),
                          ("stop", "kex", "false"), ("start", "quorrit"),
                          ("start", "quorrit", "true", "surplus"), ("start", "quorrit", "yes")):
            with self.subTest(arguments=arguments):
                self.expect(arguments, line("service_control", "ERROR - invalid parm list"))
