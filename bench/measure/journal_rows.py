"""Row 8: the kernel's entries of a large journal."""

import os
import subprocess
import tempfile
import time
import uuid

from .place import INSIDE, Place
from .table import Line, at_most, times_faster

_REMOTE = "/usr/lib/systemd/systemd-journal-remote"
_RECENT_PART = 100
# The recent entries lie so far ahead that the window holds them however long this takes.
_AHEAD = 600_000_000


def _export(entries, boot_id, file):
    """Entries over the whole time since boot, of which the last few are of the last minute."""
    now = time.clock_gettime_ns(time.CLOCK_MONOTONIC) // 1000
    real = time.time_ns() // 1000 - now
    recent = entries // _RECENT_PART
    old_end = max(now - 120_000_000, entries)
    for number in range(entries):
        if number < entries - recent:
            stamp = old_end * number // entries
        else:
            stamp = now + _AHEAD + number
        file.write(f"__REALTIME_TIMESTAMP={real + stamp}\n__MONOTONIC_TIMESTAMP={stamp}\n"
                   f"_BOOT_ID={boot_id}\n_TRANSPORT=kernel\nPRIORITY=6\n"
                   f"SYSLOG_IDENTIFIER=kernel\n_HOSTNAME=bmc\n"
                   f"MESSAGE=eth{number % 8}: link becomes ready, event {number}\n\n")


def _lay_journal(place, entries):
    with open("/proc/sys/kernel/random/boot_id", encoding="ascii") as file:
        boot_id = file.read().strip().replace("-", "")
    machine_id = uuid.uuid4().hex
    place.put_file("/etc/machine-id", machine_id + "\n")
    folder = f"/run/log/journal/{machine_id}"
    os.makedirs(place.path(folder))
    with tempfile.NamedTemporaryFile("w", suffix=".export") as export:
        _export(entries, boot_id, export)
        export.flush()
        subprocess.run([_REMOTE, "-o", place.path(f"{folder}/system.journal"), export.name],
                       check=True, stdin=subprocess.DEVNULL, capture_output=True)


def journal(settings):
    entries = settings.journal_entries
    with Place(settings) as place:
        _lay_journal(place, entries)
        place.start_daemon()
        everything = str(2 ** 32 - 1)
        for work, seconds, since in (
                (f"JOURNAL_CTRL, all of {entries}", everything, ()),
                (f"JOURNAL_CTRL, last 60 s of {entries}", "60", ("--since=-60s",))):
            times = place.time(settings.journal_rounds, [
                ("kex", 1, "kex", "JOURNAL_CTRL", "kernel", seconds, "/tmp/capture"),
                ("journalctl", 1, "spawn", "/usr/bin/journalctl", "--no-pager", "-q", "-k",
                 "-o", "short-monotonic", *since),
                ("loop", 1, "spawn", f"{INSIDE}/journal_loop", seconds),
                ("writes", 1, "spawn", f"{INSIDE}/journal_loop", seconds, "/tmp/messages")])
            captured = place.read_file("/tmp/capture").count(b"\n") - 2
            if captured != (entries if not since else entries // _RECENT_PART):
                raise RuntimeError(f"the capture has {captured} entries")
            yield Line(8, work, times["kex"], " ".join(("journalctl -k", *since)),
                       times["journalctl"], target=times_faster(2))
            yield Line(8, work, times["kex"], "bare sd_journal_next loop", times["loop"],
                       target=at_most(1.3))
            yield Line(8, work, times["kex"], "that loop, writing each message", times["writes"])
