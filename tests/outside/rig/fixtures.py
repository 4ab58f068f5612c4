"""Fixtures that do not depend on the system of the updater."""

from __future__ import annotations

import tempfile
from collections.abc import Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest

from harness import trees

from .views import is_possible


@pytest.fixture(scope="session")
def views() -> None:
    """For tests that show a program files of their own in the place of the system's."""
    if not is_possible():
        pytest.skip("this machine allows no mount namespaces, so a program can be shown no files of the test's own")


@pytest.fixture
def folder() -> Iterator[Path]:
    """An empty folder with a short path (sockets), gone after the test."""
    with ExitStack() as stack:
        path = Path(tempfile.mkdtemp(prefix="freshen-outside-"))
        stack.callback(trees.remove, path)
        yield path


@pytest.fixture
def exits() -> Iterator[ExitStack]:
    """Takes what a test opens and ends it with the test."""
    with ExitStack() as stack:
        yield stack
