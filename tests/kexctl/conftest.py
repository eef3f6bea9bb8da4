"""Fixtures of the tests of kexctl."""

import pytest

import harness
import kexctl_program
import table as commands_table


def pytest_configure():
    # A missing binary fails the run at once, not every test by itself.
    try:
        harness.binary_under_test()
        kexctl_program.binary_under_test()
    except RuntimeError as error:
        raise pytest.UsageError(str(error)) from error


@pytest.fixture
def make_kexctl():
    """Makes kexctl in sandboxes with options of the test's choice; see Sandbox."""
    made = []

    def make(daemon=True, **options):
        sandbox = harness.Sandbox(**options)
        made.append(sandbox)
        if daemon:
            sandbox.start_daemon()
            sandbox.mark()
        program = kexctl_program.Kexctl(sandbox)
        made.append(program)
        return program

    yield make
    for one in reversed(made):
        one.close()


@pytest.fixture
def kexctl(make_kexctl):
    """kexctl in a sandbox whose daemon serves the bus."""
    return make_kexctl()


@pytest.fixture(scope="session")
def table():
    """The table of the commands."""
    return commands_table.load()
