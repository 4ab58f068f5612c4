"""Old installations, packages of many kinds, and what the updater makes of them, to the byte."""

from __future__ import annotations

from collections.abc import Callable, Sequence

import pytest

from kit import folders, offer
from kit.fault import Fault
from kit.folders import File, Folder, Link, Pipe, Tree, below, text
from kit.offer import CHOSEN
from kit.server import UpdateServer
from kit.updater import Updater
from kit.waiting import becomes
from kit.window import Window

PROGRAM, OTHER_PROGRAM = File(b"#!/bin/sh\nexit 0\n", 0o755), File(b"#!/bin/sh\nexec true\n", 0o755)
DEEP = "/".join(["deep"] * 30)


INSTALLATIONS = {
    "plain": {
        "Tavlopro.exe": PROGRAM,
        "version.txt": text("the old version"),
        "data/pieces.dat": File(bytes(range(256)) * 40),
        "settings.ini": text("[user]\n"),
        "logo.png": text("stays in any case"),
    },
    "with files to keep": {
        "Tavlopc.exe": PROGRAM,
        "settings.ini": text("[user]\nname=Ada\n"),
        "exports/settings.ini": text("kept at the top only"),
        "logo.png": text("stays in any case"),
        "notes": text("a file, as a folder is called elsewhere"),
        "plugins/notes/a.txt": text("in a folder with the name of a file to keep"),
    },
    "with hidden files": {
        "Tavlopro.exe": PROGRAM,
        ".license": File(b"to Ada", 0o600),
        ".cache/page.tmp": text("hidden with its folder"),
        "cache/.index": text("holds its folder"),
        "cache/page.tmp": text("goes"),
        "cache/old/deep/.keep": text("holds four folders"),
        "cache/old/deep/er/x.txt": text("goes with its folder"),
        "queue": Pipe(),
        "spool/queue": Pipe(),
        "spool/job": text("goes"),
    },
    "read-only and odd": {
        "Tavlopro.exe": PROGRAM,
        "Tavlopc.exe": OTHER_PROGRAM,
        "legacy.dat": File(b"read-only", 0o444),
        "locked/none.dat": File(b"no rights at all", 0),
        "kept.dat": File(b"read-only, and stays", 0o444),
        "empty/emptier": Folder(),
        "  two blanks  ": text(""),
        "Änderungen für Ü.txt": text("umlauts"),
        "données/été/naïve.txt": text("accents"),
        "قائمة.txt": text("right to left"),
        "x" * 200 + ".txt": text("long"),
        f"{DEEP}/down.txt": text("deep"),
        "100% $HOME & 'co'.txt": text("signs"),
        "line\nbreak.txt": text("a line break"),
    },
    "with links": {
        "Tavlopro.exe": PROGRAM,
        "archive": Link("../elsewhere/archive"),
        "games/shared": Link("../../elsewhere/shared"),
        "games/own.txt": text("goes"),
        "inside": Link("data"),
        "data/pieces.dat": text("emptied through the link, or with its folder"),
        "manual.txt": Link("../elsewhere/manual.txt"),
        "broken": Link("nowhere"),
        "sub/broken": Link("../nowhere"),
        ".hidden-link": Link("../elsewhere/untouched"),
        "../elsewhere/archive/2025/results.csv": text("emptied through the link"),
        "../elsewhere/archive/.index": text("hidden"),
        "../elsewhere/archive/settings.ini": text("not at the top"),
        "../elsewhere/shared/game.txt": text("emptied through the link"),
        "../elsewhere/manual.txt": text("only the link to it goes"),
        "../elsewhere/untouched/a.txt": text("behind a hidden link"),
        "../elsewhere/neighbour.txt": text("nobody leads here"),
    },
}

# What the settings list as files to keep.
KEPT = {
    "with files to keep": ("settings.ini", "plugins", "missing.txt", "exports/settings.ini"),
    "with hidden files": ("page.tmp",),
    "read-only and odd": ("kept.dat", "Änderungen für Ü.txt"),
    "with links": ("settings.ini",),
}

