"""The capture of kernel messages, from real journal files."""

import os
import re
import subprocess
import time

import pytest

from harness import CallError, assert_lines, binary_under_test, expected, line
from journal_files import MACHINE, SYSTEM_JOURNAL, Entry, write_journal
from sinks import Sinks

OUTPUT = "/run/capture/kernel.log"
SECOND = 1_000_000


@pytest.fixture
def kex(kex):
    os.mkdir(kex.path("/run/capture"))
    sinks = Sinks(kex)
    yield kex
    sinks.assert_agreement()


def dump(number, text):
    return line("cjn", "dump", number, text)


def error(number, text):
    return dump(number, "ERROR - " + text)


def seconds_line(seconds):
    return dump(109, f"{seconds} second{'' if seconds in (0, 1) else 's'}")


def now():
    """The monotonic clock in microseconds, as the daemon reads it."""
    return time.clock_gettime_ns(time.CLOCK_MONOTONIC) // 1000


def stamp(microseconds):
    return f"{microseconds // SECOND}.{microseconds % SECOND:06}"


_HEADER = re.compile(rb"\A\[(\d+)\.(\d{6})\] -> \[(\d+)\.(\d{6})\]\n\n")


class Capture:
    """An output file in its parts: the window in microseconds, and what follows."""

    def __init__(self, content, seconds, before, after):
        header = _HEADER.match(content)
        assert header, content[:200]
        whole = [int(number) for number in header.groups()]
        self.start = whole[0] * SECOND + whole[1]
        self.end = whole[2] * SECOND + whole[3]
        self.body = content[header.end():]
        # Byte for byte: no blank, no sign, no leading zero that the numbers do not have.
        assert header.group() == f"[{stamp(self.start)}] -> [{stamp(self.end)}]\n\n".encode()
        assert before <= self.end <= after
        assert self.start == max(0, self.end - seconds * SECOND)


def capture(kex, seconds, text=None, logged=None, path=OUTPUT):
    """JOURNAL_CTRL; asserts its lines and returns what it captured."""
    arguments = ("kernel", str(seconds) if text is None else text, path)
    before = now()
    assert kex.call("JOURNAL_CTRL", *arguments, timeout=60) == 0
    after = now()
    kex.expect_log(*expected.command("JOURNAL_CTRL", *arguments),
                   seconds_line(seconds) if logged is None else logged)
    return Capture(kex.read_file(path), seconds, before, after)


def entry_line(entry):
    prefix = b"" if entry.boot is not None else f"[{stamp(entry.monotonic)}] ".encode()
    return prefix + (entry.message or b"") + b"\n"


def ago(seconds):
    return now() - int(seconds * SECOND)


# Which entries

def test_window_holds_the_kernel_entries_of_the_last_seconds(kex):
    inside = [Entry(ago(40), b"first"), Entry(ago(20), b"second"), Entry(ago(0.5), b"third")]
    outside = [Entry(1, b"at boot"), Entry(ago(61), b"just outside")]
    write_journal(kex, outside + inside)
    assert capture(kex, 60).body == b"".join(map(entry_line, inside))


def test_entry_ahead_of_the_clock_is_inside(kex):
    entry = Entry(ago(-1000), b"ahead")
    write_journal(kex, [entry])
    assert capture(kex, 5).body == entry_line(entry)


# The whole journal is read, skipping what is too old wherever it stands.
def test_entries_are_skipped_one_by_one(kex):
    inside = [Entry(ago(4), b"a"), Entry(ago(3), b"b"), Entry(ago(2), b"c")]
    write_journal(kex, [inside[0], Entry(1, b"old"), inside[1], Entry(2, b"old"), inside[2],
                        Entry(3, b"old")])
    assert capture(kex, 60).body == b"".join(map(entry_line, inside))


@pytest.mark.parametrize("transport", ["syslog", "journal", "stdout", "audit", "driver", "kernel2",
                                       "Kernel", "kerne", None])
def test_entries_of_other_transports_are_left_out(kex, transport):
    kernel = Entry(ago(2), b"of the kernel")
    write_journal(kex, [Entry(ago(3), b"other", transport), kernel,
                        Entry(ago(1), b"other", transport)])
    assert capture(kex, 60).body == entry_line(kernel)


def test_other_fields_are_left_out(kex):
    entry = Entry(ago(2), b"text", more={"_MESSAGE": b"x", "MESSAGES": b"y", "MESSAGE_ID": b"z"})
    write_journal(kex, [entry])
    assert capture(kex, 60).body == entry_line(entry)


