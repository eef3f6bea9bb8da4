"""Rotation under load: no line is lost, none comes twice."""

import os

from harness import COMMAND_PREFIX, parse
from machine import ETHTOOL, LINK
from raw_bus import RawBus
from scale import amount, measured

LINES = amount("ROTATED_LINES", 20_000, 200_000)
FOLDER = "/run/tirvad"
CLIENTS = 8
# A round logs fewer messages than a file holds, so that no file is replaced unread.
CALLS_EACH = 40
ARGUMENTS = 3


class Reader:
    """Reads each file once, when it has been rotated out."""

    def __init__(self, sandbox):
        self._sandbox = sandbox
        self._read = set()
        self.messages = []

    def _take(self, name):
        path = self._sandbox.path(f"{FOLDER}/{name}")
        if os.path.exists(path) and os.stat(path).st_ino not in self._read:
            self._read.add(os.stat(path).st_ino)
            self.messages += parse(self._sandbox.read_file(f"{FOLDER}/{name}"))

    def take_rotated(self):
        # A file's number is only used again when the file is gone: the read ones stay as links.
        for name in ("kex.log.0", "kex.log.1"):
            self._take(name)
            path = self._sandbox.path(f"{FOLDER}/{name}")
            if os.path.exists(path):
                link = self._sandbox.path(f"/run/keep{os.stat(path).st_ino}")
                if not os.path.exists(link):
                    os.link(path, link)

    def take_all(self):
        self.take_rotated()
        self._take("kex.log")


def one_round(clients, number):
    """The calls of one round, from several clients at once; their texts."""
    texts = []
    for call in range(CALLS_EACH // CLIENTS):
        for index, client in enumerate(clients):
            text = f"{number}/{call}/{index}"
            client.call("TERMINATE", *[f"{text}/{part}" for part in range(ARGUMENTS)])
            texts.append(text)
    for client in clients:
        assert client.take_replies(CALLS_EACH // CLIENTS) == (CALLS_EACH // CLIENTS, 0)
    return texts


def test_every_line_is_kept_exactly_once(kex):
    kex.put_file(ETHTOOL, "#!/bin/sh\nexit 0\n", mode=0o755)
    reader = Reader(kex)
    clients = [RawBus(kex) for _ in range(CLIENTS)]
    texts = []
    runs = 0
    while len(texts) * (1 + ARGUMENTS) < LINES:
        texts += one_round(clients, len(texts))
        # A child writes to the same file.
        assert kex.call("LINK_TUNE", LINK, "enable") == 0
        runs += 1
        reader.take_rotated()
    reader.take_all()
    for client in clients:
        client.close()
    bodies = [message.partition(" - ")[2] for message in reader.messages]
    assert bodies.count(f"command[30]=[{COMMAND_PREFIX}TERMINATE]\n") == len(texts)
    arguments = [body.partition("=[")[2][:-2] for body in bodies if body.startswith("   args[")]
    wanted = {f"{text}/{part}" for text in texts for part in range(ARGUMENTS)}
    own = [argument for argument in arguments if "/" in argument]
    assert len(own) == len(wanted) and set(own) == wanted
    assert sum(body.startswith("Executing command: ") for body in bodies) == runs
    measured("lines kept exactly once over rotations", len(bodies))
