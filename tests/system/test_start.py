"""From the start to the first page: the running application, the settings, the log, the arguments, the language; and
the end, whenever the window is closed."""

from __future__ import annotations

import os
import shutil
import signal
from pathlib import Path

import pytest

from kit import processes
from kit.fault import Fault
from kit.native import NativeUpdater, NativeWindow
from kit.offer import CHOSEN, VERSIONS_PATH, application, description, package
from kit.server import Answer, UpdateServer
from kit.texts import PRECHECK, PRECHECK_TITLE, START_ERROR, UPDATE_HOST
from kit.updater import OWN_FILES, Updater
from kit.waiting import becomes, wait_for
from kit.window import Window
from kit.windows import WindowsUpdater

DEFAULT_ADDRESS = f"https://{UPDATE_HOST}:443{VERSIONS_PATH}"


# --- beside the running application

class Application:
    """The running application, as far as the updater can see: a process of its name, started with the updater."""

    def __init__(self, updater: Updater, name: str = "Tavlopc.exe") -> None:
        self._updater, self._name = updater, name
        if isinstance(updater, WindowsUpdater):
            updater.installation.mkdir(parents=True, exist_ok=True)
            program = Path(shutil.copy2(updater.build.fakes / "Tavlopc.exe", updater.installation / name))
            self._process = updater.wine.start(program)
            wait_for(lambda: updater.desktop.focus("Tavlopc"), "the application")
            updater.start()
        else:
            program = updater.folder / name
            shutil.copy2("/bin/sleep", program)
            updater.start(through=("/bin/sh", "-c", '"$0" 120 & exec "$@"', str(program)))

    def close(self) -> None:
        if isinstance(self._updater, WindowsUpdater):
            self._updater.desktop.focus("Tavlopc")
            self._updater.desktop.keys("Return")
            self._process.wait(30)
        else:
            os.kill(wait_for(lambda: self._pids(), f"the process {self._name}")[0], signal.SIGTERM)
            wait_for(lambda: not self._pids(), f"the end of {self._name}")

    def _pids(self) -> list[int]:
        return [pid for pid in self._updater.processes() if processes.name(pid) == self._name]


def looks(updater: Updater) -> int:
    return updater.log_texts().count("checking ...")


@pytest.mark.windows("the process list, and the box over it, are the system's")
@pytest.mark.parametrize("language", ["en", "de"])
def test_held_by_the_application(updater: Updater, window: Window, server: UpdateServer, language: str) -> None:
    """While the application runs, a box asks to close it, in German in every language, again and again; nothing is
    copied or asked for before it is closed."""
    server.offer(CHOSEN)
    updater.appear(language)
    retry = updater.texts.button("Retry")
    application = Application(updater)
    assert window.box().says() == (PRECHECK_TITLE, PRECHECK, {retry})
    # One look every 100 ms for a second at most, and none while the box waits.
    assert looks(updater) <= 12
    for _ in range(2):
        before = looks(updater)
        window.box().press(retry)
        wait_for(lambda: looks(updater) > before, "another look")
        window.box()
    assert not updater.copy.exists() and not server.requests
    application.close()
    window.box().press(retry)
    becomes(1, lambda: len(updater.relocated("menu")), "updaters")
    window.wait_for_rows(1)


def test_application_closed_in_the_first_second(updater: Updater, window: Window, server: UpdateServer) -> None:
    """An application that is closed within the first second holds the updater without a box."""
    server.offer(CHOSEN)
    application = Application(updater)
    updater.wait_for_log("checking ...")
    application.close()
    window.wait_for_rows(1)
    assert looks(updater) > 1 and not window.boxes()


@pytest.mark.parametrize("name", ["TAVLOPC.EXE", "Tavlopro.exe", "Tavlopc.exe2", "Tavlopc"])
def test_other_programs_do_not_hold(updater: Updater, window: Window, server: UpdateServer, name: str) -> None:
    """Only a process of exactly the application's old name holds the updater."""
    server.offer(CHOSEN)
    application = Application(updater, name)
    window.wait_for_rows(1)
    assert looks(updater) == 2 and application._pids()


# --- more than one updater

