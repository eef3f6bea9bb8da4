"""A long year in short: the daemon after very many commands is what it was before."""

import os
import random
import re

from harness import parse
from machine import PROGRAM_RUNS, QUICK, SLOW, furnish, kept
from raw_bus import RawBus
from scale import amount, measured

COMMANDS = amount("COMMANDS", 20_000, 1_000_000)
CHILDREN = amount("CHILDREN", 500, 10_000)

# The bus lets a client wait for 128 replies.
WINDOW = 64
LOOKS = 20
# Out of that many commands one starts a program, and one waits for the kernel to make a link.
RUNS_EACH, SLOW_EACH = 50, 500

LOG_FOLDER = "/run/tirvad"
LOG_FILES = {"kex.log", "kex.log.0", "kex.log.1"}
FULL = 1501
# Children write their lines, these, beside those that the daemon counts.
OF_CHILD = re.compile(r"exe_exec_cmd\(\):50[35] - ")

KIB = 1024
MEMORY_GROWTH = 128 * KIB


class Resources:
    """What the daemon holds, as the kernel counts it."""

    def __init__(self, daemon):
        folder = f"/proc/{daemon.pid}"
        self.descriptors = len(os.listdir(folder + "/fd"))
        self.threads = len(os.listdir(folder + "/task"))
        with open(f"{folder}/task/{daemon.pid}/children", encoding="ascii") as children:
            self.children = len(children.read().split())
        with open(folder + "/smaps_rollup", encoding="ascii") as memory:
            sizes = dict(re.findall(r"^(\w+):\s+(\d+) kB", memory.read(), re.MULTILINE))
        self.pss = int(sizes["Pss"]) * KIB
        self.own_memory = int(sizes["Private_Dirty"]) * KIB


def schedule(seed, count):
    """So many commands; the slow ones come in their order, since each undoes the one before."""
    chance = random.Random(seed)
    slow = 0
    for _ in range(count):
        draw = chance.randrange(SLOW_EACH * RUNS_EACH)
        if draw < RUNS_EACH:
            yield SLOW[slow % len(SLOW)]
            slow += 1
        elif draw < RUNS_EACH + SLOW_EACH:
            yield chance.choice(PROGRAM_RUNS)
        else:
            yield chance.choice(QUICK)


def run_all(client, commands):
    """Calls every command with many under way at a time; (returned, refused)."""
    under_way = returned = refused = 0
    for command in commands:
        client.call(*command)
        under_way += 1
        if under_way == WINDOW:
            done = client.take_replies(WINDOW // 2)
            returned, refused = returned + done[0], refused + done[1]
            under_way -= sum(done)
    done = client.take_replies(under_way)
    return returned + done[0], refused + done[1]


def check_log_files(sandbox):
    """Never more than three files, none longer than its bound."""
    names = set(os.listdir(sandbox.path(LOG_FOLDER)))
    assert names <= LOG_FILES
    for name in names:
        messages = parse(sandbox.read_file(f"{LOG_FOLDER}/{name}"))
        assert sum(not OF_CHILD.match(message) for message in messages) <= FULL


def test_many_mixed_commands_leave_nothing_behind(make_sandbox):
    sandbox = make_sandbox(journal=False)
    sandbox.start_daemon()
    furnish(sandbox)
    bystanders = kept(sandbox)
    looks = []
    # What is made once, at the first use of each command, is no growth.
    counts = [COMMANDS // LOOKS] * LOOKS
    with RawBus(sandbox) as client:
        run_all(client, QUICK + PROGRAM_RUNS + SLOW)
        for seed, count in enumerate(counts):
            assert run_all(client, schedule(seed, count)) == (count, 0)
            check_log_files(sandbox)
            looks.append(Resources(sandbox.daemon))
            sandbox.remove("/run/sandbox/calls")
    first, last = looks[0], looks[-1]
    assert {look.descriptors for look in looks} == {first.descriptors}
    assert {look.threads for look in looks} == {1}
    assert {look.children for look in looks} == {0}
    growth = last.own_memory - first.own_memory
    assert growth <= MEMORY_GROWTH, [look.own_memory for look in looks]
    assert kept(sandbox) == bystanders
    assert sandbox.terminate() == 0
    measured("mixed commands answered", sum(counts))
    measured("descriptors at the end", last.descriptors)
    measured("growth of own memory, bytes", growth)
    measured("PSS at the end, KiB", last.pss // KIB)


def test_every_child_is_reaped(machine):
    before = Resources(machine.daemon)
    with RawBus(machine) as client:
        commands = [PROGRAM_RUNS[index % len(PROGRAM_RUNS)] for index in range(CHILDREN)]
        assert run_all(client, commands) == (CHILDREN, 0)
    assert len(machine.calls()) == CHILDREN
    after = Resources(machine.daemon)
    assert (after.children, after.descriptors) == (0, before.descriptors)
    measured("children reaped", CHILDREN)
