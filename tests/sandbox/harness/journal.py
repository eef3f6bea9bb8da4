"""A stand-in for the system journal's socket, and its native protocol."""

import array
import ctypes
import os
import select
import socket
import struct
import threading

_SOCKET = "/run/systemd/journal/socket"
_CLONE_NEWNET = 0x40000000
_LARGEST = 4 * 1024 * 1024


def parse(datagram):
    """One native-protocol entry as a dict of texts; a repeated field keeps all
    its values in a list."""
    entry = {}
    rest = datagram
    while rest:
        line, _, rest = rest.partition(b"\n")
        if not line:
            continue
        name, equals, value = line.partition(b"=")
        if not equals:
            (length,) = struct.unpack_from("<Q", rest)
            value, rest = rest[8:8 + length], rest[8 + length:]
            if len(value) != length or rest[:1] != b"\n":
                raise ValueError(f"bad binary field {name!r}")
            rest = rest[1:]
        key, text = name.decode("ascii"), value.decode(errors="surrogateescape")
        if key in entry:
            earlier = entry[key] if isinstance(entry[key], list) else [entry[key]]
            text = earlier + [text]
        entry[key] = text
    return entry


def _socket_of_namespace(pid):
    """The length of a datagram queue is a setting of the network namespace in
    which the socket was made, and outside it is ten."""
    made = []

    def work():
        libc = ctypes.CDLL(None, use_errno=True)
        with open(f"/proc/{pid}/ns/net", "rb") as namespace:
            if libc.setns(namespace.fileno(), _CLONE_NEWNET) != 0:
                return
        made.append(socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM))

    # Entering a network namespace changes the calling thread only.
    thread = threading.Thread(target=work)
    thread.start()
    thread.join()
    if not made:
        raise OSError("the sandbox's network namespace could not be entered")
    return made[0]


class Journal:
    """Keeps every entry that arrives at the journal's socket of a sandbox."""

    def __init__(self, namespaces):
        self._socket = _socket_of_namespace(namespaces.pid)
        self._socket.setblocking(False)
        self._socket.bind(namespaces.path(_SOCKET))
        self._lock = threading.Lock()
        self._entries = []
        self._mark = 0
        self._reading = threading.Event()
        self._reading.set()
        self._wake_read, self._wake_write = os.pipe()
        self._thread = threading.Thread(target=self._drain_forever, daemon=True)
        self._thread.start()

    def _receive(self):
        data, ancillary, _, _ = self._socket.recvmsg(_LARGEST, socket.CMSG_SPACE(4 * 8))
        # An entry too large for a datagram comes as a sealed memory file.
        for level, kind, content in ancillary:
            if level == socket.SOL_SOCKET and kind == socket.SCM_RIGHTS:
                fds = array.array("i")
                fds.frombytes(content[:len(content) - len(content) % fds.itemsize])
                for fd in fds:
                    with os.fdopen(fd, "rb") as file:
                        file.seek(0)
                        data += file.read()
        return parse(data)

    def _drain(self):
        with self._lock:
            while True:
                try:
                    self._entries.append(self._receive())
                except BlockingIOError:
                    return

    def _drain_forever(self):
        poll = select.poll()
        poll.register(self._socket, select.POLLIN)
        poll.register(self._wake_read, select.POLLIN)
        while True:
            if any(fd == self._wake_read for fd, _ in poll.poll()):
                return
            self._reading.wait()
            self._drain()

    def pause(self):
        """Leaves entries in the socket, as a journal that hangs does."""
        self._reading.clear()

    def resume(self):
        self._reading.set()

    def mark(self):
        """Later records() start here."""
        self._drain()
        self._mark = len(self._entries)

    def records(self):
        """The entries since the mark; all that the daemon sent before are in."""
        if self._reading.is_set():
            self._drain()
        return self._entries[self._mark:]

    def messages(self):
        """The MESSAGE of every entry since the mark."""
        return [record["MESSAGE"] for record in self.records()]

    def close(self):
        os.write(self._wake_write, b"x")
        self._reading.set()
        self._thread.join()
        os.close(self._wake_read)
        os.close(self._wake_write)
        self._socket.close()
