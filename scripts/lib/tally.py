#!/usr/bin/python3
"""Counts what passed and failed in the results of the suites.

usage: tally.py RESULTS SUITE...

RESULTS/SUITE holds gtest JSON and JUnit XML files, and `status` with the exit
status of the suite's run. A skipped or disabled test, a suite without results
and a run that failed for another reason than its tests all count as failed.
"""

import glob
import json
import os
import sys
import xml.etree.ElementTree as xml


def skipped_in_gtest(report):
    return sum(test.get("result") == "SKIPPED"
               for suite in report.get("testsuites", ()) for test in suite["testsuite"])


def count_file(path):
    """(passed, failed) of one file."""
    if path.endswith(".json"):
        with open(path) as file:
            report = json.load(file)
        total = report["tests"]
        failed = report["failures"] + report.get("disabled", 0) + skipped_in_gtest(report)
        return total - failed, failed
    total = failed = 0
    for suite in xml.parse(path).getroot().iter("testsuite"):
        total += int(suite.get("tests"))
        failed += sum(int(suite.get(kind)) for kind in ("failures", "errors", "skipped"))
    return total - failed, failed


def count_suite(folder):
    """(passed, failed) of one suite."""
    passed = failed = 0
    for path in glob.glob(folder + "/*.json") + glob.glob(folder + "/*.xml"):
        more_passed, more_failed = count_file(path)
        passed += more_passed
        failed += more_failed
    try:
        with open(os.path.join(folder, "status")) as file:
            clean = file.read().strip() == "0"
    except FileNotFoundError:
        clean = False
    if failed == 0 and (passed == 0 or not clean):
        failed = 1
    return passed, failed


def main():
    results, *suites = sys.argv[1:]
    counts = {suite: count_suite(os.path.join(results, suite)) for suite in suites}
    for suite, (passed, failed) in counts.items():
        print(f"{suite}: {passed} passed, {failed} failed")
    failed = sum(failed for _, failed in counts.values())
    print(f"{sum(passed for passed, _ in counts.values())} passed, {failed} failed")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
