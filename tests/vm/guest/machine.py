"""The machine under test: commands through the bus, the daemon's log, programs, units."""

import json
import os
import pwd
import subprocess
import time
import unittest

import log

NAME = "com.orvel.bmc.network.kex"
PATH = "/com/orvel/bmc/network/kex"
INTERFACE = "com.orvel.bmc.network.KEX"
UNIT = "kex.service"
LOG = "/run/tirvad/kex.log"

# Seconds, far more than anything takes: a wait ends with what it waits for.
LIMIT = 120

# A member of the group that may call the daemon, and one who is not.
MEMBER = "netsvc"
STRANGER = "stranger"

COMMANDS = (
    "UNKNOWN", "AUTOCONF", "USBNIC", "SYSTEMD_SERVICE_CTRL", "FIREWALL_CTRL",
    "CONJOIN_IN_AN_INCLUSIVE_FASHION", "LINK_CTRL", "SET_HOSTNAME", "SET_DOMAINNAME",
    "SENDARPING", "VLANPRI_SET", "SEND_NTW_PKT", "UPDATE_HOSTS_FILE", "IP4_DAD_START",
    "SET_IP6_STABLE_PRIVACY", "ADD_NETWORK_INTERFACE", "RENAME_NETWORK_INTERFACE",
    "DELETE_NETWORK_INTERFACE", "SET_MAC_ADDRESS", "SET_IPV6_SETTINGS",
    "INTERFACE_ADDR_FLUSH", "DHCP_RELEASE", "SMARTNIC_INIT", "INIT_FRONTDED",
    "INIT_FLOP_USB_NIC", "LINK_TUNE", "SET_STATIC_ADDRESS", "SET_STATIC_ROUTE",
    "SET_IP6_HOP_LIMIT", "SET_IP6_NEIGHBOR_CACHE", "TERMINATE", "JOURNAL_CTRL",
)

ANY = log.re.compile(".*")


class CallError(Exception):
    """The bus or the daemon answered with an error."""


def run(*words, check=True, **options):
    """Runs a program; its standard output as text."""
    done = subprocess.run(words, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, errors="replace", **options)
    if check and done.returncode:
        raise AssertionError(f"{' '.join(words)}: status {done.returncode}\n"
                             f"{done.stdout}{done.stderr}")
    return done.stdout


def as_user(name):
    """The options that make subprocess run a program as a user, with the user's groups."""
    user = pwd.getpwnam(name)
    return {"user": user.pw_uid, "group": user.pw_gid,
            "extra_groups": os.getgrouplist(name, user.pw_gid)}


def busctl(*words, user=MEMBER):
    """Output of busctl for an unprivileged caller; raises CallError for an error reply."""
    command = ["busctl", "--system", f"--timeout={LIMIT}", "--", *words]
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, text=True, errors="replace", **as_user(user))
    if done.returncode:
        raise CallError(done.stderr.strip())
    return done.stdout.strip()


def call_words(command, arguments):
    return ("call", NAME, PATH, INTERFACE, "ExecuteCommand", "sas",
            f"{INTERFACE}.CmdID.{command}", str(len(arguments)), *arguments)


def execute(command, *arguments, user=MEMBER):
    """ExecuteCommand; the number of the reply."""
    kind, number = busctl(*call_words(command, arguments), user=user).split()
    if kind != "i":
        raise AssertionError(f"expected a reply of type i, got {kind}")
    return int(number)


def start_execute(command, *arguments):
    """ExecuteCommand without waiting; the process that does."""
    return subprocess.Popen(["busctl", "--system", f"--timeout={LIMIT}", "--",
                             *call_words(command, arguments)],
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                            stderr=subprocess.STDOUT, text=True, **as_user(MEMBER))


def read(path):
    """A file's text without the line feed at its end."""
    with open(path, errors="replace") as file:
        return file.read().rstrip("\n")


def write(path, text, mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb" if isinstance(text, bytes) else "w") as file:
        file.write(text)
    os.chmod(path, mode)


def set_value(path, text):
    """Writes to a file of the kernel's."""
    with open(path, "w") as file:
        file.write(text + "\n")


def read_log(path=LOG):
    with open(path, "rb") as file:
        return file.read()


def log_mark():
    """The end of the log as it is now."""
    status = os.stat(LOG)
    return status.st_ino, status.st_size


def log_since(mark):
    """What was logged since a mark, also when the log was rotated meanwhile."""
    inode, size = mark
    if os.stat(LOG).st_ino == inode:
        return read_log()[size:]
    for path in (LOG + ".0", LOG + ".1"):
        if os.path.exists(path) and os.stat(path).st_ino == inode:
            return read_log(path)[size:] + read_log()
    raise AssertionError("the log that was marked is gone")


def lines_since(mark):
    return log.parse(log_since(mark))


def wait_until(condition, what="the condition"):
    """Returns the first true value of condition(), or raises when it takes too long."""
    deadline = time.monotonic() + LIMIT
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"after {LIMIT} s still waiting for {what}")
        time.sleep(0.05)


