"""The test harness: kex in private namespaces, on a bus of its own."""

from .bus import COMMAND_PREFIX, INTERFACE, NAME, PATH, CallError, Client
from .daemon import Daemon
from .log import assert_lines, line, parse
from .programs import NOISE, Call
from .sandbox import Sandbox, binary_under_test
from .waiting import wait_until

__all__ = ["COMMAND_PREFIX", "INTERFACE", "NAME", "NOISE", "PATH", "Call", "CallError",
           "Client", "Daemon", "Sandbox", "assert_lines", "binary_under_test", "line",
           "parse", "wait_until"]
