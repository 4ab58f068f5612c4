"""File systems that fail: full, read-only, with files that somebody holds, with things in the way. What each of them
leads to stands in docs/reliability.md."""

from __future__ import annotations

import dataclasses
import os
from collections.abc import Sequence
from contextlib import ExitStack

import pytest

from harness import trees
from harness.trees import Entry, file
from rig import offers
from rig.evidence import becomes, same
from rig.faults import (ENDED, READY, UNTOUCHED, confirm, ends, failed_copying, failed_unpacking, note, saw, serving,
                        told, unpacking_log)
from rig.offers import CHOSEN, MEGABYTE, PACKAGE_PATH
from rig.run import Run
from rig.screen import Screen
from rig.sight import contents
from rig.texts import TEXTS
from rig.views import held, read_only, small_disk
from rig.wire import Answer, WireServer

pytestmark = pytest.mark.usefixtures("views")

NO_ARCHIVE = "unzip(): zip.open(): -1000"
LIST = "a list of 1 version"
INSTALLED = {"Tavlopro.exe": Entry(b"#!/bin/sh\nexit 0\n", executable=True), "letter.txt": file("mine"),
             "data/old.dat": file("old")}


@pytest.fixture
def server(exits: ExitStack, run: Run) -> WireServer:
    """A server of a version with its package, and what is installed."""
    return serving(exits, run, INSTALLED)


def start(run: Run, screen: Screen, through: Sequence[str] = ()) -> None:
    """Starts the automatic mode from the installation: it stores and unpacks beside it, and the log is elsewhere."""
    program = run.place_installed()
    (run.installation.parent / "settings.ini").write_text(str(run.installation), encoding="utf-8")
    run.start("auto", desktop=screen.desktop, program=program, through=through)


def start_copy(run: Run, screen: Screen, through: Sequence[str] = ()) -> None:
    """Starts the automatic mode from where the relocation puts the updater: log, package and installation lie apart."""
    run.place_relocated()
    run.start("auto", desktop=screen.desktop, through=through)


def install(screen: Screen) -> None:
    """Agrees to everything."""
    screen.wait_for_button(TEXTS["en_US"].install)
    screen.press(TEXTS["en_US"].install)
    screen.box().press("OK")


def start_installed(run: Run, screen: Screen, through: Sequence[str] = ()) -> None:
    """Starts the updater in the installation, as the user does: it relocates itself and shows the list."""
    run.start(desktop=screen.desktop, through=through)


def warning(action: str, path: str, reason: str) -> str:
    return f'[W] {action} "{path}" - "{reason}"'


FULL, READ_ONLY, BUSY = "No space left on device", "Read-only file system", "Device or resource busy"
NOT_COPIED = ['[D] "STD ERROR:\\n…"', '[D] UnknownError "Unknown error" 5 NormalExit', "[D] Error copying"]
FILES = ("Tavlopro.exe", "data/pieces.dat", "documents/manual.txt", "version.txt")
UNPACKED, PACKAGE = "out/ (4 files)", CHOSEN.package_name


# --- full disks

@pytest.mark.fault("files", "The disk is full when the package is stored")
def test_full_disk_storing(run: Run, screen: Screen, server: WireServer) -> None:
    """A package that the disk has no room for is logged with the reason; the half of it cannot be unpacked."""
    start(run, screen, small_disk(run.installation.parent, MEGABYTE))
    saw(run, screen, failed_unpacking(NO_ARCHIVE),
        [warning("Cannot store the package in", f"INSTALLATION/../{PACKAGE}", FULL), *unpacking_log(NO_ARCHIVE)],
        [PACKAGE, UNTOUCHED])
    ends(run, screen)


