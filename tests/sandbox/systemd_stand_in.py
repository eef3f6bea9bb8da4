"""A stand-in for systemd's manager on a bus: records calls and follows a script.

As a program it serves the system bus until it is ended:
systemd_stand_in.py RECORD [SECONDS]
"""

import contextlib
import socket
import sys
import threading
import time
from dataclasses import dataclass

from jeepney import (DBusAddress, HeaderFields, Message, MessageType, Parser, new_error,
                     new_method_call, new_method_return)
from jeepney.io.blocking import open_dbus_connection

NAME = "org.freedesktop.systemd1"
PATH = "/org/freedesktop/systemd1"
MANAGER = NAME + ".Manager"
JOB = NAME + ".Job"
PROPERTIES = "org.freedesktop.DBus.Properties"

NO_SUCH_UNIT = NAME + ".NoSuchUnit"

_DRIVER = DBusAddress("/org/freedesktop/DBus", "org.freedesktop.DBus", "org.freedesktop.DBus")
_JOB_METHODS = ("StartUnit", "StopUnit", "RestartUnit")


@dataclass(frozen=True)
class Call:
    """One method call as it arrived."""
    path: str
    interface: str
    member: str
    arguments: tuple
    sender: str = None

    @classmethod
    def of(cls, message):
        fields = message.header.fields
        return cls(fields[HeaderFields.path], fields.get(HeaderFields.interface),
                   fields[HeaderFields.member], tuple(message.body),
                   fields.get(HeaderFields.sender))

    def what(self):
        """The call without its sender."""
        return (self.path, self.interface, self.member, self.arguments)


class Manager:
    """The manager's answers. Its attributes are the script: job_seconds is how long
    a job lives (None: for ever), reset_error and unit_error are (name, text) of a
    refusal, job_reply and state are (signature, body) of what is answered in place
    of a job path and of the variant of a job's State."""

    def __init__(self, job_seconds=0.0, reset_error=None, unit_error=None, job_reply=None,
                 state=("s", "running")):
        self.job_seconds = job_seconds
        self.reset_error = reset_error
        self.unit_error = unit_error
        self.job_reply = job_reply
        self.state = state
        self.calls = []
        self._ends = {}

    def answer(self, message):
        """The reply to a method call."""
        call = Call.of(message)
        self.calls.append(call)
        if call.interface == MANAGER and call.member == "ResetFailedUnit":
            return self._error_or(message, self.reset_error, None, ())
        if call.interface == MANAGER and call.member in _JOB_METHODS:
            signature, body = self.job_reply or ("o", (self._new_job(),))
            return self._error_or(message, self.unit_error, signature, body)
        if call.member == "Get" and call.arguments == (JOB, "State") and self._lives(call.path):
            return new_method_return(message, "v", (self.state,))
        return new_error(message, "org.freedesktop.DBus.Error.UnknownObject", "s",
                         (f"Unknown object '{call.path}'.",))

    @staticmethod
    def _error_or(message, error, signature, body):
        if error is not None:
            name, text = error
            return new_error(message, name, "s", (text,))
        return new_method_return(message, signature, body)

    def _new_job(self):
        path = f"{PATH}/job/{len(self._ends) + 1}"
        never = float("inf")
        self._ends[path] = never if self.job_seconds is None \
            else time.monotonic() + self.job_seconds
        return path

    def _lives(self, path):
        return time.monotonic() < self._ends.get(path, 0.0)

    def requests(self):
        """The calls that are no look at a job, without their senders."""
        return [call.what() for call in self.calls if call.interface == MANAGER]

    def polls(self):
        """The looks at jobs."""
        return [call for call in self.calls if call.interface == PROPERTIES]


class Service:
    """A Manager on a bus, served by a thread until it is closed."""

    def __init__(self, connection, manager):
        self._connection = connection
        self._manager = manager
        self._stop = threading.Event()
        connection.send_and_get_reply(new_method_call(_DRIVER, "RequestName", "su", (NAME, 0)))
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def _serve(self):
        with contextlib.suppress(OSError):  # once a test has ended the bus
            while not self._stop.is_set():
                with contextlib.suppress(TimeoutError):
                    self._answer(self._connection.receive(timeout=0.02))

    def _answer(self, message):
        if message.header.message_type == MessageType.method_call:
            self._connection.send(self._manager.answer(message))

    def close(self):
        self._stop.set()
        self._thread.join()
        self._connection.close()


def manager_calls(method, unit):
    """What requests() gives for one request."""
    return [(PATH, MANAGER, "ResetFailedUnit", (unit,)),
            (PATH, MANAGER, method, (unit, "replace"))]


class FalseBus:
    """Listens in place of a bus and lets a function answer, with any bytes: a real
    bus would not let a malformed message through. Without a function it hangs up on
    every caller as soon as it has authenticated."""

    def __init__(self, path, answer=None):
        self._answer = answer
        self._listener = socket.socket(socket.AF_UNIX)
        self._listener.bind(path)
        self._listener.listen()
        self._thread = threading.Thread(target=self._accept, daemon=True)
        self._thread.start()

    def _accept(self):
        while True:
            try:
                caller, _ = self._listener.accept()
            except OSError:
                return
            with caller:
                self._serve(caller)

    def _serve(self, caller):
        rest = self._authenticate(caller)
        if self._answer is None:
            return
        parser = Parser()
        serial = 0
        data = rest
        while True:
            parser.add_data(data)
            message = parser.get_next_message()
            while message is not None:
                serial += 1
                reply = self._hello(message) or self._answer(message)
                caller.sendall(reply.serialise(serial) if isinstance(reply, Message) else reply)
                message = parser.get_next_message()
            data = caller.recv(65536)
            if not data:
                return

    @staticmethod
    def _hello(message):
        if message.header.fields[HeaderFields.member] == "Hello":
            return new_method_return(message, "s", (":1.1",))
        return None

    @staticmethod
    def _authenticate(caller):
        replies = {b"AUTH": b"DATA\r\n", b"DATA": b"OK " + b"0" * 32 + b"\r\n",
                   b"NEGO": b"AGREE_UNIX_FD\r\n"}
        data = b""
        while True:
            line, end, rest = data.lstrip(b"\0").partition(b"\r\n")
            if not end:
                more = caller.recv(4096)
                if not more:
                    return b""
                data += more
                continue
            if line == b"BEGIN":
                return rest
            caller.sendall(replies[line[:4]])
            data = rest

    def close(self):
        self._listener.shutdown(socket.SHUT_RDWR)
        self._listener.close()
        self._thread.join()


class _RecordingManager(Manager):
    """Appends every call to a file."""

    def __init__(self, record, **script):
        super().__init__(**script)
        self._record = record

    def answer(self, message):
        reply = super().answer(message)
        call = self.calls[-1]
        with open(self._record, "a", encoding="utf-8") as record:
            print(call.member, *call.arguments, file=record)
        return reply


def main():
    record, *seconds = sys.argv[1:]
    manager = _RecordingManager(record, job_seconds=float(seconds[0]) if seconds else 0.0)
    Service(open_dbus_connection("SYSTEM"), manager)
    threading.Event().wait()


if __name__ == "__main__":
    main()
