"""Processes that fail: the copy, the shell, and the updater itself, killed in each phase and started again. What each
of them leads to stands in docs/reliability.md."""

from __future__ import annotations

import os
import shutil
import signal
from collections.abc import Callable
from contextlib import ExitStack
from pathlib import Path

import pytest

from harness import processes
from harness.trees import Entry, file
from harness.waiting import wait_for
from rig import offers
from rig.evidence import becomes, same
from rig.faults import ENDED, UNTOUCHED, confirm, ends, failed_copying, remains, saw, serving
from rig.offers import PACKAGE_PATH
from rig.run import Run
from rig.screen import Screen
from rig.sight import Sight, contents
from rig.texts import TEXTS
from rig.views import seeing
from rig.wire import Answer, WireServer

TEXT = TEXTS["en_US"]
UNPACKED = "out/ (4 files)"
PROGRAM = Entry(b"#!/bin/sh\nexit 0\n", executable=True)
INSTALLED = {"Tavlopro.exe": PROGRAM, "logo.png": file("the club's own"), "old.txt": file("old"),
             "data/old.dat": file("old")}
KEPT = {"logo.png": b"the club's own"}
CLEANED = "the installation: logo.png"
WRONG = 'box "Tavlopro Update": The destination path seems wrong. Aborting!'


def package_and_kept(run: Run) -> dict[str, bytes | None]:
    """What an installation becomes."""
    package = offers.application(run.program)
    return {**{path: entry.content for path, entry in package.items() if not entry.is_folder}, **KEPT}


@pytest.fixture
def server(exits: ExitStack, run: Run) -> WireServer:
    """A server of a version with its package, and what is installed."""
    return serving(exits, run, INSTALLED)


def install(run: Run, screen: Screen, variables: dict[str, str], through: list[str] | None = None) -> None:
    """Has the relocated updater install, and agrees to the cleaning."""
    run.place_relocated()
    run.start("auto", desktop=screen.desktop, variables=variables, through=through or ())
    screen.wait_for_button(TEXT.install)
    screen.press(TEXT.install)
    screen.box().press("OK")


# --- the copy

@pytest.mark.parametrize("code", [1, 2, 3, 4, 5])
@pytest.mark.fault("process", "The copying program ends with {code}")
def test_exit_code(run: Run, screen: Screen, server: WireServer, code: int) -> None:
    """A copy that does not end with 0 is shown with its exit code; the unpacked package stays."""
    install(run, screen, run.copying_ends_with(code))
    saw(run, screen, failed_copying(code),
        [f'[D] UnknownError "Unknown error" {code} NormalExit', "[D] Error copying"],
        [UNPACKED, CLEANED])
    ends(run, screen)


@pytest.mark.fault("process", "The batch is killed")
def test_batch_killed(run: Run, screen: Screen, server: WireServer) -> None:
    """A batch that is killed is a copy that has failed; the unpacked package stays."""
    install(run, screen, run.copying("kill -KILL $PPID"))
    saw(run, screen, failed_copying(9), ['[D] Crashed "Process crashed" 9 CrashExit', "[D] Error copying"],
        [UNPACKED, CLEANED])
    ends(run, screen)


@pytest.mark.fault("process", "The batch does not end within 60 s")
def test_batch_never_ends(run: Run, screen: Screen, server: WireServer) -> None:
    """A batch that does not end is given up after a minute; the copying program, which nobody ends, goes on."""
    install(run, screen, run.copying("sleep 90"))
    saw(run, screen, failed_copying(0), ['[D] Crashed "Process crashed" 9 CrashExit', "[D] Error copying"],
        [UNPACKED, CLEANED], 90)
    assert processes.find_by_name("xcopy.exe"), "the copying program has ended"
    screen.close()
    same(0, run.exit_code(), "exit code")


@pytest.mark.fault("process", "The copying program is missing")
def test_no_copying_program(run: Run, screen: Screen, server: WireServer) -> None:
    """Without the copying program the batch fails; the window tells its exit code."""
    install(run, screen, {"PATH": os.defpath})
    saw(run, screen, failed_copying(127), ['[D] "STD ERROR:\\n…"', '[D] UnknownError "Unknown error" 127 NormalExit',
                                           "[D] Error copying"], [UNPACKED, CLEANED])
    ends(run, screen)


