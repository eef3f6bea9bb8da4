"""Fixtures of the tests of the packages."""

import os

import pytest

from system import System


@pytest.fixture(scope="session")
def fresh(tmp_path_factory):
    """The root before anything was installed. Each test that installs purges in the end, and that
    nothing is left then is tested too."""
    return System(tmp_path_factory.mktemp("root"), os.environ["ROOT_ARCHIVE"],
                  os.environ["PACKAGES_FOLDER"])


@pytest.fixture
def installed(fresh):
    """The root with both packages."""
    fresh.install("kex", "kexctl")
    yield fresh
    fresh.run("dpkg", "--purge", "kex", "kexctl")


@pytest.fixture
def left(fresh):
    """Paths and accounts that were not there at the test's start."""
    files, accounts = fresh.files(), fresh.accounts()

    def differences():
        now = fresh.files()
        changed = {path for path in files.keys() | now.keys()
                   if files.get(path) != now.get(path)}
        return sorted(changed), fresh.accounts() ^ accounts

    return differences
