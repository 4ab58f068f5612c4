"""Packages that are damaged, odd or hostile. What each of them leads to stands in docs/reliability.md."""

from __future__ import annotations

from contextlib import ExitStack
from dataclasses import dataclass, replace

import pytest

from harness.waiting import wait_for
from rig import manual, offers
from rig.evidence import same
from rig.faults import READY, ends, failed_unpacking, saw, unpacking_log
from rig.offers import CHOSEN, DESCRIPTION_PATH, PACKAGE_PATH
from rig.rawarchive import ENCRYPTED, STORED, UTF8, Entry, archive
from rig.run import Run
from rig.screen import Screen
from rig.sight import contents
from rig.wire import Answer, WireServer

PROGRAM = Entry(b"Tavlopro/Tavlopro.exe", b"#!/bin/sh\nexit 0\n", mode=0o100755)
TEXT = b"What is in the file. " * 50
FILE = "Tavlopro/a.txt"
HUGE = 5 << 30


def text(name: str | bytes = FILE, **more: int) -> Entry:
    return Entry(name.encode() if isinstance(name, str) else name, TEXT, **more)


def package(*entries: Entry) -> bytes:
    return archive([PROGRAM, *entries])


def unpack(run: Run, exits: ExitStack, screen: Screen, content: bytes, seconds: float = 20.0) -> None:
    """Has the updater fetch and unpack this package."""
    server = exits.enter_context(WireServer({DESCRIPTION_PATH: Answer(offers.description(CHOSEN)),
                                             PACKAGE_PATH: Answer(content, piece=1 << 20)}))
    run.write_settings(port2=server.port)
    manual.go(run, screen, "auto")
    run.wait_for_log("update stored in ", seconds)


# --- packages that cannot be unpacked

SOUND = package(text())
DIRECTORY = SOUND.index(b"PK\1\2")
END = len(SOUND) - 22
NO_ARCHIVE = "unzip(): zip.open(): -1000"
BAD_DIRECTORY = "testRead(): getCurrentFileInfo(): -103\n"
NOT_OPENED = "unzip(): file.open(): -103"

# The package, what is told of it, and how many of its two files lie in "out" then.
DAMAGED = {
    "its directory cut off": (SOUND[:DIRECTORY], NO_ARCHIVE, 0),
    "its directory cut in the middle": (SOUND[:DIRECTORY + 60], NO_ARCHIVE, 0),
    "the record at its end cut": (SOUND[:-10], BAD_DIRECTORY, 0),
    "its directory is elsewhere": (SOUND[:END + 16] + (DIRECTORY + 7).to_bytes(4, "little") + SOUND[END + 20:],
                                   NO_ARCHIVE, 0),
    "fewer entries than announced": (SOUND[:END + 8] + (5).to_bytes(2, "little") * 2 + SOUND[END + 12:],
                                     BAD_DIRECTORY, 2),
    "a wrong checksum": (package(text(crc=7)), "testRead(): file.close(): -105", 2),
    "packed data that is none": (SOUND.replace(text().data()[2:9], b"\xff" * 7),
                                 "testRead(): file.getFileName(): -3", 2),
    "a size that is too small": (package(text(size=10)), "testRead(): file.close(): -105", 2),
    "a size that is too large": (package(text(size=100_000)), "testRead(): read all but not EOF", 2),
    "a packed size that is too small": (package(text(packed_size=5)), "testRead(): file.getFileName(): -5", 2),
    "a packed size that is too large": (package(text(packed_size=100_000)), "testRead(): file.getFileName(): -1", 2),
    "one size in the directory, another before the data": (package(text(local_size=10)), NOT_OPENED, 1),
    "a size of 5 GiB announced": (package(text(size=HUGE)), "testRead(): read all but not EOF", 2),
    "a packed size of 5 GiB announced": (package(text(packed_size=HUGE)), "testRead(): file.getFileName(): -1", 2),
    "5 GiB announced, not packed": (package(text(method=STORED, size=HUGE, packed_size=HUGE)),
                                    "testRead(): file.getFileName(): -1", 2),
    "an encrypted entry": (package(text(flags=ENCRYPTED)), "testRead(): file.getFileName(): -3", 2),
    "an unknown method": (package(text(method=99)), NOT_OPENED, 1),
}


