"""What the tests' update servers offer: a list of versions, and packages that unpack into a small application."""

from __future__ import annotations

import random
import re
import struct
from pathlib import Path
from typing import NamedTuple

from . import folders
from .folders import File, Folder, Tree, text
from .rawarchive import DEFLATED, STORED, UTF8, Entry, archive

# Where the updater looks for the list and for the packages on its server.
VERSIONS_PATH = "/update/Tavlopc/VERSIONS/windows.txt"
_PACKAGES_PATH = "/update/Tavlopc/windows/"

# The project's version, whose last part is the updater's own revision.
_PROJECT = Path(__file__).resolve().parents[2] / "CMakeLists.txt"
VERSION = re.search(r"^project\(Freshen VERSION (\S+)", _PROJECT.read_text(), re.MULTILINE)[1]
REVISION = int(VERSION.rpartition(".")[2])


class Version(NamedTuple):
    """One line of the version description file."""

    number: str
    kind: str = "Stable"
    reference: str = ""
    date: str = "2026-07-09"
    info: str = ""
    # The first revision of the updater that may install this version, and the first system version that it runs on.
    minimum_updater: str | None = None
    minimum_system: str | None = None

    @property
    def line(self) -> str:
        return "|".join(column for column in self if column is not None)

    @property
    def package_name(self) -> str:
        return f"Tavlopc{self.number}{self.kind.upper()}.zip"

    @property
    def package_path(self) -> str:
        """The path of its package on the update server."""
        return _PACKAGES_PATH + self.package_name


INSTALLED = Version(VERSION, date="2026-05-07", info="The version that is installed.")
FIX = Version("26.06.7205", reference="7150", info="A fix.", minimum_updater=str(REVISION))
BETA = Version("26.07.7240", "Beta", date="2026-07-23", info="A beta.")
VERSIONS = (INSTALLED, FIX, BETA)
# What the automatic mode chooses of these, and what the tests choose by hand.
CHOSEN = FIX


def description(*versions: Version | str) -> bytes:
    """The version description file of these versions. A text is a line as it stands."""
    return "".join(f"{version if isinstance(version, str) else version.line}\n" for version in versions).encode()


# The application at its briefest: it ends as soon as it is started.
SCRIPT = File(b"#!/bin/sh\nexit 0\n", 0o755)
_INCOMPRESSIBLE = File(random.Random(0).randbytes(2 << 20))


def application(program: File = SCRIPT, version: Version = CHOSEN) -> Tree:
    """What is in the package. Its data cannot be compressed, so the package is hardly smaller."""
    return {
        "Tavlopro.exe": program,
        "version.txt": text(f"{version.number}\n"),
        "data/pieces.dat": _INCOMPRESSIBLE,
        "documents/manual.txt": text("Manual of Tavlopro\n" * 2000),
    }


def package(tree: Tree, top: str = "Tavlopro") -> bytes:
    """A ZIP package with these files and folders in one top folder, or without any if top is empty. Equal trees give
    equal packages, and of the entries some are compressed and some not."""
    entries = folders.completed({top: Folder(), **folders.below(top, tree)} if top else tree)
    return archive(
        Entry(path.encode(), node.content, (STORED, DEFLATED)[number % 2], UTF8, 0o100000 | node.mode)
        if isinstance(node, File) else Entry(f"{path}/".encode(), method=STORED, flags=UTF8, mode=0o040755)
        for number, (path, node) in enumerate(sorted(entries.items())))


def large(package: bytes) -> bytes:
    """The same package with its counts and places in the records for large archives alone (ZIP64, PKWARE APPNOTE
    4.3.14 and 4.3.15)."""
    end = package.rindex(b"PK\5\6")
    entries, size, start = struct.unpack("<HII", package[end + 10:end + 20])
    record = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, entries, entries, size, start)
    locator = struct.pack("<4sIQI", b"PK\6\7", 0, end, 1)
    old_end = struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, 0xFFFF, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0)
    return package[:end] + record + locator + old_end
