"""What the numbers were measured on."""

import datetime
import os
import platform
import subprocess


def _first(path, name):
    with open(path, encoding="utf-8") as file:
        for line in file:
            key, _, value = line.partition(":")
            if key.strip() == name:
                return value.strip()
    return ""


def _output(*command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    return done.stdout.strip()


def describe(root):
    with open("/etc/os-release", encoding="utf-8") as file:
        system = dict(line.rstrip().split("=", 1) for line in file if "=" in line)
    return {
        "processor": _first("/proc/cpuinfo", "model name") or platform.machine(),
        "cores": os.cpu_count(),
        "memory": _first("/proc/meminfo", "MemTotal"),
        "kernel": f"{platform.system()} {platform.release()} {platform.machine()}",
        "system": system.get("PRETTY_NAME", "").strip('"'),
        "compiler": _output("g++", "--version").partition("\n")[0],
        "libsystemd": _output("dpkg-query", "-W", "-f", "${Version}\\n",
                              "libsystemd0").partition("\n")[0],
        "commit": _output("git", "-C", root, "describe", "--always", "--dirty"),
        "date": datetime.datetime.now().isoformat(timespec="minutes"),
        "load": "{:.2f} {:.2f} {:.2f} before the run".format(*os.getloadavg()),
    }


def as_text(machine):
    return "\n".join(f"{name}: {value}" for name, value in machine.items())
