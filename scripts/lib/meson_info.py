#!/usr/bin/python3
"""What a meson build folder holds, so that no names are repeated in scripts.

usage: meson_info.py program BUILD NAME
"""

import json
import subprocess
import sys


def introspect(build, what):
    done = subprocess.run(["meson", "introspect", f"--{what}", build],
                          check=True, stdout=subprocess.PIPE)
    return json.loads(done.stdout)


def unit_tests(build):
    """The tests of kex's own suite named unit."""
    return [test for test in introspect(build, "tests")
            if any(suite.split(":")[-1] == "unit" for suite in test["suite"])]


def program(build, name):
    """The path of an executable target."""
    for target in introspect(build, "targets"):
        if target["name"] == name and target["type"] == "executable":
            return target["filename"][0]
    raise SystemExit(f"{build} has no program {name}")


if __name__ == "__main__":
    if len(sys.argv) != 4 or sys.argv[1] != "program":
        sys.exit(__doc__)
    print(program(sys.argv[2], sys.argv[3]))
