"""freshen-publish check-package and pack: packages are checked as updaters take them, and made so that they can be
installed."""

from __future__ import annotations

import hashlib
import os
import pty
import struct
import subprocess
from collections.abc import Iterator
from contextlib import suppress
from pathlib import Path

import pytest

from kit import folders
from kit.folders import File, Folder, Tree, text
from kit.offer import CHOSEN, REVISION, application, package
from kit.rawarchive import STORED, UTF8, Entry, archive
from kit.sandbox import sandboxed
from kit.server import UpdateServer
from kit.updater import Updater
from kit.waiting import becomes
from kit.window import Window
from kit.windows import Build
from publishing import CLEAN, FILE_OR_NETWORK, FINDINGS, USAGE, Publisher, files_below

GIBIBYTE = 1 << 30
PROGRAM = Entry(b"Tavlopro/Tavlopro.exe", b"x", mode=0o100755)
UPDATER = Entry(b"Tavlopro/Freshen.exe", b"x", mode=0o100755)


def faulty(*names: str, mode: int = 0o100644) -> bytes:
    """A package with these entries besides those that each has to have."""
    return archive([PROGRAM, UPDATER, *(Entry(name.encode(), b"x", STORED, UTF8, mode) for name in names)])


CHECKED = {
    "sound": (CLEAN, faulty("Tavlopro/größe.txt"), set()),
    "letters that Windows takes for the same": (FINDINGS, faulty("Tavlopro/Ä", "Tavlopro/ä"), {"colliding-names"}),
    "names that Windows does not have": (FINDINGS, faulty("Tavlopro/a?", "Tavlopro/b."), {"name-not-for-windows"}),
    "a long path": (FINDINGS, faulty(f"Tavlopro/{'n' * 200}"), {"path-too-long"}),
    "a device": (FINDINGS, faulty("Tavlopro/nul.txt"), {"unsafe-name", "package-not-unpacked"}),
    "a link": (FINDINGS, faulty("Tavlopro/link", mode=0o120777), {"link-entry"}),
    "no package": (FINDINGS, b"<html>", {"top-folder", "package-not-unpacked"}),
}


@pytest.mark.windows("names and files are the system's")
@pytest.mark.parametrize("name", CHECKED)
def test_check(publisher: Publisher, name: str) -> None:
    """The same is found on every system."""
    code, content, ids = CHECKED[name]
    outcome = publisher("check-package", publisher.write("p.zip", content))
    assert (outcome.code, set(outcome.ids) - {"unknown-updater"}, outcome.prose) == (code, ids, ""), outcome


@pytest.mark.windows_only("the program has a version there")
def test_updater_inside(publisher: Publisher, build: Build) -> None:
    """An updater that is older than the line that offers it is found."""
    tree = {**application(), **build.updater_files}
    path = publisher.write("p.zip", package(tree))
    for revision, ids in (REVISION, []), (REVISION + 1, ["old-updater"]):
        outcome = publisher("check-package", "--revision", str(revision), path)
        assert (outcome.ids, outcome.document["updater"]) == (ids, REVISION)


def write_large_package(path: Path, size: int) -> None:
    """A sound package of this size, most of which is a hole between its entries and its directory."""
    entries = archive([PROGRAM, UPDATER])
    start, end = entries.index(b"PK\1\2"), entries.index(b"PK\5\6")
    count, directory = 2, entries[start:end]
    position = size - 22 - 20 - 56 - len(directory)
    record = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, count, count, len(directory), position)
    locator = struct.pack("<4sIQI", b"PK\6\7", 0, position + len(directory), 1)
    with open(path, "wb") as file:
        file.write(entries[:start])
        file.seek(position)
        file.write(directory + record + locator)
        file.write(struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, 0xFFFF, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0))


def read_terminal(terminal: int) -> Iterator[str]:
    """What is written to a terminal until nobody has it open any more."""
    with open(terminal, "rb", buffering=0) as stream, suppress(OSError):
        while written := stream.read(1 << 16):
            yield written.decode()


