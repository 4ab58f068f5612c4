"""What the tests' update servers offer: a list of versions, and packages that unpack into a small application."""

from __future__ import annotations

import functools
import random
import tempfile
from pathlib import Path

from harness import trees
from harness.packages import VERSIONS_PATH, Version, write_package
from harness.trees import Tree

MEGABYTE = 1024 * 1024

STABLE = Version("26.05.7086", "Stable", "", "2026-05-07", "The version that is installed.")
FIX = Version("26.06.7205", "Stable", "7150", "2026-07-09", "A fix.", "7086")
BETA = Version("26.07.7240", "Beta", "", "2026-07-23", "A beta.")
VERSIONS = (STABLE, FIX, BETA)
# What the automatic mode chooses of these, and what the tests choose by hand.
CHOSEN = FIX

DESCRIPTION_PATH = VERSIONS_PATH
PACKAGE_PATH = CHOSEN.package_path


def description(*versions: Version) -> bytes:
    return "".join(version.line + "\n" for version in versions or VERSIONS).encode()


# The application, as far as these systems are concerned: it ends as soon as it is started.
SCRIPT = trees.Entry(b"#!/bin/sh\nexit 0\n", executable=True)


@functools.cache
def application(program: trees.Entry = SCRIPT) -> Tree:
    """What is in the package. Its data cannot be compressed, so the package is hardly smaller."""
    return trees.tree({
        "Tavlopro.exe": program,
        "version.txt": trees.file(CHOSEN.number + "\n"),
        "data/pieces.dat": trees.Entry(random.Random(7205).randbytes(2 * MEGABYTE)),
        "documents/manual.txt": trees.file("Manual of Tavlopro\n" * 2000),
    })


@functools.cache
def package(program: trees.Entry = SCRIPT) -> bytes:
    return packed(application(program))


def packed(entries: Tree) -> bytes:
    """A package that holds these entries."""
    with tempfile.TemporaryDirectory(prefix="freshen-package-") as folder:
        file = Path(folder, "package.zip")
        write_package(file, trees.tree(entries))
        return file.read_bytes()


@functools.cache
def unpacked() -> Tree:
    """What lies in the folder "out" when the package is unpacked."""
    return {"Tavlopro": trees.FOLDER, **{f"Tavlopro/{path}": entry for path, entry in application().items()}}


def megabytes(size: int) -> str:
    """A size as the window shows it."""
    return f"{size / MEGABYTE:.1f}"
