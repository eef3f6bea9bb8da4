"""The policy that is installed, on a real bus: who is not of the group gets no further."""

import os

import pytest

from harness import COMMAND_PREFIX, INTERFACE, NAME, PATH, expected

POLICY = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                      "../../dist/com.orvel.bmc.network.kex.conf.in")
GROUP = "kex-clients"
MEMBER, STRANGER = 4001, 4002

EXECUTE = ("call", NAME, PATH, INTERFACE, "ExecuteCommand", "sas", COMMAND_PREFIX + "TERMINATE",
           "1", "x")
REQUESTS = [
    EXECUTE, ("get-property", NAME, PATH, INTERFACE, "State"), ("introspect", NAME, PATH),
    ("call", NAME, "/", "org.freedesktop.DBus.Peer", "Ping"),
    ("call", "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
     "RequestName", "su", NAME, "3"),
]


@pytest.fixture
def kex(make_sandbox):
    sandbox = make_sandbox(bus=False)
    sandbox.put_file("/etc/nsswitch.conf", "passwd: files\ngroup: files\n")
    sandbox.put_file("/etc/passwd", "root:x:0:0::/:/bin/sh\n"
                                    f"member:x:{MEMBER}:{MEMBER}::/:/bin/sh\n"
                                    f"stranger:x:{STRANGER}:{STRANGER}::/:/bin/sh\n")
    sandbox.put_file("/etc/group", f"root:x:0:\n{GROUP}:x:4000:member\n"
                                   f"member:x:{MEMBER}:\nstranger:x:{STRANGER}:\n")
    with open(POLICY, encoding="utf-8") as file:
        sandbox.put_file("/run/dbus/kex.conf", file.read().replace("@clients_group@", GROUP))
    sandbox.start_bus("<include>/run/dbus/kex.conf</include>")
    sandbox.start_daemon(ready=False)
    sandbox.wait_for_log("event loop is entering")
    sandbox.mark()
    return sandbox


def ask(kex, user, words):
    return kex.run("setpriv", f"--reuid={user}", f"--regid={user}", "--init-groups", "busctl",
                   "--system", *words, check=False)


@pytest.mark.parametrize("words", REQUESTS, ids=lambda words: words[-1])
def test_stranger_is_refused_and_leaves_no_trace(kex, words):
    done = ask(kex, STRANGER, words)
    assert done.returncode != 0 and done.stdout == "" and "ccess denied" in done.stderr
    kex.expect_log()
    assert ask(kex, MEMBER, EXECUTE).stdout == "i 0\n"
    kex.expect_log(*expected.command("TERMINATE", "x"))


def test_member_may_not_take_the_name(kex):
    assert "ccess denied" in ask(kex, MEMBER, REQUESTS[-1]).stderr
    assert ask(kex, MEMBER, EXECUTE).stdout == "i 0\n"
