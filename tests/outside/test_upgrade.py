"""From each of five old installations to each of five packages: what the updater makes of it is what the user was told,
to the byte."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from contextlib import ExitStack
from dataclasses import dataclass, field, replace
from pathlib import Path

import pytest

import foldermodel
from foldermodel import File, Folder, Link, Model, Pipe
from harness.desktop import Desktop
from harness.updateserver import UpdateServer
from rig.catalogue import listed, version
from rig.evidence import becomes, same
from rig.faults import note
from rig.opening import make_ready
from rig.run import Run
from rig.texts import TEXTS
from rig.ziparchive import archive, large_archive

OFFER = version("26.06.7205")
TOP = "Tavlopro"
PROGRAM = File(b"#!/bin/sh\nexit 0\n", 0o755)
OTHER_PROGRAM = File(b"#!/bin/sh\nexec true\n", 0o755)


@dataclass(frozen=True)
class Installation:
    """An installation with the files that its settings name as to be kept. beside: what its links lead to."""

    files: Model
    kept: tuple[str, ...] = ()
    beside: Model = field(default_factory=dict)

    def world(self) -> Model:
        """All of it by its path, the installation in the folder TOP."""
        return {TOP: Folder(), **{f"{TOP}/{path}": node for path, node in self.files.items()}, **self.beside}

    def on(self, run: Run) -> Installation:
        """The same where this updater runs."""
        return replace(self, files=run.possible(self.files), beside=run.possible(self.beside))


INSTALLATIONS = {
    "plain": Installation({
        "Tavlopro.exe": PROGRAM,
        "version.txt": File(b"26.05.7086"),
        "data/pieces.dat": File(bytes(range(256)) * 40),
        "data/boards/8x8.tav": File(b"8 8"),
        "settings.ini": File(b"[user]\n"),
        "logo.png": File(b"\x89PNG club"),
    }),
    "with files to keep": Installation({
        "Tavlopc.exe": PROGRAM,
        "settings.ini": File(b"[user]\nname=Ada\n"),
        "Settings.ini": File(b"differs in a capital"),
        "favourites.xml": File(b"<favourites/>"),
        "favourites.xml.bak": File(b"a longer name"),
        "exports/settings.ini": File(b"kept at the top only"),
        "exports/logo.png": File(b"kept at the top only"),
        "logo.png": File(b"\x89PNG club"),
        "notes": File(b"a file, as a folder is called elsewhere"),
        "plugins/notes/a.txt": File(b"a"),
    }, kept=("settings.ini", "favourites.xml", "plugins", "missing.txt", "exports/settings.ini")),
    "with hidden files": Installation({
        "Tavlopro.exe": PROGRAM,
        ".license": File(b"to Ada", 0o600),
        ".cache/page.tmp": File(b"hidden with its folder"),
        "cache/.index": File(b"holds its folder"),
        "cache/page.tmp": File(b"goes"),
        "cache/old/deep/.keep": File(b"holds four folders"),
        "cache/old/deep/er/x.txt": File(b"goes with its folder"),
        "queue": Pipe(),
        "spool/queue": Pipe(),
        "spool/job": File(b"goes"),
    }, kept=("page.tmp",)),
    "read-only and odd": Installation({
        "Tavlopro.exe": PROGRAM,
        "Tavlopc.exe": OTHER_PROGRAM,
        "legacy.dat": File(b"read-only", 0o444),
        "locked/legacy.dat": File(b"read-only", 0o400),
        "locked/none.dat": File(b"no rights at all", 0),
        "kept.dat": File(b"read-only, and stays", 0o444),
        "empty": Folder(),
        "empty/emptier": Folder(),
        "  two blanks  ": File(b""),
        "Änderungen für Ü.txt": File(b"umlauts"),
        "données/été/naïve.txt": File(b"accents"),
        "قائمة.txt": File(b"right to left"),
        "x" * 200 + ".txt": File(b"long"),
        "/".join(["deep"] * 30) + "/down.txt": File(b"deep"),
        "100% $HOME & 'co'.txt": File(b"signs"),
        "line\nbreak.txt": File(b"a line break"),
    }, kept=("kept.dat", "Änderungen für Ü.txt")),
    "with links": Installation({
        "Tavlopro.exe": PROGRAM,
        "archive": Link("../elsewhere/archive"),
        "games/shared": Link("../../elsewhere/shared"),
        "games/own.txt": File(b"goes"),
        "inside": Link("data"),
        "data/pieces.dat": File(b"emptied through the link, or with its folder"),
        "manual.txt": Link("../elsewhere/manual.txt"),
        "to-file": Link("Tavlopro.exe"),
        "broken": Link("nowhere"),
        "sub/broken": Link("../nowhere"),
        ".hidden-link": Link("../elsewhere/untouched"),
    }, beside={
        "elsewhere/archive/2025/results.csv": File(b"emptied through the link"),
        "elsewhere/archive/.index": File(b"hidden"),
        "elsewhere/archive/settings.ini": File(b"not at the top"),
        "elsewhere/shared/game.txt": File(b"emptied through the link"),
        "elsewhere/manual.txt": File(b"only the link to it goes"),
        "elsewhere/untouched/a.txt": File(b"behind a hidden link"),
        "elsewhere/neighbour.txt": File(b"nobody leads here"),
    }, kept=("settings.ini",)),
}


@dataclass(frozen=True)
class Package:
    """A package by its top entries; the entries below the last one by name are the new installation."""

    files: Model
    executable: str = "Tavlopro.exe"

    def installed(self) -> Model:
        files = foldermodel.completed(self.files)
        chosen = foldermodel.last_entry({path.partition("/")[0] for path in files}) + "/"
        return {path.removeprefix(chosen): node for path, node in files.items() if path.startswith(chosen)}

    def on(self, run: Run) -> Package:
        """The same for where this updater runs."""
        return replace(self, files=run.packable(self.files))


PACKAGES = {
    "plain": Package({
        "Tavlopro/Tavlopro.exe": OTHER_PROGRAM,
        "Tavlopro/Freshen.exe": File(b"the new updater", 0o755),
        "Tavlopro/version.txt": File(b"26.06.7205"),
        "Tavlopro/data/pieces.dat": File(bytes(range(255, -1, -1)) * 5000),
        "Tavlopro/print queue": Folder(),
    }),
    "under its old name": Package({
        # Not executable, so that the stand-in of the shell is asked to start it but cannot: a process of this name
        # would hold all other updaters.
        "Tavlopc/Tavlopc.exe": File(b"the old name"),
        "Tavlopc/data/boards/10x10.tav": File(b"10 10"),
    }, executable="Tavlopc.exe"),
    "over kept and hidden files": Package({
        "Tavlopro/Tavlopro.exe": PROGRAM,
        "Tavlopro/settings.ini": File(b"[user]\nname=new\n"),
        "Tavlopro/logo.png": File(b"\x89PNG maker"),
        "Tavlopro/.license": File(b"to everybody"),
        "Tavlopro/cache/.index": File(b"new"),
        "Tavlopro/locked/new.dat": File(b"in a folder of before"),
        "Tavlopro/read-only.txt": File(b"read-only", 0o444),
        "Tavlopro/run.sh": File(b"#!/bin/sh\n", 0o755),
    }),
    "with odd names": Package({
        "Tavlo pro 26/Tavlopro.exe": PROGRAM,
        "Tavlo pro 26/Änderungen für Ü.txt": File(b"new umlauts"),
        "Tavlo pro 26/données/été/naïve.txt": File(b"new accents"),
        "Tavlo pro 26/日本語/説明.txt": File("説明".encode()),
        "Tavlo pro 26/" + "/".join(["deep"] * 30) + "/down.txt": File(b"new and deep"),
        "Tavlo pro 26/empty file": File(b""),
        "Tavlo pro 26/4095.dat": File(b"a" * 4095),
        "Tavlo pro 26/4096.dat": File(b"b" * 4096),
        "Tavlo pro 26/4097.dat": File(b"c" * 4097),
        "Tavlo pro 26/empty/emptier/emptiest": Folder(),
        "Tavlo pro 26/" + "y" * 200 + ".txt": File(b"new and long"),
    }),
    "with several top entries": Package({
        "readme.txt": File(b"not installed"),
        "Documents/manual.txt": File(b"not installed"),
        "tavlopro/Tavlopro.exe": File(b"#!/bin/sh\nexit 1\n", 0o755),
        # The last one by name only if capitals do not count.
        "Tavlopro2/Tavlopro.exe": PROGRAM,
        "Tavlopro2/notes/a.txt": File(b"installed"),
    }),
}


@pytest.fixture
def ground(folder: Path) -> Iterator[Path]:
    """A folder for installations and what their links lead to."""
    with ExitStack() as stack:
        path = folder / "Program Files (Groß)"
        stack.callback(foldermodel.empty, path)
        yield path


def upgrade(run: Run, desktop: Desktop, ground: Path, old: Installation, package: Package, answer: str,
            pack: Callable[[Model], bytes] = archive) -> Model:
    """Runs the updater over an installation, with this answer to the question of the cleaning; returns all that lies in
    ground then."""
    run.installation = ground / TOP
    run.make(ground, old.world())
    run.place_relocated()
    with UpdateServer({**listed(OFFER), OFFER.package_path: pack(foldermodel.completed(package.files))}) as server:
        screen = make_ready(run, desktop, server, "auto", settings={"Updater/filesToKeep": old.kept or None})
        screen.press(TEXTS["en_US"].install)
        box = screen.box()
        if answer == "close":
            screen.keys("Escape")
        else:
            box.press(answer)
        same(0, run.exit_code(), "exit code")
    becomes([(run.called(run.installation / package.executable),)], run.starts, "starts of the application")
    out = run.comparable(foldermodel.look(run.updater_data))
    left = {path: node for path, node in out.items() if path.partition("/")[0] == "out"}
    same([], foldermodel.differences(remains_of(run, package), left), "what is left of the unpacked package")
    same([], run.stored_packages(), "packages left over")
    return run.comparable(foldermodel.look(ground))


def remains_of(run: Run, package: Package) -> Model:
    """What stays of an unpacked package when it is removed: what is hidden, with the folders around it."""
    if run.is_on_windows:
        # Nothing that is unpacked gets hidden.
        return {}
    unpacked = {f"data/out/{path}": node for path, node in package.files.items()}
    left = foldermodel.after_cleaning(unpacked, "data", ())
    return {path.removeprefix("data/"): node for path, node in left.items() if path != "data"}


def beneath_top(model: Model) -> Model:
    return {f"{TOP}/{path}": node for path, node in model.items()}


@pytest.mark.parametrize("package", PACKAGES.values(), ids=PACKAGES)
@pytest.mark.parametrize("old", INSTALLATIONS.values(), ids=INSTALLATIONS)
def test_upgrade(run: Run, desktop: Desktop, ground: Path, old: Installation, package: Package) -> None:
    """After an agreed cleaning the installation is the package plus the files to keep at its top and what is hidden,
    and folders behind its links are emptied; everything else beside it is untouched."""
    old, package = old.on(run), package.on(run)
    seen = upgrade(run, desktop, ground, old, package, "OK")
    cleaned = foldermodel.after_cleaning(old.world(), TOP, {*old.kept, "logo.png"})
    expected = foldermodel.after_copying(cleaned, beneath_top(package.installed()))
    same([], foldermodel.differences(expected, seen), "entries that are not as they should be")


@pytest.mark.parametrize("package", [PACKAGES["plain"], PACKAGES["over kept and hidden files"]],
                         ids=["plain", "over kept and hidden files"])
@pytest.mark.parametrize("answer", ["No", "close"])
@pytest.mark.parametrize("old", INSTALLATIONS.values(), ids=INSTALLATIONS)
def test_upgrade_without_cleaning(run: Run, desktop: Desktop, ground: Path, old: Installation, package: Package,
                                  answer: str) -> None:
    """Whoever answers No, or closes the question, keeps every old file that the package does not bring itself; the
    update goes on all the same."""
    old, package = old.on(run), package.on(run)
    seen = upgrade(run, desktop, ground, old, package, answer)
    expected = foldermodel.after_copying(old.world(), beneath_top(package.installed()))
    same([], foldermodel.differences(expected, seen), "entries that are not as they should be")


def test_large_archive(run: Run, desktop: Desktop, ground: Path) -> None:
    """A package in the format of large archives is installed like any other."""
    old, package = INSTALLATIONS["plain"].on(run), PACKAGES["plain"].on(run)
    seen = upgrade(run, desktop, ground, old, package, "OK", large_archive)
    cleaned = foldermodel.after_cleaning(old.world(), TOP, {"logo.png"})
    expected = foldermodel.after_copying(cleaned, beneath_top(package.installed()))
    same([], foldermodel.differences(expected, seen), "entries that are not as they should be")


@pytest.mark.fault("files", "An earlier run has left a folder {leftover} unpacked")
@pytest.mark.parametrize("leftover", ["Earlier", "Zuletzt"])
def test_leftover_of_an_earlier_run(run: Run, desktop: Desktop, ground: Path, leftover: str) -> None:
    """What an earlier run has left unpacked is not removed first: if it is the last one by name, it is what is
    installed."""
    earlier = run.packable({"Tavlopro.exe": OTHER_PROGRAM, "earlier.txt": File(b"of an earlier run")})
    foldermodel.make(run.out / leftover, earlier)
    old, package = INSTALLATIONS["plain"].on(run), PACKAGES["plain"].on(run)
    seen = upgrade(run, desktop, ground, old, package, "OK")
    cleaned = foldermodel.after_cleaning(old.world(), TOP, {"logo.png"})
    installed = earlier if leftover == "Zuletzt" else package.installed()
    same([], foldermodel.differences(foldermodel.after_copying(cleaned, beneath_top(installed)), seen),
         "entries that are not as they should be")
    note(run)
