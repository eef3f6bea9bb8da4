"""The USB network gadget and the ARP policy that goes with it."""

import contextlib
import fcntl
import os

import pytest

from harness import NOISE, Call, assert_lines, expected, line, wait_until
from sinks import Sinks, traces

SCRIPT = "/bin/configfs_gadget_usbpt.sh"
GADGET = "/sys/kernel/config/usb_gadget/usbpt"
UDC = GADGET + "/UDC"
ARP_IGNORE = "/proc/sys/net/ipv4/conf/all/arp_ignore"
MACS = ("02:00:5e:00:00:01", "02:00:5e:00:00:02")


@pytest.fixture
def kex(kex):
    kex.put_program(SCRIPT)
    kex.put_file(UDC, "\n")
    sinks = Sinks(kex)
    yield kex
    sinks.assert_agreement()


def driver(number, text):
    return line("exe", "set_usbnic_driver_state", number, text)


ENABLING = driver(707, "enabling usb-nic")
DISABLING = driver(707, "disabling usb-nic")
DRIVER_OK = driver(734, "driver command OK")
INITIALIZING = line("exe", "usbnic_control", 779, "initializing usb-nic")


def script_failed(rc):
    return line("exe", "usbnic_control", 785, f"WARN - failed to run usb-nic init script rc={rc}")


def arp_ignore(sandbox):
    # The setting is that of the reader's network namespace.
    return sandbox.run("cat", ARP_IGNORE).stdout


def untouched(sandbox):
    return (sandbox.calls() == [] and sandbox.read_file(UDC) == b"\n"
            and arp_ignore(sandbox) == "0\n")


def wrote(count):
    """The one line that only the library gets."""
    return [f"exe_set_usbnic_driver_state():721 - wrote {count} bytes to {UDC}"]


# enable and disable

@pytest.mark.parametrize("before", ["", "\n", "ci_hdrc.5\n", "another.0 and more\n"], ids=repr)
def test_enable_binds_the_gadget(kex, before):
    kex.put_file(UDC, before)
    assert kex.call("USBNIC", "enable") == 0
    kex.expect_log(*expected.command("USBNIC", "enable"), ENABLING, DRIVER_OK)
    assert kex.read_file(UDC) == b"ci_hdrc.5\n"
    # Ten bytes were written; the number is one higher on purpose.
    assert traces(kex) == wrote(11)
    assert kex.calls() == [] and arp_ignore(kex) == "0\n"


@pytest.mark.parametrize("before", ["", "\n", "ci_hdrc.5\n"], ids=repr)
def test_disable_unbinds_the_gadget(kex, before):
    kex.put_file(UDC, before)
    assert kex.call("USBNIC", "disable") == 0
    kex.expect_log(*expected.command("USBNIC", "disable"), DISABLING, DRIVER_OK)
    assert kex.read_file(UDC) == b"\n"
    assert traces(kex) == wrote(2)
    assert kex.calls() == [] and arp_ignore(kex) == "0\n"


@pytest.mark.parametrize("rest", [("a", "b", "c"), ("", ";", " "), (*MACS, "up")], ids=repr)
@pytest.mark.parametrize("action, first, content", [("enable", ENABLING, b"ci_hdrc.5\n"),
                                                    ("disable", DISABLING, b"\n")])
def test_three_surplus_arguments_are_ignored(kex, action, first, content, rest):
    assert kex.call("USBNIC", action, *rest) == 0
    kex.expect_log(*expected.command("USBNIC", action, *rest), first, DRIVER_OK)
    assert kex.read_file(UDC) == content
    assert kex.calls() == [] and arp_ignore(kex) == "0\n"


def lay_no_gadget(kex):
    kex.remove(UDC)
    os.rmdir(kex.path(GADGET))


def lay_folder(kex):
    kex.remove(UDC)
    os.mkdir(kex.path(UDC))


@pytest.mark.parametrize("lay", [lay_no_gadget, lay_folder])
@pytest.mark.parametrize("action, first", [("enable", ENABLING), ("disable", DISABLING)])
def test_controller_file_that_does_not_open(kex, lay, action, first):
    lay(kex)
    assert kex.call("USBNIC", action) == 0
    kex.expect_log(*expected.command("USBNIC", action), first,
                   driver(745, f"ERROR - failed to open {UDC}"))
    assert traces(kex) == []