def test_large_package(publisher: Publisher, folder: Path) -> None:
    """From 4 GiB on, there is a warning. Who watches at a terminal sees how far it is, until it is done."""
    path = folder / "large.zip"
    write_large_package(path, 4 * GIBIBYTE)
    assert path.stat().st_blocks * 512 < GIBIBYTE and path.stat().st_size == 4 * GIBIBYTE
    terminal, side = pty.openpty()
    process = publisher.start("check-package", "--scratch", folder, path, errors=side)
    os.close(side)
    shown = "".join(read_terminal(terminal))
    output, _ = process.communicate(timeout=20)
    assert process.returncode == CLEAN and "package-beyond-4-gib" in output, output
    assert shown.startswith("\rChecking large.zip [") and "%" in shown and shown.split("\r")[-2].strip() == ""


def test_full_disk(publisher: Publisher, folder: Path) -> None:
    """Where there is no room to unpack a package, it is neither passed nor refused."""
    path = publisher.write("p.zip", package(application()))
    scratch = folder / "scratch"
    scratch.mkdir()
    outcome = publisher("check-package", "--scratch", scratch, path,
                        through=sandboxed(small_disk=(scratch, 1 << 20)))
    assert (outcome.code, outcome.ids) == (FILE_OR_NETWORK, [])
    assert str(scratch) in outcome.document["error"] and "bytes are needed" in outcome.prose
    assert publisher("check-package", "--scratch", scratch, path).code == CLEAN
    assert list(scratch.iterdir()) == []


WRONG = {
    "another version": ("pack", "app", "26.7200", "Stable"),
    "another type": ("pack", "app", "26.05.7200", "stable"),
    "a version that is a path": ("pack", "app", "a/b.05.7200", "Stable"),
    "into the folder itself": ("pack", "app", "26.05.7200", "Stable", "--output", "app/out"),
    "no number": ("check-package", "p.zip", "--longest-path", "far"),
    "a number below all": ("check-package", "p.zip", "--revision", "-1"),
    "no command": (),
    "another command": ("pakc",),
    "another option": ("--rot", ".", "check"),
    "another option of a command": ("check", "--to", "Stable"),
    "an option of a command without its value": ("--format=text", "check-package", "--format=json", "--revision"),
    "an argument too few": ("pack", "app", "26.05.7200"),
    "an argument too many": ("check", "app"),
    "another colour": ("--color", "blue", "check"),
    "its form told after another command": ("--format", "text", "pakc", "--format=json"),
}


@pytest.mark.parametrize("name", WRONG)
def test_wrong_command_line(publisher: Publisher, name: str) -> None:
    outcome = publisher(*WRONG[name])
    error = outcome.document.get("error")
    assert (outcome.code, outcome.document) == (USAGE, {"schema": 1, "ok": False, "findings": [], "error": error})
    assert error and outcome.prose.startswith(f"freshen-publish: {error}\n")


@pytest.fixture
def packed(publisher: Publisher, folder: Path, updater: Updater) -> tuple[Path, Tree]:
    """An application folder and what a package of it, made without the files for debuggers, installs."""
    tree = {**application(updater.program), "print queue": Folder(), "größe.txt": text("x")}
    folders.make(folder / "application", {**tree, "Tavlopro.pdb": text("symbols"), "data/pieces.pdb": text("more")})
    return folder / "application", tree


def pack(publisher: Publisher, application: Path, *options: str) -> tuple[bytes, dict]:
    outcome = publisher("pack", "--exclude", "*.pdb", "--output", publisher.root, *options, application,
                        CHOSEN.number, CHOSEN.kind)
    assert (outcome.code, outcome.document["excluded"]) == (CLEAN, ["Tavlopro.pdb", "data/pieces.pdb"]), outcome
    return (publisher.root / CHOSEN.package_name).read_bytes(), outcome.document


