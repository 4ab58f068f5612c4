"""The updater is killed in any of its phases, and started again."""

from __future__ import annotations

import os
import shutil
from collections.abc import Callable
from pathlib import Path

import pytest

from kit.fault import Fault, telling
from kit.folders import text
from kit.offer import CHOSEN, application, package
from kit.server import Answer, UpdateServer
from kit.updater import Updater
from kit.waiting import becomes, wait_for
from kit.window import Window

pytestmark = pytest.mark.usefixtures("outdated")


def choose(updater: Updater, **start: object) -> None:
    """Starts the updater in the installation, or its copy once that is gone, and picks the version from the list."""
    is_gone = updater.copy.exists() and not (updater.installation / "Freshen.exe").exists()
    updater.start(*["menu"] * is_gone, **start)
    updater.window.choose(CHOSEN.number)


def make_ready(updater: Updater, **start: object) -> None:
    choose(updater, **start)
    updater.window.wait_for_button(updater.texts("Install Update"))


def install(updater: Updater) -> None:
    """Then there are the package and the kept file, nothing is left over, and the application starts."""
    make_ready(updater)
    updater.install_update()
    updater.is_updated(application(updater.program))
    becomes([], updater.processes, "processes")


# --- up to each phase

def pipe(path: Path) -> Path:
    """Holds up whoever opens it."""
    path.parent.mkdir(parents=True, exist_ok=True)
    os.mkfifo(path)
    return path


def relocating(updater: Updater, server: UpdateServer) -> None:
    plugin = pipe(updater.installation / "platforms" / "qwindows.dll")
    updater.start()
    wait_for(updater.copy.exists, "the copy so far")
    updater.kill()
    plugin.unlink()
    plugin.touch()
    updater.world[f"{updater.installation.name}/platforms/qwindows.dll"] = text("")


def downloading(updater: Updater, server: UpdateServer) -> None:
    content = package(application(updater.program))
    server.answers[CHOSEN.package_path] = [Answer(content, hold=len(content) // 2), content]
    choose(updater)
    wait_for(lambda: updater.window.bar().value > 0, "a part of the package")


def unpacking(file: str, last: str) -> Callable[[Updater, UpdateServer], None]:
    """Unpacks as far as the file, which comes after the entry that the log names last."""
    def go(updater: Updater, server: UpdateServer) -> None:
        stop = pipe(updater.out / "Tavlopro" / file)
        choose(updater)
        updater.wait_for_log(f'unzipping "{last}"')
        updater.kill()
        stop.unlink()

    return go


def cleaned(updater: Updater) -> None:
    """Goes as far as the copying program, which waits."""
    make_ready(updater, variables=updater.copying(pause=60))
    updater.install_update()
    wait_for(lambda: any("copyBatch.bat" in line for line in updater.log_texts()), "the copying program")


def copying(updater: Updater, server: UpdateServer) -> None:
    cleaned(updater)
    # As far as it would have come.
    shutil.copy2(updater.out / "Tavlopro" / "Tavlopro.exe", updater.installation)


PHASES = {
    "amid its relocation": relocating,
    "amid the download": downloading,
    "when the package is stored": unpacking("Tavlopro.exe", "Tavlopro/"),
    "amid the unpacking": unpacking("documents/manual.txt", "Tavlopro/documents/"),
    "when all is unpacked": lambda updater, server: make_ready(updater),
    "amid the copy": copying,
}


@pytest.mark.windows("files of running programs cannot be replaced there", "amid the copy")
@pytest.mark.parametrize("phase", PHASES)
@pytest.mark.fault("Killed {phase}")
def test_killed(updater: Updater, window: Window, server: UpdateServer, fault: Fault, phase: str) -> None:
    """Started again, the updater installs: what the first run has left is no hindrance."""
    PHASES[phase](updater, server)
    updater.kill()
    fault.is_seen()
    install(updater)
    assert telling(updater) == []


@pytest.mark.fault("Killed between cleaning and copy, and started again")
def test_killed_without_executable(updater: Updater, window: Window, fault: Fault) -> None:
    """When nothing is left of the application the updater refuses; a file with its name is enough to go on."""
    cleaned(updater)
    updater.kill()
    becomes(False, window.is_open, "the window")
    make_ready(updater)
    window.press(updater.texts("Install Update"))
    fault.is_seen()
    window.box().press("OK")
    updater.ends()
    (updater.installation / "Tavlopro.exe").touch()
    install(updater)