@pytest.mark.parametrize("damage", DAMAGED)
@pytest.mark.fault("package", "Damaged: {damage}")
def test_damaged_package(run: Run, exits: ExitStack, screen: Screen, damage: str) -> None:
    """What a damaged package holds is not installed: window and log tell the reader's code, and what was unpacked
    before stays, with the package."""
    content, reason, files = DAMAGED[damage]
    unpack(run, exits, screen, content)
    saw(run, screen, failed_unpacking(reason), unpacking_log(reason),
        [CHOSEN.package_name, "out/Tavlopro/Tavlopro.exe", f"out/{FILE}"][:1 + files])
    ends(run, screen)


# --- names that lead elsewhere

NAMES = {
    "../": "../evil.txt",
    "../ behind a folder": "Tavlopro/../../evil.txt",
    "..\\": "..\\evil.txt",
    "a place of its own on the disk": "{run}/evil.txt",
    "a drive": "C:\\evil.txt",
    "a drive, no folder": "C:evil.txt",
    "another machine": "\\\\server\\share\\evil.txt",
    "a stream of another file": "Tavlopro/Tavlopro.exe:evil.txt",
    "a device": "Tavlopro/NUL.txt",
    "a device and blanks": "Tavlopro/com1 .txt",
    "a NUL": "Tavlopro/a\0b.txt",
    "nothing": "",
}


@pytest.mark.parametrize("kind", NAMES)
@pytest.mark.fault("package", "A name that leads elsewhere: {kind}")
def test_name_that_leads_elsewhere(run: Run, exits: ExitStack, screen: Screen, kind: str) -> None:
    """An entry whose name leads out of the folder, or to something else than a file, ends the extraction; log and
    window name it, and nothing is written outside."""
    name = NAMES[kind].format(run=run.called(run.folder))
    run.place_relocated()
    before = run.beside()
    unpack(run, exits, screen, package(text(name)))
    shown = name.replace(run.called(run.folder), "RUN").replace("\0", "\ufffd")
    reason = f"unzip(): unsafe entry name: {shown}"
    saw(run, screen, failed_unpacking(reason), unpacking_log(reason),
        [CHOSEN.package_name, "out/Tavlopro/Tavlopro.exe"])
    same(before, run.beside(), "what lies beside")
    ends(run, screen)


# --- odd packages that can be unpacked

@dataclass(frozen=True)
class Odd:
    """A package, and what lies in "out" beside the program, and what the log warns of."""

    content: bytes
    files: dict[str, bytes | None]
    log: tuple[str, ...] = ()


OUT = "DATA/freshen/../out"
LONG_NAME, LONG_PATH = "n" * 300, "folder/" * 140 + "a.txt"
LINK = Entry(b"Tavlopro/link", b"../../..", STORED, mode=0o120777)