@pytest.mark.windows("files and the copying program are the system's")
def test_packed_application(publisher: Publisher, packed: tuple[Path, Tree], updater: Updater, window: Window,
                            server: UpdateServer) -> None:
    """What is packed is what the updater installs."""
    application, tree = packed
    content, _ = pack(publisher, application)
    server.offer(CHOSEN, package=content)
    updater.install({"Tavlopro.exe": File(b"the old one")})
    updater.place_relocated()
    updater.make_ready("auto")
    updater.install_update()
    becomes([], updater.processes, "processes")
    expected = folders.completed(updater.packable(tree))
    assert folders.differences(expected, updater.look(updater.installation)) == []


def test_pack_again(publisher: Publisher, packed: tuple[Path, Tree]) -> None:
    """The same files give the same bytes, whoever packs them, and wherever; a program can sign them before."""
    application, _ = packed
    first, _ = pack(publisher, application)
    for path in application.rglob("*.txt"):
        path.chmod(0o600)
    outcome = publisher("pack", "--exclude", "*.pdb", "--output", publisher.root, application, CHOSEN.number,
                        CHOSEN.kind, variables={"TZ": "Asia/Tokyo", "LC_ALL": "de_DE.UTF-8"})
    again = (publisher.root / CHOSEN.package_name).read_bytes()
    assert outcome.code == CLEAN and hashlib.sha256(again).digest() == hashlib.sha256(first).digest()
    later = publisher("pack", "--output", publisher.root, application, CHOSEN.number, CHOSEN.kind,
                      variables={"SOURCE_DATE_EPOCH": "1000000000"})
    assert later.code == CLEAN and (publisher.root / CHOSEN.package_name).read_bytes() != first
    signed, _ = pack(publisher, application, "--before", "cp version.txt signature")
    assert signed != first and b"Tavlopro/signature" in signed
    failed = publisher("pack", "--before", "false", "--output", publisher.root, application, "1.2.7300", "Beta")
    assert failed.code == FILE_OR_NETWORK and not (publisher.root / "Tavlopc1.2.7300BETA.zip").exists()


def test_dry_run(publisher: Publisher, packed: tuple[Path, Tree]) -> None:
    """It says what would be left out, runs nothing and writes nothing."""
    application, _ = packed
    before = files_below(application)
    outcome = publisher("--dry-run", "pack", "--exclude", "*.pdb", "--exclude", "*.tmp", "--before", "touch signed",
                        "--output", publisher.root, application, CHOSEN.number, CHOSEN.kind)
    assert outcome.document["excluded"] and outcome.ids == ["useless-exclusion"]
    assert files_below(application) == before and list(publisher.root.iterdir()) == []


def test_versions_that_name_no_package(publisher: Publisher, packed: tuple[Path, Tree], folder: Path) -> None:
    """What add would refuse is not packed; what is only odd is, but for those who are strict."""
    application, _ = packed
    for version, options, ids in (("26*.05.7200", [], ["name-not-storable"]),
                                  ("26.05.007200", ["--strict"], ["odd-version"])):
        outcome = publisher("pack", "--output", publisher.root, application, version, "Test", *options)
        assert (outcome.code, outcome.ids) == (FINDINGS, ids) and list(publisher.root.iterdir()) == []
    assert publisher("pack", "--output", folder, application, "rc.1.7200", "Test").code == CLEAN
    assert publisher("add", folder / "Tavlopcrc.1.7200TEST.zip", "--new", "--min-windows", "6.1").code == CLEAN


def test_texts(publisher: Publisher) -> None:
    """Without JSON, findings are lines as compilers write them; warnings count where that is asked for."""
    path = publisher.write("p.zip", package(application()))
    command = publisher.command("--format", "text", "--strict", "check-package", path)
    result = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    assert (result.returncode, result.stderr) == (FINDINGS, "")
    assert result.stdout.startswith("p.zip: warning: The folder holds no Freshen.exe")
    assert result.stdout.endswith(" [no-updater]\n")
