#!/usr/bin/python3
"""Checks that a built daemon has what the compiler and the linker offer against attacks.

usage: hardening.py BINARY PREFIX RESULTS

PREFIX is that of the binary's own binutils, empty for this machine's. Writes a count of the
checks, each one test, into RESULTS, and names those that failed.
"""

import json
import os
import re
import subprocess
import sys
import tempfile

SIZE_LIMIT = 200 * 1024

# What stands at the start of a function that may be jumped to.
_LANDING = {"x86-64": r"endbr64", "AArch64": r"(paciasp|bti\s)"}

# What touches each page of a large stack frame in turn. On AArch64 there is nothing to look for:
# the guard below the stack is taken to have 64 KiB, and no frame is so large as to be probed.
_PROBE = r"orq\s+\$0x0,\S*\(%rsp\)"

# Formatting goes through their checking forms.
_FORTIFIED = ("__vsnprintf_chk", "__snprintf_chk", "__fprintf_chk")
_PLAIN = ("vsnprintf", "snprintf", "fprintf", "sprintf", "vsprintf", "strcpy", "gets")


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


class Program:
    """What the binutils tell of a binary."""

    def __init__(self, path, prefix):
        readelf = [prefix + "readelf", "--wide"]
        header = output(*readelf, "--file-header", path)
        self.machine = "AArch64" if "AArch64" in header else "x86-64"
        self.kind = re.search(r"Type:\s+(\w+)", header).group(1)
        self.segments = re.findall(r"^\s+([A-Z_]+)\s+(?:0x\w+\s+){5}([RWE ]{3})",
                                   output(*readelf, "--program-headers", path), re.MULTILINE)
        self.dynamic = output(*readelf, "--dynamic", path)
        self.imports = set(re.findall(r"UND (\w+)", output(*readelf, "--dyn-syms", path)))
        self.code = output(prefix + "objdump", "--disassemble", "--no-show-raw-insn", path)
        with tempfile.NamedTemporaryFile() as stripped:
            output(prefix + "strip", "-o", stripped.name, path)
            self.size = os.path.getsize(stripped.name)

    def flags(self, segment):
        return [flags for name, flags in self.segments if name == segment]

    def first_instruction(self, function):
        return re.search(rf"<{function}>:\n\s*\w+:\s+(.*)", self.code).group(1)


def checks(program):
    """Each check's name and whether it holds."""
    held = {
        "position independent": program.kind == "DYN" and "PIE" in program.dynamic,
        "relocations are read-only": bool(program.flags("GNU_RELRO")),
        "every symbol is bound at start": "BIND_NOW" in program.dynamic,
        "no relocation in the code": "TEXTREL" not in program.dynamic,
        "the stack holds no code": program.flags("GNU_STACK") == ["RW "],
        "nothing is both written and run": not any(
            "W" in flags and "E" in flags for _, flags in program.segments),
        "stack protector": "__stack_chk_fail" in program.imports,
        "fortified functions": program.imports.issuperset(_FORTIFIED)
                               and program.imports.isdisjoint(_PLAIN),
        "branches are protected": bool(re.match(_LANDING[program.machine],
                                                program.first_instruction("main"))),
        f"stripped size is at most {SIZE_LIMIT} bytes": program.size <= SIZE_LIMIT,
    }
    if program.machine == "x86-64":
        held["large stack frames are probed"] = bool(re.search(_PROBE, program.code))
    return held


def main():
    binary, prefix, results = sys.argv[1:]
    program = Program(binary, prefix)
    held = checks(program)
    failed = [name for name, holds in held.items() if not holds]
    for name in failed:
        print(f"{program.machine}: does not hold: {name}")
    print(f"{program.machine}: {len(held) - len(failed)} of {len(held)} hold, "
          f"stripped size {program.size} bytes")
    with open(os.path.join(results, program.machine + ".json"), "w") as file:
        json.dump({"tests": len(held), "failures": len(failed)}, file)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