def test_rotated_files_are_read_from_the_oldest(kex):
    old, new = Entry(ago(5), b"old"), Entry(ago(4), b"new")
    folder = os.path.dirname(SYSTEM_JOURNAL)
    write_journal(kex, [old], folder + "/system@" + "0" * 32 + "-0000000000000001-"
                  "0000000000000001.journal")
    # Of two files the entries are ordered by their times.
    write_journal(kex, [Entry(1, b"filler"), new])
    assert capture(kex, 60).body == entry_line(old) + entry_line(new)


def test_journals_of_users_and_of_the_disk_are_left_out(kex):
    entry = Entry(ago(2), b"system")
    write_journal(kex, [entry])
    write_journal(kex, [Entry(ago(2), b"user")],
                  os.path.dirname(SYSTEM_JOURNAL) + "/user-1000.journal")
    kex.put_file("/etc/machine-id", MACHINE + "\n")  # journals on the disk bear it
    kex.run("mount", "-t", "tmpfs", "tmpfs", "/var/log")
    write_journal(kex, [Entry(ago(2), b"disk")], f"/var/log/journal/{MACHINE}/system.journal")
    assert capture(kex, 60).body == entry_line(entry)


def test_without_a_journal_there_is_only_the_header(kex):
    assert capture(kex, 60).body == b""


def test_file_that_is_no_journal_is_passed_over(kex):
    kex.put_file(SYSTEM_JOURNAL, b"no journal\n" * 1000)
    assert capture(kex, 60).body == b""


def test_fifty_thousand_entries(kex):
    write_journal(kex, [Entry(ago(100) + number, b"message %d" % number, "kernel")
                        for number in range(25_000)]
                  + [Entry(number, b"old %d" % number) for number in range(25_000)])
    first = time.monotonic()
    body = capture(kex, 3000).body
    assert time.monotonic() - first < 30
    lines = body.splitlines()
    assert len(lines) in (25_000, 50_000)  # all of them when the machine is young
    assert [text.partition(b"] ")[2] for text in lines[:25_000]] \
        == [b"message %d" % number for number in range(25_000)]


# Every one of them, in order and with its own time.
def test_fifty_thousand_entries_of_the_whole_uptime(kex):
    entries = [Entry(number * 7, b"message %d" % number) for number in range(50_000)]
    write_journal(kex, entries)
    assert capture(kex, 4_000_000_000, logged=dump(109, "-294967296 seconds")).body \
        == b"".join(map(entry_line, entries))


# How an entry is written

@pytest.mark.parametrize("message", [
    b"plain", b"", b" blanks ", b"two\nlines", b"\n\n", b"ends in a line feed\n", b"\xff\xfe\x80",
    "\u00e4\u20ac\U0001f600".encode(), b"nul\0inside", b"%s%n%d", b"\x1b[31m", b"MESSAGE=MESSAGE=",
    b"x" * 10_000, b"line\n" * 3000, b"tab\tbell\a",
], ids=lambda message: repr(message[:20]))
def test_message_is_written_as_it_is(kex, message):
    entries = [Entry(ago(3), b"before"), Entry(ago(2), message), Entry(ago(1), b"after")]
    write_journal(kex, entries)
    assert capture(kex, 60).body == b"".join(map(entry_line, entries))


def test_entry_without_message_is_its_time_alone(kex):
    entries = [Entry(ago(3), b"before"), Entry(ago(2)), Entry(ago(1), b"after")]
    write_journal(kex, entries)
    body = capture(kex, 60).body
    assert body == b"".join(map(entry_line, entries))
    assert body.splitlines()[1] == f"[{stamp(entries[1].monotonic)}] ".encode()


@pytest.mark.parametrize("microseconds, text", [
    (0, "0.000000"), (1, "0.000001"), (999_999, "0.999999"), (1_000_000, "1.000000"),
    (1_000_500, "1.000500"), (59_000_001, "59.000001"),
])
def test_time_has_six_digits_behind_the_point(kex, microseconds, text):
    write_journal(kex, [Entry(microseconds, b"x")])
    got = capture(kex, 4_000_000, logged=dump(109, "4000000 seconds"))
    assert got.start == 0
    assert got.body == f"[{text}] x\n".encode()


# The time of another boot means nothing now: no prefix, and nothing to skip it by.
@pytest.mark.parametrize("boot", ["f" * 32, "0" * 31 + "1", ""])
def test_entry_of_another_boot_has_no_prefix(kex, boot):
    here = Entry(ago(1), b"this boot")
    foreign = [Entry(1, b"long ago", boot=boot), Entry(ago(2), b"lately", boot=boot),
               Entry(3, None, boot=boot)]
    write_journal(kex, [*foreign, here])
    assert capture(kex, 60).body == b"long ago\nlately\n\n" + entry_line(here)


