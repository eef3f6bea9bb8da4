"""Journal files with entries of the tests' choice, made by systemd's own tool."""

import functools
import os
import subprocess
import tempfile
from dataclasses import dataclass, field
from typing import Optional

_WRITER = "/lib/systemd/systemd-journal-remote"
MACHINE = "0123456789abcdef0123456789abcdef"
SYSTEM_JOURNAL = f"/run/log/journal/{MACHINE}/system.journal"

_FIRST_REALTIME = 1_700_000_000_000_000


@functools.cache
def boot_id():
    with open("/proc/sys/kernel/random/boot_id", encoding="ascii") as file:
        return file.read().strip().replace("-", "")


@dataclass(frozen=True)
class Entry:
    """One entry; monotonic is in microseconds. Without a boot the entry belongs to
    the running one, and boot="" leaves the field out."""
    monotonic: int
    message: Optional[bytes] = None
    transport: Optional[str] = "kernel"
    boot: Optional[str] = None
    more: dict = field(default_factory=dict)

    def export(self, number):
        """The entry in the export format; its place in the file gives its real time."""
        boot = boot_id() if self.boot is None else self.boot
        fields = {"__REALTIME_TIMESTAMP": str(_FIRST_REALTIME + number).encode(),
                  "__MONOTONIC_TIMESTAMP": str(self.monotonic).encode()}
        if boot:
            fields["_BOOT_ID"] = boot.encode()
        if self.transport is not None:
            fields["_TRANSPORT"] = self.transport.encode()
        # An entry must have some field of its own.
        fields["PRIORITY"] = b"6"
        fields |= self.more
        text = b"".join(name.encode() + b"=" + value + b"\n" for name, value in fields.items())
        if self.message == b"":
            text += b"MESSAGE=\n"  # the form with a length cannot be empty
        elif self.message is not None:
            length = len(self.message).to_bytes(8, "little")
            text += b"MESSAGE\n" + length + self.message + b"\n"
        return text + b"\n"


def write_journal(sandbox, entries, path=SYSTEM_JOURNAL):
    """Makes a journal file inside the sandbox."""
    outside = sandbox.path(path)
    os.makedirs(os.path.dirname(outside), exist_ok=True)
    with tempfile.TemporaryDirectory() as folder:
        export = os.path.join(folder, "entries.export")
        with open(export, "wb") as file:
            for number, entry in enumerate(entries):
                file.write(entry.export(number))
        made = os.path.join(folder, os.path.basename(path))
        subprocess.run([_WRITER, "-o", made, export], check=True, capture_output=True)
        with open(made, "rb") as source, open(outside, "wb") as target:
            target.write(source.read())
