#!/usr/bin/python3
"""Runs the unit test programs of a build folder, each under its own time limit.

usage: run_unit.py BUILD RESULTS [WRAPPER...]

Writes one JSON file per program into RESULTS: gtest's own, or a count of one for
a program that is no gtest program or wrote none. Ends with 1 if any failed.
"""

import concurrent.futures
import json
import os
import signal
import subprocess
import sys

from meson_info import unit_tests


# An emulated processor is about that much slower.
PATIENCE_WITH_WRAPPER = 4


def run_program(command, test, limit):
    """(status, output) of one program; whatever it has started ends with it."""
    process = subprocess.Popen(command, cwd=test["workdir"] or None, start_new_session=True,
                               env={**os.environ, **test["env"]}, stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    try:
        output, _ = process.communicate(timeout=limit)
        return process.returncode, output
    except subprocess.TimeoutExpired:
        os.killpg(process.pid, signal.SIGKILL)
        output, _ = process.communicate()
        return f"no end after {limit} s", output


def run(test, results, wrapper):
    """Whether one program passed."""
    report = os.path.join(results, test["name"].replace("/", "_") + ".json")
    limit = (test["timeout"] or 300) * (PATIENCE_WITH_WRAPPER if wrapper else 1)
    command = wrapper + test["cmd"] + ["--gtest_brief=1", "--gtest_output=json:" + report]
    status, output = run_program(command, test, limit)
    passed = status == 0
    if os.path.exists(report):
        with open(report) as file:
            counts = json.load(file)
        # A sanitizer or a crash after the last test shows in the status alone.
        if not passed and not counts["failures"]:
            counts["failures"] = 1
            counts["tests"] += 1
    else:
        if test["protocol"] == "gtest":
            passed = False
        counts = {"tests": 1, "failures": 0 if passed else 1, "disabled": 0}
    with open(report, "w") as file:
        json.dump(counts, file)
    if not passed:
        print(f"{test['name']}: {status}\n{output.decode(errors='replace')}", flush=True)
    return passed


def main():
    build, results, *wrapper = sys.argv[1:]
    tests = unit_tests(build)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        passed = list(pool.map(lambda test: run(test, results, wrapper), tests))
    return 0 if passed and all(passed) else 1


if __name__ == "__main__":
    sys.exit(main())