PACKAGES = {
    "plain": below("Tavlopro", {
        "Tavlopro.exe": OTHER_PROGRAM,
        "Freshen.exe": File(b"the new updater", 0o755),
        "version.txt": text("the new version"),
        "data/pieces.dat": File(bytes(range(255, -1, -1)) * 5000),
        "print queue": Folder(),
    }),
    "under its old name": below("Tavlopc", {
        "Tavlopc.exe": PROGRAM,
        "data/boards/10x10.tav": text("10 10"),
    }),
    "over kept and hidden files": below("Tavlopro", {
        "Tavlopro.exe": PROGRAM,
        "settings.ini": text("[user]\nname=new\n"),
        "logo.png": text("the maker's"),
        ".license": text("to everybody"),
        "cache/.index": text("new"),
        "locked/new.dat": text("in a folder of before"),
        "read-only.txt": File(b"read-only", 0o444),
        "run.sh": File(b"#!/bin/sh\n", 0o755),
    }),
    "with odd names": below("Tavlo pro 26", {
        "Tavlopro.exe": PROGRAM,
        "Änderungen für Ü.txt": text("new umlauts"),
        "données/été/naïve.txt": text("new accents"),
        "日本語/説明.txt": text("説明"),
        f"{DEEP}/down.txt": text("new and deep"),
        "empty file": text(""),
        **{f"{size}.dat": File(b"a" * size) for size in (4095, 4096, 4097)},
        "empty/emptier/emptiest": Folder(),
        "y" * 200 + ".txt": text("new and long"),
    }),
    "with several top entries": {
        "readme.txt": text("not installed"),
        "Documents/manual.txt": text("not installed"),
        "tavlopro/Tavlopro.exe": File(b"#!/bin/sh\nexit 1\n", 0o755),
        # The last one by name only if capitals do not count.
        "Tavlopro2/Tavlopro.exe": PROGRAM,
        "Tavlopro2/notes/a.txt": text("installed"),
    },
}
# The installation that each package meets on Windows.
ON_WINDOWS = {
    "plain": "plain", "under its old name": "with files to keep", "over kept and hidden files": "with hidden files",
    "with odd names": "read-only and odd", "with several top entries": "plain"}
windows = pytest.mark.windows("names, rights and hidden files are the system's, and so is the program that copies")


def upgrade(updater: Updater, server: UpdateServer, package: Tree, kept: Sequence[str] = (),
            pack: Callable[[Tree], bytes] = lambda tree: offer.package(tree, "")) -> None:
    """Has the package installed over what there is. Then there is what the manual says, and nothing is left of the
    package."""
    package, top = updater.packable(package), updater.installation.name
    world, started = updater.look(updater.installation.parent), updater.starts()
    unpacked = folders.completed({**updater.look(updater.out), **package})
    server.offer(CHOSEN, package=pack(package))
    updater.use(server, {"Updater/filesToKeep": kept or None})
    updater.make_ready("auto")
    updater.install_update()
    assert updater.exit_code() == 0

    # Of several top entries the last by name, capitals or not.
    chosen = max((path.partition("/")[0] for path in unpacked), key=str.casefold) + "/"
    new = {path.removeprefix(chosen): node for path, node in unpacked.items() if path.startswith(chosen)}
    expected = folders.after_copying(folders.after_cleaning(world, top, {*kept, "logo.png"}), below(top, new))
    assert folders.differences(expected, updater.look(updater.installation.parent)) == []
    executable = "Tavlopro.exe" if f"{top}/Tavlopro.exe" in expected else "Tavlopc.exe"
    becomes([*started, (updater.called(updater.installation / executable),)], updater.starts)
    # On Windows nothing that is unpacked gets hidden.
    hidden = {} if updater.is_windows else folders.after_cleaning(below("out", unpacked), "", ())
    assert folders.differences(hidden, below("out", updater.look(updater.out))) == []
    assert updater.stored_packages() == []


@pytest.mark.parametrize(("old", "new"), [
    pytest.param(old, new, marks=[windows] if ON_WINDOWS[new] == old else [])
    for old in INSTALLATIONS for new in PACKAGES])
def test_upgrade(updater: Updater, window: Window, server: UpdateServer, old: str, new: str) -> None:
    """After an agreed cleaning the installation is the package plus the files to keep at its top and what is hidden.
    Folders behind its links are emptied; everything else beside it is untouched."""
    updater.install(INSTALLATIONS[old])
    upgrade(updater, server, PACKAGES[new], KEPT.get(old, ()))


@windows
def test_twice_in_a_row(updater: Updater, window: Window, server: UpdateServer) -> None:
    """What a package brings that is read-only, and what of it gets hidden, is in the way of no later one."""
    for old in (INSTALLATIONS["plain"], {}):
        updater.install(old)
        upgrade(updater, server, PACKAGES["over kept and hidden files"])


def test_large_archive(updater: Updater, window: Window, server: UpdateServer) -> None:
    """A package in the format of large archives is installed like any other."""
    updater.install(INSTALLATIONS["plain"])
    upgrade(updater, server, PACKAGES["plain"], pack=lambda tree: offer.large(offer.package(tree, "")))


@pytest.mark.fault("An earlier run has left a folder {leftover} unpacked")
@pytest.mark.parametrize("leftover", ["Earlier", "Zuletzt"])
def test_leftover_of_an_earlier_run(updater: Updater, window: Window, server: UpdateServer, fault: Fault,
                                    leftover: str) -> None:
    """What an earlier run has left unpacked is not removed first: the last entry by name is what is installed."""
    folders.make(updater.out / leftover, {"Tavlopro.exe": OTHER_PROGRAM, "earlier.txt": text("of an earlier run")})
    updater.install(INSTALLATIONS["plain"])
    upgrade(updater, server, PACKAGES["plain"])
    fault.is_seen()
