#!/usr/bin/python3
"""Runs the suite in the guest and leaves what it found in a folder.

usage: run.py RESULTS

results.xml counts every test (JUnit); commands.tsv has each command value with the
number of its tests that passed and failed; report.txt is for reading. The machine's journal and the
daemon's log files are kept beside them.
"""

import glob
import importlib
import os
import platform
import shutil
import sys
import time
import traceback
import unittest
import xml.etree.ElementTree as xml

import machine

# These end the daemon or the bus, or remove kex: they come last, in this order.
LAST = ("test_life", "test_package")


class Results(unittest.TestResult):
    """Writes a line for each test as it ends, so that a hung guest shows where."""

    def __init__(self, report):
        super().__init__()
        self._report = report
        self._began = 0.0
        self._problems = {}
        self.cases = []

    def startTest(self, test):
        super().startTest(test)
        self._began = time.monotonic()
        self._problems[test.id()] = []

    def _problem(self, test, error):
        text = "".join(traceback.format_exception(*error)).rstrip()
        self._problems.setdefault(test.id(), []).append(text)

    def addError(self, test, err):
        super().addError(test, err)
        self._problem(test, err)
        if test.id().startswith(("setUpClass", "setUpModule", "tearDown")):
            self._end(test, 0.0)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._problem(test, err)

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        if err is not None:
            self._problems[test.id()].append(f"{subtest}\n" + "".join(
                traceback.format_exception(*err)).rstrip())

    def addSkip(self, test, reason):
        super().addSkip(test, reason)
        self._problems[test.id()].append(f"skipped: {reason}")

    def stopTest(self, test):
        super().stopTest(test)
        self._end(test, time.monotonic() - self._began)

    def _end(self, test, seconds):
        self.add(test.id(), getattr(test, "command", None), seconds, self._problems.pop(test.id()))

    def add(self, name, command, seconds, problems):
        self.cases.append((name, command, seconds, problems))
        self._report.write(f"{'FAILED' if problems else 'ok':7}{seconds:6.1f} s  {name}\n")
        for problem in problems:
            self._report.write("    " + problem.replace("\n", "\n    ") + "\n")
        self._report.flush()


def load():
    """The tests of every test_*.py beside this file."""
    suite = unittest.TestSuite()
    names = [os.path.basename(path)[:-3] for path in
             glob.glob(os.path.join(os.path.dirname(os.path.abspath(__file__)), "test_*.py"))]
    for name in sorted(names, key=lambda name: (LAST.index(name) if name in LAST else -1, name)):
        suite.addTests(unittest.defaultTestLoader.loadTestsFromModule(
            importlib.import_module(name)))
    return suite


def command_table(cases):
    """For each command value how many of its tests passed and failed."""
    table = {command: [0, 0] for command in machine.COMMANDS}
    for _, command, _, problems in cases:
        if command is not None:
            table[command][bool(problems)] += 1
    return table


def write_xml(path, cases):
    failed = sum(bool(problems) for _, _, _, problems in cases)
    suite = xml.Element("testsuite", name="vm", tests=str(len(cases)), failures=str(failed),
                        errors="0", skipped="0")
    for name, _, seconds, problems in cases:
        group, _, name = name.rpartition(".")
        case = xml.SubElement(suite, "testcase", classname=group, name=name,
                              time=f"{seconds:.3f}")
        for problem in problems:
            xml.SubElement(case, "failure").text = "".join(
                c if c.isprintable() or c == "\n" else "?" for c in problem)
    xml.ElementTree(suite).write(path)


def boot_times():
    """When the machine and the daemon were ready."""
    began = int(machine.unit_property("ExecMainStartTimestampMonotonic"))
    active = int(machine.unit_property("ActiveEnterTimestampMonotonic"))
    return (machine.run("systemd-analyze", "time") +
            f"kex: started {began / 1e6:.3f} s after the kernel, had its name "
            f"{(active - began) / 1e3:.0f} ms later\n")


def keep_logs(results):
    with open(os.path.join(results, "journal.txt"), "w") as file:
        file.write(machine.run("journalctl", "-b", "-o", "short-monotonic"))
    for path in glob.glob(machine.LOG + "*"):
        shutil.copy(path, results)


def run_suite(results):
    with open(os.path.join(results, "report.txt"), "w") as report:
        report.write(f"{platform.machine()}, Linux {platform.release()}\n" + boot_times() + "\n")
        found = Results(report)
        began = time.monotonic()
        load().run(found)
        for command, counts in command_table(found.cases).items():
            if counts == [0, 0]:
                found.add(f"coverage.{command}", command, 0.0, ["no test of this command"])
        failed = sum(bool(problems) for _, _, _, problems in found.cases)
        report.write(f"{len(found.cases) - failed} passed, {failed} failed in "
                     f"{time.monotonic() - began:.0f} s\n")
    with open(os.path.join(results, "commands.tsv"), "w") as file:
        for command, (passed, bad) in command_table(found.cases).items():
            file.write(f"{command}\t{passed}\t{bad}\n")
    write_xml(os.path.join(results, "results.xml"), found.cases)
    return 1 if failed else 0


def main():
    try:
        return run_suite(sys.argv[1])
    finally:
        keep_logs(sys.argv[1])


if __name__ == "__main__":
    sys.exit(main())