@pytest.mark.windows("a running copy's files cannot be replaced there")
def test_two_updaters_at_once(updater: Updater, window: Window, server: UpdateServer) -> None:
    """A second updater, started while the first one shows its list, works too: both write to the log, and both end."""
    server.offer(CHOSEN)
    for number in (1, 2):
        updater.start()
        assert updater.exit_code() == 0
        becomes(number, lambda: len(updater.relocated("menu")), "copies that run")
        becomes(number, lambda: sum(text.startswith("Checking version...") for text in updater.log_texts()), "lists")
    if isinstance(updater, WindowsUpdater):
        libraries = [path for path in updater.build.updater_files if path.endswith(".dll") and "/" not in path]
        assert sum(text.startswith("Copy failed") for text in updater.log_texts()) == len(libraries)
    for left in (1, 0):
        window.close()
        becomes(left, lambda: len(updater.relocated("menu")), "copies that run")


def test_log_is_appended(updater: Updater, server: UpdateServer) -> None:
    """The log of a second run follows that of the first; nothing of the first is lost."""
    server.offer(CHOSEN)
    logs = []
    for _ in range(2):
        updater.start("menu")
        before = len(logs[0]) if logs else 0
        wait_for(lambda: any(text.startswith("Checking") for text in updater.log_texts()[before:]), "the list")
        updater.kill()
        logs.append(updater.log())
    assert logs[1] == [*logs[0], *logs[0]]


# --- closed in each phase

def checking(updater: Updater, server: UpdateServer) -> None:
    server.answers[VERSIONS_PATH] = Answer(description(CHOSEN), hold=0)
    updater.start("auto")
    wait_for(lambda: server.asked_for(VERSIONS_PATH), "the request for the versions")


def listing(updater: Updater, server: UpdateServer) -> None:
    updater.start("menu")
    updater.window.wait_for_rows(1)


def downloading(updater: Updater, server: UpdateServer) -> None:
    body = package(application(updater.program))
    server.answers[CHOSEN.package_path] = Answer(body, hold=len(body) // 2)
    updater.download("menu")
    becomes(len(body) // 2, lambda: updater.window.bar().value, "the bar")


def aborted(updater: Updater, server: UpdateServer) -> None:
    downloading(updater, server)
    updater.window.press(updater.texts("Cancel"))
    updater.window.wait_for_button(updater.texts("Close"))


def unpacked(updater: Updater, server: UpdateServer) -> None:
    updater.make_ready("menu")


def not_unpacked(updater: Updater, server: UpdateServer) -> None:
    server.answers[CHOSEN.package_path] = b"no package"
    updater.download("menu")
    updater.wait_for_log("Error unzipping")


def refused(updater: Updater, server: UpdateServer) -> None:
    unpacked(updater, server)
    updater.window.press(updater.texts("Install Update"))
    updater.window.box().press("OK")


def failed(updater: Updater, server: UpdateServer) -> None:
    server.answers[VERSIONS_PATH] = Answer(status=404)
    updater.start("menu")
    updater.window.box()
    updater.window.keys("Escape")
    updater.exit_code()


PHASES = {phase.__name__: phase for phase in (checking, listing, downloading, aborted, unpacked, not_unpacked, refused,
                                              failed)}


@pytest.mark.parametrize("phase", PHASES)
def test_closed(updater: Updater, window: Window, server: UpdateServer, phase: str) -> None:
    """Whenever its window is closed, the updater ends with 0, and leaves no process, and no package but one that it
    could not unpack."""
    server.offer(CHOSEN, package=package(application(updater.program)))
    PHASES[phase](updater, server)
    updater.ends()
    assert {path.name for path in updater.data.iterdir()} - set(OWN_FILES) == {
        "not_unpacked": {CHOSEN.package_name}, "unpacked": {"out"}, "refused": {"out"}}.get(phase, set())


def test_closed_while_copying(updater: Updater, window: Window, server: UpdateServer) -> None:
    """A window that is closed while the new files are copied does not interrupt the copy."""
    server.offer(CHOSEN, package=package(application(updater.program)))
    updater.install({"Tavlopro.exe": updater.program})
    updater.make_ready("auto", variables=updater.copying(pause=2))
    updater.install_update()
    wait_for(lambda: processes.find("xcopy.exe"), "the copy")
    window.close()
    assert updater.exit_code() == 0
    becomes([(updater.called(updater.installation / "Tavlopro.exe"),)], updater.starts, "starts")
    assert (updater.installation / "version.txt").exists()


# --- settings

@pytest.mark.parametrize("content", [None, b"", bytes(range(256)) * 16, b"version_main\x00=\xff\n[[[", "folder"])
def test_settings_without_values(updater: NativeUpdater, content: object) -> None:
    """Without usable settings the updater asks the update host over HTTPS, without a proxy."""
    if content == "folder":
        updater.settings.mkdir(parents=True)
    elif content is not None:
        updater.settings.parent.mkdir(parents=True)
        updater.settings.write_bytes(content)
    updater.start("menu", network=False)
    updater.wait_for_log("Connection failed:")
    assert updater.requested() == [DEFAULT_ADDRESS]
    assert updater.log_texts().count("no proxy is used.") == 1
    assert updater.settings.is_dir() or b"filesToKeep=logo.png" in updater.settings.read_bytes()


@pytest.mark.windows("settings are kept in the registry there")
@pytest.mark.parametrize(("settings", "address"), [
    ({"port2": "abc"}, "http://127.0.0.1:0/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": "9.5"}, "http://127.0.0.1:0/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": 9, "host2": ("127.0.0.1", "localhost")}, "http://:9/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": 9, "proto2": ""}, "://127.0.0.1:9/update/Tavlopc/VERSIONS/windows.txt"),
    ({"port2": 9, "verf": "a b"}, "http://127.0.0.1:9/update/Tavlopc/a b/windows.txt"),
    ({"port2": 9, "config/proxy/data/type": "two"}, "http://127.0.0.1:9/update/Tavlopc/VERSIONS/windows.txt"),
], ids=str)
def test_settings_of_the_wrong_type(updater: Updater, settings: dict, address: str) -> None:
    """Settings of the wrong type count as zero, as empty or as no proxy; the updater reports the failed connection."""
    updater.write_settings(settings)
    updater.start("menu")
    updater.wait_for_log("Connection failed:")
    assert updater.requested() == [address]
    assert updater.log_texts().count("no proxy is used.") == 1
    assert updater.is_running()