class Controller:
    """A controller file that takes a write and shows something else afterwards, as
    the kernel's does when it refuses. It is a full pipe: the daemon is held in its
    write until the file that it reads back lies in its place."""

    def __init__(self, sandbox):
        self._sandbox = sandbox
        self._path = sandbox.path(UDC)
        sandbox.remove(UDC)
        os.mkfifo(self._path)
        self._pipe = os.open(self._path, os.O_RDWR | os.O_NONBLOCK)
        self._size = fcntl.fcntl(self._pipe, fcntl.F_SETPIPE_SZ, 4096)
        os.write(self._pipe, b"x" * self._size)

    def _opened(self):
        folder = f"/proc/{self._sandbox.daemon.pid}/fd"
        for descriptor in os.listdir(folder):
            with contextlib.suppress(FileNotFoundError):  # closed meanwhile, as that of the log is
                if os.readlink(f"{folder}/{descriptor}").endswith("/UDC"):
                    return True
        return False

    def replace(self, lay):
        """Waits for the write, lays the file and returns what was written."""
        wait_until(self._opened, what="kex to open the controller file")
        os.unlink(self._path)
        lay(self._sandbox)
        os.set_blocking(self._pipe, True)
        rest = self._size
        while rest > 0:
            rest -= len(os.read(self._pipe, rest))
        written = os.read(self._pipe, 100)
        os.close(self._pipe)
        return written


def content(text):
    return lambda sandbox: sandbox.put_file(UDC, text)


def nothing(_):
    pass


INVALID_WRITE = driver(732, f"ERROR - invalid write to {UDC}")
UNREADABLE = driver(737, f"ERROR - unable to read from {UDC}")
NOT_VERIFIED = driver(741, f"ERROR - failed to open {UDC} for verification of write")


@pytest.mark.parametrize("action, lay, outcome", [
    ("enable", nothing, NOT_VERIFIED),
    ("disable", nothing, NOT_VERIFIED),
    ("enable", content(""), UNREADABLE),
    ("disable", content(""), UNREADABLE),
    ("enable", lambda sandbox: os.mkdir(sandbox.path(UDC)), UNREADABLE),
    ("enable", content("\n"), INVALID_WRITE),
    ("disable", content("ci_hdrc.5\n"), INVALID_WRITE),
    ("enable", content("ci_hdrc.4\n"), INVALID_WRITE),
    ("enable", content("ci_hdrc.5 \n"), INVALID_WRITE),
    ("enable", content("ci_hdrc.55\n"), INVALID_WRITE),
    ("enable", content("ci_hdrc.\n"), INVALID_WRITE),
    ("enable", content("ci_hdrc.5" + "x" * 100), INVALID_WRITE),
    ("disable", content("\n\n"), DRIVER_OK),
    ("enable", content("ci_hdrc.5"), DRIVER_OK),
    ("enable", content("ci_hdrc.5\nmore\n"), DRIVER_OK),
])
def test_what_is_read_back_decides(kex, action, lay, outcome):
    controller = Controller(kex)
    call = kex.client.start_call("USBNIC", action)
    written = controller.replace(lay)
    assert call.reply() == (0,)
    first, bytes_written = {"enable": (ENABLING, b"ci_hdrc.5\n"),
                            "disable": (DISABLING, b"\n")}[action]
    assert written == bytes_written
    kex.expect_log(*expected.command("USBNIC", action), first, outcome)
    assert traces(kex) == wrote(len(bytes_written) + 1)


def test_many_switches_leave_no_descriptors(kex):
    descriptors = kex.daemon.fd_count()
    for action in ["enable", "disable"] * 25:
        kex.call("USBNIC", action)
    assert kex.daemon.fd_count() == descriptors


# init

@pytest.mark.parametrize("arguments", [
    (*MACS, "up"), (*MACS, "down"), ("AA:bb:Cc:00:11:22", "0", "up"), (":::", "f" * 18, "down"),
], ids=repr)
def test_init_runs_the_script_and_sets_the_arp_policy(kex, arguments):
    assert kex.call("USBNIC", "init", *arguments) == 0
    kex.expect_log(*expected.command("USBNIC", "init", *arguments), INITIALIZING,
                   expected.executing(SCRIPT, *arguments))
    assert kex.calls() == [Call(SCRIPT, arguments)]
    assert arp_ignore(kex) == "1\n"
    assert kex.read_file(UDC) == b"\n"
    assert NOISE.encode() not in kex.log.content()
    assert kex.daemon.output() == (b"", b"")


