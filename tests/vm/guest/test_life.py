"""The service's life under systemd. These tests end the daemon or the bus: they come last."""

import os
import re
import signal
import subprocess

import log
from machine import (CallError, INTERFACE, LIMIT, LOG, MachineTest, NAME, PATH, busctl, called,
                     daemon_pid, executing, execute, line, lines_since, log_mark, log_since,
                     name_owner, read, read_log, run, start_execute, systemctl, unit_property,
                     wait_for_service, wait_until, write)

STARTING = line("main", "kex starting up", 98, tag="man")
STOP = [line("stop_event_loop", "event loop is exiting", 245, tag="dbs"),
        line("main", "WARN - event loop is ended", 117, tag="man"),
        line("main", "exiting", 134, tag="man"),
        line("~KEX", "destructed", 51, tag="dbs")]


class BusPolicy(MachineTest):
    """Who may do what; the refusals come from the bus, so the daemon has nothing to log."""

    PROPERTIES = "org.freedesktop.DBus.Properties"
    ALLOWED = (
        ("call", NAME, PATH, INTERFACE, "ExecuteCommand", "sas", INTERFACE + ".CmdID.UNKNOWN", "0"),
        ("get-property", NAME, PATH, INTERFACE, "State"),
        ("call", NAME, PATH, PROPERTIES, "GetAll", "s", INTERFACE),
        ("introspect", NAME, PATH),
        ("call", NAME, "/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects"),
    )
    DENIED = (
        ("call", NAME, "/", "org.freedesktop.DBus.Peer", "Ping"),
        ("call", NAME, PATH, PROPERTIES, "Set", "ssv", INTERFACE, "State", "i", "1"),
        ("call", NAME, PATH, "com.orvel.bmc.network.Other", "ExecuteCommand"),
    )
    OWN = ("call", "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
           "RequestName", "su", NAME, "3")

    def assert_denied(self, user, words):
        mark = log_mark()
        with self.assertRaises(CallError) as caught:
            busctl(*words, user=user)
        self.assertRegex(str(caught.exception), "Access denied|rejected|not allowed")
        self.assertEqual(log_since(mark), b"")

    def test_member_and_root(self):
        for user in ("netsvc", "root"):
            for words in self.ALLOWED:
                with self.subTest(user=user, words=words):
                    busctl(*words, user=user)
        for user in ("netsvc", "root"):
            self.assertEqual(busctl(*self.ALLOWED[1], user=user), "i 0")

    def test_nothing_else(self):
        for user in ("netsvc", "root"):
            for words in self.DENIED:
                with self.subTest(user=user, words=words):
                    self.assert_denied(user, words)

    def test_stranger(self):
        for words in (*self.ALLOWED, *self.DENIED):
            with self.subTest(words=words):
                self.assert_denied("stranger", words)

    def test_only_root_owns_the_name(self):
        for user in ("netsvc", "stranger", "kex"):
            with self.subTest(user=user):
                self.assert_denied(user, self.OWN)
        self.assertEqual(name_owner(), daemon_pid())

    def test_unknown_command_is_refused_by_the_daemon(self):
        with self.assertRaises(CallError) as caught:
            execute("NO_SUCH_COMMAND")
        self.assertIn("enum", str(caught.exception).lower())


class LogFile(MachineTest):
    restarts = True

    def owner(self, path=LOG):
        return run("stat", "-c", "%U:%G %a", path).strip()

    def restart_without_log(self):
        systemctl("stop", "kex")
        for name in os.listdir(os.path.dirname(LOG)):
            if name.startswith("kex.log"):
                os.remove(os.path.join(os.path.dirname(LOG), name))
        systemctl("start", "kex")

    def test_owner_is_the_system_user(self):
        self.restart_without_log()
        self.assertEqual(self.owner(), "kex:kex 664")
        # It is written on, although root's rights do not override those of the file.
        before = len(read_log())
        execute("UNKNOWN")
        self.assertGreater(len(read_log()), before)

    def test_without_the_system_user(self):
        users = open("/etc/passwd").read()
        self.addCleanup(self.restart_without_log)
        self.addCleanup(lambda: open("/etc/passwd", "w").write(users))
        with open("/etc/passwd", "w") as file:
            file.write(re.sub("^kex:.*\n", "", users, flags=re.M))
        self.restart_without_log()
        self.assertEqual(self.owner(), "root:root 664")
        execute("UNKNOWN")

    def test_rotation_after_1501_messages(self):
        self.restart_without_log()
        execute("UNKNOWN")  # is answered when the start has been logged to its end
        start = len(log.parse(read_log()))
        # Each argument is a message of its own, beside the command's and "unknown".
        execute("UNKNOWN", *["x"] * (1501 - start - 2))
        self.assertEqual(len(log.parse(read_log())), 1501)
        self.assertFalse(os.path.exists(LOG + ".0"))
        execute("UNKNOWN")
        self.assertEqual(len(log.parse(read_log(LOG + ".0"))), 1501)
        log.assert_lines(log.parse(read_log()), [
            *called("UNKNOWN", []), line("executeCommand", "unknown", 164, tag="dbs")])
        self.assertEqual((self.owner(), self.owner(LOG + ".0")), ("kex:kex 664",) * 2)
        for _ in range(2):
            execute("UNKNOWN", *["x"] * 1500)
        self.assertTrue(os.path.exists(LOG + ".1"))
        self.assertTrue(STARTING.fits(log.parse(read_log(LOG + ".0"))[0]))