# The window

@pytest.mark.parametrize("text, seconds, logged", [
    ("0", 1, "1 second"), ("1", 1, "1 second"), ("2", 2, "2 seconds"), ("60", 60, "60 seconds"),
    (" 60", 60, "60 seconds"), ("+60", 60, "60 seconds"), ("060", 60, "60 seconds"),
    ("60 seconds", 60, "60 seconds"), ("5.9", 5, "5 seconds"), ("0x10", 1, "1 second"),
    ("\n\t7", 7, "7 seconds"),
    # Kept in 32 bits and shown as a signed number.
    ("2147483648", 2147483648, "-2147483648 seconds"), ("-1", 4294967295, "-1 seconds"),
    ("4294967295", 4294967295, "-1 seconds"), ("4294967296", 1, "1 second"),
    ("4294967301", 5, "5 seconds"), ("18446744073709551615", 4294967295, "-1 seconds"),
], ids=repr)
def test_number_of_seconds(kex, text, seconds, logged):
    # Recent enough for a window of one second, however slow the machine is.
    recent, old = Entry(ago(-100), b"recent"), Entry(0, b"at the very start")
    write_journal(kex, [old, recent])
    got = capture(kex, seconds, text=text, logged=dump(109, logged))
    everything = got.start == 0
    assert everything == (seconds * SECOND >= got.end)
    assert got.body == (entry_line(old) if everything else b"") + entry_line(recent)


# The output file

def test_earlier_content_is_gone(kex):
    write_journal(kex, [Entry(ago(1), b"x")])
    kex.put_file(OUTPUT, "y" * 100_000)
    inode = os.stat(kex.path(OUTPUT)).st_ino
    assert len(capture(kex, 60).body) < 100
    assert os.stat(kex.path(OUTPUT)).st_ino == inode


@pytest.mark.parametrize("path", ["/run/capture/a b;c%s\u00e4", "/run/capture/" + "x" * 255,
                                  "/run/capture/../capture/./x", "/run/capture/-"],
                         ids=lambda path: path[:30])
def test_path_is_taken_as_it_is(kex, path):
    capture(kex, 60, path=path)


def test_surplus_arguments_are_ignored(kex):
    assert kex.call("JOURNAL_CTRL", "kernel", "2", OUTPUT, "", "more") == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", "2", OUTPUT, "", "more"),
                   seconds_line(2))
    assert kex.exists(OUTPUT)


def test_captures_leave_no_descriptors(kex):
    write_journal(kex, [Entry(ago(1), b"x")])
    capture(kex, 60)
    descriptors = kex.daemon.fd_count()
    for _ in range(20):
        capture(kex, 60)
    assert kex.daemon.fd_count() == descriptors


@pytest.mark.parametrize("path", [
    "/run/capture", "/run/capture/", "/", "/run/missing/kernel.log", "/run/capture/file/x",
    "/run/capture/" + "x" * 256, "/" + "x/" * 3000, "/proc/kernel.log", "[%s]/x",
], ids=lambda path: path[:30])
def test_file_that_does_not_open(kex, path):
    kex.put_file("/run/capture/file")
    assert kex.call("JOURNAL_CTRL", "kernel", "60", path) == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", "60", path),
                   error(78, f"failed to open [{path}]"))
    assert os.listdir(kex.path("/run/capture")) == ["file"]


def test_empty_path_is_refused(kex):
    assert kex.call("JOURNAL_CTRL", "kernel", "60", "") == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", "60", ""),
                   error(70, "file_path is empty"))


# Refusals

@pytest.mark.parametrize("arguments", [(), ("kernel",), ("kernel", "60"), ("other", "x"),
                                       ("kernel", OUTPUT)], ids=repr)
def test_short_list_is_refused(kex, arguments):
    assert kex.call("JOURNAL_CTRL", *arguments) == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", *arguments),
                   expected.refused("journal_ctrl", 2011))
    assert not kex.exists(OUTPUT)


@pytest.mark.parametrize("word", ["Kernel", "KERNEL", "", "kernel ", "user", "kern", "%s%n"],
                         ids=repr)
