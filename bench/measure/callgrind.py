"""Instructions of one operation, which repeat exactly where times do not."""

import os
import re

from harness import NAME, wait_until

from .place import INSIDE, Place

_VALGRIND = ("valgrind", "--tool=callgrind", "--vgdb=no", "-q", "--log-file=/tmp/valgrind.log")


def _total(place, path):
    match = re.search(rb"^(?:summary|totals): (\d+)", place.read_file(path), re.MULTILINE)
    return int(match.group(1))


def _daemon_total(settings, calls, command):
    """Of a whole run of kex that carries out so many commands."""
    with Place(settings) as place:
        place.add_veth("eth1", "eth2")
        daemon = place.start_service(*_VALGRIND, "--callgrind-out-file=/tmp/callgrind.out",
                                     "/run/sandbox/kex", name=NAME)
        place.time(1, [("calls", calls, "kex", *command)])
        daemon.terminate()
        wait_until(lambda: place.exists("/tmp/callgrind.out"), what="the counts")
        total = _total(place, "/tmp/callgrind.out")
        _keep(settings, place, "_".join(command[:1]))
    return total


def _keep(settings, place, name):
    """Leaves the profile where callgrind_annotate finds it."""
    with open(os.path.join(settings.scratch, f"callgrind.{name}.out"), "wb") as file:
        file.write(place.read_file("/tmp/callgrind.out"))


def _program_total(place, program, case, count):
    place.run("env", "DBUS_SYSTEM_BUS_ADDRESS=", *_VALGRIND,
              "--callgrind-out-file=/tmp/callgrind.out", f"{INSIDE}/{program}",
              "--repeat", str(count), case, timeout=600)
    return _total(place, "/tmp/callgrind.out")


def _difference(few, many, count):
    """What start and end cost is in both and falls out."""
    return round((count(many) - count(few)) / (many - few))


def commands(settings):
    """Rows 1 and 2: all of what kex does for a command, without the kernel's part."""
    few, many = settings.counts
    counts = {}
    for command in (("TERMINATE",), ("LINK_CTRL", "up", "eth1")):
        counts[command[0]] = _difference(
            few, many, lambda calls, command=command: _daemon_total(settings, calls, command))
    return counts


def inside(settings):
    """Rows 5 and 6."""
    few, many = settings.counts
    counts = {}
    with Place(settings) as place:
        for program in ("log_line", "log_line_journal", "requests"):
            for case in _cases(place, program):
                counts[f"{program}: {case}"] = _difference(
                    few, many,
                    lambda count, case=case: _program_total(place, program, case, count))
    return counts


def _cases(place, program):
    return place.program(program, "--benchmark_list_tests=true").split()
