"""What scripts rely on: one exit status for each outcome."""

import os
import signal

import pytest

from harness import wait_until

SCRIPT = "/etc/plinth_script/network/systemautoconf.sh"


def test_done_is_0(kexctl):
    done = kexctl("LINK_CTRL", "down", "lo")
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout.endswith("exe_link_control():697 - set lo down rc=0\nreply 0\n")


def test_an_error_line_is_1(kexctl):
    done = kexctl("LINK_CTRL", "UP", "lo")
    assert done.returncode == 1
    assert done.stdout.endswith("exe_link_control():691 - ERROR - invalid parm list\nreply 0\n")


def test_a_warning_alone_is_0(kexctl):
    kexctl.sandbox.put_program("/etc/plinth_script/network/fwctrl.sh", status=1)
    done = kexctl("FIREWALL_CTRL", "ping", "true")
    assert done.returncode == 0
    assert "WARN - firewall config failed ping true rc=256" in done.stdout


def test_a_reply_that_is_not_0_is_1(kexctl):
    kexctl.sandbox.put_program("/usr/bin/arping", status=2)
    done = kexctl("SENDARPING", "c", "1", "192.168.0.1")
    assert "ERROR" not in done.stdout
    assert done.stdout.endswith("reply 512\n")
    assert done.returncode == 1


@pytest.mark.parametrize("arguments, text", [
    ((), "no command; see kexctl --help"),
    (("LINK_CTRL1", "up", "lo"), "unknown command LINK_CTRL1; did you mean LINK_CTRL?"),
    (("help", "SET_HOST"), "unknown command SET_HOST; did you mean SET_HOSTNAME?"),
    (("--quiet", "list"), "unknown option --quiet"),
    (("-f", "TERMINATE"), "-f does not belong to TERMINATE"),
    (("list", "--follow"), "--follow does not belong to list"),
    (("list", "all"), "list takes no arguments"),
    (("log", "all"), "log takes no arguments"),
    (("status", "all"), "status takes no arguments"),
    (("TERMINATE", b"\xff"), "an argument cannot be sent: it is no UTF-8 text"),
])
def test_wrong_usage_is_2(kexctl, arguments, text):
    done = kexctl(*arguments)
    assert (done.returncode, done.stdout, done.stderr) == (2, "", f"kexctl: {text}\n")
    assert kexctl.sandbox.lines() == []


def test_no_bus_is_3(make_kexctl):
    kexctl = make_kexctl(daemon=False, bus=False)
    for arguments in (("TERMINATE",), ("status",)):
        done = kexctl(*arguments)
        assert (done.returncode, done.stdout) == (3, "")
        assert done.stderr.startswith("kexctl: no system bus: ")


def test_no_daemon_is_3(make_kexctl):
    kexctl = make_kexctl(daemon=False)
    for arguments in (("TERMINATE",), ("status",)):
        done = kexctl(*arguments)
        assert (done.returncode, done.stdout) == (3, "")
        assert "com.orvel.bmc.network.kex" in done.stderr


def test_a_daemon_killed_mid_call_is_3(kexctl):
    sandbox = kexctl.sandbox
    sandbox.put_program(SCRIPT, gated=True)
    running = kexctl.start("AUTOCONF", "enable", "renew")
    wait_until(sandbox.calls, what="the script to run")
    sandbox.daemon.kill()
    assert running.wait() == 3
    assert "starting server autoconfig" in running.stdout
    assert "reply" not in running.stdout
    assert running.stderr != ""


def test_a_daemon_that_a_command_ends_is_3_with_its_last_words(kexctl):
    done = kexctl("JOURNAL_CTRL", "kernel", "soon", "/run/kernel.log")
    assert done.returncode == 3
    assert "ERROR - kex exiting with exception [stoul]" in done.stdout
    assert kexctl.sandbox.daemon.wait() == 0


def test_a_bus_that_ends_mid_call_is_3(kexctl):
    sandbox = kexctl.sandbox
    gate = sandbox.put_program(SCRIPT, gated=True)
    running = kexctl.start("AUTOCONF", "enable", "renew")
    wait_until(sandbox.calls, what="the script to run")
    sandbox.bus.stop()
    assert running.wait() == 3
    gate.open()


def test_a_caller_without_permission_is_4(make_kexctl):
    kexctl = make_kexctl(bus_policy='<policy user="nobody">'
                         '<deny send_destination="com.orvel.bmc.network.kex"/></policy>')
    as_nobody = ("setpriv", "--reuid", "nobody", "--clear-groups")
    for arguments in (("TERMINATE",), ("status",)):
        done = kexctl(*arguments, before=as_nobody)
        assert (done.returncode, done.stdout) == (4, "")
        assert done.stderr.startswith("kexctl: ")
    assert kexctl.sandbox.lines() == []
    assert kexctl("TERMINATE").returncode == 0


def test_an_error_reply_of_the_daemon_is_1(make_kexctl):
    # The bus itself in the daemon's place: it answers, but knows no such method.
    kexctl = make_kexctl(daemon=False)
    service = ["/usr/bin/python3", "-c", _OTHER_DAEMON]
    other = kexctl.sandbox.namespaces.enter(*service)
    pid = os.spawnvp(os.P_NOWAIT, other[0], other)
    try:
        wait_until(kexctl.sandbox.client.has_owner, what="the other daemon")
        done = kexctl("TERMINATE")
    finally:
        os.kill(pid, signal.SIGKILL)
        os.waitpid(pid, 0)
    assert (done.returncode, done.stderr) == (1, "kexctl: no such command\n")


_OTHER_DAEMON = """
from jeepney import HeaderFields, MessageType, new_error, new_method_call, DBusAddress
from jeepney.io.blocking import open_dbus_connection
bus = open_dbus_connection("unix:path=/run/dbus/system_bus_socket")
driver = DBusAddress("/org/freedesktop/DBus", "org.freedesktop.DBus", "org.freedesktop.DBus")
bus.send_and_get_reply(new_method_call(driver, "RequestName", "su",
                                       ("com.orvel.bmc.network.kex", 0)))
while True:
    message = bus.receive()
    if message.header.message_type == MessageType.method_call:
        bus.send(new_error(message, "org.example.Error.InvalidEnumString", "s",
                           ("no such command",)))
"""