def test_other_word_is_refused(kex, word):
    # The number behind a refused word is not even looked at.
    for number in ["60", "x"]:
        assert kex.call("JOURNAL_CTRL", word, number, OUTPUT) == 0
        kex.expect_log(*expected.command("JOURNAL_CTRL", word, number, OUTPUT),
                       line("exe", "journal_ctrl", 2017, f"ERROR - invalid args[0]={word}"))
    assert not kex.exists(OUTPUT)


@pytest.mark.parametrize("number", ["", " ", "x", "x60", "-", "+", "- 1", "\u0663",
                                    "18446744073709551616", "99999999999999999999999"], ids=repr)
def test_number_that_does_not_convert_ends_the_daemon(kex, number):
    with pytest.raises(CallError) as failure:
        kex.call("JOURNAL_CTRL", "kernel", number, OUTPUT)
    assert failure.value.name == "org.freedesktop.DBus.Error.NoReply"
    assert kex.daemon.wait() == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", number, OUTPUT),
                   line("man", "main", 124, "ERROR - kex exiting with exception [stoul]"),
                   expected.EXITING, expected.DESTRUCTED)
    assert not kex.exists(OUTPUT)


# A disk that fills up

PREFIX_FAILED, MESSAGE_FAILED = 181, 196


def failed_to_write(number, reason="No space left on device"):
    return dump(number, re.compile(re.escape(f"failed to write data err[{reason}]")
                                   if reason else r"failed to write data err\[[^\]]*\]"))


@pytest.fixture
def small_disk(kex):
    """A folder with 16 KiB of room."""
    os.mkdir(kex.path("/run/small"))
    kex.run("mount", "-t", "tmpfs", "-o", "size=16k", "tmpfs", "/run/small")
    return "/run/small/kernel.log"


# The file can be made, but not even the header finds room. It is noticed when the
# first message is flushed; from then on no entry is written.
def test_full_disk_is_logged_for_every_entry(kex, small_disk):
    kex.put_file("/run/small/fill", b"x" * 16384)
    write_journal(kex, [Entry(ago(5 - number), b"message") for number in range(4)])
    assert kex.call("JOURNAL_CTRL", "kernel", "60", small_disk) == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", "60", small_disk),
                   seconds_line(60), failed_to_write(MESSAGE_FAILED),
                   *[failed_to_write(PREFIX_FAILED, None)] * 3)
    assert kex.read_file(small_disk) == b""
    # The next capture, with room, is whole.
    kex.remove("/run/small/fill")
    assert capture(kex, 60, path=small_disk).body.count(b"message\n") == 4


def test_disk_that_fills_up_keeps_what_fitted(kex, small_disk):
    entries = [Entry(ago(100) + number, b"%03d " % number + b"x" * 1000) for number in range(40)]
    write_journal(kex, entries)
    assert kex.call("JOURNAL_CTRL", "kernel", "200", small_disk) == 0
    lines = kex.lines()
    content = kex.read_file(small_disk)
    assert len(content) == 16384
    whole = b"".join(map(entry_line, entries))
    body = content[_HEADER.match(content).end():]
    assert whole.startswith(body)
    fitted = sum(1 for number in range(1, 41)
                 if len(b"".join(map(entry_line, entries[:number]))) <= len(body))
    assert 10 < fitted < 20
    assert_lines(lines, [*expected.command("JOURNAL_CTRL", "kernel", "200", small_disk),
                         seconds_line(200), failed_to_write(MESSAGE_FAILED),
                         *[failed_to_write(PREFIX_FAILED, None)] * (40 - fitted - 1)])


# Entries without a time have no prefix to fail at.
def test_full_disk_with_entries_of_another_boot(kex, small_disk):
    kex.put_file("/run/small/fill", b"x" * 16384)
    write_journal(kex, [Entry(number, b"message", boot="f" * 32) for number in range(3)])
    assert kex.call("JOURNAL_CTRL", "kernel", "60", small_disk) == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", "60", small_disk),
                   seconds_line(60), failed_to_write(MESSAGE_FAILED),
                   *[failed_to_write(MESSAGE_FAILED, None)] * 2)


# An entry without a message is not flushed, and with no time there is no prefix: so
# nobody looks whether it was written.
def test_full_disk_with_entries_without_message(kex, small_disk):
    kex.put_file("/run/small/fill", b"x" * 16384)
    silent = [Entry(number, None, boot="f" * 32) for number in range(3)]
    write_journal(kex, [*silent, Entry(4, b"message", boot="f" * 32), *silent])
    assert kex.call("JOURNAL_CTRL", "kernel", "60", small_disk) == 0
    kex.expect_log(*expected.command("JOURNAL_CTRL", "kernel", "60", small_disk),
                   seconds_line(60), failed_to_write(MESSAGE_FAILED))