# --- places that cannot be written to

@pytest.mark.fault("The settings cannot be written")
def test_settings_that_cannot_be_written(updater: NativeUpdater, window: Window, server: UpdateServer,
                                         fault: Fault) -> None:
    server.offer(CHOSEN)
    before = updater.settings.read_bytes()
    updater.start("menu", read_only=[updater.settings.parent])
    window.wait_for_rows(1)
    fault.is_seen()
    assert updater.settings.read_bytes() == before


@pytest.mark.fault("The folder of the log and the package is read-only")
def test_log_folder_read_only(updater: NativeUpdater, window: Window, server: UpdateServer, fault: Fault) -> None:
    """Every message still comes on standard error."""
    server.offer(CHOSEN, package=package(application()))
    updater.place_relocated()
    updater.start("menu", read_only=[updater.data])
    window.choose(CHOSEN.number)
    fault.is_seen()
    assert not updater.log_file.exists() and "Cannot store the package in" in updater.output()


@pytest.mark.fault("The folder of the log cannot be made")
def test_log_folder_that_cannot_be_made(updater: NativeUpdater, window: Window, server: UpdateServer,
                                        fault: Fault) -> None:
    server.offer(CHOSEN)
    updater.data.parent.rmdir()
    updater.data.parent.write_text("a file in the place of the folder")
    updater.start("menu", program=updater.place_installed())
    window.wait_for_rows(1)
    fault.is_seen()
    assert updater.output().splitlines()[:3] == [
        f'Creating path: "{updater.data}"', f'ERROR: Could not create path "{updater.data}"',
        f'Debug-logging to: "{updater.log_file}"']


@pytest.mark.fault("A folder is in the place of the log")
def test_log_that_is_a_folder(updater: NativeUpdater, window: Window, server: UpdateServer, fault: Fault) -> None:
    server.offer(CHOSEN)
    updater.log_file.mkdir(parents=True)
    updater.start("menu")
    window.wait_for_rows(1)
    fault.is_seen()
    assert "Checking version..." in updater.output()


@pytest.mark.fault("Relocation: the temporary folder cannot be made")
def test_relocation_without_a_place(updater: NativeUpdater, window: Window, fault: Fault) -> None:
    """It ends with 0 and without a box."""
    updater.data.mkdir(parents=True)
    updater.copy.parent.write_text("a file in the place of the folder")
    updater.write_settings()
    updater.start()
    assert updater.exit_code() == 0
    fault.is_seen()
    assert updater.log_texts()[-1] == f'Error creating path: "{updater.copy.parent}"'


