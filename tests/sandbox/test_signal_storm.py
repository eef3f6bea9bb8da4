"""Several hundred daemons under a stream of commands, each stopped at a random
moment, its start included: none may hang, crash or get lost."""

import os
import random
import re
import signal
import subprocess
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import pytest
from jeepney import DBusAddress, MessageFlag, new_method_call

from harness import COMMAND_PREFIX, INTERFACE, NAME, PATH, Sandbox, parse, wait_until

SANDBOXES = 16
DAEMONS_PER_SANDBOX = 10
IN_TIME = 10

MESSAGE = re.compile(r"(man|cul|dbs|exe|nlc)_~?\w+\(\):\d+ - .*\n", re.DOTALL)

COMMANDS = [
    ("LINK_CTRL", "up", "lo"), ("LINK_CTRL", "down", "lo"), ("TERMINATE", *"abcdefgh"),
    # ethtool is not there: a child that fails, and its signal.
    ("LINK_TUNE", "lo", "enable"), ("LINK_TUNE", "lo", "mtu", "1"), ("UNKNOWN",),
]


def bytes_of(message, serial):
    """A call that asks for no reply, as bytes for the bus."""
    message.header.flags = MessageFlag.no_reply_expected
    return message.serialise(serial=serial)


PING = bytes_of(new_method_call(DBusAddress(PATH, NAME, "org.freedesktop.DBus.Peer"), "Ping"), 1)
STREAM = b"".join(
    bytes_of(new_method_call(DBusAddress(PATH, NAME, INTERFACE), "ExecuteCommand", "sas",
                             (COMMAND_PREFIX + name, arguments)), serial)
    for serial, (name, *arguments) in enumerate(COMMANDS, 1000))


class Sender(threading.Thread):
    """Sends commands at a pace that leaves the other daemons some of the machine, or
    a flood of the smallest calls, so that a signal meets the loop itself rather than a
    command."""

    def __init__(self, client):
        super().__init__()
        self._client = client
        self._over = threading.Event()
        self.flood = False

    def run(self):
        while not self._over.wait(0 if self.flood else 0.004):
            self._client.connection.sock.sendall(PING * 8 if self.flood else STREAM)

    def end(self):
        self._over.set()
        self.join()
        self._client.close()


def stop_at_random(sandbox, sender, chance):
    """Starts one daemon, signals it once or twice, and checks how it ends."""
    daemon = sandbox.start_daemon(ready=False)
    # Before its handler is there, the signal would simply end the process.
    wait_until(lambda: daemon.handles(signal.SIGTERM), interval=0.0005, what="the handler")
    if chance.random() < 0.7:
        wait_until(sandbox.client.has_owner, what="kex to own its name")
        sender.flood = chance.random() < 0.7
    time.sleep(chance.uniform(0, 0.02))
    daemon.signal(signal.SIGTERM)
    sender.flood = False
    if chance.random() < 0.5:
        time.sleep(chance.choice([0, chance.uniform(0, 0.01), chance.uniform(0, 1.1)]))
        daemon.signal(chance.choice([signal.SIGTERM, signal.SIGINT]))
    try:
        status = daemon.wait(IN_TIME)
    except subprocess.TimeoutExpired:
        status = f"no end within {IN_TIME} s"
    assert status == 0, (status, sandbox.log.content()[-2000:].decode(errors="replace"))


def storm(seed):
    """The daemons of one sandbox, one after the other."""
    chance = random.Random(seed)
    with Sandbox(journal=False) as sandbox:
        sandbox.remove("/usr/sbin/ethtool")
        sender = Sender(sandbox.bus.connect())
        sender.start()
        try:
            for _ in range(DAEMONS_PER_SANDBOX):
                stop_at_random(sandbox, sender, chance)
        except AssertionError as failure:
            raise AssertionError(f"seed {seed}: {failure}") from failure
        finally:
            sender.end()
        check_log(sandbox)


def check_log(sandbox):
    """No line was torn or lost: the log holds whole messages only, and each daemon's
    first and last."""
    counts = {"kex starting up\n": 0, "exiting\n": 0}
    for name in ("kex.log.0", "kex.log.1", "kex.log"):
        path = "/run/tirvad/" + name
        if not sandbox.exists(path):
            continue
        for message in parse(sandbox.read_file(path)):
            assert MESSAGE.fullmatch(message), message
            for text in counts:
                counts[text] += message.endswith(" - " + text)
    if not sandbox.exists("/run/tirvad/kex.log.0"):
        assert set(counts.values()) == {DAEMONS_PER_SANDBOX}


# In two parts, for the two halves of a parallel run.
@pytest.mark.parametrize("part", range(2))
def test_every_daemon_ends_with_status_zero(part):
    del part
    seeds = [int.from_bytes(os.urandom(4), "big") for _ in range(SANDBOXES)]
    with ThreadPoolExecutor(SANDBOXES) as pool:
        for result in [pool.submit(storm, seed) for seed in seeds]:
            result.result()
