"""A private system bus and a client on it."""

import os
import socket
import subprocess

from jeepney import (DBusAddress, HeaderFields, MessageType, new_method_call)
from jeepney.io.blocking import open_dbus_connection

from .waiting import wait_until

SOCKET = "/run/dbus/system_bus_socket"
ADDRESS = "unix:path=" + SOCKET

NAME = "com.orvel.bmc.network.kex"
PATH = "/com/orvel/bmc/network/kex"
INTERFACE = "com.orvel.bmc.network.KEX"
COMMAND_PREFIX = INTERFACE + ".CmdID."

DRIVER = DBusAddress("/org/freedesktop/DBus", "org.freedesktop.DBus", "org.freedesktop.DBus")

_CONFIG = os.path.join(os.path.dirname(os.path.abspath(__file__)), "bus.conf")


class CallError(Exception):
    """A D-Bus error reply."""

    def __init__(self, name, message):
        super().__init__(f"{name}: {message}")
        self.name = name
        self.message = message


class Bus:
    """A dbus-daemon inside the namespaces; extra_policy is busconfig text that
    comes after the rules that allow everything."""

    def __init__(self, namespaces, extra_policy=""):
        self._namespaces = namespaces
        with open(_CONFIG, encoding="utf-8") as file:
            config = file.read().replace("</busconfig>", extra_policy + "</busconfig>")
        namespaces.put_file("/run/dbus/system.conf", config)
        namespaces.remove(SOCKET)
        self._process = subprocess.Popen(
            namespaces.enter("dbus-daemon", "--config-file=/run/dbus/system.conf",
                             "--nofork", "--nopidfile"),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(self._listening, what="dbus-daemon to listen")

    def _listening(self):
        with socket.socket(socket.AF_UNIX) as probe:
            try:
                probe.connect(self._namespaces.path(SOCKET))
            except OSError:
                return False
        return True

    def connect(self):
        """A new client connection."""
        return Client(open_dbus_connection("unix:path=" + self._namespaces.path(SOCKET),
                                           auth_timeout=10))

    def stop(self):
        """Ends the dbus-daemon, and with it every connection."""
        with open(f"/proc/{self._process.pid}/task/{self._process.pid}/children") as children:
            for pid in children.read().split():
                os.kill(int(pid), 9)
        self.reap()

    def reap(self):
        """Collects a dbus-daemon that has ended or is ending."""
        self._process.wait()


class Pending:
    """A call whose reply has not been waited for yet."""

    def __init__(self, client, serial):
        self._client = client
        self.serial = serial

    def reply(self, timeout=10):
        """The body of the reply; raises CallError for an error reply."""
        while True:
            message = self._client.connection.receive(timeout=timeout)
            if message.header.fields.get(HeaderFields.reply_serial) == self.serial:
                return unwrap(message)


def unwrap(message):
    """The body of a reply as a tuple; raises CallError for an error reply."""
    if message.header.message_type == MessageType.error:
        raise CallError(message.header.fields[HeaderFields.error_name],
                        message.body[0] if message.body else "")
    return message.body


class Client:
    """One connection to the bus."""

    def __init__(self, connection):
        self.connection = connection
        self.name = connection.unique_name

    def request(self, message, timeout=10):
        """Sends any method call and returns the reply's body as a tuple."""
        return unwrap(self.connection.send_and_get_reply(message, timeout=timeout))

    def method(self, address, method, signature=None, body=(), timeout=10):
        return self.request(new_method_call(address, method, signature, body), timeout)

    def driver(self, method, signature=None, body=()):
        """A call to the bus itself."""
        return self.method(DRIVER, method, signature, body)

    def has_owner(self, name=NAME):
        return bool(self.driver("NameHasOwner", "s", (name,))[0])

    def owner(self, name=NAME):
        """The unique name that owns a name; raises CallError when none does."""
        return self.driver("GetNameOwner", "s", (name,))[0]

    def ping(self, name=NAME, timeout=10):
        """Only a running event loop answers this."""
        self.method(DBusAddress("/", name, "org.freedesktop.DBus.Peer"), "Ping", timeout=timeout)

    def _command(self, command, arguments, destination):
        return new_method_call(DBusAddress(PATH, destination, INTERFACE), "ExecuteCommand",
                               "sas", (COMMAND_PREFIX + command, list(arguments)))

    def call(self, command, *arguments, destination=NAME, timeout=10):
        """ExecuteCommand; the reply's number."""
        (result,) = self.request(self._command(command, arguments, destination), timeout)
        return result

    def start_call(self, command, *arguments, destination=NAME):
        """ExecuteCommand without waiting for the reply."""
        serial = next(self.connection.outgoing_serial)
        self.connection.send(self._command(command, arguments, destination), serial=serial)
        return Pending(self, serial)

    def property(self, name, destination=NAME):
        """A property of the object as (signature, value)."""
        address = DBusAddress(PATH, destination, "org.freedesktop.DBus.Properties")
        return self.method(address, "Get", "ss", (INTERFACE, name))[0]

    def close(self):
        self.connection.close()