def ip(*words):
    return run("ip", *words)


def ip_json(*words):
    """The list that ip prints; empty when it has nothing to say."""
    return json.loads(run("ip", "-j", *words) or "[]")


def link(name):
    """A link with its details as ip shows them."""
    return ip_json("-d", "link", "show", "dev", name)[0]


def has_link(name):
    return os.path.isdir(f"/sys/class/net/{name}")


def link_data(name):
    """What a link's kind says about it."""
    return link(name)["linkinfo"]["info_data"]


def link_setting(name, setting):
    return read(f"/sys/class/net/{name}/{setting}")


def is_up(name):
    return "UP" in link(name)["flags"]


def addresses(name, *options):
    """Of a link, as address/prefix."""
    found = ip_json(*options, "address", "show", "dev", name)
    return sorted(f"{entry['local']}/{entry['prefixlen']}"
                  for part in found for entry in part.get("addr_info", ()))


def unit_property(name, unit=UNIT):
    return run("systemctl", "show", "--value", "-p", name, unit).strip()


def systemctl(*words):
    return run("systemctl", *words)


def daemon_pid():
    """The process id of the daemon, or 0. Its children have another name."""
    try:
        pids = read(f"/sys/fs/cgroup/system.slice/{UNIT}/cgroup.procs").split()
        found = [int(pid) for pid in pids if read(f"/proc/{pid}/comm") == "kex"]
    except (FileNotFoundError, ProcessLookupError):
        return 0
    return min(found, default=0)


def name_owner():
    """The process id of the owner of the daemon's name, or 0."""
    try:
        answer = busctl("call", "org.freedesktop.DBus", "/org/freedesktop/DBus",
                        "org.freedesktop.DBus", "GetConnectionUnixProcessID", "s", NAME)
    except CallError:
        return 0
    return int(answer.split()[1])


def wait_for_service(former_pid=0):
    """Waits until another daemon than the former one owns the name; its process id."""
    def served():
        pid = unit_property("MainPID")
        return (pid not in ("0", str(former_pid)) and unit_property("ActiveState") == "active"
                and name_owner() == int(pid) and int(pid))
    return wait_until(served, "the service to be back")


def line(function, text, number=None, tag="exe"):
    """An expected log line; any source line fits without a number."""
    return log.line(tag, function, number, text)


def netlink(function, text):
    return log.line("nlc", function, None, text)


def netlink_error(function, text):
    return netlink(function, "ERROR - " + text)


def called(command, arguments):
    """The lines that the dispatcher writes before the handler runs."""
    number = COMMANDS.index(command)
    return [log.line("dbs", "executeCommand", 71,
                     f"command[{number}]=[{INTERFACE}.CmdID.{command}]")] + [
        log.line("dbs", "executeCommand", 76, f"   args[{index}]=[{argument}]")
        for index, argument in enumerate(arguments)]


def executing(*words):
    return log.line("exe", "exec_cmd", 503, "Executing command: " + "".join(f"{w} " for w in words))


class MachineTest(unittest.TestCase):
    """A test on the machine; the daemon must outlive it unless restarts is set."""

    maxDiff = None
    restarts = False

    def run(self, result=None):
        before = daemon_pid()
        outcome = super().run(result)
        after = daemon_pid()
        if not self.restarts and before != after:
            result.addFailure(self, (AssertionError, AssertionError(
                f"the daemon was process {before} and is process {after}"), None))
        return outcome

    def add_link(self, name, *details):
        """A link of the test's own, of type dummy unless details say otherwise."""
        ip("link", "add", name, *(details or ("type", "dummy")))
        self.drop_link(name)

    def drop_link(self, name):
        """Deletes a link at the test's end if it is still there."""
        self.addCleanup(lambda: has_link(name) and ip("link", "delete", name))

    def add_namespace(self, name):
        ip("netns", "add", name)
        self.addCleanup(ip, "netns", "delete", name)


class CommandTest(MachineTest):
    """Tests of one command, which the class names."""

    command = None

    def call(self, *arguments, reply=0):
        """Calls the command as an unprivileged member of the group; the log lines of its
        handler. The dispatcher's lines and the reply are asserted."""
        mark = log_mark()
        got = execute(self.command, *arguments)
        lines = lines_since(mark)
        head = called(self.command, arguments)
        log.assert_lines(lines[:len(head)], head)
        self.assertEqual(got, reply, f"reply of {self.command}; log: {lines}")
        return lines[len(head):]

    def expect(self, arguments, *expected, reply=0):
        """Calls and asserts all lines of the handler."""
        log.assert_lines(self.call(*arguments, reply=reply), list(expected))
