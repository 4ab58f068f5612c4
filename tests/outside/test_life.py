"""The life of the updater's processes: held by a running application, doubled, closed at any time, short of settings or
of places to write to, in odd homes and in other languages."""

from __future__ import annotations

import os
import random
import shutil
import signal
from collections.abc import Callable
from contextlib import ExitStack
from pathlib import Path

import pytest

from harness import processes
from harness.desktop import Desktop
from harness.packages import VERSIONS_PATH
from harness.seclusion import namespace_command, secluded
from harness.trees import Entry, file
from harness.updateserver import UpdateServer
from harness.waiting import wait_for
from rig import texts as words
from rig.catalogue import PROGRAM, listed, offered, version
from rig.evidence import becomes, same
from rig.faults import note
from rig.opening import choose, download, make_ready, open_list, open_window
from rig.run import Run
from rig.screen import Screen
from rig.texts import LANGUAGES, TEXTS, UPDATE_HOST

OFFER = version("26.06.7205")
APPLICATION = "Tavlopc.exe"
SMALL, LARGE = (460, 140), (448, 380)
DEFAULT_ADDRESS = f'Get: "https://{UPDATE_HOST}:443/update/Tavlopc/VERSIONS/windows.txt"'

needs_namespace = pytest.mark.skipif(namespace_command() is None, reason="the system allows no namespaces")


def size_of(screen: Screen) -> tuple[int, int]:
    extents = screen.window.extents
    return extents.width, extents.height


# --- beside the running application

class Application:
    """The running application, as far as the updater can see: a process with its name, started with the updater."""

    def __init__(self, run: Run, desktop: Desktop, server: UpdateServer, name: str = APPLICATION) -> None:
        self._run = run
        self._name = name
        program = run.folder / name
        shutil.copy2("/bin/sleep", program)
        run.write_settings(port2=server.port)
        run.start("menu", desktop=desktop, through=("/bin/sh", "-c", '"$0" 120 & exec "$@"', str(program)))

    def close(self) -> None:
        os.kill(wait_for(self._find, f"the process {self._name}"), signal.SIGTERM)
        wait_for(lambda: self._find() is None, f"the end of {self._name}")

    def is_running(self) -> bool:
        return self._find() is not None

    def _find(self) -> int | None:
        for pid in self._run.processes():
            try:
                if Path(f"/proc/{pid}/comm").read_text().strip() == self._name:
                    return pid
            except OSError:
                continue
        return None


def rounds(run: Run) -> int:
    return run.log_texts().count("checking ...")


def test_application_not_running(run: Run, desktop: Desktop) -> None:
    """Where the application does not run, one look is enough: no box, and the versions are asked for at once."""
    with UpdateServer(listed(OFFER)) as server:
        screen = open_list(run, desktop, server)
        same((1, []), (rounds(run), screen.boxes()), "looks and boxes")


@pytest.mark.alone
def test_application_closed_in_the_first_second(run: Run, desktop: Desktop) -> None:
    """An application that is closed within the first second holds the updater without a box."""
    with UpdateServer(listed(OFFER)) as server:
        application = Application(run, desktop, server)
        run.wait_for_log("checking ...")
        application.close()
        run.wait_for_log("Get:")
        same(True, rounds(run) > 1, "looked more than once")
        screen = Screen(desktop)
        screen.wait_for_rows(1)
        same([], screen.boxes(), "boxes")


@pytest.mark.alone
@pytest.mark.parametrize("language", LANGUAGES)
def test_application_closed_after_the_box(run: Run, desktop: Desktop, language: str) -> None:
    """After a second the user is asked to close the application, in German in every language, with a button in the
    user's own; with it closed, the button goes on."""
    run.language = language
    retry = TEXTS[language].retry
    with UpdateServer(listed(OFFER)) as server:
        application = Application(run, desktop, server)
        screen = Screen(desktop)
        box = screen.box()
        same((words.RUNNING_TITLE, words.RUNNING, [retry]), (box.title, box.text, box.buttons), "box")
        # One look every 100 ms, and none at all while the box waits.
        looks = rounds(run)
        same(True, 3 <= looks <= 12, f"{looks} looks in the first second")
        application.close()
        same([], server.requests, "requests before the answer")
        box.press(retry)
        screen.wait_for_rows(1)
        same([], screen.boxes(), "boxes")


