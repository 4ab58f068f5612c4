"""From old installations to packages of many kinds: the cases from outside, on Windows."""

from __future__ import annotations

import struct
from collections.abc import Iterator
from contextlib import ExitStack
from pathlib import Path
from uuid import UUID

import pytest

import foldermodel
from driver import WindowsRun as Run
from foldermodel import File
from harness.desktop import Desktop
from harness.wine import Wine
from outside.test_upgrade import *  # noqa: F401, F403
from outside.test_upgrade import INSTALLATIONS, PACKAGES, Installation, beneath_top, upgrade

# Of a shortcut: parts that it has, the attribute of its target, the kind of its disk, and how to show it.
_HAS_PLACE, _IS_UNICODE, _FOLDER, _FIXED_DISK, _SHOW_NORMAL = 0x02, 0x80, 0x10, 3, 1


@pytest.fixture
def ground(wine: Wine) -> Iterator[Path]:
    """A folder for installations."""
    with ExitStack() as stack:
        path = wine.drive / "Program Files (Groß)"
        stack.callback(foldermodel.empty, path)
        yield path


def shortcut(target: str) -> bytes:
    """A file that leads to the folder target (MS-SHLLINK 2.1 and 2.3)."""
    header = struct.pack("<I16sII24xIIIH10x", 0x4C, UUID("00021401-0000-0000-c000-000000000046").bytes_le,
                         _HAS_PLACE | _IS_UNICODE, _FOLDER, 0, 0, _SHOW_NORMAL, 0)
    volume = struct.pack("<IIIIx", 0x11, _FIXED_DISK, 0, 0x10)
    path = target.encode("ascii") + b"\0"
    start, size = 0x1C, 0x1C + len(volume) + len(path) + 1
    place = struct.pack("<IIIIIII", size, 0x1C, 1, start, start + len(volume), 0, size - 1) + volume + path + b"\0"
    return header + place


@pytest.mark.parametrize("mode", [0o644, 0o444], ids=["writable", "read-only"])
def test_shortcut_to_a_folder(run: Run, desktop: Desktop, ground: Path, wine: Wine, mode: int) -> None:
    """A shortcut is a file like any other: it goes, what it leads to is not touched."""
    beside = {"elsewhere/settings.ini": File(b"mine"), "elsewhere/sub/a.txt": File(b"mine")}
    target = wine.drive / "elsewhere"
    foldermodel.make(target.parent, beside)
    files = {**INSTALLATIONS["plain"].files, "games.lnk": File(shortcut(str(wine.path(target))), mode)}
    try:
        package = PACKAGES["plain"].on(run)
        seen = upgrade(run, desktop, ground, Installation(files).on(run), package, "OK")
        left = {"Tavlopro/logo.png": files["logo.png"]}
        expected = foldermodel.after_copying(left, beneath_top(package.installed()))
        assert foldermodel.differences(expected, seen) == []
        assert foldermodel.differences({path.removeprefix("elsewhere/"): node for path, node in beside.items()},
                                       run.comparable(foldermodel.look(target))) == []
    finally:
        foldermodel.empty(target)


def test_twice_in_a_row(run: Run, desktop: Desktop, ground: Path) -> None:
    """What a package brings that is read-only, and what of it gets hidden, is in the way of no later one."""
    package = PACKAGES["over kept and hidden files"].on(run)
    first = upgrade(run, desktop, ground, INSTALLATIONS["plain"].on(run), package, "OK")
    run.forget_starts()
    again = upgrade(run, desktop, ground, Installation({}), package, "OK")
    assert foldermodel.differences(first, again) == []
    assert foldermodel.differences(run.comparable(beneath_top(package.installed())), again) == []
