"""Rows 10 to 12: how long kex takes to start, and how much of memory and disk it takes."""

import os
import subprocess

from harness import NAME

from .place import INSIDE, PLAIN, Place
from .table import Line, Target, at_most, times_faster

_HOSTNAMED = "/usr/lib/systemd/systemd-hostnamed"
_NETWORKD = "/usr/lib/systemd/systemd-networkd"
_NETWORK_MANAGER = "/usr/sbin/NetworkManager"


def start(settings):
    with Place(settings) as place:
        times = place.time(settings.starts, [
            ("kex", 1, "own", NAME, "/run/sandbox/kex"),
            ("plain", 1, "own", PLAIN, f"{INSIDE}/plain_service"),
            ("hostnamed", 1, "own", "org.freedesktop.hostname1", _HOSTNAMED)])
    work = "start, from exec to name owned"
    yield Line(10, work, times["kex"], "plain C service", times["plain"], target=at_most(1.5))
    yield Line(10, work, times["kex"], "systemd-hostnamed", times["hostnamed"],
               target=times_faster(1))


def _lay_network_manager(settings, place):
    """It is not installed, which would hand the machine's network over to it: its files are
    laid over those of the sandbox."""
    place.run("mount", "-t", "tmpfs", "tmpfs", "/var")
    os.mkdir(place.path("/var/lib"))
    pack = subprocess.Popen(["tar", "-C", settings.peers, "--exclude=./var", "-c", "."],
                            stdout=subprocess.PIPE)
    subprocess.run(["tar", "-x", "-C", place.path("/"), "--keep-directory-symlink"],
                   stdin=pack.stdout, check=True)
    if pack.wait() != 0:
        raise RuntimeError("the files of NetworkManager cannot be read")


def _services(settings):
    """(label, how to start it, the command of 10,000 calls)."""
    yield "kex", lambda place: place.start_daemon(), ("kex", "TERMINATE")
    yield "plain C service", Place.start_plain_service, ("plain", "TERMINATE")
    yield "systemd-hostnamed", Place.start_hostnamed, None
    yield ("systemd-networkd",
           lambda place: place.start_service(_NETWORKD, name="org.freedesktop.network1"), None)
    if settings.peers:
        def start_network_manager(place):
            _lay_network_manager(settings, place)
            return place.start_service("env", "LD_LIBRARY_PATH=/usr/lib/x86_64-linux-gnu",
                                       _NETWORK_MANAGER, "--no-daemon",
                                       name="org.freedesktop.NetworkManager")
        yield "NetworkManager", start_network_manager, None


def memory(settings):
    """Each service alone in a sandbox of its own: shared pages are shared with the same others."""
    idle, busy, private = {}, {}, {}
    for _ in range(settings.memory_rounds):
        for label, begin, calls in _services(settings):
            with Place(settings) as place:
                service = begin(place)
                sizes = place.pss(service)
                idle.setdefault(label, []).append(sizes["pss"])
                private.setdefault(label, []).append(sizes["private"])
                if calls:
                    place.time(1, [("calls", settings.many_calls, *calls)])
                    busy.setdefault(label, []).append(place.pss(service)["pss"])
    plain = "plain C service"
    yield Line(11, "PSS, idle", idle["kex"], plain, idle[plain], unit="B", target=at_most(2),
               details={"private": private})
    yield Line(11, f"PSS after {settings.many_calls} commands", busy["kex"], plain, busy[plain],
               unit="B", target=at_most(2))
    for label in list(idle)[2:]:
        yield Line(11, "PSS, idle", idle["kex"], label, idle[label], unit="B",
                   target=Target("at most half", 0.5))


def _stripped_size(program, strip, folder):
    copy = os.path.join(folder, "stripped")
    subprocess.run([strip, "-o", copy, program], check=True)
    return os.path.getsize(copy)


def _libraries(program):
    """What the loader brings in; the loader itself and the kernel's part are everywhere."""
    listed = subprocess.run(["ldd", program], check=True, capture_output=True, text=True).stdout
    return {line.split()[0] for line in listed.splitlines() if "=>" in line}


def size(settings):
    limit = Target("at most 200 KiB", 200 * 1024, "value")
    peers = {path: os.path.getsize(path) for path in (_HOSTNAMED, _NETWORKD)}
    if settings.peers:
        peers[_NETWORK_MANAGER] = os.path.getsize(settings.peers + _NETWORK_MANAGER)
    folder = settings.scratch
    yield Line(12, "stripped size, x86-64", [_stripped_size(settings.kex, "strip", folder)],
               unit="B", target=limit)
    for path, bytes_ in peers.items():
        yield Line(12, "stripped size, x86-64", [_stripped_size(settings.kex, "strip", folder)],
                   os.path.basename(path), [bytes_], unit="B")
    if settings.kex_arm64:
        yield Line(12, "stripped size, AArch64",
                   [_stripped_size(settings.kex_arm64, "aarch64-linux-gnu-strip", folder)],
                   unit="B", target=limit)
    mine = _libraries(settings.kex)
    allowed = _libraries(os.path.join(settings.programs, "plain_service"))
    with_cpp = {"libstdc++.so.6", "libgcc_s.so.1", "libm.so.6"}  # the latter two are its own needs
    yield Line(12, "shared libraries loaded", [len(mine)], "libsystemd's own and libstdc++'s",
               [len(allowed | with_cpp)], unit="",
               target=Target("none besides", len(mine & (allowed | with_cpp)), "value"),
               details={"kex": sorted(mine), "allowed": sorted(allowed | with_cpp)})
