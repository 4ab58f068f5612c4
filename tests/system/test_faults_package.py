"""Packages that are damaged, odd or hostile."""

from __future__ import annotations

from collections.abc import Callable

import pytest

from kit import folders
from kit.fault import Fault
from kit.folders import Link
from kit.offer import CHOSEN
from kit.rawarchive import ENCRYPTED, STORED, UTF8, Entry, archive
from kit.server import UpdateServer
from kit.updater import Updater
from kit.window import Window

PROGRAM = Entry(b"Tavlopro/Tavlopro.exe", b"#!/bin/sh\nexit 0\n", mode=0o100755)
LINK = Entry(b"Tavlopro/link", b"../../..", STORED, mode=0o120777)
TEXT = b"What is in the file. " * 50
HUGE = 5 << 30


def text(name: str | bytes = "Tavlopro/a.txt", **more: int) -> Entry:
    return Entry(name.encode() if isinstance(name, str) else name, TEXT, **more)


def package(*entries: Entry) -> bytes:
    return archive([PROGRAM, *entries])


SOUND = package(text())
DIRECTORY = SOUND.index(b"PK\1\2")
END = len(SOUND) - 22

PACKAGES: dict[str, bytes | Callable[[Updater], bytes]] = {
    "Damaged: the record at its end cut": SOUND[:-10],
    "Damaged: its directory is elsewhere":
        SOUND[:END + 16] + (DIRECTORY + 7).to_bytes(4, "little") + SOUND[END + 20:],
    "Damaged: a wrong checksum": package(text(crc=7)),
    "Damaged: a size that is too small": package(text(size=10)),
    "Damaged: a size that is too large": package(text(size=100_000)),
    "Damaged: a packed size that is too small": package(text(packed_size=5)),
    "Damaged: a packed size that is too large": package(text(packed_size=100_000)),
    "Damaged: one size in the directory, another before the data": package(text(local_size=10)),
    "Damaged: a size of 5 GiB announced": package(text(size=HUGE)),
    "Damaged: a packed size of 5 GiB announced": package(text(packed_size=HUGE)),
    "Damaged: 5 GiB announced, not packed": package(text(method=STORED, size=HUGE, packed_size=HUGE)),
    "Damaged: an encrypted entry": package(text(flags=ENCRYPTED)),

    "A name that leads elsewhere: ../ behind a folder": package(text("Tavlopro/../../evil.txt")),
    "A name that leads elsewhere: a place of its own on the disk":
        lambda updater: package(text(f"{updater.called(updater.folder)}/evil.txt")),
    "A name that leads elsewhere: a NUL": package(text("Tavlopro/a\0b.txt")),
    "A name that leads elsewhere: nothing": package(text("")),

    "Odd: a symbolic link": package(LINK),
    "Odd: a symbolic link, and a file behind it": package(LINK, text("Tavlopro/link/evil.txt")),
    "Odd: a file where a folder is needed": package(text("Tavlopro/a"), text("Tavlopro/a/b.txt")),
    "Odd: a folder where a file is needed": package(text("Tavlopro/a/b.txt"), text("Tavlopro/a")),
    "Odd: a name that is no UTF-8, with the flag for it":
        package(text("Tavlopro/größe.txt".encode("latin-1"), flags=UTF8)),
    "Odd: a name of 300 characters": package(text(f"Tavlopro/{'n' * 300}")),
    "Odd: a path of 1,000 characters": package(text(f"Tavlopro/{'folder/' * 140}a.txt")),
    # They are in the code page of the system.
    "Odd: umlauts without the flag": lambda updater: package(
        text("Tavlopro/größe.txt".encode("cp1252" if updater.is_windows else "utf-8"))),
}


@pytest.mark.windows(
    "a long has 32 bits there, most calls take 260 characters only, and the code page of windows is not UTF-8",
    "Damaged: a size of 5 GiB announced", "Odd: a path of 1,000 characters", "Odd: umlauts without the flag")
@pytest.mark.parametrize("name", PACKAGES)
@pytest.mark.fault("{name}")
def test_package(updater: Updater, window: Window, server: UpdateServer, fault: Fault, name: str) -> None:
    """A damaged or hostile package is not offered for installation. Of an odd one what can be unpacked is, and links
    become files. Nothing is ever written outside the updater's own folder."""
    content = PACKAGES[name]
    server.offer(CHOSEN, package=content(updater) if callable(content) else content)
    updater.place_relocated()
    before = folders.look(updater.folder, updater.own)
    updater.download("auto")
    fault.is_seen()
    updater.ends()
    assert not [node for node in folders.look(updater.out).values() if isinstance(node, Link)]
    assert folders.look(updater.folder, updater.own) == before
