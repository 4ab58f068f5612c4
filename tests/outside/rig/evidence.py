"""What a test saw, put so that a failure can be understood from the report alone."""

from __future__ import annotations

import re
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from typing import TypeVar

from harness.waiting import wait_for

Value = TypeVar("Value")

_LOG_LINE = re.compile(r"^\d{6} \d\d:\d\d:\d\d:\d{3} \[(?P<level>[DWCF?])\]\[[^\]]*:\d+\]  ", re.MULTILINE)


@dataclass(frozen=True)
class LogLine:
    """One message of the debug log, without its time stamp. A message may have line breaks in it."""

    level: str
    text: str

    def __str__(self) -> str:
        return f"[{self.level}] {self.text}"


def read_log(file: Path) -> list[LogLine]:
    """The messages of a debug log so far; none while there is no file. A log that starts with anything else than a
    time stamp is no debug log."""
    if not file.is_file():
        return []
    content = file.read_text(encoding="utf-8", errors="backslashreplace")
    marks = list(_LOG_LINE.finditer(content))
    if content and (not marks or marks[0].start() != 0):
        raise AssertionError(f"{file} does not start with a time stamp: {content[:80]!r}")
    ends = [mark.start() for mark in marks[1:]] + [len(content)]
    return [LogLine(mark["level"], content[mark.end():end].removesuffix("\n")) for mark, end in zip(marks, ends)]


def same(expected: object, seen: object, what: str) -> None:
    """Fails, with both, unless they are equal."""
    if expected != seen:
        raise AssertionError(f"{what}\n  expected: {_shown(expected)}\n  seen:     {_shown(seen)}")


def becomes(expected: Value, look: Callable[[], Value], what: str, seconds: float = 20.0) -> None:
    """Waits until look() gives the expected value; fails with both when it does not in time."""
    seen: list[Value] = []

    def matches() -> bool:
        seen[:] = [look()]
        return seen[0] == expected

    try:
        wait_for(matches, what, seconds)
    except TimeoutError:
        raise AssertionError(f"{what}, within {seconds:g} s\n  expected: {_shown(expected)}\n"
                             f"  seen:     {_shown(seen[0]) if seen else 'nothing that could be looked at'}") from None


def _shown(value: object) -> str:
    if isinstance(value, (list, tuple)) and value:
        return "".join(f"\n    {entry}" if isinstance(entry, LogLine) else f"\n    {entry!r}" for entry in value)
    return repr(value)
