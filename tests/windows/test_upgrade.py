"""From old installations to packages of many kinds: the cases from outside, on Windows."""

from __future__ import annotations

from collections.abc import Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest

import foldermodel
from harness.wine import Wine
from outside.test_upgrade import *  # noqa: F401, F403


@pytest.fixture
def ground(wine: Wine) -> Iterator[Path]:
    """A folder for installations."""
    with ExitStack() as stack:
        path = wine.drive / "Program Files (Groß)"
        stack.callback(foldermodel.empty, path)
        yield path