@pytest.mark.parametrize("end, status", [({"status": 1}, 256), ({"status": 255}, 65280),
                                         ({"signal": 9}, 9), ({"signal": 15}, 15)])
def test_script_that_fails_does_not_stop_the_arp_policy(kex, end, status):
    kex.put_program(SCRIPT, **end)
    assert kex.call("USBNIC", "init", *MACS, "up") == 0
    kex.expect_log(*expected.command("USBNIC", "init", *MACS, "up"), INITIALIZING,
                   expected.executing(SCRIPT, *MACS, "up"), script_failed(status))
    assert arp_ignore(kex) == "1\n"


def test_script_that_is_missing_does_not_stop_the_arp_policy(kex):
    kex.remove(SCRIPT)
    assert kex.call("USBNIC", "init", *MACS, "up") == 0
    # What the exit handlers of the failed child log is accepted.
    lines = [text for text in kex.lines() if not expected.DESTRUCTED.fits(text)]
    assert_lines(lines, [*expected.command("USBNIC", "init", *MACS, "up"), INITIALIZING,
                         expected.executing(SCRIPT, *MACS, "up"), expected.EXECV_FAILED,
                         script_failed(65280)])
    assert arp_ignore(kex) == "1\n"


# The script comes first: the policy is set when it has ended.
def test_arp_policy_is_set_behind_the_script(kex):
    gate = kex.put_program(SCRIPT, gated=True)
    call = kex.client.start_call("USBNIC", "init", *MACS, "up")
    wait_until(kex.calls, what="the script to run")
    assert arp_ignore(kex) == "0\n"
    gate.open()
    assert call.reply() == (0,)
    assert arp_ignore(kex) == "1\n"


def test_arp_policy_that_is_set_already_stays(kex):
    for _ in range(2):
        kex.call("USBNIC", "init", *MACS, "up")
        assert arp_ignore(kex) == "1\n"
    kex.call("USBNIC", "disable")
    assert arp_ignore(kex) == "1\n"


def test_arp_policy_that_cannot_be_opened(kex):
    kex.run("mount", "-t", "tmpfs", "-o", "ro", "tmpfs", os.path.dirname(ARP_IGNORE))
    assert kex.call("USBNIC", "init", *MACS, "up") == 0
    kex.expect_log(*expected.command("USBNIC", "init", *MACS, "up"), INITIALIZING,
                   expected.executing(SCRIPT, *MACS, "up"),
                   line("exe", "init_arp_ignore", 2250, "ERROR - failed to open arp_ignore file"))
    kex.run("umount", os.path.dirname(ARP_IGNORE))
    assert arp_ignore(kex) == "0\n"


# Refusals

@pytest.mark.parametrize("arguments", [
    (), ("",), ("Enable",), ("INIT",), ("enabled",), ("on",), ("enable ",), ("up",),
    ("enable", "a"), ("enable", "a", "b"), ("disable", "a", "b"), ("enable", "a", "b", "c", "d"),
    ("init", *MACS), ("init", *MACS, "up", "x"), ("init", MACS[0], "up"), (*MACS, "up", "init"),
    ("other", *MACS, "up"),
], ids=repr)
def test_wrong_list_is_refused(kex, arguments):
    assert kex.call("USBNIC", *arguments) == 0
    kex.expect_log(*expected.command("USBNIC", *arguments),
                   expected.refused("usbnic_control", 767))
    assert untouched(kex)


@pytest.mark.parametrize("arguments", [
    ("init",), ("init", "", MACS[1], "up"), ("init", MACS[0], "", "up"), ("init", *MACS, ""),
    ("init", *MACS, "UP"), ("init", *MACS, "on"), ("init", "up", *MACS),
    ("init", MACS[0], "up", MACS[1]),
    ("init", "02-00-5e-00-00-01", MACS[1], "up"), ("init", MACS[0], "0" * 19, "up"),
    ("init", "0" * 19, MACS[1], "up"), ("init", MACS[0] + ";", MACS[1], "up"),
    ("init", MACS[0], "x", "up"), ("init", MACS[0] + " ", MACS[1], "up"),
], ids=repr)
def test_wrong_arguments_of_init_are_refused(kex, arguments):
    assert kex.call("USBNIC", *arguments) == 0
    kex.expect_log(*expected.command("USBNIC", *arguments),
                   expected.refused("usbnic_control", 775))
    assert untouched(kex)
