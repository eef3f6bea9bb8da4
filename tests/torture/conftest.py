"""Fixtures of the tests that attack the daemon; see scripts/torture for their long form."""

import pytest

from machine import furnish

pytest_plugins = ["harness.fixtures"]


@pytest.fixture
def machine(kex):
    """A daemon with links, programs and files, so that every command has something to do."""
    furnish(kex)
    return kex
