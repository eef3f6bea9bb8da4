"""What ends the daemon, or keeps it from ending, and what is left behind."""

import os
import signal
import subprocess

import pytest

from harness import CallError, Daemon, assert_lines, expected, line, wait_until
from machine import AUTOCONF, LINK, furnish, kept

CLOCK = "/run/sandbox/clock"
FALSE_CLOCK = r"""
#include <stdio.h>
#include <time.h>
#include <sys/syscall.h>
#include <unistd.h>

/* The time of the day, as many seconds off as a file says. */
time_t time(time_t* result)
{
    struct timespec now = {0, 0};
    long off = 0;
    FILE* file = fopen("/run/sandbox/clock", "re");
    if (file != NULL) {
        if (fscanf(file, "%ld", &off) != 1) {
            off = 0;
        }
        fclose(file);
    }
    syscall(SYS_clock_gettime, CLOCK_REALTIME, &now);
    if (result != NULL) {
        *result = now.tv_sec + off;
    }
    return now.tv_sec + off;
}
"""


def start_endless(kex):
    """A script that never ends by itself, run by a command; (the call, its gate)."""
    gate = kex.put_program(AUTOCONF, gated=True)
    call = kex.client.start_call("AUTOCONF", "enable", "run")
    wait_until(kex.calls, what="the script to run")
    return call, gate


def child_of(daemon):
    with open(f"/proc/{daemon.pid}/task/{daemon.pid}/children", encoding="ascii") as file:
        (pid,) = file.read().split()
    return int(pid)


def test_script_that_never_ends_blocks_until_it_is_killed(kex):
    call, _ = start_endless(kex)
    other = kex.bus.connect()
    waiting = other.start_call("TERMINATE")
    with pytest.raises(TimeoutError):
        waiting.reply(timeout=0.5)
    os.kill(child_of(kex.daemon), signal.SIGKILL)
    assert call.reply() == (0,)
    assert waiting.reply() == (0,)
    assert any("ERROR - failed to start server autoconfig rc=9" in text for text in kex.lines())
    other.close()


def test_stop_is_honoured_as_soon_as_the_script_ends(kex):
    call, gate = start_endless(kex)
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGTERM):
        kex.daemon.signal(number)
    with pytest.raises(subprocess.TimeoutExpired):
        kex.daemon.wait(1.5)
    gate.open()
    assert call.reply() == (0,)
    assert kex.daemon.wait() == 0
    assert_lines(kex.lines()[-len(expected.STOP) + 1:], expected.STOP[1:])


def test_bus_that_dies_under_a_command(machine):
    bystanders = kept(machine)
    call, gate = start_endless(machine)
    machine.bus.stop()
    gate.open()
    machine.wait_for_log("Executing command")
    with pytest.raises((ConnectionError, EOFError, CallError)):
        call.reply()
    assert machine.terminate() == 0
    machine.start_bus()
    machine.start_daemon()
    assert machine.call("LINK_CTRL", "down", LINK) == 0
    assert "UP" not in machine.link(LINK)["flags"]
    assert kept(machine) == bystanders


@pytest.mark.parametrize("number", [signal.SIGKILL, signal.SIGSEGV, signal.SIGABRT])
def test_violent_end_leaves_a_whole_log_and_the_kernel_as_it_was(machine, number):
    machine.call("SET_STATIC_ADDRESS", LINK, "10.1.0.9", "24", "10.1.0.255")
    bystanders = kept(machine)
    call, gate = start_endless(machine)
    before = machine.log.content()
    machine.daemon.signal(number)
    with pytest.raises(CallError) as error:
        call.reply()
    assert error.value.name == "org.freedesktop.DBus.Error.NoReply"
    gate.open()
    machine.daemon.wait()
    machine.start_daemon()
    assert machine.log.content().startswith(before)
    assert kept(machine) == bystanders
    assert "10.1.0.9" in str(machine.ip("addr", "show", "dev", LINK))
    assert machine.call("TERMINATE") == 0


# The exception of a bad number ends the process; a service manager starts the next one.
def test_callers_recover_from_a_process_that_ended(sandbox):
    furnish(sandbox)
    for _ in range(5):
        sandbox.start_daemon()
        assert sandbox.call("LINK_CTRL", "up", LINK) == 0
        with pytest.raises(CallError):
            sandbox.call("JOURNAL_CTRL", "kernel", "soon", "/tmp/x")
        assert sandbox.daemon.wait() == 0
    assert sandbox.log.content().count(b"exiting with exception [stoul]") == 5
    assert sandbox.log.content().count(b"kex starting up") == 5


def test_clock_that_is_set_back_and_forth(sandbox, tmp_path):
    source, library = tmp_path / "clock.c", tmp_path / "clock.so"
    source.write_text(FALSE_CLOCK)
    subprocess.run(["cc", "-shared", "-fPIC", "-o", library, source], check=True)
    sandbox.put_file("/run/sandbox/clock.so", library.read_bytes(), mode=0o755)
    sandbox.daemon = Daemon(sandbox.namespaces,
                            launcher=["env", "LD_PRELOAD=/run/sandbox/clock.so"])
    sandbox.daemons.append(sandbox.daemon)
    wait_until(sandbox.client.has_owner, what="kex to own its name")
    sandbox.client.ping()
    stamps = []
    for hours in (0, -30 * 24, 60 * 24, -1, 0):
        sandbox.put_file(CLOCK, str(hours * 3600))
        sandbox.mark()
        assert sandbox.call("LINK_CTRL", "sideways", "lo") == 0
        stamps.append(sandbox.log.content().splitlines()[-1][1:7])
        sandbox.expect_log(*expected.command("LINK_CTRL", "sideways", "lo"),
                           line("exe", "link_control", 686, ""),
                           expected.refused("link_control", 691))
    assert len(set(stamps[:3])) == 3 and stamps[0] == stamps[4]
    # The number of messages turns the file over, not the time.
    assert sandbox.call("TERMINATE", *["x"] * 1600, timeout=60) == 0
    assert sandbox.exists("/run/tirvad/kex.log.0") and not sandbox.exists("/run/tirvad/kex.log.1")
    assert sandbox.terminate() == 0
