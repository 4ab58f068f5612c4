"""Disks that are full, files that cannot be written or removed, and things in the way."""

from __future__ import annotations

import os
from collections.abc import Callable
from pathlib import Path

import pytest

from kit.fault import Fault
from kit.folders import File, text
from kit.offer import CHOSEN, SCRIPT, application, package
from kit.server import UpdateServer
from kit.updater import Updater
from kit.window import Window
from kit.windows import LONGEST_PATH

MEGABYTE = 1 << 20
INSTALLED = {"Tavlopro.exe": SCRIPT, "letter.txt": text("mine"), "data/old.dat": text("old")}

# Makes the fault, and returns what the updater has to be started with for it.
Obstacle = Callable[..., dict[str, object]]


@pytest.fixture(autouse=True)
def offer(updater: Updater, server: UpdateServer) -> None:
    """There is an installation, and a new version for it."""
    server.offer(CHOSEN, package=package(application(updater.program)))
    updater.install(INSTALLED)


# --- the package is stored and unpacked

def stored(updater: Updater) -> Path:
    return updater.data / CHOSEN.package_name


def from_installation(updater: Updater, **sandbox: object) -> dict[str, object]:
    """The updater in the installation stores and unpacks beside that: not where the log is."""
    return {"program": updater.place_installed(), **sandbox}


def changed(updater: Updater, change: Callable[[Path], object], path: Path, **sandbox: object) -> dict[str, object]:
    """Something is otherwise where the updater works."""
    updater.place_relocated()
    change(path)
    return sandbox


PACKAGE: dict[str, Obstacle] = {
    "The disk is full when the package is stored":
        lambda updater: from_installation(updater, small_disk=(updater.installation.parent, MEGABYTE)),
    "The disk is full when the package is unpacked":
        lambda updater: from_installation(updater, small_disk=(updater.installation.parent, 7 * MEGABYTE // 2)),
    "The folder above the updater is read-only":
        lambda updater: from_installation(updater, read_only=[updater.installation.parent]),
    "The stored package is locked":
        lambda updater: changed(updater, Path.touch, stored(updater), held=[stored(updater)]),
    "A folder is in the package's place": lambda updater: changed(updater, Path.mkdir, stored(updater)),
}


@pytest.mark.parametrize("name", PACKAGE)
@pytest.mark.fault("{name}")
def test_package(updater: Updater, window: Window, fault: Fault, name: str) -> None:
    """What cannot be written is named in the log with the reason; the installation is not touched."""
    updater.download("auto", **PACKAGE[name](updater))
    fault.is_seen()
    updater.ends()


@pytest.mark.fault("The disk of the log, the package and the temporary folder is full")
def test_full_disk_of_the_log(updater: Updater, window: Window, fault: Fault) -> None:
    """A log that cannot be written any more costs its lines, which still go to standard error, and nothing else."""
    updater.place_relocated()
    updater.download("auto", small_disk=(updater.data, 4096))
    fault.is_seen(log="what there was room for; all of it came on standard error")
    assert "No space left on device" in updater.output() and "Error unzipping" in updater.output()
    updater.ends()


# --- the installation is not begun

def crowded_disk(updater: Updater) -> dict[str, object]:
    """The disk is large enough, but a file that is kept takes most of it."""
    updater.install({"logo.png": File(bytes(4 * MEGABYTE))})
    return {"small_disk": (updater.installation, MEGABYTE)}


def deep_installation(updater: Updater) -> dict[str, object]:
    """There is just room for the path of Tavlopro.exe, and other paths are longer."""
    longest = LONGEST_PATH if updater.is_windows else os.pathconf("/", "PC_PATH_MAX") - 1
    room = longest - len(f"{updater.called(updater.installation)}//Tavlopro.exe")
    deep = "/".join(["x" * 100] * 40)[:room].rstrip("/")
    updater.install({f"{deep}/Tavlopro.exe": SCRIPT})
    updater.place_relocated()
    updater.hand_over.write_text(f"{updater.called(updater.installation)}/{deep}", encoding="utf-8")
    return {}


TOO_LONG = "The path of a new file is too long for the system"
REFUSED: dict[str, Obstacle] = {
    "The disk has no room for the new files": crowded_disk,
    TOO_LONG: deep_installation,
    'A file is in the place of the folder "out"': lambda updater: changed(updater, Path.touch, updater.out),
    "The hand-over file is missing": lambda updater: changed(updater, Path.unlink, updater.hand_over),
}


@pytest.mark.windows("the limit is that of the copying program", TOO_LONG)
@pytest.mark.parametrize("name", REFUSED)
@pytest.mark.fault("{name}")
def test_refused(updater: Updater, window: Window, fault: Fault, name: str) -> None:
    """A box says why there is no installation, before anything is asked or removed."""
    updater.make_ready("auto", **REFUSED[name](updater))
    window.press(updater.texts("Install Update"))
    fault.is_seen()
    window.box().press("OK")
    updater.ends()


# --- the installation fails, or succeeds all the same

def locked_unpacked(updater: Updater) -> dict[str, object]:
    updater.place_relocated()
    file = updater.out / "Tavlopro" / "version.txt"
    file.parent.mkdir(parents=True)
    file.touch()
    return {"held": [file]}


INSTALLING: dict[str, Obstacle] = {
    # There is room until the user has agreed. Somebody else takes it then.
    "The disk is full when the new files are copied": lambda updater: {
        "small_disk": (updater.installation, 4 * MEGABYTE),
        "variables": updater.copying_by('cat /dev/zero >"${@: -1}/else" 2>/dev/null; "$USUAL" "$@"')},
    "The installation is read-only": lambda updater: {"read_only": [updater.installation]},
    "A file of the installation is locked against removal":
        lambda updater: {"held": [updater.installation / "letter.txt"]},
    "A file of the installation is locked against writing":
        lambda updater: {"read_only": [updater.installation / "Tavlopro.exe"]},
    "A file of the unpacked package is locked": locked_unpacked,
}


@pytest.mark.parametrize("name", INSTALLING)
@pytest.mark.fault("{name}")
def test_installing(updater: Updater, window: Window, fault: Fault, name: str) -> None:
    """What cannot be removed stays, and the log names it; a copy that fails is shown, and the package stays."""
    updater.make_ready("auto", **INSTALLING[name](updater))
    updater.install_update()
    fault.is_seen()
    updater.ends()


# --- relocation

def folder_for_hand_over(updater: Updater) -> dict[str, object]:
    updater.hand_over.mkdir(parents=True)
    return {}


def full_disk(updater: Updater) -> dict[str, object]:
    updater.data.mkdir(parents=True)
    return {"small_disk": (updater.data, 128 << 10)}


RELOCATING: dict[str, Obstacle] = {
    "Relocation: a folder is in the place of the hand-over file": folder_for_hand_over,
    "Relocation: a file of the earlier copy is locked": lambda updater: {"held": [updater.place_relocated()]},
    "Relocation: the disk is full": full_disk,
}


@pytest.mark.parametrize("name", RELOCATING)
@pytest.mark.fault("{name}")
def test_relocation(updater: Updater, window: Window, fault: Fault, name: str) -> None:
    """What cannot be written is named in the log; where there is a copy of the updater it is started."""
    updater.start(**RELOCATING[name](updater))
    fault.is_seen()
    updater.ends("OK" if window.boxes() else None)
