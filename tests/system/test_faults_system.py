"""Full disks, files that cannot be written or removed, things in the way, and programs that fail."""

from __future__ import annotations

import os
from collections.abc import Callable
from pathlib import Path

import pytest

from kit import folders
from kit.fault import Fault
from kit.folders import File
from kit.native import NativeUpdater
from kit.offer import CHOSEN, SCRIPT
from kit.updater import Updater
from kit.window import Window
from kit.windows import LONGEST_PATH

pytestmark = pytest.mark.usefixtures("outdated")

MEGABYTE = 1 << 20

# What the updater is started with.
Start = dict[str, object]


# --- how far the updater is to get

def listing(updater: Updater, **start: object) -> None:
    updater.start("menu", **start)


def unpacking(updater: Updater, **start: object) -> None:
    updater.download("auto", **start)


def checking(updater: Updater, **start: object) -> None:
    """Whether the copy can succeed, before anything is asked or removed."""
    updater.make_ready("auto", **start)
    updater.window.press(updater.texts("Install Update"))


def losing(updater: Updater, **start: object) -> None:
    """Somebody removes the unpacked package before the user has it installed."""
    updater.make_ready("auto", **start)
    folders.remove(updater.out)
    updater.window.press(updater.texts("Install Update"))


def installing(updater: Updater, **start: object) -> None:
    updater.make_ready("auto", **start)
    updater.install_update()


# --- what is done before

def blocked(path: Path) -> Start:
    """A file is in the place of a folder."""
    path.parent.mkdir(parents=True, exist_ok=True)
    path.touch()
    return {}


def taken(path: Path) -> Start:
    """A folder is in the place of a file."""
    path.mkdir(parents=True)
    return {}


def locked(path: Path) -> Start:
    blocked(path)
    return {"held": [path]}


def full(folder: Path, room: int) -> Start:
    folder.mkdir(parents=True, exist_ok=True)
    return {"small_disk": (folder, room)}


def beside_installation(updater: Updater, **start: object) -> Start:
    """The updater in the installation stores and unpacks beside that: not where the log is."""
    return {"program": updater.place_installed(), **start}


def without_hand_over(updater: Updater) -> Start:
    updater.place_relocated()
    updater.hand_over.unlink()
    return {}


def crowded_disk(updater: Updater) -> Start:
    """The disk is large enough, but a file that is kept takes most of it."""
    updater.install({"logo.png": File(bytes(4 * MEGABYTE))})
    return full(updater.installation, MEGABYTE)


def crowded_while_copying(updater: NativeUpdater) -> Start:
    """There is room until the user has agreed. Somebody else takes it then."""
    script = 'cat /dev/zero >"${@: -1}/else" 2>/dev/null; "$USUAL" "$@"'
    return {**full(updater.installation, 4 * MEGABYTE), "variables": updater.copying_by(script)}


def deep_installation(updater: Updater) -> Start:
    """There is just room for the path of Tavlopro.exe, and other paths are longer."""
    longest = LONGEST_PATH if updater.is_windows else os.pathconf("/", "PC_PATH_MAX") - 1
    room = longest - len(f"{updater.called(updater.installation)}//Tavlopro.exe")
    deep = "/".join(["x" * 100] * 40)[:room].rstrip("/")
    updater.install({f"{deep}/Tavlopro.exe": SCRIPT})
    updater.place_relocated()
    updater.hand_over.write_text(f"{updater.called(updater.installation)}/{deep}", encoding="utf-8")
    return {}


def no_interpreter(updater: NativeUpdater) -> Start:
    nothing = updater.folder / "nothing"
    nothing.touch()
    return {"replaced": {Path("/bin/sh"): nothing}}


def no_shell(updater: NativeUpdater) -> Start:
    (updater.system / "explorer.exe").unlink()
    return {}


def stored(updater: Updater) -> Path:
    return updater.data / CHOSEN.package_name


