"""The lines shown for a command: all of its own, and nobody else's."""

import json
import time

import pytest

from harness import wait_until

LOG = "/run/tirvad/kex.log"
MAX_MESSAGES = 1501  # the next one is written to a new file
SCRIPT = "/etc/plinth_script/network/systemautoconf.sh"


def texts(output):
    """What follows the stamp, function and number of each line."""
    return [line.split(" - ", 1)[1] for line in output.splitlines() if " - " in line]


def fill_log(sandbox, messages):
    """Lets the daemon write until its current file has so many messages."""
    written = len(sandbox.log.content().splitlines())
    sandbox.call("TERMINATE", *["x"] * (messages - written - 1), timeout=60)
    assert len(sandbox.log.content().splitlines()) == messages


def test_shows_the_lines_of_the_command_in_the_form_of_the_file(kexctl):
    done = kexctl("link_ctrl", "up", "lo")
    *lines, reply = done.stdout.splitlines()
    content = kexctl.sandbox.log.content().decode()
    assert reply == "reply 0"
    assert content.endswith("\n".join(lines) + "\n")
    assert texts(done.stdout)[:3] == [
        "command[6]=[com.orvel.bmc.network.KEX.CmdID.LINK_CTRL]", "   args[0]=[up]",
        "   args[1]=[lo]"]


def test_shows_no_line_of_other_callers(kexctl):
    sandbox = kexctl.sandbox
    gate = sandbox.put_program(SCRIPT, status=3, gated=True)
    pending = sandbox.client.start_call("AUTOCONF", "enable", "renew")
    wait_until(sandbox.calls, what="the script to run")
    running = kexctl.start("TERMINATE", "mine")
    # Behind the other caller in the daemon's queue once it has found the bus.
    wait_until(lambda: len(sandbox.client.driver("ListNames")[0]) > 4, what="kexctl on the bus")
    gate.open()
    assert pending.reply() == (0,)
    assert running.wait() == 0
    assert texts(running.stdout) == ["command[30]=[com.orvel.bmc.network.KEX.CmdID.TERMINATE]",
                                     "   args[0]=[mine]"]
    assert b"failed to start server autoconfig rc=768" in sandbox.log.content()


@pytest.mark.parametrize("room", range(7))
def test_shows_every_line_when_the_log_rotates_in_the_call(kexctl, room):
    fill_log(kexctl.sandbox, MAX_MESSAGES - room)
    done = kexctl("LINK_CTRL", "up", "lo")
    assert texts(done.stdout) == [
        "command[6]=[com.orvel.bmc.network.KEX.CmdID.LINK_CTRL]", "   args[0]=[up]",
        "   args[1]=[lo]", "", "set lo up", "set lo up rc=0"]
    assert kexctl.sandbox.exists(LOG + ".0") == (room < 6)


def test_shows_every_line_when_the_log_rotates_twice_in_the_call(kexctl):
    arguments = [str(number) for number in range(2 * MAX_MESSAGES)]
    done = kexctl("TERMINATE", *arguments)
    assert texts(done.stdout)[1:] == [f"   args[{number}]=[{number}]" for number in arguments]
    assert kexctl.sandbox.exists(LOG + ".1")
    assert done.returncode == 0


def test_finds_the_error_behind_a_rotation(kexctl):
    fill_log(kexctl.sandbox, MAX_MESSAGES)
    assert kexctl("LINK_CTRL", "up", "lo", "x").returncode == 1


def test_shows_an_argument_with_newlines_whole(kexctl):
    argument = "one\ntwo\n[not a stamp] three"
    done = kexctl("--json", "TERMINATE", argument)
    assert [line["text"] for line in json.loads(done.stdout)["log"]][1:] == [
        f"   args[0]=[{argument}]"]


def test_reads_the_journal_when_there_is_no_file(make_kexctl):
    kexctl = make_kexctl(log_dir=False)
    put_journal(kexctl.sandbox, [
        ("0", "dbs_executeCommand():71 - command[6]=[com.orvel.bmc.network.KEX.CmdID.LINK_CTRL]"),
        ("0", "dbs_executeCommand():76 -    args[0]=[up]"),
        ("0", "dbs_executeCommand():76 -    args[1]=[lo]"),
        ("65534", "exe_link_control():691 - ERROR - written by somebody else"),
        ("0", "exe_link_control():697 - set lo up rc=0"),
        ("0", "dbs_executeCommand():71 - command[30]=[com.orvel.bmc.network.KEX.CmdID.TERMINATE]"),
    ])
    done = kexctl("LINK_CTRL", "up", "lo")
    assert texts(done.stdout)[1:] == ["   args[0]=[up]", "   args[1]=[lo]", "set lo up rc=0"]
    assert done.returncode == 0


def test_says_when_no_log_shows_the_command(make_kexctl):
    done = make_kexctl(log_dir=False)("TERMINATE")
    assert (done.returncode, done.stdout) == (0, "reply 0\n")
    assert done.stderr == ("kexctl: the log does not show this command: its outcome is not "
                           "known\n")


def put_journal(sandbox, entries):
    """Lays a journal of entries to come, each with a user id and a message of kex."""
    boot = open("/proc/sys/kernel/random/boot_id").read().strip().replace("-", "")
    start = int((time.time() + 60) * 1e6)
    export = "".join(
        f"__REALTIME_TIMESTAMP={start + index}\n__MONOTONIC_TIMESTAMP={1000 + index}\n"
        f"_BOOT_ID={boot}\nSYSLOG_IDENTIFIER=kex\n_UID={user}\nMESSAGE={message}\n\n"
        for index, (user, message) in enumerate(entries))
    folder = "/run/log/journal/" + "0123456789abcdef" * 2
    sandbox.put_file("/run/sandbox/export", export)
    sandbox.run("mkdir", "-p", folder)
    sandbox.run("/lib/systemd/systemd-journal-remote", "-o", folder + "/system.journal",
                "/run/sandbox/export")