@pytest.mark.alone
def test_application_never_closed(run: Run, desktop: Desktop) -> None:
    """As long as the application runs the box comes again, however it is answered, and nothing is asked for; ended from
    outside, the updater leaves nothing behind."""
    with UpdateServer(listed(OFFER)) as server:
        application = Application(run, desktop, server)
        screen = Screen(desktop)
        for answer in (lambda: screen.box().press("Retry"), lambda: screen.keys("Escape"),
                       lambda: screen.close(screen.box().window), lambda: screen.keys("Return")):
            screen.box()
            looked = rounds(run)
            answer()
            wait_for(lambda: rounds(run) > looked, "another look")
        screen.box()
        same([], server.requests, "requests")
        run.process.terminate()
        same(-signal.SIGTERM, run.exit_code(), "end of the updater")
        same(True, application.is_running(), "the application runs")
        application.close()
        becomes([], run.processes, "processes")


@pytest.mark.parametrize("name", ["TAVLOPC.EXE", "tavlopc.exe", "Tavlopro.exe", "Tavlopc.exe2", "Tavlopc"])
def test_other_programs_do_not_hold(run: Run, desktop: Desktop, name: str) -> None:
    """Only a process named exactly Tavlopc.exe holds the updater: not one that differs in capitals, and not the
    application under its newer name."""
    with UpdateServer(listed(OFFER)) as server:
        application = Application(run, desktop, server, name)
        Screen(desktop).wait_for_rows(1)
        same((1, True), (rounds(run), application.is_running()), "looks, and the program runs")


# --- more than one updater

def test_two_updaters_at_once(run: Run, desktop: Desktop, exits: ExitStack) -> None:
    """A second updater, started while the first one shows its list, makes a copy of its own: both work, both write to
    the log, and both end."""
    server = exits.enter_context(UpdateServer(listed(OFFER)))
    run.write_settings(port2=server.port)
    copies: list[int] = []
    for number in (1, 2):
        run.start(desktop=desktop)
        same(0, run.exit_code(), "exit code of the starter")
        becomes(number, lambda: len(copies_of(run)), "copies that run")
        copies += [pid for pid in copies_of(run) if pid not in copies]
        Screen(desktop, copies[-1]).wait_for_rows(1)
    same(str(run.installation), run.home.hand_over_file.read_text(), "hand-over file")
    same(2, len([text for text in run.log_texts() if text.startswith("Checking version...")]), "lists in the log")
    for left in (1, 0):
        desktop.close(words.WINDOW_TITLE)
        becomes(left, lambda: len(copies_of(run)), "copies that run")
    same([0, 0], [processes.wait_for_exit(pid, 10) for pid in copies], "exit codes")


def copies_of(run: Run) -> list[int]:
    """The relocated updaters that run."""
    found = []
    for pid in run.processes():
        try:
            command = Path(f"/proc/{pid}/cmdline").read_bytes()
        except OSError:
            continue
        if command.split(b"\0")[1:2] == [b"menu"]:
            found.append(pid)
    return found


def test_log_is_appended(run: Run, desktop: Desktop) -> None:
    """The log of a second run follows that of the first; nothing of the first is lost."""
    with UpdateServer(listed(OFFER)) as server:
        screen = open_list(run, desktop, server)
        screen.close()
        same(0, run.exit_code(), "exit code")
        first = run.log()
        run.start("menu", desktop=desktop)
        wait_for(lambda: len(run.log()) >= 2 * len(first), "the log of the second run")
    same([*first, *first], run.log(), "log")


# --- closed in each phase

