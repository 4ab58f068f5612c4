"""Old installations, packages of many kinds, and what the updater makes of them, to the byte."""

from __future__ import annotations

from collections.abc import Sequence
from typing import NamedTuple

import pytest

from kit import folders, offer
from kit.fault import Fault
from kit.folders import File, Folder, Link, Pipe, Tree, below, text
from kit.offer import CHOSEN
from kit.server import UpdateServer
from kit.updater import Updater
from kit.window import Window

PROGRAM, OTHER_PROGRAM = File(b"#!/bin/sh\nexit 0\n", 0o755), File(b"#!/bin/sh\nexec true\n", 0o755)
ODD_NAMES = ("  two blanks  ", "Änderungen für Ü.txt", "données/été/naïve.txt", "قائمة.txt", "日本語/説明.txt",
             "x" * 200 + ".txt", "/".join(["deep"] * 30), "100% $HOME & 'co'.txt", "line\nbreak.txt")


class Upgrade(NamedTuple):
    """What is installed, the package, and what the settings list as files to keep."""

    old: Tree
    new: Tree
    kept: Sequence[str] = ()


UPGRADES = {
    "kept and hidden files": Upgrade({
        "Tavlopc.exe": PROGRAM,
        "settings.ini": text("[user]\nname=Ada\n"),
        "exports/settings.ini": text("kept at the top only"),
        "logo.png": text("stays in any case"),
        "notes": text("a file, as a folder is called elsewhere"),
        "plugins/notes/a.txt": text("in a folder with the name of a file to keep"),
        ".license": File(b"to Ada", 0o600),
        ".cache/page.tmp": text("hidden with its folder"),
        "cache/.index": text("holds its folder"),
        "cache/page.tmp": text("goes"),
        "cache/old/deep/.keep": text("holds four folders"),
        "cache/old/deep/er/x.txt": text("goes with its folder"),
        "queue": Pipe(),
        "spool/queue": Pipe(),
        "spool/job": text("goes"),
    }, below("Tavlopro", {
        "Tavlopro.exe": OTHER_PROGRAM,
        "settings.ini": text("[user]\nname=new\n"),
        "logo.png": text("the maker's"),
        ".license": text("to everybody"),
        "cache/.index": text("new"),
        "spool/new.dat": text("in a folder of before"),
        "read-only.txt": File(b"read-only", 0o444),
        "run.sh": File(b"#!/bin/sh\n", 0o755),
    }), ("settings.ini", "plugins", "missing.txt", "exports/settings.ini", "page.tmp")),

    "read-only files and odd names": Upgrade({
        "Tavlopro.exe": PROGRAM,
        "Tavlopc.exe": OTHER_PROGRAM,
        "legacy.dat": File(b"read-only", 0o444),
        "locked/none.dat": File(b"no rights at all", 0),
        "kept.dat": File(b"read-only, and stays", 0o444),
        "empty/emptier": Folder(),
        **dict.fromkeys(ODD_NAMES, text("old")),
    }, below("Tavlo pro 26", {
        "Tavlopro.exe": PROGRAM,
        "Freshen.exe": File(b"the new updater", 0o755),
        **{f"{size}.dat": File(b"a" * size) for size in (0, 4095, 4096, 4097, 1 << 20)},
        "print queue": Folder(),
        **below("new", dict.fromkeys(ODD_NAMES, text("new"))),
    }), ("kept.dat", "Änderungen für Ü.txt")),

    "links, and several entries under the old name": Upgrade({
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
    }, {
        "readme.txt": text("not installed"),
        "Documents/manual.txt": text("not installed"),
        "tavlopro/Tavlopro.exe": OTHER_PROGRAM,
        # The last one by name only if capitals do not count.
        "Tavlopro2/Tavlopc.exe": PROGRAM,
        "Tavlopro2/notes/a.txt": text("installed"),
    }, ("settings.ini",)),
}
KEPT, ODD, _ = UPGRADES.values()
windows = pytest.mark.windows("names, rights and hidden files are the system's, and so is the program that copies")


def install(updater: Updater, server: UpdateServer, upgrade: Upgrade, content: bytes | None = None) -> None:
    """Has the package installed over what there is. Then there is what the manual says, and nothing is left of the
    package."""
    updater.install(upgrade.old)
    package = updater.packable(upgrade.new)
    unpacked = folders.completed({**updater.look(updater.out), **package})
    server.offer(CHOSEN, package=content or offer.package(package, ""))
    updater.use(server, {"Updater/filesToKeep": upgrade.kept or None})
    updater.make_ready("auto")
    updater.install_update()
    assert updater.exit_code() == 0

    # Of several top entries the last by name, capitals or not.
    chosen = max((path.partition("/")[0] for path in unpacked), key=str.casefold)
    # On Windows nothing that is unpacked gets hidden.
    hidden = {} if updater.is_windows else folders.after_cleaning(below("out", unpacked), "", ())
    updater.is_updated(folders.inside(chosen, unpacked), upgrade.kept, leftovers=hidden)


@windows
@pytest.mark.parametrize("name", UPGRADES)
def test_upgrade(updater: Updater, window: Window, server: UpdateServer, name: str) -> None:
    """After an agreed cleaning the installation is the package plus the files to keep at its top and what is hidden.
    Folders behind its links are emptied; everything else beside it is untouched."""
    install(updater, server, UPGRADES[name])


@windows
def test_twice_in_a_row(updater: Updater, window: Window, server: UpdateServer) -> None:
    """What a package brings that is read-only, and what of it gets hidden, is in the way of no later one."""
    install(updater, server, KEPT)
    install(updater, server, KEPT._replace(old={}))


def test_large_archive(updater: Updater, window: Window, server: UpdateServer) -> None:
    """A package in the format of large archives is installed like any other."""
    install(updater, server, ODD, offer.large(offer.package(ODD.new, "")))


@pytest.mark.fault("An earlier run has left a folder {leftover} unpacked")
@pytest.mark.parametrize("leftover", ["Earlier", "Zuletzt"])
def test_leftover_of_an_earlier_run(updater: Updater, window: Window, server: UpdateServer, fault: Fault,
                                    leftover: str) -> None:
    """What an earlier run has left unpacked is not removed first: the last entry by name is what is installed."""
    folders.make(updater.out / leftover, {"Tavlopro.exe": OTHER_PROGRAM, "earlier.txt": text("of an earlier run")})
    install(updater, server, Upgrade({"Tavlopro.exe": PROGRAM}, below("Tavlopro", offer.application())))
    fault.is_seen()