# A library that fails

_FAULTS = r"""
#include <dlfcn.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

typedef struct sd_journal sd_journal;

static int faulty(const char *name)
{
    const char *chosen = getenv("JOURNAL_FAULT");
    return chosen != 0 && strcmp(chosen, name) == 0;
}

#define FAULTY(name, parameters, arguments)                                       \
    int name parameters                                                           \
    {                                                                             \
        int (*real) parameters = (int (*) parameters)dlsym(RTLD_NEXT, #name);     \
        return faulty(#name) ? -12 : real arguments;                              \
    }

FAULTY(sd_journal_open, (sd_journal **journal, int flags), (journal, flags))
FAULTY(sd_journal_add_match, (sd_journal *journal, const void *data, size_t size),
       (journal, data, size))
FAULTY(sd_journal_seek_tail, (sd_journal *journal), (journal))
FAULTY(sd_journal_seek_head, (sd_journal *journal), (journal))
FAULTY(sd_journal_next, (sd_journal *journal), (journal))
"""


@pytest.fixture(scope="session")
def faults(tmp_path_factory):
    """A library that lets one call of the journal's library fail with -12."""
    folder = tmp_path_factory.mktemp("faults")
    source, library = folder / "faults.c", folder / "faults.so"
    source.write_text(_FAULTS)
    subprocess.run(["cc", "-D_GNU_SOURCE", "-shared", "-fPIC", "-o", library, source, "-ldl"],
                   check=True)
    return library.read_bytes()


@pytest.fixture
def faulty_kex(make_sandbox, faults, tmp_path):
    """A daemon in which the named call fails."""
    def start(call):
        # Not by the environment that the daemon is started with: programs that run
        # before it would look for the library too.
        wrapper = tmp_path / "kex"
        wrapper.write_text("#!/bin/sh\n"
                           f"JOURNAL_FAULT={call} LD_PRELOAD=/run/sandbox/faults.so "
                           "exec /run/sandbox/unwrapped\n")
        wrapper.chmod(0o755)
        sandbox = make_sandbox(binary=str(wrapper))
        with open(binary_under_test(), "rb") as binary:
            sandbox.put_file("/run/sandbox/unwrapped", binary.read(), mode=0o755)
        sandbox.put_file("/run/sandbox/faults.so", faults, mode=0o755)
        # The sanitizer wants to be the first library; here it need not be.
        asan = os.environ.get("ASAN_OPTIONS", "") + ":verify_asan_link_order=0"
        sandbox.start_daemon(environment={"ASAN_OPTIONS": asan})
        os.mkdir(sandbox.path("/run/capture"))
        write_journal(sandbox, [Entry(ago(3), b"other", "syslog"), Entry(ago(2), b"kernel")])
        sandbox.mark()
        return sandbox

    return start


def capture_lines(sandbox, *lines):
    assert sandbox.call("JOURNAL_CTRL", "kernel", "60", OUTPUT) == 0
    sandbox.expect_log(*expected.command("JOURNAL_CTRL", "kernel", "60", OUTPUT), *lines)
    return sandbox.read_file(OUTPUT)


def texts(content):
    return [text.partition(b"] ")[2] for text in content.splitlines()[2:]]


def test_without_a_fault_the_library_passes_everything_on(faulty_kex):
    content = capture_lines(faulty_kex("none"), seconds_line(60))
    assert texts(content) == [b"kernel"]


# The file is there before the journal is opened.
def test_journal_that_does_not_open(faulty_kex):
    content = capture_lines(faulty_kex("sd_journal_open"),
                            error(102, "failed to open journal - -12"))
    assert content == b""


def test_filter_that_fails_lets_every_entry_through(faulty_kex):
    content = capture_lines(faulty_kex("sd_journal_add_match"), seconds_line(60),
                            error(116, "failed to add filter for kernel logs - -12"))
    assert texts(content) == [b"other", b"kernel"]


def test_tail_that_is_not_found_changes_nothing(faulty_kex):
    content = capture_lines(faulty_kex("sd_journal_seek_tail"), seconds_line(60),
                            error(152, "failed to seek the tail - -12"))
    assert texts(content) == [b"kernel"]


@pytest.mark.parametrize("call", ["sd_journal_seek_head", "sd_journal_next"])
def test_head_that_is_not_found_ends_the_capture(faulty_kex, call):
    content = capture_lines(faulty_kex(call), seconds_line(60))
    assert _HEADER.fullmatch(content)
