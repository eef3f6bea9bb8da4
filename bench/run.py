#!/usr/bin/python3
"""Measures kex beside its peers and prints the table.

usage: run.py --kex PROGRAM --programs FOLDER --results FOLDER [--arm64 PROGRAM] [--peers FOLDER]
              [--document FILE] [--quick] [ROW...]

Rows that are not asked for keep what the results folder has of them.
"""

import argparse
import json
import os
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path[:0] = [os.path.join(ROOT, "tests/sandbox"), os.path.join(ROOT, "bench")]

from measure import (bus_rows, callgrind, footprint_rows, inside_rows,  # noqa: E402
                     journal_rows, machine, scale_rows, table, table_rows)
from measure.settings import QUICK, Settings  # noqa: E402

ROWS = {
    1: [bus_rows.empty_command], 2: [bus_rows.link_command], 3: [bus_rows.beside_ip],
    4: [bus_rows.host_name], 5: [inside_rows.log_line], 6: [inside_rows.requests],
    7: [table_rows.flushes], 8: [journal_rows.journal], 9: [inside_rows.exec_program],
    10: [footprint_rows.start], 11: [footprint_rows.memory], 12: [footprint_rows.size],
    13: [scale_rows.clients, scale_rows.links_and_addresses],
}

# Which rows the counted instructions belong to.
COUNTS = [({1, 2}, callgrind.commands), ({5, 6}, callgrind.inside)]

MARKS = "<!-- table -->", "<!-- end of table -->"


def read_json(path):
    try:
        with open(path, encoding="utf-8") as file:
            return json.load(file)
    except FileNotFoundError:
        return {}


def write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


class Results:
    """The files of a results folder, written anew after every row: a long run may be ended."""

    def __init__(self, folder, document):
        os.makedirs(folder, exist_ok=True)
        self._table, self._text, self._counts = (
            os.path.join(folder, name)
            for name in ("table.json", "table.txt", "instructions.json"))
        self._document = document
        self._machine = machine.describe(ROOT)
        self.lines = read_json(self._table).get("lines", [])
        self.counts = read_json(self._counts)

    def replace(self, row, lines):
        self.lines = [line for line in self.lines if line["row"] != row] + lines
        self.lines.sort(key=lambda line: line["row"])
        write(self._table, json.dumps({"machine": self._machine, "lines": self.lines}, indent=1,
                                      ensure_ascii=False) + "\n")
        write(self._text, f"{machine.as_text(self._machine)}\n\n{table.as_text(self.lines)}\n")
        if self._document:
            update_document(self._document, self._machine, self.lines)

    def add_counts(self, counts):
        self.counts |= counts
        write(self._counts, json.dumps(self.counts, indent=1, sort_keys=True) + "\n")


def measure(settings, rows, results):
    for row in rows:
        lines = []
        for work in ROWS[row]:
            for line in work(settings):
                lines.append(line.record())
                print("  ".join(lines[-1]["cells"]), file=sys.stderr, flush=True)
        results.replace(row, lines)
    for belongs_to, work in COUNTS:
        if belongs_to & set(rows):
            results.add_counts(work(settings))


def update_document(path, described, records):
    """Puts the table between its marks."""
    with open(path, encoding="utf-8") as file:
        head, _, rest = file.read().partition(MARKS[0])
    tail = rest.partition(MARKS[1])[2]
    about = "\n".join(f"- {name}: {value}" for name, value in described.items())
    write(path, f"{head}{MARKS[0]}\n{about}\n\n{table.as_markdown(records)}\n{MARKS[1]}{tail}")


def main():
    parser = argparse.ArgumentParser()
    for name in ("kex", "programs", "results"):
        parser.add_argument(f"--{name}", required=True)
    for name in ("arm64", "peers", "document"):
        parser.add_argument(f"--{name}", default="")
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("rows", nargs="*", type=int, choices=[[], *ROWS])
    given = parser.parse_args()
    rows = sorted(set(given.rows or ROWS))
    results = Results(given.results, given.document)
    with tempfile.TemporaryDirectory() as scratch:
        settings = Settings(given.kex, given.programs, scratch, given.arm64, given.peers,
                            **(QUICK if given.quick else {}))
        measure(settings, rows, results)
    print(table.as_text(results.lines))


if __name__ == "__main__":
    main()