TOO_LONG = "The path of a new file is too long for the system"
EXIT_CODE = "The copying program ends with 4"
FAULTS: dict[str, tuple[Callable[..., None], Callable[..., Start]]] = {
    "Relocation: the temporary folder cannot be made": (Updater.start, lambda updater: blocked(updater.copy.parent)),
    "Relocation: a folder is in the place of the hand-over file": (
        Updater.start, lambda updater: taken(updater.hand_over)),
    "Relocation: a file of the earlier copy is locked": (
        Updater.start, lambda updater: locked(updater.place_relocated())),
    "Relocation: the disk is full": (Updater.start, lambda updater: full(updater.data, 128 << 10)),

    "The settings cannot be written": (listing, lambda updater: {"read_only": [updater.settings.parent]}),
    "The folder of the log cannot be made": (
        listing, lambda updater: beside_installation(updater, **blocked(updater.data))),
    "A folder is in the place of the log": (listing, lambda updater: taken(updater.log_file)),

    "The folder of the log and the package is read-only": (unpacking, lambda updater: {"read_only": [updater.data]}),
    "The disk is full when the package is stored": (
        unpacking, lambda updater: beside_installation(updater, **full(updater.installation.parent, MEGABYTE))),
    "The disk is full when the package is unpacked": (
        unpacking, lambda updater: beside_installation(updater, **full(updater.installation.parent, 3_670_016))),
    "The folder above the updater is read-only": (
        unpacking, lambda updater: beside_installation(updater, read_only=[updater.installation.parent])),
    "The stored package is locked": (unpacking, lambda updater: locked(stored(updater))),
    "A folder is in the package's place": (unpacking, lambda updater: taken(stored(updater))),

    "The disk has no room for the new files": (checking, crowded_disk),
    TOO_LONG: (checking, deep_installation),
    'A file is in the place of the folder "out"': (checking, lambda updater: blocked(updater.out)),
    "The hand-over file is missing": (checking, without_hand_over),
    "The unpacked package is removed": (losing, lambda updater: {}),

    "The disk is full when the new files are copied": (installing, crowded_while_copying),
    "The installation is read-only": (installing, lambda updater: {"read_only": [updater.installation]}),
    "A file of the installation is locked against removal": (
        installing, lambda updater: locked(updater.installation / "letter.txt")),
    "A file of the installation is locked against writing": (
        installing, lambda updater: {"read_only": [updater.installation / "Tavlopro.exe"]}),
    "A file of the unpacked package is locked": (
        installing, lambda updater: locked(updater.out / "Tavlopro" / "version.txt")),
    EXIT_CODE: (installing, lambda updater: {"variables": updater.copying(exit_code=4)}),
    "The copying program is missing": (installing, lambda updater: {"variables": {"PATH": os.defpath}}),
    "The command interpreter cannot be started": (installing, no_interpreter),
    "The command interpreter is killed": (
        installing, lambda updater: {"variables": updater.copying_by("kill -9 $PPID")}),
    "The batch file cannot be written": (installing, lambda updater: {"read_only": [updater.copy.parent]}),
    "The desktop's shell is missing": (installing, no_shell),
    "No variable names the system's folder (SYSTEMROOT)": (
        installing, lambda updater: {"through": ("env", "--unset=SYSTEMROOT", f"windir={updater.system}")}),
    "Two variables mention SYSTEMROOT": (
        installing, lambda updater: {"variables": {"COMMENT": "the SystemRoot is elsewhere"}}),
}


@pytest.mark.windows("the copying program, with its limit and its exit code, is Windows' own", TOO_LONG, EXIT_CODE)
@pytest.mark.parametrize("name", FAULTS)
@pytest.mark.fault("{name}")
def test_fault(updater: Updater, window: Window, fault: Fault, name: str) -> None:
    go, obstacle = FAULTS[name]
    go(updater, **obstacle(updater))
    fault.is_seen()
    if go in (checking, losing):
        window.box().press("OK")
    updater.ends("OK" if window.boxes() else None)


@pytest.mark.fault("The disk of the log, the package and the temporary folder is full")
def test_full_disk_of_the_log(updater: Updater, window: Window, fault: Fault) -> None:
    """A log that cannot be written any more costs its lines, which still go to standard error, and nothing else."""
    updater.place_relocated()
    updater.download("auto", **full(updater.data, 4096))
    fault.is_seen(log="what there was room for; all of it came on standard error")
    assert "No space left on device" in updater.output() and "Error unzipping" in updater.output()
    updater.ends()
