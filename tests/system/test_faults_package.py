"""Packages that are damaged, odd or hostile."""

from __future__ import annotations

from collections.abc import Iterator

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
TEXT = b"What is in the file. " * 50
HUGE = 5 << 30


@pytest.fixture(autouse=True)
def nothing_outside(updater: Updater) -> Iterator[None]:
    """Whatever a package holds, nothing is written outside the updater's own folder."""
    updater.place_relocated()
    before = updater.beside()
    yield
    assert updater.beside() == before


def text(name: str | bytes = "Tavlopro/a.txt", **more: int) -> Entry:
    return Entry(name.encode() if isinstance(name, str) else name, TEXT, **more)


def package(*entries: Entry) -> bytes:
    return archive([PROGRAM, *entries])


def unpack(updater: Updater, server: UpdateServer, content: bytes) -> None:
    """Has the updater fetch this package, and unpack it as far as it can be."""
    server.offer(CHOSEN, package=content)
    updater.download("auto")


SOUND = package(text())
DIRECTORY = SOUND.index(b"PK\1\2")
END = len(SOUND) - 22

DAMAGED = {
    "the record at its end cut": SOUND[:-10],
    "its directory is elsewhere": SOUND[:END + 16] + (DIRECTORY + 7).to_bytes(4, "little") + SOUND[END + 20:],
    "a wrong checksum": package(text(crc=7)),
    "a size that is too small": package(text(size=10)),
    "a size that is too large": package(text(size=100_000)),
    "a packed size that is too small": package(text(packed_size=5)),
    "a packed size that is too large": package(text(packed_size=100_000)),
    "one size in the directory, another before the data": package(text(local_size=10)),
    "a size of 5 GiB announced": package(text(size=HUGE)),
    "a packed size of 5 GiB announced": package(text(packed_size=HUGE)),
    "5 GiB announced, not packed": package(text(method=STORED, size=HUGE, packed_size=HUGE)),
    "an encrypted entry": package(text(flags=ENCRYPTED)),
}


@pytest.mark.windows("a long has 32 bits there", "a size of 5 GiB announced")
@pytest.mark.parametrize("damage", DAMAGED)
@pytest.mark.fault("Damaged: {damage}")
def test_damaged(updater: Updater, window: Window, server: UpdateServer, fault: Fault, damage: str) -> None:
    """A damaged package is not offered for installation: window and log tell the reader's code."""
    unpack(updater, server, DAMAGED[damage])
    fault.is_seen()
    updater.ends()


ELSEWHERE = {
    "../ behind a folder": "Tavlopro/../../evil.txt",
    "a place of its own on the disk": "{run}/evil.txt",
    "a NUL": "Tavlopro/a\0b.txt",
    "nothing": "",
}


@pytest.mark.parametrize("kind", ELSEWHERE)
@pytest.mark.fault("A name that leads elsewhere: {kind}")
def test_name_that_leads_elsewhere(updater: Updater, window: Window, server: UpdateServer, fault: Fault,
                                   kind: str) -> None:
    """An entry whose name leads out of the folder ends the extraction."""
    unpack(updater, server, package(text(ELSEWHERE[kind].format(run=updater.called(updater.folder)))))
    fault.is_seen()
    updater.ends()


LINK = Entry(b"Tavlopro/link", b"../../..", STORED, mode=0o120777)

ODD = {
    "a symbolic link": [LINK],
    "a symbolic link, and a file behind it": [LINK, text("Tavlopro/link/evil.txt")],
    "a file where a folder is needed": [text("Tavlopro/a"), text("Tavlopro/a/b.txt")],
    "a folder where a file is needed": [text("Tavlopro/a/b.txt"), text("Tavlopro/a")],
    "a name that is no UTF-8, with the flag for it": [text("Tavlopro/größe.txt".encode("latin-1"), flags=UTF8)],
    "a name of 300 characters": [text(f"Tavlopro/{'n' * 300}")],
    "a path of 1,000 characters": [text(f"Tavlopro/{'folder/' * 140}a.txt")],
}


@pytest.mark.windows("most calls there take 260 characters only", "a path of 1,000 characters")
@pytest.mark.parametrize("kind", ODD)
@pytest.mark.fault("Odd: {kind}")
def test_odd(updater: Updater, window: Window, server: UpdateServer, fault: Fault, kind: str) -> None:
    """What can be unpacked is, and the rest is named in the log; links become files."""
    unpack(updater, server, package(*ODD[kind]))
    fault.is_seen()
    assert not [node for node in folders.look(updater.out).values() if isinstance(node, Link)]
    updater.ends()


@pytest.mark.windows("the code page of its windows is not UTF-8")
@pytest.mark.fault("Odd: umlauts without the flag")
def test_code_page(updater: Updater, window: Window, server: UpdateServer, fault: Fault) -> None:
    """A name without the flag for UTF-8 is in the code page of the system."""
    unpack(updater, server, package(text("Tavlopro/größe.txt".encode("cp1252" if updater.is_windows else "utf-8"))))
    fault.is_seen()
    updater.ends()
