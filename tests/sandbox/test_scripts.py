"""Auto-configuration, firewall script, dhcpcd and arping."""

import os
import signal
import subprocess

import pytest

from harness import NOISE, Call, assert_lines, expected, line, wait_until
from sinks import Sinks, traces

AUTOCONF = "/etc/plinth_script/network/systemautoconf.sh"
FIREWALL = "/etc/plinth_script/network/fwctrl.sh"
DHCPCD = "/usr/sbin/dhcpcd"
ARPING = "/usr/bin/arping"
PROGRAMS = (AUTOCONF, FIREWALL, DHCPCD, ARPING)
PID_FILE = "/run/tirvad/ostrelagent.pid"

# How a program ends, and the raw wait status that is logged for it.
ENDS = [({"status": 1}, 256), ({"status": 3}, 768), ({"status": 255}, 65280),
        ({"signal": signal.SIGTERM}, 15), ({"signal": signal.SIGKILL}, 9)]


@pytest.fixture
def kex(kex):
    for program in PROGRAMS:
        kex.put_program(program)
    sinks = Sinks(kex)
    yield kex
    sinks.assert_agreement()
    # What the programs write goes nowhere.
    assert NOISE.encode() not in kex.log.content()
    assert not any(NOISE in message for message in kex.journal.messages())


def info(function, text):
    return line("exe", function, None, text)


def error(function, text):
    return line("exe", function, None, "ERROR - " + text)


def refuse(kex, function, command, *arguments, before=()):
    """Asserts that arguments are refused with one line and nothing is run."""
    assert kex.call(command, *arguments) == 0
    kex.expect_log(*expected.command(command, *arguments), *before,
                   expected.refused(function, None))
    assert kex.calls() == []


def expect_log_of_failed_exec(kex, *lines):
    """Like expect_log; what the exit handlers of the failed child log is accepted."""
    got = [text for text in kex.lines() if not expected.DESTRUCTED.fits(text)]
    assert_lines(got, list(lines))


# AUTOCONF: enable

STARTING = info("server_autoconfig", "starting server autoconfig")


@pytest.mark.parametrize("text", [
    "run", "", " ", "a b", "a;b|c&d<e>f", "$(reboot)", "--help", "\u00e4\u20ac", "a\nb", "%s%n",
    "x" * 5000,
], ids=lambda text: repr(text[:20]))
def test_command_string_reaches_the_script_as_one_argument(kex, text):
    assert kex.call("AUTOCONF", "enable", text) == 0
    kex.expect_log(*expected.command("AUTOCONF", "enable", text), STARTING,
                   expected.executing(AUTOCONF, text))
    assert kex.calls() == [Call(AUTOCONF, (text,))]


def test_surplus_arguments_do_not_reach_the_script(kex):
    kex.call("AUTOCONF", "enable", "run", "more", "disable")
    assert kex.calls() == [Call(AUTOCONF, ("run",))]


# There is no check for an auto-configuration that runs already.
def test_second_start_runs_the_script_again(kex):
    for _ in range(2):
        kex.call("AUTOCONF", "enable", "run")
    assert kex.calls() == [Call(AUTOCONF, ("run",))] * 2


@pytest.mark.parametrize("end, status", ENDS)
def test_script_that_fails(kex, end, status):
    kex.put_program(AUTOCONF, **end)
    assert kex.call("AUTOCONF", "enable", "run") == 0
    kex.expect_log(*expected.command("AUTOCONF", "enable", "run"), STARTING,
                   expected.executing(AUTOCONF, "run"),
                   error("server_autoconfig", f"failed to start server autoconfig rc={status}"))


def test_script_that_is_missing(kex):
    kex.remove(AUTOCONF)
    assert kex.call("AUTOCONF", "enable", "run") == 0
    expect_log_of_failed_exec(
        kex, *expected.command("AUTOCONF", "enable", "run"), STARTING,
        expected.executing(AUTOCONF, "run"), expected.EXECV_FAILED,
        error("server_autoconfig", "failed to start server autoconfig rc=65280"))


