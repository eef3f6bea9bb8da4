"""Stand-ins for the programs that the daemon runs; they record how."""

import os
from dataclasses import dataclass

_RECORD = "/run/sandbox/calls"
NOISE = "noise of a stand-in"

# One printf builtin makes one write, so that calls at the same time stay apart.
_SCRIPT = """#!/bin/sh
printf '%s\\0' "$#" "$0" "$@" >>{record}
echo "{noise} on stdout"
echo "{noise} on stderr" >&2
{wait}{end}
"""


@dataclass(frozen=True)
class Call:
    program: str
    arguments: tuple


class Gate:
    """Holds a stand-in back until it is opened."""

    def __init__(self, path):
        self._path = path

    def open(self):
        with open(self._path, "w") as fifo:
            fifo.write("go\n")


def put_program(namespaces, path, status=0, signal=None, gated=False):
    """Lays a recording stand-in at a path. It writes noise to both outputs and
    then exits with status or dies by signal. A gated one first waits at the Gate
    that is returned."""
    gate = None
    wait = ""
    if gated:
        fifo = f"/run/sandbox/gate{path.replace('/', '-')}"
        os.mkfifo(namespaces.path(fifo))
        gate = Gate(namespaces.path(fifo))
        wait = f"read -r _ <{fifo}\n"
    end = f"exit {status}" if signal is None else f"kill -{int(signal)} $$"
    script = _SCRIPT.format(record=_RECORD, noise=NOISE, wait=wait, end=end)
    namespaces.put_file(path, script, mode=0o755)
    return gate


def recorded_calls(namespaces):
    """Every run of a stand-in so far, in order."""
    if not namespaces.exists(_RECORD):
        return []
    words = namespaces.read_file(_RECORD).decode(errors="surrogateescape").split("\0")
    calls = []
    at = 0
    while at < len(words) - 1:
        count = int(words[at])
        calls.append(Call(words[at + 1], tuple(words[at + 2:at + 2 + count])))
        at += 2 + count
    return calls
