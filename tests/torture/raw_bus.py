"""A connection to the bus that sends any bytes and counts replies without parsing them whole."""

import functools
import os
import select
import socket
import struct
import time

from jeepney import DBusAddress, MessageType, new_method_call

from harness import COMMAND_PREFIX, INTERFACE, NAME, PATH

OBJECT = DBusAddress(PATH, NAME, INTERFACE)
_DRIVER = DBusAddress("/org/freedesktop/DBus", "org.freedesktop.DBus", "org.freedesktop.DBus")
_FIXED = 16  # bytes before the header's fields
_SERIAL = 8  # where the serial stands among them
_REPLIES = (MessageType.method_return.value, MessageType.error.value)


@functools.cache
def command_bytes(name, *arguments):
    """One ExecuteCommand as it goes over the socket, under some serial."""
    return new_method_call(OBJECT, "ExecuteCommand", "sas",
                           (COMMAND_PREFIX + name, list(arguments))).serialise(serial=1)


class RawBus:
    """A client on the bus, past its authentication."""

    def __init__(self, sandbox):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.connect(sandbox.path("/run/dbus/system_bus_socket"))
        self._data = b""
        self._serial = 1
        self.socket.sendall(b"\0AUTH EXTERNAL %s\r\n" % str(os.getuid()).encode().hex().encode())
        while b"\r\n" not in self._data:
            self._receive(10)
        self._data = b""
        self.send(b"BEGIN\r\n" + new_method_call(_DRIVER, "Hello").serialise(serial=1))
        self.take_replies(1)

    def send(self, data):
        self.socket.sendall(data)

    def call(self, name, *arguments):
        """Sends a command under a serial of its own; the reply is left to take_replies."""
        message = command_bytes(name, *arguments)
        self._serial += 1
        self.send(message[:_SERIAL] + struct.pack("<I", self._serial) + message[_SERIAL + 4:])

    def _receive(self, timeout):
        ready, _, _ = select.select([self.socket], [], [], timeout)
        if not ready:
            raise TimeoutError("nothing came from the bus")
        data = self.socket.recv(1 << 20)
        if not data:
            raise ConnectionResetError("the bus has closed the connection")
        self._data += data

    def _types(self):
        """Takes every whole message that has arrived; the type of each."""
        types = []
        while len(self._data) >= _FIXED:
            body, _, fields = struct.unpack_from("<III", self._data, 4)
            size = _FIXED + (fields + 7) // 8 * 8 + body
            if len(self._data) < size:
                break
            types.append(self._data[1])
            self._data = self._data[size:]
        return types

    def take_replies(self, least, timeout=60):
        """Waits for replies; (returned, refused), together at least that many."""
        deadline = time.monotonic() + timeout
        returned = refused = 0
        while True:
            for kind in self._types():
                returned += kind == _REPLIES[0]
                refused += kind == _REPLIES[1]
            if returned + refused >= least:
                return returned, refused
            self._receive(max(0.0, deadline - time.monotonic()))

    def closed_by_the_bus(self, timeout=10):
        """Whether the bus hangs up, as it does on whoever breaks the protocol."""
        try:
            while True:
                self._receive(timeout)
        except TimeoutError:
            return False
        except ConnectionError:
            return True

    def close(self):
        self.socket.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()