def test_start_leaves_the_pid_file_alone(kex):
    kex.put_file(PID_FILE, "77\n")
    kex.call("AUTOCONF", "enable", "run")
    assert kex.read_file(PID_FILE) == b"77\n"


# AUTOCONF: refusals

def test_empty_list_is_refused(kex):
    kex.put_file(PID_FILE, "77\n")
    refuse(kex, "server_autoconfig", "AUTOCONF")
    assert kex.exists(PID_FILE)


@pytest.mark.parametrize("word", ["Enable", "ENABLE", "Disable", "", " ", "enable ", "enabled",
                                  "true", "init", "%s%n", "x" * 300], ids=repr)
@pytest.mark.parametrize("rest", [(), ("run",)], ids=repr)
def test_other_word_is_refused(kex, word, rest):
    kex.put_file(PID_FILE, "77\n")
    assert kex.call("AUTOCONF", word, *rest) == 0
    kex.expect_log(*expected.command("AUTOCONF", word, *rest),
                   error("server_autoconfig", f"invalid args[0]={word}"))
    assert kex.calls() == []
    assert kex.exists(PID_FILE)


def test_missing_command_string_is_refused(kex):
    assert kex.call("AUTOCONF", "enable") == 0
    kex.expect_log(*expected.command("AUTOCONF", "enable"),
                   error("server_autoconfig", "invalid args, missing command string"))
    assert kex.calls() == []


# AUTOCONF: disable

CANCELING = info("server_autoconfig", "canceling running autoconfig process")
NO_PID = info("server_autoconfig", f"couldnt get pid from {PID_FILE}")


def not_removed(rc):
    return info("server_autoconfig", f"failed to remove {PID_FILE} rc={rc}")


def cancel(kex, *lines):
    """Cancels and asserts the lines; the program must not have run."""
    assert kex.call("AUTOCONF", "disable") == 0
    kex.expect_log(*expected.command("AUTOCONF", "disable"), CANCELING, *lines)
    assert kex.calls() == []


