"""The test harness: kex in private namespaces, on a bus of its own."""

import signal

from .bus import COMMAND_PREFIX, INTERFACE, NAME, PATH, CallError, Client
from .daemon import Daemon
from .log import assert_lines, line, parse
from .programs import NOISE, Call
from .sandbox import Sandbox, binary_under_test
from .waiting import wait_until

__all__ = ["COMMAND_PREFIX", "INTERFACE", "NAME", "NOISE", "PATH", "Call", "CallError",
           "Client", "Daemon", "Sandbox", "assert_lines", "binary_under_test", "line",
           "parse", "wait_until"]

# What whoever runs the tests ignores, "nohup" for instance, must not be ignored by what is tested.
for _number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM):
    if signal.getsignal(_number) is signal.SIG_IGN:
        signal.signal(_number, signal.SIG_DFL)
