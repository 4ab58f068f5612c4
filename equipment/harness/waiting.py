"""Waiting for something to happen, never for ever.

FRESHEN_TEST_TIMEOUT_FACTOR, a factor, lengthens all time limits for a program that is slower than it should be, such as
one under sanitizers.
"""

import os
import time
from collections.abc import Callable
from typing import TypeVar

Result = TypeVar("Result")


PATIENCE = float(os.environ.get("FRESHEN_TEST_TIMEOUT_FACTOR", "1"))


class NotYet(Exception):
    """A condition that cannot be looked at just now."""


def wait_for(condition: Callable[[], Result | None], what: str, seconds: float = 20.0,
             interval: float = 0.05) -> Result:
    """Asks condition until its answer is true and returns that answer; a NotYet that it raises counts as false. Raises
    TimeoutError, naming what, when it is not true in time."""
    seconds *= PATIENCE
    end = time.monotonic() + seconds
    while True:
        try:
            result = condition()
        except NotYet:
            result = None
        if result:
            return result
        if time.monotonic() >= end:
            raise TimeoutError(f"waited {seconds:g} s for {what}")
        time.sleep(interval)
