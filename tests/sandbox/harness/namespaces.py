"""The private namespaces in which one test's bus, daemon and links live."""

import json
import os
import signal
import subprocess
import tempfile

_MOUNTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "private_mounts.sh")

# The shell keeps the /proc of outside until it has read its own pid there:
# that is the pid by which the tests reach the namespaces.
# The sandbox lives as long as the shell can read from its standard input, so
# it ends with the test process even when that is killed.
# The queue of a datagram socket holds ten entries by default: the stand-in for
# the journal would lose some.
_HOLD = r"""
set -eu
. "$1"
read -r outside_pid rest </proc/self/stat
make_private_mounts "$2"
if [ "$3" = yes ]; then mkdir /run/tirvad; fi
echo 100000 >/proc/sys/net/unix/max_dgram_qlen
echo "$outside_pid"
while read -r line; do :; done
"""

ENTER = ("--mount", "--net", "--uts", "--ipc", "--pid")


class Namespaces:
    """Network, mount, UTS, IPC and PID namespaces, held open by a shell."""

    def __init__(self, binary, log_dir=True):
        self._errors = tempfile.TemporaryFile()
        self._holder = subprocess.Popen(
            ["unshare", "--net", "--mount", "--uts", "--ipc", "--pid", "--fork",
             "--kill-child", "--propagation", "private", "--",
             "sh", "-c", _HOLD, "sandbox", _MOUNTS, binary, "yes" if log_dir else "no"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=self._errors)
        answer = self._holder.stdout.readline()
        if not answer.endswith(b"\n"):
            self._holder.wait()
            self._errors.seek(0)
            raise RuntimeError("the sandbox could not be set up: "
                               + self._errors.read().decode(errors="replace"))
        self.pid = int(answer)

    def path(self, inside):
        """The path by which the outside reaches a file of the inside."""
        return f"/proc/{self.pid}/root{inside}"

    def enter(self, *command):
        """The command line that runs a command inside."""
        return ["nsenter", "--target", str(self.pid), *ENTER, "--", *command]

    def run(self, *command, check=True, timeout=30, **options):
        """Runs a command inside to its end; its output is text."""
        done = subprocess.run(
            self.enter(*command), stdin=subprocess.DEVNULL, capture_output=True,
            text=True, errors="surrogateescape", timeout=timeout, **options)
        if check and done.returncode != 0:
            raise AssertionError(f"{command} ended with {done.returncode}\n"
                                 f"stdout: {done.stdout}\nstderr: {done.stderr}")
        return done

    def ip(self, *arguments):
        """`ip -j ...` inside, parsed; an empty list when it prints nothing."""
        return json.loads(self.run("ip", "-j", *arguments).stdout or "[]")

    def put_file(self, path, content="", mode=0o644):
        """Lays a file at a path of the inside, with its folders."""
        outside = self.path(path)
        os.makedirs(os.path.dirname(outside), exist_ok=True)
        # A file of the lower folder may be a link out of the sandbox's root.
        if os.path.lexists(outside):
            os.unlink(outside)
        with open(outside, "wb") as file:
            file.write(content.encode() if isinstance(content, str) else content)
        os.chmod(outside, mode)

    def read_file(self, path):
        """The bytes of a file of the inside."""
        with open(self.path(path), "rb") as file:
            return file.read()

    def exists(self, path):
        return os.path.lexists(self.path(path))

    def remove(self, path):
        """Removes a file of the inside, if there is one."""
        if self.exists(path):
            os.unlink(self.path(path))

    def close(self):
        """Ends every process of the inside; with them the namespaces go."""
        # Process 1 of a PID namespace takes the others along. Its parent, unshare,
        # must outlive it: nobody else would collect it at once.
        if self._holder.poll() is None:
            os.kill(self.pid, signal.SIGKILL)
        self._holder.wait()
        self._holder.stdin.close()
        self._holder.stdout.close()
        self._errors.close()
