"""The two sinks of the log: the file with its rotation, and the library."""

import datetime
import os
import re
import time

import pytest

from harness import assert_lines, expected, parse, wait_until

LOG = "/run/tirvad/kex.log"
FIRST, LATER = LOG + ".0", LOG + ".1"
START_LINES = len(expected.START)
# The message after this many rotates the file.
FULL = 1501


def fill(kex, messages):
    """Makes the daemon log so many messages: one for the command, one for each
    argument."""
    assert kex.call("TERMINATE", *["x"] * (messages - 1), timeout=30) == 0


def count(kex, path=LOG):
    return len(parse(kex.read_file(path)))


def mode(kex, path=LOG):
    return os.stat(kex.path(path)).st_mode & 0o7777


def owner(kex, path=LOG):
    status = os.stat(kex.path(path))
    return status.st_uid, status.st_gid


def lay_users(sandbox, extra=""):
    sandbox.put_file("/etc/nsswitch.conf", "passwd: files\n")
    sandbox.put_file("/etc/passwd", "root:x:0:0::/root:/bin/sh\n" + extra)


# The file

def test_start_creates_the_file(sandbox):
    lay_users(sandbox)
    sandbox.start_daemon()
    assert mode(sandbox) == 0o664
    assert owner(sandbox) == (0, 0)
    sandbox.expect_log(*expected.START)


def test_file_belongs_to_the_user_kex(sandbox):
    lay_users(sandbox, "kex:x:4242:4343::/:/bin/false\n")
    sandbox.start_daemon()
    assert owner(sandbox) == (4242, 4343)
    fill(sandbox, FULL - START_LINES + 1)
    assert owner(sandbox, FIRST) == owner(sandbox) == (4242, 4343)


@pytest.mark.parametrize("before, after", [(0o600, 0o664), (0o000, 0o664), (0o751, 0o775)])
def test_permissions_are_added_to_those_there(sandbox, before, after):
    sandbox.put_file(LOG, "", mode=before)
    sandbox.start_daemon()
    assert mode(sandbox) == after


def test_restarted_daemon_appends(sandbox):
    sandbox.put_file(LOG, "what was there\n")
    sandbox.start_daemon()
    content = sandbox.read_file(LOG)
    assert content.startswith(b"what was there\n[")
    assert len(parse(content[len("what was there\n"):])) == START_LINES


def test_time_stamp_is_the_local_time(kex):
    before = datetime.datetime.now().replace(microsecond=0)
    kex.call("TERMINATE")
    stamp = kex.log.content().splitlines()[-1].decode()[1:16]
    then = datetime.datetime.strptime(f"{before.year} {stamp}", "%Y %d-%b %H:%M:%S")
    assert before <= then <= datetime.datetime.now()


def test_time_stamp_follows_the_time_zone(sandbox):
    sandbox.start_daemon(environment={"TZ": "XXX-5:30"})
    stamp = sandbox.log.content().splitlines()[0].decode()[1:16]
    expected_stamps = [time.strftime("%d-%b %T", time.gmtime(time.time() + 5.5 * 3600 - ago))
                       for ago in range(10)]
    assert stamp in expected_stamps


def test_file_removed_between_messages_comes_back(kex):
    kex.remove(LOG)
    kex.call("TERMINATE", "a")
    assert count(kex) == 2


def test_message_of_a_megabyte_is_whole(kex):
    text = "%d" * (1 << 19)
    kex.call("TERMINATE", text)
    kex.expect_log(*expected.command("TERMINATE", text))


def test_without_the_folder_the_file_is_silent(make_sandbox):
    sandbox = make_sandbox(log_dir=False)
    sandbox.start_daemon()
    assert sandbox.call("LINK_CTRL", "up", "lo") == 0
    assert not sandbox.exists("/run/tirvad")
    # The other sink has every message.
    messages = sandbox.journal.messages()
    assert messages[0] == "man_main():98 - kex starting up"
    assert messages[-1] == "exe_link_control():697 - set lo up rc=0"
    # A folder that appears later is taken: the file is opened for each message.
    os.mkdir(sandbox.path("/run/tirvad"))
    sandbox.call("TERMINATE")
    sandbox.expect_log(*expected.command("TERMINATE"))


