"""Lets any one system call of a running daemon fail, by the kernel's notification of filters.

The daemon is started as watched; every call of it and of its children up to their execve is seen
here before it is carried out, and goes on or fails with an error as the test wants it.
"""

import ctypes
import errno
import fcntl
import functools
import os
import re
import select
import struct
import subprocess
import threading

from harness import wait_until

_PIDFD_GETFD = 438
_RECEIVE, _SEND = 0xC0502100, 0xC0182101
_CONTINUE = 1
_NOTICE = struct.Struct("=QIIi")  # id, process, flags, number of the call
_NOTICE_SIZE = 80
_VERDICT = struct.Struct("=QqiI")

# These ask for nothing that the kernel could lack, and do not fail when their arguments are right.
# An error of close leaves the descriptor closed all the same, which cannot be played from here.
_NEVER_FAILING = {"exit", "exit_group", "rt_sigreturn", "rt_sigaction", "rt_sigprocmask", "futex",
                  "gettid", "getpid", "set_robust_list", "close"}

_MEMORY = {"brk", "mmap", "mremap"}


@functools.cache
def names():
    """The number of each system call to its name, as the compiler's headers have them."""
    text = subprocess.run(["cc", "-E", "-dM", "-include", "sys/syscall.h", "-x", "c", "/dev/null"],
                          check=True, stdout=subprocess.PIPE, text=True).stdout
    return {int(number): name for name, number in re.findall(r"#define __NR_(\w+) (\d+)$", text,
                                                             re.MULTILINE)}


def copy_descriptor(process, number):
    """A descriptor of another process, as one of this."""
    handle = os.pidfd_open(process)
    try:
        copy = ctypes.CDLL(None, use_errno=True).syscall(_PIDFD_GETFD, handle, number, 0)
        if copy < 0:
            raise OSError(ctypes.get_errno(), "pidfd_getfd")
        return copy
    finally:
        os.close(handle)


class SystemCalls:
    """Watches a daemon from its start on."""

    def __init__(self, daemon):
        self._daemon = daemon
        self._listener = wait_until(self._take_listener, what="the filter of the daemon")
        self._lock = threading.Lock()
        self._calls = None
        self._fail_at = None
        self._error = 0
        self._spare = ()
        self._no_memory = None
        self._programs = set()
        self.latest = None  # the name of the daemon's latest call, if it went on
        self._end_read, self._end_write = os.pipe()
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def _take_listener(self):
        folder = f"/proc/{self._daemon.pid}/fd"
        for name in os.listdir(folder):
            try:
                kind = os.readlink(f"{folder}/{name}")
            except FileNotFoundError:
                continue
            if kind == "anon_inode:seccomp notify":
                return copy_descriptor(self._daemon.pid, int(name))
        return None

    def _serve(self):
        poll = select.poll()
        poll.register(self._listener, select.POLLIN)
        poll.register(self._end_read, select.POLLIN)
        while True:
            for ready, event in poll.poll():
                if ready == self._end_read or event & select.POLLHUP:
                    return
                self._answer_one()

    def _answer_one(self):
        notice = bytearray(_NOTICE_SIZE)
        try:
            fcntl.ioctl(self._listener, _RECEIVE, notice)
        except OSError as failure:
            if failure.errno in (errno.ENOENT, errno.EINTR):
                return  # the process is gone
            raise
        identity, process, _, number = _NOTICE.unpack_from(notice)
        name = names().get(number, str(number))
        error = self._judge(process, name)
        if process == self._daemon.pid:
            self.latest = None if error else name
        # brk alone tells its failure by the address that it returns.
        code = 0 if name == "brk" else -error
        verdict = _VERDICT.pack(identity, 0, code, 0 if error else _CONTINUE)
        try:
            fcntl.ioctl(self._listener, _SEND, verdict)
        except FileNotFoundError:
            pass

    def _judge(self, process, name):
        """The error with which a call is to fail, or 0."""
        with self._lock:
            if self._calls is None or process in self._programs:
                return 0
            if name == "execve" and process != self._daemon.pid:
                self._programs.add(process)
            if name in _NEVER_FAILING or name in self._spare:
                return 0
            self._calls.append(name)
            of = "daemon" if process == self._daemon.pid else "children"
            if name in _MEMORY and of == self._no_memory:
                return errno.ENOMEM
            return self._error if len(self._calls) - 1 == self._fail_at else 0

    def begin(self, fail_at=None, error=0, spare=(), no_memory=None):
        """Counts the calls from here on but for those to spare, and lets the one of that index
        fail. no_memory is whose calls for memory all fail, "daemon" or "children"."""
        with self._lock:
            self._calls, self._fail_at, self._error = [], fail_at, error
            self._spare, self._no_memory = spare, no_memory

    def end(self):
        """The names of the calls since begin; none fails any more."""
        with self._lock:
            calls, self._calls = self._calls, None
            return calls

    def close(self):
        """To be called when the daemon has ended: with nobody listening, its calls would fail."""
        os.write(self._end_write, b"x")
        self._thread.join()
        for descriptor in (self._listener, self._end_read, self._end_write):
            os.close(descriptor)
