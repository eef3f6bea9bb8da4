"""Rows 5, 6 and 9: what happens inside a process, with Google Benchmark."""

import json

from .place import Place
from .table import Line, Target, at_most, times_faster


def _samples(settings, place, program, clock):
    """Of every case its times, each the mean of a repetition; the cases take turns."""
    printed = place.program(
        program, f"--benchmark_repetitions={settings.repetitions}",
        f"--benchmark_min_time={settings.min_time}",
        "--benchmark_enable_random_interleaving=true", "--benchmark_format=json")
    samples = {}
    for entry in json.loads(printed)["benchmarks"]:
        if entry["run_type"] == "iteration":
            samples.setdefault(entry["run_name"], []).append(entry[clock])
    return samples


def log_line(settings):
    with Place(settings) as place:
        for program, work, beside in (
                ("log_line", "a line of the log file", "open, write, close"),
                ("log_line_journal", "a log line to file and journal",
                 "open, write, close and sendto")):
            samples = _samples(settings, place, program, "cpu_time")
            yield Line(5, work, samples["kex"], f"bare {beside}", samples["bare"],
                       target=at_most(1.3))


def requests(settings):
    with Place(settings) as place:
        samples = _samples(settings, place, "requests", "cpu_time")
    for name in sorted({case.partition("/")[0] for case in samples}):
        kex = samples[f"{name}/kex"]
        yield Line(6, name, kex, "copy of its bytes", samples[f"{name}/copy"],
                   target=Target("within 100 ns", 100, "excess"))
        yield Line(6, name, kex, "libmnl", samples[f"{name}/libmnl"], target=times_faster(1))


def exec_program(settings):
    with Place(settings) as place:
        samples = _samples(settings, place, "exec_program", "real_time")
    yield Line(9, "exec_cmd of an empty program", samples["kex"], "bare fork, exec, wait",
               samples["bare"], target=at_most(1.2))