def test_file_that_is_a_folder_is_left_alone(sandbox):
    os.mkdir(sandbox.path(LOG))
    sandbox.start_daemon()
    assert sandbox.call("TERMINATE") == 0
    assert os.listdir(sandbox.path(LOG)) == []
    assert sandbox.terminate() == 0


def test_full_disk_drops_messages_only(sandbox):
    sandbox.run("mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", "/run/tirvad")
    sandbox.start_daemon()
    filler = sandbox.path("/run/tirvad/filler")
    with pytest.raises(OSError), open(filler, "wb", buffering=0) as file:
        while True:
            file.write(b"x" * 4096)
    sandbox.mark()
    assert sandbox.call("LINK_CTRL", "up", "lo", "x" * 8192) == 0
    assert sandbox.call("LINK_CTRL", "up", "lo") == 0
    assert "UP" in sandbox.link("lo")["flags"]
    assert sandbox.journal.messages()[-1] == "exe_link_control():697 - set lo up rc=0"
    os.unlink(filler)
    sandbox.call("TERMINATE", "after")
    assert sandbox.log.content().endswith(b"   args[0]=[after]\n")


# Rotation

def test_1502nd_message_starts_a_new_file(sandbox):
    sandbox.start_daemon()
    fill(sandbox, FULL - START_LINES)
    assert count(sandbox) == FULL
    assert not sandbox.exists(FIRST)
    before = sandbox.read_file(LOG)

    sandbox.call("UNKNOWN", "a")
    assert sandbox.read_file(FIRST) == before
    lines = parse(sandbox.read_file(LOG))
    assert lines == ["dbs_executeCommand():71 - "
                     "command[0]=[com.orvel.bmc.network.KEX.CmdID.UNKNOWN]\n",
                     "dbs_executeCommand():76 -    args[0]=[a]\n",
                     "dbs_executeCommand():164 - unknown\n"]
    assert mode(sandbox) == 0o664
    assert not sandbox.exists(LATER)


def test_child_leaves_the_rotation_to_the_daemon(sandbox):
    sandbox.put_program("/usr/sbin/ethtool")
    sandbox.start_daemon()
    command = expected.command("LINK_TUNE", "eth0", "enable")
    fill(sandbox, FULL - START_LINES - len(command))
    before = sandbox.read_file(LOG)
    # The daemon has written as many messages as fit when the child logs its own.
    sandbox.call("LINK_TUNE", "eth0", "enable")
    assert not sandbox.exists(FIRST)

    sandbox.call("UNKNOWN")
    kept = parse(sandbox.read_file(FIRST)[len(before):])
    assert_lines(kept, [*command, expected.executing("/usr/sbin/ethtool", "-s", "eth0",
                                                     "autoneg", "on")])


def test_later_rotations_overwrite_one_file_and_keep_the_first(sandbox):
    sandbox.start_daemon()
    fill(sandbox, FULL - START_LINES)
    first = sandbox.read_file(LOG)
    fill(sandbox, FULL)
    assert sandbox.read_file(FIRST) == first and not sandbox.exists(LATER)
    second = sandbox.read_file(LOG)
    assert len(parse(second)) == FULL

    fill(sandbox, FULL)
    assert sandbox.read_file(LATER) == second
    third = sandbox.read_file(LOG)
    assert len(parse(third)) == FULL

    fill(sandbox, 2)
    assert sandbox.read_file(LATER) == third
    assert sandbox.read_file(FIRST) == first
    assert count(sandbox) == 2
    assert sorted(os.listdir(sandbox.path("/run/tirvad"))) == ["kex.log", "kex.log.0", "kex.log.1"]


def test_lines_there_at_the_start_are_not_counted(sandbox):
    sandbox.put_file(LOG, "[01-Jan 00:00:00] old\n" * 3000)
    sandbox.start_daemon()
    fill(sandbox, FULL - START_LINES)
    assert count(sandbox) == 3000 + FULL and not sandbox.exists(FIRST)
    fill(sandbox, 1)
    assert count(sandbox, FIRST) == 3000 + FULL and count(sandbox) == 1


def test_restarted_daemon_overwrites_the_first_file(sandbox):
    sandbox.put_file(FIRST, "of an earlier daemon\n")
    sandbox.start_daemon()
    fill(sandbox, FULL - START_LINES + 1)
    assert count(sandbox, FIRST) == FULL


