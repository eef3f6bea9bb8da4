"""A fresh Debian root into which the packages are installed."""

import glob
import os
import shutil
import stat
import subprocess

# What dpkg and its triggers keep for themselves; names that end in - are former versions of the
# files of accounts.
_BOOKKEEPING = ("/var/lib/dpkg", "/var/log", "/var/cache", "/proc", "/dev", "/tmp",
                "/etc/.pwd.lock", "/etc/ld.so.cache")

# The mounts end with the namespace. Nothing of the machine's processes and network is seen.
_ENTER = """
mount -t proc proc "$0/proc" && mount --rbind /dev "$0/dev" &&
exec chroot "$0" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive "$@"
"""


class System:
    """The root, its packages and what they leave behind."""

    def __init__(self, folder, archive, packages):
        self.root = str(folder)
        subprocess.run(["tar", "-C", self.root, "--exclude", "./dev/*", "-xf", archive],
                       check=True)
        self.packages = {}
        for path in glob.glob(os.path.join(packages, "*.deb")):
            name = os.path.basename(path)
            shutil.copy(path, self.path("/tmp/" + name))
            self.packages[name.split("_")[0]] = "/tmp/" + name

    def path(self, inside):
        return self.root + inside

    def exists(self, inside):
        return os.path.lexists(self.path(inside))

    def read(self, inside):
        with open(self.path(inside), encoding="utf-8") as file:
            return file.read()

    def run(self, *words, check=True):
        """Runs a program in the root."""
        command = ["unshare", "--mount", "--net", "--pid", "--fork", "--kill-child",
                   "sh", "-c", _ENTER, self.root, *words]
        done = subprocess.run(command, stdin=subprocess.DEVNULL, text=True, errors="replace",
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if check and done.returncode:
            raise AssertionError(f"{words}: status {done.returncode}\n{done.stdout}{done.stderr}")
        return done

    def install(self, *names):
        return self.run("dpkg", "--install", *(self.packages[name] for name in names))

    def next_version(self, name):
        """A package like the built one with a later version."""
        content, package = "/tmp/next", f"/tmp/{name}-next.deb"
        self.run("dpkg-deb", "--raw-extract", self.packages[name], content)
        self.run("sed", "-i", "s/^Version: .*/&+next/", content + "/DEBIAN/control")
        self.run("dpkg-deb", "--build", "--root-owner-group", content, package)
        shutil.rmtree(self.path(content))
        return package

    def state(self, name):
        """Of a package, in dpkg's words; nothing for one that it does not know."""
        return self.run("dpkg-query", "--show", "--showformat=${Status}|${Version}", name,
                        check=False).stdout

    def accounts(self):
        """Users and groups."""
        return {line.split(":")[0] for name in ("passwd", "group", "shadow", "gshadow")
                for line in self.read("/etc/" + name).splitlines()}

    def files(self):
        """Every path that is not bookkeeping, with kind, mode and owner."""
        found = {}
        for folder, folders, names in os.walk(self.root):
            inside = folder[len(self.root):]
            folders[:] = [name for name in folders if f"{inside}/{name}" not in _BOOKKEEPING]
            for name in folders + names:
                path = f"{inside}/{name}"
                status = os.lstat(self.path(path))
                if path not in _BOOKKEEPING and not path.endswith("-"):
                    found[path] = (stat.filemode(status.st_mode), status.st_uid, status.st_gid)
        return found
