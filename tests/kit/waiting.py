"""Waiting for something to happen, never for ever."""

from __future__ import annotations

import os
import time
from collections.abc import Callable
from typing import TypeVar

Result = TypeVar("Result")

# Lengthens all time limits for a program that is slower than it should be, such as one under sanitizers.
TIMEOUT_FACTOR = float(os.environ.get("FRESHEN_TEST_TIMEOUT_FACTOR", "1"))


class NotYet(Exception):
    """A condition that cannot be looked at just now."""


def wait_for(condition: Callable[[], Result | None], what: str, seconds: float = 20.0,
             interval: float = 0.05) -> Result:
    """The first true answer of condition; a NotYet that it raises counts as false. Raises TimeoutError, naming what."""
    seconds *= TIMEOUT_FACTOR
    end = time.monotonic() + seconds
    while True:
        reason = ""
        try:
            if result := condition():
                return result
        except NotYet as error:
            reason = f": {error}"
        if time.monotonic() >= end:
            raise TimeoutError(f"waited {seconds:g} s for {what}{reason}")
        time.sleep(interval)


def becomes(expected: Result, look: Callable[[], Result], what: str = "the expected value",
            seconds: float = 20.0) -> None:
    """Waits until look() gives the expected value. Raises AssertionError, with both, when it does not in time."""
    seen: object = "nothing that could be looked at"

    def matches() -> bool:
        nonlocal seen
        seen = look()
        return seen == expected

    try:
        wait_for(matches, what, seconds)
    except TimeoutError as error:
        raise AssertionError(f"{error}\n  expected: {expected!r}\n  seen:     {seen!r}") from None