def test_rotation_that_fails_is_swallowed(sandbox):
    sandbox.put_file(FIRST + "/in the way", "")
    sandbox.start_daemon()
    fill(sandbox, FULL - START_LINES + 1)
    assert count(sandbox) == FULL + 1
    # It counts as the first one all the same.
    fill(sandbox, FULL)
    assert count(sandbox, LATER) == FULL + FULL
    assert count(sandbox) == 1


# The library

def test_library_gets_what_the_file_gets(kex):
    kex.call("LINK_CTRL", "up", "lo")
    kex.call("LINK_CTRL", "up")
    assert [message + "\n" for message in kex.journal.messages()] == kex.lines()
    for record in kex.journal.records():
        assert record["SYSLOG_IDENTIFIER"] == "kex"
        assert record["QLOG_COMPONENT"] == "320"


# Level 2 is an error, 3 a warning, 4 information.
def test_level_is_the_priority(kex):
    kex.put_program("/etc/plinth_script/network/fwctrl.sh", status=1)
    kex.call("LINK_CTRL", "up")
    kex.call("FIREWALL_CTRL", "ping", "true")
    levels = {"ERROR": "2", "WARN": "3"}
    seen = set()
    for record in kex.journal.records():
        text = re.sub(r"^\w+\(\):\d+ - ", "", record["MESSAGE"])
        level = levels.get(text.split(" - ")[0], "4")
        assert record["PRIORITY"] == level, record
        seen.add(level)
    assert seen == {"2", "3", "4"}


def test_reaping_is_of_level_six(sandbox):
    sandbox.start_daemon(zombies=1)
    sandbox.daemon.signal_and_wait_until_taken(17)
    sandbox.mark()
    sandbox.call("TERMINATE")
    record = sandbox.journal.records()[-1]
    assert "reaped a zombie" in record["MESSAGE"] and record["PRIORITY"] == "6"


def test_trace_reaches_the_library_only(kex):
    assert kex.call("SET_IPV6_SETTINGS", "lo", "disable", "disable", "disable") == 0
    *_, trace = kex.journal.records()
    assert re.fullmatch(r"exe_ipv6_procfs_setting\(\):\d+ - lo disable_ipv6 val:1 OK",
                        trace["MESSAGE"])
    assert (trace["PRIORITY"], trace["QLOG_COMPONENT"]) == ("5", "320")
    assert b"val:1" not in kex.log.content()
    assert [message + "\n" for message in kex.journal.messages()[:-1]] == kex.lines()


def test_last_word_of_the_object_reaches_the_library_only(kex):
    assert kex.terminate() == 0
    kex.expect_log(*expected.STOP)
    *_, destructed, last = kex.journal.records()
    assert destructed["MESSAGE"] == "dbs_~KEX():51 - destructed"
    assert last["MESSAGE"] == "server.65.~KEX: destructor called, DAL true"
    # Level 9 has no priority of its own.
    assert (last["PRIORITY"], last["QLOG_COMPONENT"]) == ("7", "128")


def test_message_of_several_lines_is_one_entry(kex):
    kex.call("TERMINATE", "a\nPRIORITY=0\nb")
    record = kex.journal.records()[-1]
    assert record["MESSAGE"] == "dbs_executeCommand():76 -    args[0]=[a\nPRIORITY=0\nb]"
    assert record["PRIORITY"] == "4"


def test_without_a_journal_the_daemon_works(make_sandbox):
    sandbox = make_sandbox(journal=False)
    sandbox.start_daemon()
    sandbox.mark()
    assert sandbox.call("TERMINATE") == 0
    sandbox.expect_log(*expected.command("TERMINATE"))
    assert sandbox.terminate() == 0


def test_journal_that_hangs_does_not_hang_the_daemon(kex):
    kex.journal.pause()
    for _ in range(10):
        assert kex.call("TERMINATE", *["x"] * 1000) == 0
    kex.journal.resume()
    wait_until(kex.journal.records, what="the entries that fitted into the socket")
    kex.journal.mark()
    # It comes back when the journal reads again.
    kex.call("TERMINATE", "later")
    assert kex.journal.messages()[-1] == "dbs_executeCommand():76 -    args[0]=[later]"
    kex.mark()
    kex.journal.pause()
    kex.call("TERMINATE", *["x"] * 1000)
    assert kex.terminate() == 0
