"""Fixtures of every test that drives the daemon in a sandbox."""

import pytest

from .sandbox import Sandbox, binary_under_test


def pytest_configure():
    # A missing binary fails the run at once, not every test by itself.
    try:
        binary_under_test()
    except RuntimeError as error:
        raise pytest.UsageError(str(error)) from error


@pytest.fixture
def make_sandbox():
    """Makes sandboxes with options of the test's choice; see Sandbox."""
    made = []

    def make(**options):
        made.append(Sandbox(**options))
        return made[-1]

    yield make
    failures = []
    for sandbox in made:
        try:
            sandbox.close()
        except AssertionError as failure:
            failures.append(str(failure))
    assert not failures, "\n".join(failures)


@pytest.fixture
def sandbox(make_sandbox):
    """A sandbox with its bus up and no daemon."""
    return make_sandbox()


@pytest.fixture
def kex(sandbox):
    """A sandbox whose daemon serves the bus; the log is marked behind its start."""
    sandbox.start_daemon()
    sandbox.mark()
    return sandbox