class Process:
    """A process inside the sandbox with a command line of the test's choice."""

    def __init__(self, sandbox, *words):
        # It ends when the test does: its standard input is closed then.
        self._process = subprocess.Popen(
            sandbox.namespaces.enter("bash", "-c", 'echo $$; exec -a "$1" "$0" "${@:2}"',
                                     "/bin/sh", *words),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.pid = int(self._process.stdout.readline())
        cmdline = "".join(word + "\0" for word in words).encode()
        wait_until(lambda: sandbox.read_file(f"/proc/{self.pid}/cmdline") == cmdline,
                   what="the process to have its command line")

    def runs(self):
        return self._process.poll() is None

    def end(self, timeout=10):
        """Its status: the negative signal number when it was killed."""
        return self._process.wait(timeout)

    def close(self):
        self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait()


@pytest.fixture
def start(kex):
    """Starts processes inside the sandbox; words[0] is what they are called."""
    processes = []

    def begin(*words):
        processes.append(Process(kex, *words))
        return processes[-1]

    yield begin
    for process in processes:
        process.close()


WAITING = ("-c", "read -r _")


def killed(pid, rc=0):
    return info("server_autoconfig", f"killed ostrelagent pid {pid} rc={rc}")


def read(text):
    return info("server_autoconfig", f"read {text}")


def wrong_pid(pid, text):
    return info("server_autoconfig", f"wrong pid {pid} dont kill {text}")


def test_cancel_without_pid_file(kex):
    cancel(kex, NO_PID, not_removed(0))
    (trace,) = traces(kex)
    assert trace.startswith("exe_get_pid_from_file():")
    assert trace.endswith(f" - unable to open pidfile {PID_FILE}")


@pytest.mark.parametrize("words", [
    ("/usr/bin/ostrelagent", *WAITING),
    ("ostrelagent", *WAITING),
    ("my-ostrelagent2", *WAITING),
    # Behind the first NUL: a script that an interpreter runs.
    ("/bin/sh", *WAITING, "/opt/ostrelagent.sh", "--daemon"),
    ("/bin/sh", *WAITING, "one", "two", "ostrelagent"),
], ids=repr)
def test_agent_is_killed(kex, start, words):
    agent = start(*words)
    bystander = start("ostrelagent", *WAITING)
    kex.put_file(PID_FILE, f"{agent.pid}\n")
    cancel(kex, read(words[0]), killed(agent.pid))
    assert agent.end() == -signal.SIGKILL
    assert bystander.runs()
    assert not kex.exists(PID_FILE)
    assert [trace.partition(" - ")[2] for trace in traces(kex)] == \
        [f"pids:'{agent.pid}' pid:{agent.pid}"]


@pytest.mark.parametrize("form", ["{}", "{}\n", " {}\n", "\t+{}\n", "{}abc\n", "{} 7\n",
                                  "{}\n99\n"], ids=repr)
def test_leading_digits_of_the_first_line_are_the_pid(kex, start, form):
    agent = start("ostrelagent", *WAITING)
    content = form.format(agent.pid)
    kex.put_file(PID_FILE, content)
    cancel(kex, read("ostrelagent"), killed(agent.pid))
    assert agent.end() == -signal.SIGKILL
    assert [trace.partition(" - ")[2] for trace in traces(kex)] == \
        [f"pids:'{content.partition(chr(10))[0]}' pid:{agent.pid}"]


@pytest.mark.parametrize("words", [
    ("sh", *WAITING),
    ("/bin/sh", *WAITING, "ostrelagen", "strelagent", "Ostrelagent"),
    # Only the part before a line feed counts.
    ("sh", *WAITING, "a\nostrelagent"),
], ids=repr)
def test_other_process_is_left_alone(kex, start, words):
    other = start(*words)
    kex.put_file(PID_FILE, f"{other.pid}\n")
    cancel(kex, read(words[0]), wrong_pid(other.pid, words[0]))
    assert other.runs()
    assert not kex.exists(PID_FILE)


def inside_pid(outside):
    with open(f"/proc/{outside}/status", encoding="ascii") as status:
        (pids,) = [entry.split()[1:] for entry in status if entry.startswith("NSpid:")]
    return int(pids[-1])


def test_own_pid_of_the_daemon_is_left_alone(kex):
    pid = inside_pid(kex.daemon.pid)
    kex.put_file(PID_FILE, f"{pid}\n")
    cancel(kex, read("/run/sandbox/kex"), wrong_pid(pid, "/run/sandbox/kex"))
    assert not kex.exists(PID_FILE)
    assert kex.call("TERMINATE") == 0


# A process that has ended and was not collected has an empty command line.
def test_zombie_is_left_alone(make_sandbox):
    sandbox = make_sandbox()
    sandbox.start_daemon(zombies=1)
    sandbox.mark()
    with open(f"/proc/{sandbox.daemon.pid}/task/{sandbox.daemon.pid}/children",
              encoding="ascii") as children:
        pid = inside_pid(int(children.read()))
    sandbox.put_file(PID_FILE, f"{pid}\n")
    cancel(sandbox, read(""), wrong_pid(pid, ""))
    assert not sandbox.exists(PID_FILE)


@pytest.mark.parametrize("content, pid", [
    ("", 0), ("\n", 0), ("\n77\n", 0), ("0\n", 0), ("1\n", 1), ("text\n", 0), ("x77\n", 0),
    ("-1\n", 4294967295), ("-2147483648\n", 2147483648), ("2147483648\n", 2147483648),
    ("4294967296\n", 0), ("4294967297\n", 1), ("99999999999999999999999\n", 4294967295),
    ("0x77\n", 0), ("\x80\n", 0),
], ids=repr)
def test_pid_below_two_is_never_touched(kex, content, pid):
    kex.put_file(PID_FILE, content.encode("latin-1"))
    cancel(kex, NO_PID)
    assert not kex.exists(PID_FILE)
    shown = content.partition("\n")[0].encode("latin-1").decode(errors="surrogateescape")
    assert [trace.partition(" - ")[2] for trace in traces(kex)] == [f"pids:'{shown}' pid:{pid}"]


# The second number is what is left of 99999999999 in 32 bits.
@pytest.mark.parametrize("content, pid", [("4194303\n", 4194303), ("99999999999\n", 1215752191),
                                          ("2147483647", 2147483647), ("-4294967000\n", 296)])
def test_pid_without_a_process(kex, content, pid):
    kex.put_file(PID_FILE, content)
    cancel(kex, info("server_autoconfig", f"failed to open /proc/{pid}/cmdline"))
    assert not kex.exists(PID_FILE)


# The result in the line is the kill's, 0 when there was none.
def test_pid_file_that_cannot_be_removed(kex, start):
    os.mkdir(kex.path(PID_FILE))
    kex.put_file(PID_FILE + "/content")
    cancel(kex, NO_PID, not_removed(0))
    assert kex.exists(PID_FILE + "/content")


def test_pid_file_that_cannot_be_removed_after_the_kill(kex, start):
    agent = start("ostrelagent", *WAITING)
    kex.put_file(PID_FILE, f"{agent.pid}\n")
    kex.run("mount", "--bind", PID_FILE, PID_FILE)  # a mount point is busy
    cancel(kex, read("ostrelagent"), killed(agent.pid), not_removed(0))
    assert agent.end() == -signal.SIGKILL


def test_kill_that_fails_shows_in_both_lines(make_sandbox):
    sandbox = make_sandbox()
    sandbox.start_daemon(refuse=["kill"])
    agent = Process(sandbox, "ostrelagent", *WAITING)
    sandbox.put_file(PID_FILE, f"{agent.pid}\n")
    sandbox.run("mount", "--bind", PID_FILE, PID_FILE)
    sandbox.mark()
    cancel(sandbox, read("ostrelagent"), killed(agent.pid, rc=-1), not_removed(-1))
    assert agent.runs()
    sandbox.run("umount", PID_FILE)
    cancel(sandbox, read("ostrelagent"), killed(agent.pid, rc=-1))
    assert not sandbox.exists(PID_FILE)
    agent.close()


def test_surplus_arguments_of_disable_are_ignored(kex):
    assert kex.call("AUTOCONF", "disable", "enable", "x") == 0
    kex.expect_log(*expected.command("AUTOCONF", "disable", "enable", "x"), CANCELING, NO_PID,
                   not_removed(0))
    assert kex.calls() == []


# FIREWALL_CTRL

@pytest.mark.parametrize("arguments, passed", [
    (("mdns", "true"), 2), (("mdns", "false"), 2), (("ping", "true"), 2), (("ping", "false"), 2),
    (("ping", "false", "eth0"), 2), (("mdns", "true", "eth0;x"), 2), (("mdns", "true", ""), 2),
    (("dedipv4", "true", "eth0"), 3), (("dedipv4", "false", "bond_0.1-a"), 3),
    (("dedipv4", "true", "x" * 128), 3), (("dedipv4", "true", "eth0", "more;x"), 3),
], ids=repr)
def test_firewall_script_gets_its_arguments(kex, arguments, passed):
    assert kex.call("FIREWALL_CTRL", *arguments) == 0
    # Success is not logged.
    kex.expect_log(*expected.command("FIREWALL_CTRL", *arguments),
                   expected.executing(FIREWALL, *arguments[:passed]))
    assert kex.calls() == [Call(FIREWALL, arguments[:passed])]


@pytest.mark.parametrize("arguments", [
    (), ("mdns",), ("dedipv4",), ("dedipv4", "true"), ("dedipv4", "false"), ("MDNS", "true"),
    ("http", "true"), ("", "true"), ("mdns", ""), ("mdns", "True"), ("mdns", "1"),
    ("mdns", "enable"), ("true", "mdns"), ("dedipv4", "true", ""), ("dedipv4", "true", "eth0;x"),
    ("dedipv4", "true", "eth0:1"), ("dedipv4", "true", "eth 0"), ("dedipv4", "true", "../x"),
    ("dedipv4", "true", "x" * 129), ("dedipv4", "maybe", "eth0"), ("mdns ", "true"),
], ids=repr)
def test_firewall_control_refuses(kex, arguments):
    refuse(kex, "firewall_control", "FIREWALL_CTRL", *arguments)


@pytest.mark.parametrize("end, status", ENDS)
@pytest.mark.parametrize("arguments", [("ping", "true"), ("dedipv4", "false", "eth0")], ids=repr)
def test_firewall_script_that_fails(kex, end, status, arguments):
    kex.put_program(FIREWALL, **end)
    assert kex.call("FIREWALL_CTRL", *arguments) == 0
    kex.expect_log(*expected.command("FIREWALL_CTRL", *arguments),
                   expected.executing(FIREWALL, *arguments),
                   info("firewall_control", f"WARN - firewall config failed {arguments[0]} "
                                            f"{arguments[1]} rc={status}"))


def test_firewall_script_that_is_missing(kex):
    kex.remove(FIREWALL)
    assert kex.call("FIREWALL_CTRL", "mdns", "true") == 0
    expect_log_of_failed_exec(
        kex, *expected.command("FIREWALL_CTRL", "mdns", "true"),
        expected.executing(FIREWALL, "mdns", "true"), expected.EXECV_FAILED,
        info("firewall_control", "WARN - firewall config failed mdns true rc=65280"))


# DHCP_RELEASE

ENTERED = info("dhcp_release", "")


@pytest.mark.parametrize("version, option", [("ipv4", "-4"), ("ipv6", "-6")])
@pytest.mark.parametrize("end, status", [({}, 0), *ENDS])
def test_dhcp_lease_is_released(kex, version, option, end, status):
    kex.put_program(DHCPCD, **end)
    assert kex.call("DHCP_RELEASE", version, "eth1") == 0
    kex.expect_log(*expected.command("DHCP_RELEASE", version, "eth1"), ENTERED,
                   expected.executing(DHCPCD, "-k", option, "eth1"),
                   info("dhcp_release", f"dhcp release {version} eth1 rc={status}"))
    assert kex.calls() == [Call(DHCPCD, ("-k", option, "eth1"))]


def test_dhcpcd_that_is_missing(kex):
    kex.remove(DHCPCD)
    assert kex.call("DHCP_RELEASE", "ipv4", "eth1") == 0
    expect_log_of_failed_exec(
        kex, *expected.command("DHCP_RELEASE", "ipv4", "eth1"), ENTERED,
        expected.executing(DHCPCD, "-k", "-4", "eth1"), expected.EXECV_FAILED,
        info("dhcp_release", "dhcp release ipv4 eth1 rc=65280"))


@pytest.mark.parametrize("arguments", [
    (), ("ipv4",), ("ipv4", "eth0", "x"), ("ipv5", "eth0"), ("IPv4", "eth0"), ("", "eth0"),
    ("4", "eth0"), ("eth0", "ipv4"), ("ipv4", ""), ("ipv4", "eth0;x"), ("ipv4", "eth0 "),
    ("ipv6", "eth0:1"), ("ipv6", "x" * 129), ("ipv6", "\u00e9th0"),
], ids=repr)
def test_dhcp_release_refuses(kex, arguments):
    refuse(kex, "dhcp_release", "DHCP_RELEASE", *arguments, before=(ENTERED,))


# SENDARPING

def sent(rc):
    return info("send_arping", f"sent arp request rc={rc}")


def test_arping_runs_with_options_and_values(kex):
    words = ("c", "3", "I", "eth0", "192.168.0.1")
    passed = ("-c", "3", "-I", "eth0", "192.168.0.1")
    assert kex.call("SENDARPING", *words) == 0
    kex.expect_log(*expected.command("SENDARPING", *words), expected.executing(ARPING, *passed),
                   sent(0))
    assert kex.calls() == [Call(ARPING, passed)]


def test_every_option_word_becomes_an_option(kex):
    words = tuple("fqbDUAcwiIs")
    assert len(words) == 11
    assert kex.call("SENDARPING", *words) == 0
    assert kex.calls() == [Call(ARPING, tuple("-" + word for word in words))]


@pytest.mark.parametrize("text", [
    "C", "d", "u", "cc", "-c", "-", "ff", "1", "0", "192.168.0.1", "999.999.999.999",
    "1.2.3.4.5.6.7.8", "eth0.100", "$(id)", "`id`", "a*b", "%n", "x" * 257,
    # Text that is refused but starts with a number other than 0.
    "5;x", "5 x", "  7", "-3 a", "+1|", "1" * 300, "9\u00e9",
], ids=lambda text: repr(text[:20]))
def test_other_words_reach_arping_unchanged(kex, text):
    assert kex.call("SENDARPING", text) == 0
    kex.expect_log(*expected.command("SENDARPING", text), expected.executing(ARPING, text),
                   sent(0))
    assert kex.calls() == [Call(ARPING, (text,))]


@pytest.mark.parametrize("text", [
    "", " ", "\t", "\n", "a b", "a;b", "&", "<", ">", "|", "x;", "0 x", "0;", "0x5;", "\u00e9",
    "x" * 258, "c ",
], ids=lambda text: repr(text[:20]))
def test_words_that_are_refused(kex, text):
    for words in [(text,), ("c", "3", text), (text, "c", "3")]:
        assert kex.call("SENDARPING", *words) == -2
        kex.expect_log(*expected.command("SENDARPING", *words),
                       expected.refused("send_arping", None))
    assert kex.calls() == []


@pytest.mark.parametrize("count", [0, 12, 13, 100])
def test_wrong_number_of_words(kex, count):
    words = ("c",) * count
    assert kex.call("SENDARPING", *words) == -1
    kex.expect_log(*expected.command("SENDARPING", *words),
                   error("send_arping", "invalid parm count"))
    assert kex.calls() == []


# The count is looked at before the words.
def test_wrong_number_of_refused_words(kex):
    assert kex.call("SENDARPING", *([" "] * 12)) == -1


@pytest.mark.parametrize("end, status", [({"status": 0}, 0), *ENDS])
def test_status_of_arping_is_the_reply(kex, end, status):
    kex.put_program(ARPING, **end)
    assert kex.call("SENDARPING", "c", "3") == status
    kex.expect_log(*expected.command("SENDARPING", "c", "3"),
                   expected.executing(ARPING, "-c", "3"), sent(status))


def test_arping_that_is_missing(kex):
    kex.remove(ARPING)
    assert kex.call("SENDARPING", "c", "3") == 65280
    expect_log_of_failed_exec(kex, *expected.command("SENDARPING", "c", "3"),
                              expected.executing(ARPING, "-c", "3"), expected.EXECV_FAILED,
                              sent(65280))


def test_fork_that_fails_is_the_reply_too(make_sandbox):
    sandbox = make_sandbox()
    sandbox.start_daemon(refuse=["clone", "clone3", "fork"])
    sandbox.put_program(ARPING)
    sandbox.mark()
    assert sandbox.call("SENDARPING", "c", "3") == -1
    sandbox.expect_log(*expected.command("SENDARPING", "c", "3"),
                       line("exe", "exec_cmd", 511, "ERROR - failed to fork"), sent(-1))
    assert sandbox.calls() == []


# The daemon is busy for as long as the program runs, however long that is.
@pytest.mark.parametrize("command, arguments, program", [
    ("AUTOCONF", ("enable", "run"), AUTOCONF), ("FIREWALL_CTRL", ("ping", "true"), FIREWALL),
    ("DHCP_RELEASE", ("ipv4", "eth0"), DHCPCD), ("SENDARPING", ("c", "3"), ARPING),
])
def test_other_commands_wait_for_the_program(kex, command, arguments, program):
    gate = kex.put_program(program, gated=True)
    slow = kex.client.start_call(command, *arguments)
    wait_until(kex.calls, what="the program to run")
    other = kex.bus.connect()
    waiting = other.start_call("TERMINATE")
    with pytest.raises(TimeoutError):
        waiting.reply(timeout=0.2)
    gate.open()
    assert slow.reply() == (0,)
    assert waiting.reply() == (0,)
    other.close()
