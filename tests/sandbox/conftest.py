"""Fixtures of the sandbox tests."""

pytest_plugins = ["harness.fixtures"]