def checking(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    server = exits.enter_context(UpdateServer(listed(OFFER)))
    server.hold(VERSIONS_PATH, 0)
    screen = open_window(run, desktop, server, "auto")
    wait_for(lambda: server.was_asked(VERSIONS_PATH), "the request for the versions")
    return screen


def listing(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    return open_list(run, desktop, exits.enter_context(UpdateServer(listed(OFFER))))


def idling(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    run.write_settings()
    run.start("neither", desktop=desktop)
    return Screen(desktop)


def downloading(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    server = exits.enter_context(UpdateServer(offered(folder / "server", [OFFER])))
    server.hold(OFFER.package_path, 0.5)
    return download(run, desktop, server, "menu")


def aborted(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    screen = downloading(run, desktop, folder, exits)
    screen.press(TEXTS["en_US"].cancel)
    screen.wait_for_button(TEXTS["en_US"].close)
    return screen


def extracting(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    data = Entry(random.Random(1).randbytes(1000))
    entries = {f"data/{number}": data for number in range(5000)}
    server = exits.enter_context(UpdateServer(offered(folder / "server", [OFFER], entries)))
    server.hold(OFFER.package_path, 0.5)
    screen = download(run, desktop, server, "auto")
    label = screen.window.find_all("label")[0]
    server.release()
    wait_for(lambda: label.name == TEXTS["en_US"].extracting, "the extraction", interval=0)
    return screen


def unpacked(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    server = exits.enter_context(UpdateServer(offered(folder / "server", [OFFER])))
    return make_ready(run, desktop, server, "menu")


def not_unpacked(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    server = exits.enter_context(UpdateServer({**listed(OFFER), OFFER.package_path: b"no package"}))
    screen = choose(run, desktop, server, "menu")
    run.wait_for_log("Error unzipping")
    return screen


def refused(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> Screen:
    screen = unpacked(run, desktop, folder, exits)
    screen.press(TEXTS["en_US"].install)
    screen.box().press("OK")
    becomes([], screen.boxes, "boxes")
    return screen


Phase = Callable[[Run, Desktop, Path, ExitStack], Screen]
PHASES: tuple[Phase, ...] = (checking, listing, idling, downloading, aborted, extracting, unpacked, not_unpacked,
                             refused)


@pytest.mark.parametrize("phase", PHASES, ids=lambda phase: phase.__name__)
def test_closed(run: Run, desktop: Desktop, folder: Path, exits: ExitStack, phase: Phase) -> None:
    """Whenever its window is closed, the updater ends with 0, and leaves no process and no box behind."""
    screen = phase(run, desktop, folder, exits)
    screen.close()
    same(0, run.exit_code(), "exit code")
    becomes([], run.processes, "processes")
    becomes([], desktop.windows.all, "windows")


def test_closed_while_downloading_keeps_nothing(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> None:
    """A window that is closed in the middle of a download leaves no package and nothing unpacked."""
    screen = downloading(run, desktop, folder, exits)
    screen.close()
    run.exit_code()
    same(["debug_update.log", "freshen", "settings.ini"],
         sorted(path.name for path in run.home.updater_data.iterdir()), "the updater's files")


def test_closed_while_copying(run: Run, desktop: Desktop, folder: Path, exits: ExitStack) -> None:
    """A window that is closed while the new files are copied does not interrupt the copy: it ends well, and the
    application is started."""
    run.place_installed()
    (run.installation / "Tavlopro.exe").touch()
    server = exits.enter_context(UpdateServer(offered(folder / "server", [OFFER])))
    run.write_settings(port2=server.port)
    run.start("auto", desktop=desktop, variables={"XCOPY_PAUSE": "1"})
    screen = Screen(desktop)
    screen.wait_for_button(TEXTS["en_US"].install)
    screen.press(TEXTS["en_US"].install)
    screen.box().press("OK")
    wait_for(lambda: processes.find_by_name("xcopy.exe"), "the copy")
    desktop.close(words.WINDOW_TITLE)
    same(0, run.exit_code(), "exit code")
    same(["Tavlopro.exe", "data"], sorted(path.name for path in run.installation.iterdir()), "installed files")
    becomes([(str(run.installation / "Tavlopro.exe"),)], lambda: [start.arguments for start in run.shell.starts()],
            "starts")


def test_connection_box_closed(run: Run, desktop: Desktop) -> None:
    """The box that reports a failed connection may be closed like any window; the updater then ends."""
    with UpdateServer({}) as server:
        pass
    screen = open_window(run, desktop, server, "menu")
    screen.box()
    screen.keys("Escape")
    same(0, run.exit_code(), "exit code")
    becomes([], run.processes, "processes")


# --- settings

def secluded_from_network(run: Run) -> list[str]:
    return secluded(Path("/usr/bin/env"), ends=run.folder / "ends.txt", network=False)


@needs_namespace
@pytest.mark.parametrize("content", [None, b"", b"[General]\n", bytes(range(256)) * 16, b"version_main\x00=\xff\n[[["],
                         ids=["missing", "empty", "without-keys", "binary", "broken"])
def test_settings_without_values(run: Run, content: bytes | None) -> None:
    """Without usable settings the updater asks the update host over HTTPS, without a proxy, and has the logo among the
    files to keep."""
    file = run.home.application_settings
    if content is not None:
        file.parent.mkdir(parents=True)
        file.write_bytes(content)
    run.start("menu", through=secluded_from_network(run))
    run.wait_for_log("Connection failed:")
    same([DEFAULT_ADDRESS], [text for text in run.log_texts() if text.startswith("Get:")], "requests in the log")
    same(1, run.log_texts().count("no proxy is used."), "log lines about no proxy")
    same(True, b"filesToKeep=logo.png" in file.read_bytes(), "the logo is to be kept")


@needs_namespace
def test_settings_that_are_a_folder(run: Run) -> None:
    """A folder in the place of the settings is as good as no settings."""
    run.home.application_settings.mkdir(parents=True)
    run.start("menu", through=secluded_from_network(run))
    run.wait_for_log("Connection failed:")
    same(1, run.log_texts().count(DEFAULT_ADDRESS), "request in the log")


@needs_namespace
@pytest.mark.fault("files", "The settings cannot be written")
def test_settings_that_cannot_be_written(run: Run, desktop: Desktop) -> None:
    """Settings that cannot be written are read all the same, and the run goes on; the log names them."""
    with UpdateServer(listed(OFFER)) as server:
        run.write_settings(port2=server.port)
        before = run.home.application_settings.read_bytes()
        run.start("menu", desktop=desktop, through=secluded(
            Path("/usr/bin/env"), ends=run.folder / "ends.txt", read_only=[run.home.application_settings.parent]))
        Screen(desktop).wait_for_rows(1)
        note(run, Screen(desktop))
    same(before, run.home.application_settings.read_bytes(), "settings")
    same(1, sum(line.level == "W" and "filesToKeep" in line.text for line in run.log()), "warnings")


@pytest.mark.parametrize(("settings", "address"), [
    ({"port2": "abc"}, "http://127.0.0.1:0/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": "-9"}, "http://127.0.0.1:0/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": "9.5"}, "http://127.0.0.1:0/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": ""}, "http://127.0.0.1:0/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": 9, "host2": ("127.0.0.1", "localhost")}, "http://:9/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": 9, "proto2": ""}, "://127.0.0.1:9/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": 9, "verf": "a b"}, "http://127.0.0.1:9/update/Tavlopc/a b/windows.txt"),
    ({"port2": 9, "verf": ""}, "http://127.0.0.1:9/update/Tavlopc//windows.txt"),
    ({"port2": 9, "config/proxy/data/type": "two"}, "http://127.0.0.1:9/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": 9, "config/proxy/data/type": "-1"}, "http://127.0.0.1:9/update/Tavlopc/VERSIONS/windows.txt"),
], ids=str)
def test_settings_of_the_wrong_type(run: Run, settings: dict, address: str) -> None:
    """Settings of the wrong type count as zero, as empty or as no proxy; the updater reports the failed connection."""
    run.write_settings(settings)
    run.start("menu")
    run.wait_for_log("Connection failed:")
    same([f'Get: "{address}"'], [text for text in run.log_texts() if text.startswith("Get:")], "requests in the log")
    same(1, run.log_texts().count("no proxy is used."), "log lines about no proxy")
    same(True, run.is_running(), "the box waits")


@pytest.mark.parametrize(("value", "betas"), [("maybe", True), ("1", True), ("0", False), ("", False), ("False", False),
                                              (("true", "true"), False)])
def test_beta_setting_of_the_wrong_type(run: Run, desktop: Desktop, value: str, betas: bool) -> None:
    """Any text but "0", "false" and none allows beta versions."""
    with UpdateServer(listed(OFFER, version("26.07.7300", "Beta"))) as server:
        screen = open_list(run, desktop, server, rows=2 if betas else 1, settings={"LoginWindow/useBeta": value})
        same(betas, screen.is_beta_checked(), "check mark")


@pytest.mark.parametrize(("kept", "stored"), [
    (None, "logo.png"),
    (("Logo.png",), "Logo.png, logo.png"),
    (("a.ini", "b.ini"), "a.ini, b.ini, logo.png"),
    (("a.ini", "logo.png", "b.ini"), "a.ini, logo.png, b.ini"),
])
def test_logo_is_kept(run: Run, kept: tuple[str, ...] | None, stored: str) -> None:
    """The logo, in exactly this spelling, is added to the files to keep where it is not among them."""
    run.write_settings({"Updater/filesToKeep": kept})
    run.start("neither")
    run.wait_for_log("Get:")
    lines = run.home.application_settings.read_text().splitlines()
    same([f"filesToKeep={stored}"], [line for line in lines if line.startswith("filesToKeep")], "files to keep")


def test_settings_stay_as_they_are(run: Run, desktop: Desktop) -> None:
    """Settings that have the logo among the files to keep are not written, byte for byte."""
    with UpdateServer(listed(OFFER)) as server:
        run.write_settings({"Updater/filesToKeep": ("logo.png",)}, port2=server.port)
        before = run.home.application_settings.read_bytes()
        run.start("menu", desktop=desktop)
        Screen(desktop).wait_for_rows(1)
    same(before, run.home.application_settings.read_bytes(), "settings")


# --- places that cannot be written to

@needs_namespace
@pytest.mark.fault("files", "The folder of the log and the package is read-only")
def test_log_folder_read_only(run: Run, desktop: Desktop, folder: Path) -> None:
    """Where neither log nor package can be written, the list works, every message still comes on standard error, and
    the download ends with the archive reader's message instead of an update."""
    with UpdateServer(offered(folder / "server", [OFFER])) as server:
        run.write_settings(port2=server.port)
        run.place_relocated()
        run.start("menu", desktop=desktop, through=secluded(
            Path("/usr/bin/env"), ends=run.folder / "ends.txt", read_only=[run.home.updater_data]))
        screen = Screen(desktop)
        screen.wait_for_rows(1)
        screen.keys("Home", "Return")
        wait_for(lambda: "Error unzipping" in run.output(), "the end of the download")
        failed = TEXTS["en_US"].extraction_failed.format("unzip(): zip.open()")
        becomes(True, lambda: screen.status().startswith(failed), "status")
        same(False, screen.button().can_be_pressed, "the button can be pressed")
        note(run, screen)
    same(False, run.home.debug_log.exists(), "there is a log")
    assert "Cannot store the package in" in run.output()


@pytest.mark.fault("files", "The folder of the log cannot be made")
def test_log_folder_that_cannot_be_made(run: Run, desktop: Desktop) -> None:
    """A log folder that cannot be made is reported on standard error, and the updater opens all the same."""
    run.home.updater_data.parent.parent.mkdir(parents=True, exist_ok=True)
    run.home.updater_data.parent.write_text("a file in the place of the folder")
    with UpdateServer(listed(OFFER)) as server:
        run.write_settings(port2=server.port)
        program = run.place_installed()
        run.start("menu", desktop=desktop, program=program)
        Screen(desktop).wait_for_rows(1)
        note(run, Screen(desktop))
    first = run.output().splitlines()[:3]
    same([f'Creating path: "{run.home.updater_data}"', f'ERROR: Could not create path "{run.home.updater_data}"',
          f'Debug-logging to: "{run.home.debug_log}"'], first, "first messages")


@pytest.mark.fault("files", "A folder is in the place of the log")
def test_log_that_is_a_folder(run: Run, desktop: Desktop) -> None:
    """A folder in the place of the log costs the log and nothing else."""
    run.home.debug_log.mkdir(parents=True)
    with UpdateServer(listed(OFFER)) as server:
        run.write_settings(port2=server.port)
        run.start("menu", desktop=desktop)
        Screen(desktop).wait_for_rows(1)
        assert "Checking version..." in run.output()
        note(run, Screen(desktop))


@pytest.mark.fault("files", "Relocation: the temporary folder cannot be made")
def test_relocation_without_a_place(run: Run) -> None:
    """An updater that cannot make its temporary folder logs that and ends, without a box and with exit code 0."""
    run.home.updater_data.mkdir(parents=True)
    (run.home.updater_data / "freshen").write_text("a file in the place of the folder")
    run.write_settings()
    run.start()
    same(0, run.exit_code(), "exit code")
    same(f'Error creating path: "{run.home.updater_data / "freshen"}"', run.log_texts()[-1], "last log line")
    note(run)


# --- the start of the new application

@pytest.mark.parametrize(("name", "more", "found"), [
    pytest.param("SYSTEMROOT", {}, True, id="plain"),
    pytest.param("SystemRoot", {}, True, id="mixed case"),
    pytest.param("windir", {}, False, id="missing",
                 marks=pytest.mark.fault("process", "No variable names the system's folder (SYSTEMROOT)")),
    pytest.param("SYSTEMROOT", {"COMMENT": "the SystemRoot is elsewhere"}, False, id="mentioned twice",
                 marks=pytest.mark.fault("process", "Two variables mention SYSTEMROOT")),
])
def test_shell_is_found_by_its_variable(run: Run, desktop: Desktop, folder: Path, name: str, more: dict[str, str],
                                        found: bool) -> None:
    """The shell that starts the application is found by the one variable that names the system's folder, in any case of
    letters; with none or several nothing is started, and the updater ends all the same. With both names there, the
    newer one is started."""
    both = {"Tavlopro.exe": PROGRAM, "Tavlopc.exe": file("the old name")}
    run.installation.mkdir(parents=True)
    (run.installation / "Tavlopc.exe").touch()
    with UpdateServer(offered(folder / "server", [OFFER], both)) as server:
        run.write_settings(port2=server.port)
        variables = (f"{key}={value}" for key, value in {name: str(run.shell.folder), **more}.items())
        run.start("auto", desktop=desktop, through=("env", "--unset=SYSTEMROOT", *variables))
        screen = Screen(desktop)
        screen.wait_for_button(TEXTS["en_US"].install)
        screen.press(TEXTS["en_US"].install)
        screen.box().press("OK")
        same(0, run.exit_code(), "exit code")
    program = run.installation / "Tavlopro.exe"
    becomes([(str(program),)] if found else [], lambda: [start.arguments for start in run.shell.starts()], "starts")
    shell = run.shell.folder / "explorer.exe" if found else ""
    command = f'starting "\\"{shell}\\" \\"{program}\\""'
    end = [*([] if found else ["explorer not found"]), command, command, f"success: {str(found).lower()}"]
    same(["startTavlo", *end], run.log_texts()[-1 - len(end):], "end of the log")
    note(run)


# --- odd homes and other languages

@pytest.mark.parametrize("name", ["Jürgen Groß", "a  b", "أحمد", "100% & (x86)", "it's (x86)"])
def test_odd_home(new_run: Callable[..., Run], desktop: Desktop, folder: Path, name: str) -> None:
    """A whole update works in homes and installations with blanks, umlauts and other signs in their names."""
    run = new_run(name)
    run.place_installed()
    (run.installation / "Tavlopro.exe").write_text("old")
    with UpdateServer(offered(folder / "server", [OFFER])) as server:
        run.write_settings(port2=server.port)
        run.start(desktop=desktop)
        same(0, run.exit_code(), "exit code")
        screen = Screen(desktop)
        screen.wait_for_rows(1)
        same(str(run.installation).encode(), run.home.hand_over_file.read_bytes(), "hand-over file")
        screen.keys("Home", "Return")
        screen.wait_for_button(TEXTS["en_US"].install)
        screen.press(TEXTS["en_US"].install)
        same(TEXTS["en_US"].clean.format(run.installation), screen.box().text, "question")
        screen.box().press("OK")
        becomes([(str(run.installation / "Tavlopro.exe"),)], lambda: [start.arguments for start in run.shell.starts()],
                "starts")
    same(["Tavlopro.exe", "data"], sorted(path.name for path in run.installation.iterdir()), "installed files")


@pytest.mark.parametrize(("system", "code", "known", "texts"), [
    ("en_US", "en", True, "en_US"), ("en_GB", "en", True, "en_US"), ("de_DE", "de", True, "de_DE"),
    ("de_AT", "de", True, "de_DE"), ("fr_FR", "fr", False, "de_DE"), ("ar_EG", "ar", False, "de_DE"),
    ("ja_JP", "ja", False, "de_DE"),
])
def test_language(run: Run, desktop: Desktop, system: str, code: str, known: bool, texts: str) -> None:
    """The texts follow the system's language; a language that the updater does not know is logged and gets German. The
    window's title is the same in all."""
    with UpdateServer(listed(OFFER)) as server:
        screen = open_list(run, desktop, server, system)
        same([TEXTS[texts].download], [button.name for button in screen.window.find_all("push button")], "button")
        same(words.WINDOW_TITLE, screen.window.name, "title")
    expected = [f'language code is "{code}"']
    if not known:
        expected.append(f'ERROR: cannot load translation resource for "{code}"')
    same(expected, run.log_texts()[:2 if not known else 1], "first log lines")
    same(not known, any("cannot load translation" in text for text in run.log_texts()), "a missing catalogue is logged")


# --- what is said on the command line

@pytest.mark.parametrize("argument", ["AUTO", "Menu", "", "--help", "auto ", "menux"])
def test_unknown_argument(run: Run, desktop: Desktop, argument: str) -> None:
    """With any other argument than "auto" and "menu", capitals counting, the window shows its first page, and nothing
    is asked for."""
    with UpdateServer(listed(OFFER)) as server:
        run.write_settings(port2=server.port)
        run.start(argument, desktop=desktop, program=run.place_relocated())
        run.wait_for_log("Get:")
        screen = Screen(desktop)
        same([], screen.rows(), "rows")
        screen.keys("Tab")
        same(([], True), (server.requests, run.is_running()), "requests, and it runs")


@pytest.mark.parametrize("arguments", [["auto", "x"], ["menu", "x", "y"]], ids=" ".join)
def test_further_arguments(run: Run, desktop: Desktop, arguments: list[str]) -> None:
    """Only the first argument counts; those behind it change nothing."""
    with UpdateServer(listed(OFFER)) as server:
        server.hold(VERSIONS_PATH, 0)
        run.write_settings(port2=server.port)
        run.start(*arguments, desktop=desktop)
        wait_for(lambda: server.was_asked(VERSIONS_PATH), "the request for the versions")
        screen = Screen(desktop)
        becomes(SMALL if arguments[0] == "auto" else LARGE, lambda: size_of(screen), "size of the window")