@pytest.mark.windows("Windows starts it in a way of its own")
def test_no_updater_to_relocate(updater: Updater, window: Window) -> None:
    """Where the copy of itself cannot be started, a box says so, with the address to download the application from."""
    program = updater.place_installed()
    updater.write_settings()
    updater.start(program=program.rename(program.with_name("Renamed.exe")))
    assert window.box().says() == (updater.texts("Error starting Updater"), START_ERROR, {"OK"})
    updater.ends("OK")
    assert updater.log_texts()[-2:] == ["2", "ERROR_FILE_NOT_FOUND Freshen.exe"]


# --- languages and arguments

@pytest.mark.windows("the language is the system's")
@pytest.mark.parametrize(("language", "is_known"), [("en", True), ("de", True), ("de_AT", True), ("fr_FR", False)])
def test_language(updater: Updater, window: Window, server: UpdateServer, language: str, is_known: bool) -> None:
    """The texts follow the system's language; one that the updater does not know is logged and gets German."""
    server.offer(CHOSEN)
    updater.appear(language)
    updater.start("menu")
    window.wait_for_rows(1)
    assert window.button().text == ("Download" if language == "en" else "Herunterladen")
    missing = [] if is_known else [f'ERROR: cannot load translation resource for "{language[:2]}"']
    assert updater.log_texts()[:1 + len(missing)] == [f'language code is "{language[:2]}"', *missing]


@pytest.mark.parametrize("argument", ["AUTO", "", "--help", "menux"])
def test_unknown_argument(updater: NativeUpdater, window: NativeWindow, server: UpdateServer, argument: str) -> None:
    """With any other argument than "auto" and "menu" the window shows its first page, and nothing is asked for."""
    server.offer(CHOSEN)
    updater.start(argument)
    updater.wait_for_log("Get:")
    # It takes keys, so whatever it had to ask for at its start would have been asked for.
    window.keys("Tab")
    assert window.rows() == [] and server.requests == [] and updater.is_running()


@pytest.mark.parametrize(("arguments", "size"), [(["auto", "x"], (460, 140)), (["menu", "x", "y"], (448, 380))])
def test_further_arguments(updater: Updater, window: Window, server: UpdateServer, arguments: list[str],
                           size: tuple[int, int]) -> None:
    """Only the first argument counts."""
    server.answers[VERSIONS_PATH] = Answer(description(CHOSEN), hold=0)
    updater.start(*arguments)
    wait_for(lambda: server.asked_for(VERSIONS_PATH), "the request for the versions")
    becomes(size, window.extents, "size of the window")


# --- the start of the new application

@pytest.mark.parametrize(("name", "more", "is_found"), [
    pytest.param("SystemRoot", {}, True, id="mixed case"),
    pytest.param("windir", {}, False, marks=pytest.mark.fault("No variable names the system's folder (SYSTEMROOT)")),
    pytest.param("SYSTEMROOT", {"COMMENT": "the SystemRoot is elsewhere"}, False,
                 marks=pytest.mark.fault("Two variables mention SYSTEMROOT")),
])
def test_shell_is_found_by_its_variable(request: pytest.FixtureRequest, updater: NativeUpdater, window: Window,
                                        server: UpdateServer, name: str, more: dict[str, str], is_found: bool) -> None:
    """The shell that starts the application is found by the one variable that names the system's folder."""
    server.offer(CHOSEN, package=package(application()))
    updater.install({"Tavlopro.exe": updater.program})
    variables = {name: str(updater.system), **more}
    updater.make_ready("auto", through=("env", "--unset=SYSTEMROOT", *(f"{key}={variables[key]}" for key in variables)))
    updater.install_update()
    assert updater.exit_code() == 0
    program = updater.installation / "Tavlopro.exe"
    becomes([(str(program),)] if is_found else [], updater.starts, "starts")
    shell = updater.system / "explorer.exe" if is_found else ""
    assert updater.log_texts()[-2:] == [f'starting "\\"{shell}\\" \\"{program}\\""',
                                        f"success: {str(is_found).lower()}"]
    if not is_found:
        request.getfixturevalue("fault").is_seen()