class Stop(MachineTest):
    restarts = True

    def setUp(self):
        self.addCleanup(wait_for_service)
        self.addCleanup(systemctl, "start", "kex")

    def assert_clean(self):
        self.assertEqual([unit_property(name) for name in
                          ("ActiveState", "Result", "ExecMainCode", "ExecMainStatus")],
                         ["inactive", "success", "1", "0"])

    def test_idle_daemon(self):
        mark = log_mark()
        systemctl("stop", "kex")
        self.assert_clean()
        log.assert_lines(lines_since(mark), STOP)

    def test_running_command_comes_to_its_end(self):
        """The script ends when it is told to, and that is after the daemon was."""
        go = "/run/autoconf.go"
        self.addCleanup(os.remove, go)
        mark = log_mark()
        caller = start_execute("AUTOCONF", "enable", "wait")
        wait_until(lambda: b"Executing command" in log_since(mark), what="the program's start")
        systemctl("stop", "--no-block", "kex")
        wait_until(lambda: unit_property("ActiveState") == "deactivating", what="the stop's start")
        self.assertIsNone(caller.poll())
        write(go, "")
        self.assertEqual((caller.communicate(timeout=LIMIT)[0], caller.returncode), ("i 0\n", 0))
        wait_until(lambda: unit_property("ActiveState") == "inactive", what="the stop")
        self.assert_clean()
        log.assert_lines(lines_since(mark), [
            *called("AUTOCONF", ("enable", "wait")),
            line("server_autoconfig", "starting server autoconfig"),
            executing("/etc/plinth_script/network/systemautoconf.sh", "wait"), *STOP])


class Return(MachineTest):
    """Whatever ends the daemon, it is back at once and goes on with its log."""

    restarts = True

    def assert_back(self, former, since, *ending):
        """since: the log's content when the daemon was still well."""
        wait_for_service(former)
        content = read_log()
        self.assertTrue(content.startswith(since), "the log was not appended to")
        # systemd may see the name go before the process, and stops it then.
        lines = [got for got in log.parse(content[len(since):]) if not STOP[0].fits(got)]
        log.assert_lines(lines[:len(ending)], list(ending))
        self.assertTrue(STARTING.fits(lines[len(ending)]), lines)
        self.assertEqual(execute("UNKNOWN"), 0)

    def test_delay_and_limit_of_restarts(self):
        """After a second, as often as it takes."""
        self.assertEqual([unit_property(name) for name in
                          ("Restart", "RestartUSec", "StartLimitIntervalUSec")],
                         ["always", "1s", "0"])

    def test_after_kill(self):
        former, since = daemon_pid(), read_log()
        os.kill(former, signal.SIGKILL)
        self.assert_back(former, since)

    def test_after_exceptions_of_a_command(self):
        """Six in a row: more than systemd lets a service start by default."""
        arguments = ("kernel", "no-number", "/run/tirvad/never")
        for _ in range(6):
            former, since = daemon_pid(), read_log()
            with self.assertRaises(CallError):
                execute("JOURNAL_CTRL", *arguments)
            self.assert_back(former, since, *called("JOURNAL_CTRL", arguments),
                             line("main", "ERROR - kex exiting with exception [stoul]", 124,
                                  tag="man"), *STOP[2:])
        self.assertFalse(os.path.exists("/run/tirvad/never"))

    def test_agent_of_an_autoconfiguration_outlives_a_restart(self):
        self.addCleanup(run, "ip", "address", "delete", "192.0.2.77/32", "dev", "lo")
        execute("AUTOCONF", "enable", "outlive")
        agent = read("/run/tirvad/ostrelagent.pid")
        former, since = daemon_pid(), read_log()
        os.kill(former, signal.SIGKILL)
        self.assert_back(former, since)
        self.assertIn("ostrelagent", read(f"/proc/{agent}/cmdline"))
        execute("AUTOCONF", "disable")
        wait_until(lambda: not os.path.exists(f"/proc/{agent}"), what="the agent's end")

    def test_call_while_the_daemon_is_away(self):
        """The bus holds it until the daemon is back."""
        former = daemon_pid()
        os.kill(former, signal.SIGKILL)
        self.assertEqual(execute("UNKNOWN"), 0)
        wait_for_service(former)

    def test_after_a_restart_of_the_bus(self):
        former = daemon_pid()
        since = read_log()
        systemctl("restart", "dbus")
        wait_for_service(former)
        self.assertTrue(read_log().startswith(since))
        self.assertEqual(execute("UNKNOWN"), 0)

    def test_after_the_end_of_the_bus(self):
        """The next one who calls brings back both the bus and the daemon."""
        former = daemon_pid()
        bus = int(unit_property("MainPID", "dbus.service"))
        os.kill(bus, signal.SIGKILL)
        wait_until(lambda: not os.path.exists(f"/proc/{bus}"), what="the end of the bus")
        self.assertEqual(execute("UNKNOWN"), 0)
        wait_for_service(former)


class TwoInstances(MachineTest):
    restarts = True

    def test_name_goes_to_the_second_and_comes_back(self):
        """The first does not queue for the name: it is the unit that gets it back."""
        first = daemon_pid()
        second = subprocess.Popen(["/usr/libexec/kex"], stdin=subprocess.DEVNULL)
        try:
            wait_until(lambda: name_owner() == second.pid, what="the second to own the name")
            self.assertEqual(execute("UNKNOWN"), 0)
            self.assertEqual((unit_property("ActiveState"), unit_property("MainPID")),
                             ("active", str(first)))
        finally:
            second.terminate()
            self.assertEqual(second.wait(LIMIT), 0)
        wait_for_service(first)
        self.assertEqual(execute("UNKNOWN"), 0)
