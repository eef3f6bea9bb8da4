"""Lines of the table: samples on both sides, a target, and whether it is met."""

import statistics
from dataclasses import dataclass, field
from typing import Optional

_SCALES = {
    "ns": [(1e9, "s"), (1e6, "ms"), (1e3, "µs"), (1, "ns")],
    "B": [(1024, "KiB"), (1, "B")],
}


def show_number(value, unit):
    """A number with three digits that count, in a unit that suits it."""
    for scale, name in _SCALES.get(unit, []):
        if abs(value) >= scale:
            value, unit = value / scale, name
            break
    text = f"{value:.0f}" if abs(value) >= 100 or value == int(value) else f"{value:.3g}"
    return f"{text} {unit}".strip()


def show_samples(samples, unit):
    """Median (min to max)."""
    middle = show_number(statistics.median(samples), unit)
    if len(samples) == 1 or min(samples) == max(samples):
        return middle
    return f"{middle} ({show_number(min(samples), unit)} to {show_number(max(samples), unit)})"


@dataclass
class Target:
    """A bound on one number that is made of the two sides."""
    text: str
    most: float
    of: str = "ratio"  # excess: kex less other; value: kex alone; slowdown: other over kex


def at_most(times):
    return Target(f"at most {times:g} times", times)


def times_faster(times):
    return Target(f"{times:g} times faster" if times != 1 else "no slower", 1 / times)


@dataclass
class Line:
    """One line of the table. Both sides were measured in turns, sample by sample."""
    row: int
    work: str
    kex: list
    beside: str = ""
    other: Optional[list] = None
    unit: str = "ns"
    target: Optional[Target] = None
    note: str = ""
    details: dict = field(default_factory=dict)

    def ratio(self):
        """The median over the turns: what slows a whole turn down is not in it."""
        if not self.other:
            return None
        if len(self.other) == len(self.kex):
            pairs = [mine / theirs for mine, theirs in zip(self.kex, self.other)]
            return statistics.median(pairs)
        return statistics.median(self.kex) / statistics.median(self.other)

    def measured(self):
        """The number that the target bounds."""
        if self.target.of == "excess":
            return statistics.median(self.kex) - statistics.median(self.other)
        if self.target.of == "value":
            return statistics.median(self.kex)
        return 1 / self.ratio() if self.target.of == "slowdown" else self.ratio()

    def verdict(self):
        if self.target is None:
            return "shown"
        return "met" if self.measured() <= self.target.most else "NOT MET"

    def record(self):
        """Everything about the line, for the results file."""
        ratio = self.ratio()
        return {
            "row": self.row, "work": self.work, "beside": self.beside, "unit": self.unit,
            "kex": self.kex, "other": self.other, "details": self.details, "note": self.note,
            "cells": [
                str(self.row), self.work, show_samples(self.kex, self.unit), self.beside,
                show_samples(self.other, self.unit) if self.other else "",
                f"{ratio:.3g}" if ratio is not None else "",
                self.target.text if self.target else "", self.verdict()],
        }


HEADINGS = ["row", "measure", "kex", "beside", "other", "ratio", "target", "verdict"]


def as_text(records):
    """The table with aligned columns."""
    rows = [HEADINGS] + [record["cells"] for record in records]
    widths = [max(len(row[column]) for row in rows) for column in range(len(HEADINGS))]
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip()
                     for row in rows)


def as_markdown(records):
    lines = ["| " + " | ".join(HEADINGS) + " |", "|---" * len(HEADINGS) + "|"]
    for record in records:
        lines.append("| " + " | ".join(record["cells"]) + " |")
    return "\n".join(lines)