@pytest.mark.fault("process", "The command interpreter cannot be started")
def test_no_interpreter(run: Run, screen: Screen, server: WireServer, views: None) -> None:
    """Without the command interpreter nothing is copied; the log tells the system's reason."""
    nothing = run.folder / "nothing"
    nothing.write_text("no program")
    install(run, screen, {}, seeing({Path("/bin/sh").resolve(): nothing}))
    saw(run, screen, failed_copying(255),
        ['[D] FailedToStart "execvp: Permission denied" 255 NormalExit', "[D] Error copying"], [UNPACKED, CLEANED])
    ends(run, screen)


@pytest.mark.fault("process", "The desktop's shell is missing")
def test_no_shell(run: Run, screen: Screen, server: WireServer) -> None:
    """Without the desktop's shell the new application is installed but not started; the log says so."""
    (run.shell.folder / "explorer.exe").unlink()
    install(run, screen, {})
    saw(run, screen, ENDED, ["[D] success: false"], ["the installation: 5 files"])
    same(package_and_kept(run), contents(run.installation), "the installation")


# --- the updater is killed, and started again

Phase = Callable[[Run, Screen, WireServer], None]


def relocating(run: Run, screen: Screen, server: WireServer) -> None:
    # The first plug-in is a pipe that nobody writes to.
    pipe = run.installation / "platforms" / "qwindows.dll"
    pipe.parent.mkdir()
    os.mkfifo(pipe)
    run.start(desktop=screen.desktop)
    becomes(["Freshen.exe"], lambda: [path.name for path in run.home.relocated_updater.parent.glob("*.exe")],
            "the copy so far")
    run.kill()
    pipe.unlink()


def listing(run: Run, screen: Screen, server: WireServer) -> None:
    run.start(desktop=screen.desktop)
    screen.wait_for_rows(1)


def downloading(run: Run, screen: Screen, server: WireServer) -> None:
    package = offers.package(run.program)
    half = len(package) // 2
    server.answers[PACKAGE_PATH] = Answer(package, hold=half)
    listing(run, screen, server)
    screen.keys("Home", "Return")
    becomes((half, len(package)), screen.progress, "the bar")


def stopped_before(run: Run, screen: Screen, server: WireServer, name: str, last: str) -> None:
    """Unpacks until the file name, which is a pipe that nobody reads from."""
    pipe = run.out / "Tavlopro" / name
    pipe.parent.mkdir(parents=True)
    os.mkfifo(pipe)
    listing(run, screen, server)
    screen.keys("Home", "Return")
    run.wait_for_log(f'unzipping "{last}"')
    run.kill()
    pipe.unlink()


def stored(run: Run, screen: Screen, server: WireServer) -> None:
    stopped_before(run, screen, server, "Tavlopro.exe", "Tavlopro/")


def extracting(run: Run, screen: Screen, server: WireServer) -> None:
    stopped_before(run, screen, server, "documents/manual.txt", "Tavlopro/documents/")


def extracted(run: Run, screen: Screen, server: WireServer) -> None:
    listing(run, screen, server)
    screen.keys("Home", "Return")
    screen.wait_for_button(TEXT.install)


def asked(run: Run, screen: Screen, server: WireServer) -> None:
    extracted(run, screen, server)
    screen.press(TEXT.install)
    screen.box()


def cleaning(run: Run, screen: Screen, server: WireServer) -> None:
    files = [run.installation / f"a{number:05}.txt" for number in range(10_000)]
    for path in files:
        path.touch()
    asked(run, screen, server)
    updater = run.relocated("menu")
    assert updater is not None
    screen.box().press("OK")
    wait_for(lambda: not files[50].exists(), "the cleaning", interval=0)
    os.kill(updater, signal.SIGKILL)
    assert files[-1].exists(), "the cleaning was too fast"


def cleaned(run: Run, screen: Screen, server: WireServer) -> None:
    copying_waits(run, screen)
    same(["logo.png"], [path.name for path in run.installation.iterdir()], "the installation")
    run.kill()


def copying_waits(run: Run, screen: Screen) -> None:
    """Goes as far as the copying program, which waits."""
    run.start(desktop=screen.desktop, variables=run.copying_waits())
    screen.wait_for_rows(1)
    screen.keys("Home", "Return")
    screen.wait_for_button(TEXT.install)
    screen.press(TEXT.install)
    screen.box().press("OK")
    wait_for(lambda: processes.find_by_name("xcopy.exe"), "the copying program")


def copying_half(run: Run, screen: Screen, server: WireServer) -> None:
    copying_waits(run, screen)
    # As far as it would have come.
    shutil.copy2(run.out / "Tavlopro" / "Tavlopro.exe", run.installation)


