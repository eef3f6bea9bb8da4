"""kexctl inside a sandbox: run to its end, started, and on a terminal."""

import os
import pty
import subprocess
import tempfile

from harness import wait_until

INSIDE = "/run/sandbox/kexctl"
REPOSITORY = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))


def binary_under_test():
    """The client that the tests drive, named by KEXCTL_BINARY."""
    path = os.environ.get("KEXCTL_BINARY")
    if not path or not os.access(path, os.X_OK):
        raise RuntimeError(f"KEXCTL_BINARY={path} must name the client under test")
    return os.path.abspath(path)


class Running:
    """A started kexctl whose output is kept."""

    def __init__(self, command):
        self._output = tempfile.TemporaryFile()
        self._errors = tempfile.TemporaryFile()
        self._process = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                         stdout=self._output, stderr=self._errors)

    def _read(self, file):
        return os.pread(file.fileno(), 1 << 24, 0).decode(errors="surrogateescape")

    @property
    def stdout(self):
        return self._read(self._output)

    @property
    def stderr(self):
        return self._read(self._errors)

    def wait_for(self, text):
        """Waits until a text is in the output."""
        wait_until(lambda: text in self.stdout, what=f"{text!r} in the output")

    def wait(self, timeout=20):
        """The exit status."""
        return self._process.wait(timeout)

    def close(self):
        self._process.kill()
        self._process.wait()
        self._output.close()
        self._errors.close()


class Kexctl:
    """Runs kexctl in one sandbox."""

    def __init__(self, sandbox):
        self.sandbox = sandbox
        self._started = []
        with open(binary_under_test(), "rb") as file:
            sandbox.put_file(INSIDE, file.read(), mode=0o755)

    def __call__(self, *arguments, before=(), **options):
        """Runs it to its end; before is what stands before it, as setpriv."""
        return self.sandbox.run(*before, INSIDE, *arguments, check=False, **options)

    def start(self, *arguments):
        """Starts it; it ends with the test at the latest."""
        self._started.append(Running(self.sandbox.namespaces.enter(INSIDE, *arguments)))
        return self._started[-1]

    def on_terminal(self, *arguments):
        """Runs it with both outputs on a terminal: (status, what the terminal got)."""
        leader, follower = pty.openpty()
        process = subprocess.Popen(self.sandbox.namespaces.enter(INSIDE, *arguments),
                                   stdin=subprocess.DEVNULL, stdout=follower, stderr=follower)
        os.close(follower)
        shown = b""
        while True:
            try:
                part = os.read(leader, 65536)
            except OSError:  # the last writer has closed the terminal
                part = b""
            if not part:
                break
            shown += part
        os.close(leader)
        return process.wait(20), shown.decode(errors="surrogateescape").replace("\r\n", "\n")

    def close(self):
        for running in self._started:
            running.close()