ODD = {
    "no entries at all": Odd(archive([]), {}),
    "a symbolic link": Odd(package(LINK), {"link": LINK.content}),
    "a symbolic link, and a file behind it": Odd(
        package(LINK, text("Tavlopro/link/evil.txt")), {"link": LINK.content},
        (f'[W] Cannot write "{OUT}/Tavlopro/link/evil.txt" - "Not a directory"',)),
    "two entries of one name": Odd(package(text(), Entry(FILE.encode(), b"second")), {"a.txt": b"second"}),
    "two names that differ in capitals": Odd(package(text(), Entry(b"Tavlopro/A.txt", b"second")),
                                             {"a.txt": TEXT, "A.txt": b"second"}),
    "a file where a folder is needed": Odd(
        package(text("Tavlopro/a"), text("Tavlopro/a/b.txt")), {"a": TEXT},
        (f'[W] Cannot write "{OUT}/Tavlopro/a/b.txt" - "Not a directory"',)),
    "a folder where a file is needed": Odd(
        package(text("Tavlopro/a/b.txt"), text("Tavlopro/a")), {"a/b.txt": TEXT},
        (f'[W] Cannot write "{OUT}/Tavlopro/a" - "Is a directory"',)),
    "umlauts with the flag for UTF-8": Odd(package(text("Tavlopro/größe.txt", flags=UTF8)), {"größe.txt": TEXT}),
    "umlauts without the flag": Odd(package(text("Tavlopro/größe.txt")), {"größe.txt": TEXT}),
    "umlauts of DOS": Odd(package(text("Tavlopro/größe.txt".encode("cp437"))), {"gr\ufffd\ufffde.txt": TEXT}),
    "a name that is no UTF-8, with the flag for it": Odd(
        package(text("Tavlopro/größe.txt".encode("latin-1"), flags=UTF8)), {"gr\ufffd\ufffde.txt": TEXT}),
    "a name of 300 characters": Odd(package(text(f"Tavlopro/{LONG_NAME}")), {},
                                    (f'[W] Cannot write "{OUT}/Tavlopro/nnn*',)),
    "a path of 1,000 characters": Odd(package(text(f"Tavlopro/{LONG_PATH}")), {LONG_PATH: TEXT}),
    "64 MB packed 1000:1": Odd(package(Entry(b"Tavlopro/zeros", bytes(64 << 20))), {"zeros": bytes(64 << 20)}),
}

# What Windows makes of them, where that is something else. The reasons are told in its own words.
ODD_ON_WINDOWS = {kind: replace(odd, log=tuple(line.removesuffix("*").partition(' - "')[0] + "*" for line in odd.log))
                  for kind, odd in ODD.items()} | {
    "two names that differ in capitals": replace(ODD["two names that differ in capitals"], files={"a.txt": b"second"}),
    # Names without the flag are in the code page of the system's windows.
    "umlauts without the flag": replace(ODD["umlauts without the flag"],
                                        files={"größe.txt".encode().decode("cp1252"): TEXT}),
    "umlauts of DOS": replace(ODD["umlauts of DOS"], files={"größe.txt".encode("cp437").decode("cp1252"): TEXT}),
}


@pytest.mark.parametrize("kind", ODD)
@pytest.mark.fault("package", "Odd: {kind}")
def test_odd_package(run: Run, exits: ExitStack, screen: Screen, kind: str) -> None:
    """What can be unpacked of an odd package is; what cannot be written is named in the log; nothing is written
    outside, and no link is made."""
    odd = (ODD_ON_WINDOWS if run.is_on_windows else ODD)[kind]
    run.place_relocated()
    before = run.beside()
    unpack(run, exits, screen, odd.content)
    saw(run, screen, READY, odd.log)
    files = {} if kind == "no entries at all" else {"Tavlopro.exe": PROGRAM.content, **odd.files}
    assert files == contents(run.out / "Tavlopro"), sorted(contents(run.out))
    same([], [path.name for path in run.out.rglob("*") if path.is_symlink()], "links")
    same(before, run.beside(), "what lies beside")
    ends(run, screen)


@pytest.mark.fault("package", "Odd: 70,000 entries")
def test_many_entries(run: Run, exits: ExitStack, screen: Screen) -> None:
    """A package with more entries than the old format can count is read to its end."""
    # Folders of the same names again and again: the count is the point here, not the disk. The last entries are files.
    folders = [Entry(b"Tavlopro/%d/" % (number % 100)) for number in range(69_500)]
    files = {f"{number % 100}/{number}": str(number).encode() for number in range(500)}
    unpack(run, exits, screen, archive([*folders, *(Entry(f"Tavlopro/{name}".encode(), content)
                                                    for name, content in files.items())]))
    # The package goes when all of it is unpacked. The log is too long to be read again and again.
    wait_for(lambda: not run.stored_packages(), "the end of the package", 90, 0.5)
    saw(run, screen, READY, [], ["out/ (500 files)"])
    same(files, contents(run.out / "Tavlopro"), "what was unpacked")
    ends(run, screen)
