"""The kernel's messages, written through /dev/kmsg and captured into a file."""

import json
import os
import re
import time

from machine import CommandTest, line, run, wait_until

FOLDER = "/run/tirvad"


def kernel_entries():
    """(microseconds, text) of each kernel entry, as journalctl shows it."""
    found = []
    shown = run("journalctl", "-b", "-k", "-o", "json", "--output-fields=MESSAGE",
                "--no-pager")
    for text in shown.splitlines():
        entry = json.loads(text)
        message = entry["MESSAGE"]
        if isinstance(message, list):
            message = bytes(message).decode(errors="replace")
        found.append((int(entry["__MONOTONIC_TIMESTAMP"]), message))
    return found


def stamp(usec):
    return f"{usec // 1000000}.{usec % 1000000:06}"


class JournalCtrl(CommandTest):
    command = "JOURNAL_CTRL"

    def tell_kernel(self, text):
        """Writes a kernel message and waits until the journal has it. (A word with a colon at the
        beginning would count as the sender's name.)"""
        with open("/dev/kmsg", "w") as kmsg:
            kmsg.write(text + "\n")
        wait_until(lambda: any(message == text for _, message in kernel_entries()),
                   what="the journal to have the message")

    def capture(self, seconds, shown=None):
        """Captures into a file; its window in microseconds and its lines."""
        path = f"{FOLDER}/capture.{seconds}"
        self.addCleanup(os.remove, path)
        shown = shown or f"{seconds} seconds"
        began = time.monotonic()
        self.expect(["kernel", seconds, path], line("dump", shown, 109, tag="cjn"))
        self.assertEqual(os.stat(path).st_mode & 0o777, 0o644)
        with open(path, errors="replace") as file:
            head, empty, *lines, rest = file.read().split("\n")
        self.assertEqual((empty, rest), ("", ""))
        match = re.fullmatch(r"\[(\d+)\.(\d{6})\] -> \[(\d+)\.(\d{6})\]", head)
        self.assertIsNotNone(match, head)
        start, end = (int(match[i]) * 1000000 + int(match[i + 1]) for i in (1, 3))
        self.assertTrue(began <= end / 1e6 <= time.monotonic(), (began, end))
        return start, end, lines

    def assert_as_journalctl_shows(self, start, end, lines):
        want = [f"[{stamp(usec)}] {text}" for usec, text in kernel_entries()
                if start <= usec <= end]
        # A message may have more than one line.
        self.assertEqual("\n".join(lines), "\n".join(want))

    def test_last_second_for_a_window_of_zero_and_of_one(self):
        self.tell_kernel("kex-vm says an old message")
        time.sleep(1.5)
        for seconds in ("0", "1"):
            with self.subTest(seconds=seconds):
                start, end, lines = self.capture(seconds, "1 second")
                self.assertEqual(end - start, 1000000)
                self.assertFalse([text for text in lines if "old message" in text])
                self.assert_as_journalctl_shows(start, end, lines)

    def test_window_of_a_minute(self):
        self.tell_kernel("kex-vm says a message with [brackets] and = in it")
        start, end, lines = self.capture("60")
        self.assertTrue(end - start == 60000000 or start == 0, (start, end))
        self.assertTrue([text for text in lines if text.endswith("with [brackets] and = in it")],
                        lines)
        self.assert_as_journalctl_shows(start, end, lines)

    def test_window_longer_than_the_uptime(self):
        start, end, lines = self.capture("4000000")
        self.assertEqual(start, 0)
        self.assertTrue([text for text in lines if "Linux version" in text], lines[:3])
        self.assert_as_journalctl_shows(start, end, lines)

    def test_file_that_cannot_be_written(self):
        """The sandbox lets the daemon write below /run and /etc only."""
        for path in ("/usr/capture", "/root/capture", "/nofolder/capture"):
            with self.subTest(path=path):
                self.expect(["kernel", "1", path],
                            line("dump", f"ERROR - failed to open [{path}]", 78, tag="cjn"))
                self.assertFalse(os.path.exists(path))

    def test_refused_lists(self):
        self.expect(["kernel", "1"], line("journal_ctrl", "ERROR - invalid parm list", 2011))
        self.expect(["user", "1", FOLDER + "/x"],
                    line("journal_ctrl", "ERROR - invalid args[0]=user", 2017))
        self.assertFalse(os.path.exists(FOLDER + "/x"))