def copied(run: Run, screen: Screen, server: WireServer) -> None:
    # The hand-over file is read once more before the start: from a pipe that nobody writes to.
    variables = run.copying('"$USUAL" "$@" && mv "$DATA/settings.ini" "$DATA/aside" && mkfifo "$DATA/settings.ini"')
    run.start(desktop=screen.desktop, variables=variables)
    screen.wait_for_rows(1)
    screen.keys("Home", "Return")
    screen.wait_for_button(TEXT.install)
    screen.press(TEXT.install)
    screen.box().press("OK")
    run.wait_for_log("startTavlo")
    run.kill()
    (run.home.updater_data / "aside").replace(run.home.hand_over_file)


PHASES: dict[str, Phase] = {
    "amid its relocation": relocating, "with the list shown": listing, "amid the download": downloading,
    "when the package is stored": stored, "amid the unpacking": extracting, "when all is unpacked": extracted,
    "with the question of the cleaning open": asked, "amid the cleaning": cleaning, "amid the copy": copying_half,
    "before it starts the application": copied}


def second_run(run: Run, screen: Screen, server: WireServer) -> None:
    """Starts the updater again, from the installation if it is still there, and goes the whole road."""
    server.answers[PACKAGE_PATH] = Answer(offers.package(run.program))
    run.start(*([] if (run.installation / "Freshen.exe").exists() else ["menu"]), desktop=screen.desktop)
    screen.wait_for_rows(1)
    screen.keys("Home", "Return")
    screen.wait_for_button(TEXT.install)
    screen.press(TEXT.install)


def completes(run: Run, screen: Screen, left: list[str]) -> None:
    """The road ends well: package and kept files, nothing else, nothing left over, the application started once."""
    screen.box().press("OK")
    becomes([(run.called(run.installation / "Tavlopro.exe"),)], run.starts, "starts of the application")
    becomes([], run.processes, "processes")
    saw(run, screen, ENDED, [])
    same(package_and_kept(run), contents(run.installation), "the installation")
    temporary = run.updater_data / "freshen"
    same({*run.relocated_files(), "copyBatch.bat"}, {path.name for path in temporary.rglob("*.*")},
         "the temporary folder")
    same(["debug_update.log", "freshen", "settings.ini"], sorted(path.name for path in run.updater_data.iterdir()),
         "the updater's files")
    run.sight = Sight("after the second start: the whole road, to its end", (),
                      (*left, "the installation in the end: package and kept files"))


@pytest.mark.parametrize("phase", PHASES)
@pytest.mark.fault("kill", "Killed {phase}")
def test_killed(run: Run, screen: Screen, server: WireServer, phase: str) -> None:
    """Killed in any phase and started again, the updater goes its whole road: what the first run has left is no
    hindrance and leaves no trace."""
    PHASES[phase](run, screen, server)
    run.kill()
    becomes((False, []), lambda: (screen.is_open(), screen.boxes()), "windows")
    # How far it came until it was killed is chance.
    left = remains(run) if PHASES[phase] is not cleaning else [UNPACKED, "the installation: what was not yet removed"]
    second_run(run, screen, server)
    completes(run, screen, left)


@pytest.mark.fault("kill", "Killed between cleaning and copy")
def test_killed_without_executable(run: Run, screen: Screen, server: WireServer) -> None:
    """Killed when nothing is left of the application, the updater does not know the installation again: it refuses. A
    file with the name of the application is enough for it to go on."""
    cleaned(run, screen, server)
    becomes((False, []), lambda: (screen.is_open(), screen.boxes()), "windows")
    left = remains(run)
    second_run(run, screen, server)
    saw(run, screen, WRONG, ['[D] Testpath: "INSTALLATION/Tavlopc.exe" "INSTALLATION/Tavlopro.exe"'],
        [UNPACKED, UNTOUCHED])
    refused = run.sight
    confirm(screen)
    ends(run, screen)
    (run.installation / "Tavlopro.exe").touch()
    second_run(run, screen, server)
    screen.box().press("OK")
    becomes([], run.processes, "processes")
    same(package_and_kept(run), contents(run.installation), "the installation")
    run.sight = Sight(f"after the second start: {refused.user}; with an empty Tavlopro.exe in the installation, after "
                      "the third: the whole road, to its end", refused.log,
                      (*left, "the installation in the end: package and kept files"))
