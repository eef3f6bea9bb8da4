"""Runs inside the sandbox: prepares a process and then becomes the daemon.

usage: launcher.py [--refuse SYSCALL[:FIRST_ARGUMENT]]... [--zombies N] [--watched yes] PROGRAM

A watched program waits at each system call for the verdict of whoever has taken the
listening descriptor out of it.
"""

import ctypes
import os
import platform
import signal
import struct
import sys

_NUMBERS = {
    "x86_64": {"close": 3, "socket": 41, "prctl": 157, "clone": 56, "clone3": 435, "fork": 57,
               "kill": 62},
    "aarch64": {"close": 57, "socket": 198, "prctl": 167, "clone": 220, "clone3": 435,
                "kill": 129},
}
_PR_SET_SECCOMP, _SECCOMP_MODE_FILTER, _PR_SET_NO_NEW_PRIVS = 22, 2, 38
_LOAD, _JUMP_EQUAL, _RETURN = 0x20, 0x15, 0x06
_ALLOW, _ERRNO, _ASK, _EPERM = 0x7FFF0000, 0x00050000, 0x7FC00000, 1
_SECCOMP = {"x86_64": 317, "aarch64": 277}
_SET_MODE_FILTER, _NEW_LISTENER, _WAIT_KILLABLE = 1, 8, 32
_OFFSET_NUMBER, _OFFSET_FIRST_ARGUMENT = 0, 16


def _instruction(code, value, if_true=0, if_false=0):
    return struct.pack("=HBBI", code, if_true, if_false, value)


def _filter(refusals):
    """A seccomp filter that answers the named system calls with EPERM."""
    program = b""
    for number, argument in refusals:
        program += _instruction(_LOAD, _OFFSET_NUMBER)
        if argument is None:
            program += _instruction(_JUMP_EQUAL, number, 0, 1)
        else:
            program += _instruction(_JUMP_EQUAL, number, 0, 3)
            program += _instruction(_LOAD, _OFFSET_FIRST_ARGUMENT)
            program += _instruction(_JUMP_EQUAL, argument, 0, 1)
        program += _instruction(_RETURN, _ERRNO | _EPERM)
    return program + _instruction(_RETURN, _ALLOW)


class Program(ctypes.Structure):
    _fields_ = [("length", ctypes.c_ushort), ("filter", ctypes.c_char_p)]


def _be_watched(numbers):
    # A signal can end the wait for a verdict before the call was made, and a descriptor that was
    # not closed for that would be lost.
    program = (_instruction(_LOAD, _OFFSET_NUMBER)
               + _instruction(_JUMP_EQUAL, numbers["close"], 0, 1)
               + _instruction(_RETURN, _ALLOW) + _instruction(_RETURN, _ASK))
    # From here on nothing of this process goes on before somebody listens.
    whole = Program(len(program) // 8, program)
    flags = _NEW_LISTENER | _WAIT_KILLABLE
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.syscall(_SECCOMP[platform.machine()], _SET_MODE_FILTER, flags, ctypes.byref(whole)) < 0:
        raise OSError(ctypes.get_errno(), "seccomp")


def _install(program):
    libc = ctypes.CDLL(None, use_errno=True)
    libc.prctl.argtypes = [ctypes.c_int] + [ctypes.c_void_p] * 4
    whole = Program(len(program) // 8, program)
    if libc.prctl(_PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "no_new_privs")
    if libc.prctl(_PR_SET_SECCOMP, _SECCOMP_MODE_FILTER, ctypes.addressof(whole), 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "seccomp")


def _leave_zombies(count):
    """The daemon inherits children that have ended, and whose SIGCHLD it never saw."""
    for _ in range(count):
        pid = os.fork()
        if pid == 0:
            os._exit(3)
        os.waitid(os.P_PID, pid, os.WEXITED | os.WNOWAIT)


def main():
    numbers = _NUMBERS[platform.machine()]
    refusals = []
    watched = False
    rest = sys.argv[1:]
    while rest[0].startswith("--"):
        option, value, *rest = rest
        if option == "--zombies":
            _leave_zombies(int(value))
        elif option == "--watched":
            watched = True
        elif option == "--refuse":
            name, _, argument = value.partition(":")
            if name in numbers:
                refusals.append((numbers[name], int(argument) if argument else None))
        else:
            sys.exit(f"unknown option {option}")
    # Python ignores it, and an ignored signal stays ignored.
    signal.signal(signal.SIGPIPE, signal.SIG_DFL)
    if refusals:
        _install(_filter(refusals))
    if watched:
        _be_watched(numbers)
    os.execv(rest[0], rest)


main()