@pytest.mark.fault("files", "The disk is full when the package is unpacked")
def test_full_disk_unpacking(run: Run, screen: Screen, server: WireServer) -> None:
    """Files that the disk has no room for are named in the log with the reason. The window does not know of them."""
    start(run, screen, small_disk(run.installation.parent, 7 * MEGABYTE // 2))
    log = [warning("Cannot write", f"INSTALLATION/../out/Tavlopro/{name}", FULL) for name in FILES[1:]]
    saw(run, screen, READY, log, [UNPACKED, UNTOUCHED])
    ends(run, screen)


@pytest.mark.fault("files", "The disk has no room for the new files")
def test_no_room_for_the_copy(run: Run, screen: Screen, server: WireServer) -> None:
    """Where the new files have no room, even with the old ones removed, a box says so before anything is removed."""
    start_copy(run, screen, small_disk(run.installation, MEGABYTE))
    screen.wait_for_button(TEXTS["en_US"].install)
    screen.press(TEXTS["en_US"].install)
    reason = "Not enough space in INSTALLATION: N bytes needed, N bytes free"
    saw(run, screen, f'box "Tavlopro Update": Couldn\'t copy updated files. Aborting! Error: {reason}',
        [f'[W] Copy not begun: "{reason}"'], [UNPACKED, UNTOUCHED])
    confirm(screen)
    ends(run, screen)


@pytest.mark.fault("files", "The path of a new file is too long for the system")
def test_too_long_path(run: Run, screen: Screen, server: WireServer) -> None:
    """Where a new file would get a path that the copying program cannot take, a box says so before anything is
    removed."""
    # The package can be unpacked, and the installation is a sound one; only both together are too long.
    deep = "/".join(["x" * 200] * 11)
    server.answers[PACKAGE_PATH] = Answer(offers.packed({**INSTALLED, f"{deep}/new.dat": file("new")}))
    trees.write(run.installation / deep, trees.tree(INSTALLED))
    run.place_relocated()
    run.home.hand_over_file.write_text(str(run.installation / deep), encoding="utf-8")
    run.start("auto", desktop=screen.desktop)
    screen.wait_for_button(TEXTS["en_US"].install)
    screen.press(TEXTS["en_US"].install)
    text = f"Couldn't copy updated files. Aborting! Error: Path too long: INSTALLATION/{deep}"
    saw(run, screen, f'box "Tavlopro Update": {text[:150]}…', ['[W] Copy not begun: "Path too long: INSTALLATION/xxx*'],
        [UNPACKED, UNTOUCHED])
    # The table is no place for such a path.
    reason = "Path too long: INSTALLATION/…"
    run.sight = dataclasses.replace(run.sight, user=f'box "Tavlopro Update": {text.partition("Path")[0]}{reason}',
                                    log=(f'[W] Copy not begun: "{reason}"',))
    confirm(screen)
    ends(run, screen)


@pytest.mark.fault("files", "The disk is full when the new files are copied")
def test_full_disk_copying(run: Run, screen: Screen, server: WireServer) -> None:
    """When the disk gets full amid the copy, the window tells the exit code, and the unpacked package stays."""
    start_copy(run, screen, small_disk(run.installation, 4 * MEGABYTE))
    screen.wait_for_button(TEXTS["en_US"].install)
    screen.press(TEXTS["en_US"].install)
    box = screen.box()
    # Somebody else takes the room before the user has answered. Hidden files are not cleaned.
    disk = run.inside(run.installation)
    room = os.statvfs(disk)
    (disk / ".else").write_bytes(bytes(room.f_bavail * room.f_frsize - MEGABYTE))
    box.press("OK")
    saw(run, screen, failed_copying(5), NOT_COPIED)
    same(UNPACKED, run.sight.left[0], "the unpacked package")
    # Which files have come before the disk was full is the copying program's own order.
    run.sight = dataclasses.replace(run.sight, left=(UNPACKED, "the installation: what had room"))
    ends(run, screen)


@pytest.mark.fault("files", "The disk of the log, the package and the temporary folder is full")
def test_full_disk_of_the_log(run: Run, screen: Screen, server: WireServer) -> None:
    """A log that cannot be written any more costs its lines, which still go to standard error, and nothing else."""
    run.place_relocated()
    start_copy(run, screen, small_disk(run.home.updater_data, 4096))
    becomes(failed_unpacking(NO_ARCHIVE), lambda: told(run, screen), "what the user sees")
    assert f"Error unzipping \"{NO_ARCHIVE}\"" in run.output(), "nothing on standard error"
    assert FULL in run.output(), "no reason on standard error"
    note(run, screen)
    # How much that is depends on the length of the paths.
    run.sight = dataclasses.replace(run.sight, log=("what there was room for; all of it came on standard error",))
    ends(run, screen)


# --- what must not be written or removed

@pytest.mark.fault("files", "The installation is read-only")
def test_read_only_installation(run: Run, screen: Screen, server: WireServer) -> None:
    """Of an installation that cannot be written nothing is lost, and the log names each file."""
    start_copy(run, screen, read_only(run.installation))
    install(screen)
    saw(run, screen, failed_copying(5),
        [warning("Cannot remove", f"INSTALLATION/{name}", READ_ONLY)
         for name in ("letter.txt", "Tavlopro.exe", "data/old.dat", "data")] + NOT_COPIED, [UNPACKED, UNTOUCHED])
    ends(run, screen)


@pytest.mark.fault("files", "A file of the installation is locked against removal")
def test_locked_file(run: Run, screen: Screen, server: WireServer) -> None:
    """A file that somebody holds stays when the rest is removed, and the log names it; the update goes on."""
    start_copy(run, screen, held(run.installation / "letter.txt"))
    install(screen)
    saw(run, screen, ENDED, [warning("Cannot remove", "INSTALLATION/letter.txt", BUSY)], ["the installation: 5 files"])
    same({"letter.txt", *FILES}, set(contents(run.installation)), "the installation")


@pytest.mark.fault("files", "A file of the installation is locked against writing")
def test_write_denied(run: Run, screen: Screen, server: WireServer) -> None:
    """A file that can be neither removed nor written fails the copy; the unpacked package stays."""
    start_copy(run, screen, read_only(run.installation / "Tavlopro.exe"))
    install(screen)
    saw(run, screen, failed_copying(5),
        [warning("Cannot remove", "INSTALLATION/Tavlopro.exe", BUSY), *NOT_COPIED],
        [UNPACKED, "the installation: 4 files"])
    ends(run, screen)


@pytest.mark.fault("files", "The folder above the updater is read-only")
def test_read_only_parent(run: Run, screen: Screen, server: WireServer) -> None:
    """Where the package cannot be stored the log says why, and nothing is touched."""
    start(run, screen, read_only(run.installation.parent))
    saw(run, screen, failed_unpacking(NO_ARCHIVE),
        [warning("Cannot store the package in", f"INSTALLATION/../{PACKAGE}", READ_ONLY), *unpacking_log(NO_ARCHIVE)],
        [UNTOUCHED])
    ends(run, screen)


@pytest.mark.fault("files", "The batch file cannot be written")
def test_read_only_batch(run: Run, screen: Screen, server: WireServer) -> None:
    """Where the batch file cannot be written, what is in its place is not run, here an empty file that would do
    nothing: the copy has failed. The unpacked package stays."""
    batch = run.place_relocated().with_name("copyBatch.bat")
    batch.touch()
    start_copy(run, screen, read_only(batch))
    install(screen)
    saw(run, screen, failed_copying(0),
        [warning("Cannot write", "DATA/freshen/copyBatch.bat", READ_ONLY), "[D] Error copying"],
        [UNPACKED, "the installation: empty"])
    ends(run, screen)


@pytest.mark.fault("files", "A file of the unpacked package is locked")
def test_locked_unpacked_file(run: Run, screen: Screen, server: WireServer) -> None:
    """What cannot be removed of the unpacked package after the copy stays, and the log names it; the update is done."""
    run.place_relocated()
    trees.write(run.out, {"Tavlopro/version.txt": file("")})
    start_copy(run, screen, held(run.out / "Tavlopro" / "version.txt"))
    install(screen)
    saw(run, screen, ENDED, [
        warning("Cannot remove", "DATA/out/Tavlopro/version.txt", BUSY),
        warning("Cannot remove", "DATA/out/Tavlopro", "Directory not empty"),
        warning("Cannot remove", "DATA/freshen/../out", "Directory not empty")],
        ["out/Tavlopro/version.txt", "the installation: 4 files"])


@pytest.mark.fault("files", "The stored package is locked")
def test_locked_package(run: Run, screen: Screen, server: WireServer) -> None:
    """A package that cannot be removed after it was unpacked is no failure; the log names it."""
    run.place_relocated()
    package = run.home.updater_data / PACKAGE
    package.touch()
    start_copy(run, screen, held(package))
    run.wait_for_log("update unzipped to ")
    saw(run, screen, READY, [f"[W] unzip(): Cannot remove ZIP file: DATA/freshen/../{PACKAGE}"],
        [PACKAGE, UNPACKED, UNTOUCHED])
    ends(run, screen)


# --- things in the way

@pytest.mark.fault("files", "A folder is in the package's place")
def test_folder_for_package(run: Run, screen: Screen, server: WireServer) -> None:
    """A folder in the package's place stays, and the log names it."""
    run.place_relocated()
    (run.home.updater_data / PACKAGE).mkdir()
    start_copy(run, screen)
    saw(run, screen, failed_unpacking(NO_ARCHIVE),
        [warning("Cannot store the package in", f"DATA/freshen/../{PACKAGE}", "Is a directory"),
         *unpacking_log(NO_ARCHIVE)], [f"{PACKAGE}/", UNTOUCHED])
    ends(run, screen)


@pytest.mark.fault("files", "A file is in the place of the folder \"out\"")
def test_file_for_out(run: Run, screen: Screen, server: WireServer) -> None:
    """Where no folder can be made, the log names each file that could not be written, and nothing is installed: there
    is nothing that could be."""
    run.place_relocated()
    run.out.write_text("in the way")
    start_copy(run, screen)
    log = [warning("Cannot write", f"DATA/freshen/../out/Tavlopro/{name}", "Not a directory") for name in FILES]
    run.wait_for_log("update unzipped to ")
    saw(run, screen, READY, log, ["out", UNTOUCHED])
    screen.press(TEXTS["en_US"].install)
    saw(run, screen, 'box "Tavlopro Update": Couldn\'t copy updated files. Aborting! Error: STD ERROR: '
                     "DATA/freshen/../out/",
        [*log, '[W] No unpacked package in "DATA/freshen/../out/"'], ["out", UNTOUCHED])
    confirm(screen)
    ends(run, screen)


@pytest.mark.fault("files", "The hand-over file is missing")
def test_no_hand_over(run: Run, screen: Screen, server: WireServer) -> None:
    """Without a hand-over file nobody knows where to install: a box says so, the log names the file."""
    run.place_relocated()
    run.home.hand_over_file.unlink()
    start_copy(run, screen)
    screen.wait_for_button(TEXTS["en_US"].install)
    screen.press(TEXTS["en_US"].install)
    saw(run, screen, 'box "Tavlopro Update": The destination path seems wrong. Aborting!',
        [warning("Cannot read", "DATA/freshen/../settings.ini", "No such file or directory"),
         '[D] Testpath: "/Tavlopc.exe" "/Tavlopro.exe"'], [UNPACKED, UNTOUCHED])
    confirm(screen)
    ends(run, screen)


# --- relocation

@pytest.mark.fault("files", "Relocation: a folder is in the place of the hand-over file")
def test_relocation_without_hand_over(run: Run, screen: Screen, server: WireServer) -> None:
    """A hand-over file that cannot be written is named in the log; the copy starts all the same."""
    run.home.hand_over_file.mkdir(parents=True)
    start_installed(run, screen)
    saw(run, screen, LIST, [warning("Cannot remove", "DATA/settings.ini", "Is a directory"),
                            warning("Cannot write", "DATA/settings.ini", "Is a directory")], [UNTOUCHED])


@pytest.mark.fault("files", "Relocation: a file of the earlier copy is locked")
def test_relocation_locked(run: Run, screen: Screen, server: WireServer) -> None:
    """A file of an earlier copy that somebody holds is named in the log, and is what is started."""
    start_installed(run, screen, held(run.place_relocated()))
    saw(run, screen, LIST, [
        warning("Cannot remove", "DATA/freshen/Freshen.exe", BUSY),
        '[W] Cannot copy "INSTALLATION/Freshen.exe" to "DATA/freshen/Freshen.exe" - "Destination file exists"'],
        [UNTOUCHED])


@pytest.mark.fault("files", "Relocation: the disk is full")
def test_relocation_on_full_disk(run: Run, screen: Screen, server: WireServer) -> None:
    """Where the copy has no room a box tells that it cannot be started, and the log why."""
    run.home.updater_data.mkdir(parents=True)
    start_installed(run, screen, small_disk(run.home.updater_data, 128 * 1024))
    saw(run, screen, 'box "Error starting Updater": We are sorry, but the Tavlopro update tool has an error. Perhaps '
                     "it has insufficent rights. You can also try to re-install Tavlopro by downloading the…",
        ['[W] Cannot copy "INSTALLATION/Freshen.exe" to "DATA/freshen/Freshen.exe" - "Failure to write block"',
         "[D] ERROR_FILE_NOT_FOUND Freshen.exe"])
    ends(run, screen, "OK")
