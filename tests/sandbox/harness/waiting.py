"""Waiting with a deadline in place of blind sleeps."""

import time


def wait_until(condition, timeout=10.0, what="the condition", interval=0.002):
    """Returns the first true value of condition(), or raises after timeout."""
    deadline = time.monotonic() + timeout
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise TimeoutError(f"after {timeout} s still waiting for {what}")
        time.sleep(interval)
