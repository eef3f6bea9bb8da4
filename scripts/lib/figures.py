#!/usr/bin/python3
"""Prints what the tests have measured: a figure a line, those of one name added up.

usage: figures.py FILE
"""

import json
import sys


def main():
    (path,) = sys.argv[1:]
    sums = {}
    try:
        with open(path) as file:
            for what, value in map(json.loads, file):
                sums[what] = sums.get(what, 0) + value
    except FileNotFoundError:
        sys.exit("nothing was measured")
    for what, value in sorted(sums.items()):
        print(f"{value:>12,}  {what}")


if __name__ == "__main__":
    main()
