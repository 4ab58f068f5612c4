"""The updates that end early, and what every page and box looks like: in both languages, at several densities. Each
with its box or label, the last lines of the debug log, and what survives."""

from __future__ import annotations

import os
import re
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

import pytest

import expectedlog
from driver import LONGEST_PATH
from harness import trees
from harness.packages import write_package
from harness.wine import WINDOWS_7, WINDOWS_10
from harness.xwindows import Box
from rig.certificates import Authority
from rig.servers import Nginx
from stage import (FILES_TO_KEEP, FOR_WINDOWS_10, NEW, OLD, TITLE, Look, Stage, application, old_installation, plain,
                   serving)
from texts import COPY_ERROR, NO_SELECTION_TITLE, PRECHECK, PRECHECK_TITLE, READ_ERROR, START_ERROR

_DOWNLOAD_PAGE = os.environ["FRESHEN_DOWNLOAD_PAGE"]


def last_lines(stage: Stage, number: int) -> list[str]:
    return expectedlog.comparable(stage.log())[-number:]


def start_relocated(stage: Stage, mode: str, **options):
    stage.relocate()
    return stage.start(mode, **options)


def choose(stage: Stage) -> None:
    """Takes the topmost version."""
    stage.wait_for_log("Checking version... Run:")
    stage.windows.keys(TITLE, "Home", "Return")


def start_installation(stage: Stage) -> None:
    """Presses the button that is offered once the package is there."""
    stage.wait_for_text("multiButton", stage.texts("Install Update and Relaunch Tavlopro..."))
    stage.windows.keys(TITLE, "Tab", "space")


def agree_to_clean(stage: Stage) -> None:
    stage.windows.keys(stage.texts("Tavlopro Update"), "Return")


def close_window(stage: Stage) -> None:
    stage.windows.keys(TITLE, "alt+F4")
    stage.windows.wait_for_end(TITLE)


def check_installation(stage: Stage, expected: trees.Tree) -> None:
    assert trees.differences(plain(expected), stage.installed()) == []


def cleaned(stage: Stage) -> trees.Tree:
    return trees.after_cleaning(old_installation(stage.build), {*FILES_TO_KEEP, "logo.png"})


def check_connection_failed(stage: Stage, process, reason: str) -> None:
    title = stage.texts("Connection Failed")
    text = stage.texts.starting_with("Connection to server", reason)
    assert stage.windows.read_box(title) == Box(title, text, ("OK",))
    stage.show("connection-failed", title)
    stage.windows.keys(title, "Return")
    assert process.wait(30) == 0
    assert last_lines(stage, 1) == [f'[D][:0]  Connection failed: "{reason}"']


def test_untrusted_certificate(stage: Stage, look: Look, tmp_path: Path) -> None:
    """A certificate of an authority that nobody knows."""
    with serving(stage, Authority(tmp_path / "authority", "Unknown authority"), tmp_path / "nginx") as server:
        check_connection_failed(stage, start_relocated(stage, "menu"), "SSL handshake failed")
        assert server.served() == []
    check_installation(stage, old_installation(stage.build))


def test_server_down(stage: Stage, look: Look, server: Nginx) -> None:
    """Nobody listens."""
    server.__exit__()
    check_connection_failed(stage, start_relocated(stage, "auto"), "Connection refused")
    check_installation(stage, old_installation(stage.build))


def test_error_page_instead_of_a_package(empty_stage: Stage, look: Look, server: Nginx) -> None:
    """The version is listed, but its package is not there."""
    stage = empty_stage
    stage.install(old_installation(stage.build))
    stage.offer({NEW: None})
    process = start_relocated(stage, "menu")
    choose(stage)
    error = "unzip(): zip.open(): -1000"
    stage.wait_for_text("label", stage.texts("Error unzipping update!\n\n%1", error))
    stage.show("error-unzipping")
    assert not stage.widgets()["multiButton"]["enabled"]
    package = stage.data / "Tavlopc26.06.7205STABLE.zip"
    assert b"404 Not Found" in package.read_bytes()
    assert not (stage.data / "out").exists()
    close_window(stage)
    assert process.wait(30) == 0
    assert last_lines(stage, 2) == [f"[W][:0]  {error}", f'[D][:0]  Error unzipping "{error}"']
    check_installation(stage, old_installation(stage.build))


def test_damaged_entry(empty_stage: Stage, look: Look, server: Nginx) -> None:
    """The bytes of an entry are not those that its checksum was made of."""
    stage = empty_stage
    stage.install(old_installation(stage.build))
    file = stage.web / NEW.package_path.removeprefix("/")
    file.parent.mkdir(parents=True)
    write_package(file, trees.tree({"first.txt": trees.file("sound"), "second.txt": trees.file("damaged" * 9)}))
    content = bytearray(file.read_bytes())
    # The checksum in the local header and the one in the directory, which is the one that counts.
    for mark, distance in ((b"PK\x03\x04", 14), (b"PK\x01\x02", 16)):
        content[content.rindex(mark) + distance] ^= 0xFF
    stage.offer({NEW: bytes(content)})
    process = start_relocated(stage, "menu")
    choose(stage)
    error = "testRead(): file.close(): -105"
    stage.wait_for_text("label", stage.texts("Error unzipping update!\n\n%1", error))
    stage.show("damaged-entry")
    assert (stage.data / "out" / "Tavlopro" / "first.txt").read_bytes() == b"sound"
    assert (stage.data / "Tavlopc26.06.7205STABLE.zip").exists()
    close_window(stage)
    assert process.wait(30) == 0
    assert last_lines(stage, 2) == [f"[W][:0]  {error}", f'[D][:0]  Error unzipping "{error}"']
    check_installation(stage, old_installation(stage.build))


def test_wrong_destination(stage: Stage, look: Look, server: Nginx) -> None:
    """The hand-over file names a folder that holds no application. The updater has no further use then."""
    other = stage.installation.parent / "Other program"
    trees.write(other, trees.tree({"other.exe": trees.file("not ours")}))
    stage.relocate(other)
    process = stage.start("menu")
    choose(stage)
    start_installation(stage)
    title = stage.texts("Tavlopro Update")
    assert stage.windows.read_box(title) == Box(
        title, stage.texts("The destination path seems wrong. Aborting!"), ("OK",))
    stage.show("wrong-destination", title)
    stage.windows.keys(title, "Return")
    stage.windows.wait_for_end(title)
    assert not stage.widgets()["multiButton"]["enabled"]
    close_window(stage)
    assert process.wait(30) == 0
    folder = stage.wine.path(other)
    native = expectedlog.escaped(str(folder))
    assert last_lines(stage, 3) == [
        f'[D][:0]  destDir "{folder.as_posix()}"', f'[D][:0]  "{folder.as_posix()}"',
        f'[D][:0]  Testpath: "{native}\\\\Tavlopc.exe" "{native}\\\\Tavlopro.exe"']
    assert trees.read(other).keys() == {"other.exe"}
    trees.remove(other)
    check_installation(stage, old_installation(stage.build))
    assert (stage.data / "out" / "Tavlopro").exists()


def test_copy_fails(stage: Stage, look: Look, server: Nginx) -> None:
    """The copying program ends with an exit code that is not 0."""
    process = start_relocated(stage, "menu", variables={"XCOPY_EXIT_CODE": "4"})
    choose(stage)
    start_installation(stage)
    agree_to_clean(stage)
    stage.wait_for_text("label", COPY_ERROR.format(4))
    stage.show("error-copying")
    assert not stage.widgets()["multiButton"]["enabled"]
    close_window(stage)
    assert process.wait(30) == 0
    assert last_lines(stage, 2) == ['[D][:0]  UnknownError "Unknown error" 4 NormalExit', "[D][:0]  Error copying"]
    check_installation(stage, cleaned(stage))
    assert (stage.data / "out" / "Tavlopro" / "Tavlopro.exe").exists()
    assert not stage.starts.exists()


def test_package_without_an_executable(empty_stage: Stage, look: Look, server: Nginx) -> None:
    """What was copied is no application."""
    stage = empty_stage
    stage.install(old_installation(stage.build))
    package = application(stage.build, NEW, executable=None)
    stage.offer({NEW: package})
    process = start_relocated(stage, "menu")
    choose(stage)
    start_installation(stage)
    agree_to_clean(stage)
    title = stage.texts("Tavlopro Update")
    stage.wait_for_log("Testpath:")
    assert stage.windows.read_box(title) == Box(
        title, stage.texts.starting_with("Couldn't copy updated files", "STD ERROR:\n"), ("OK",))
    stage.show("copy-without-executable", title)
    stage.windows.keys(title, "Return")
    stage.windows.wait_for_end(title)
    close_window(stage)
    assert process.wait(30) == 0
    native = expectedlog.escaped(str(stage.wine.path(stage.installation)))
    assert last_lines(stage, 1) == [f'[D][:0]  Testpath: "{native}\\\\Tavlopc.exe" "{native}\\\\Tavlopro.exe"']
    check_installation(stage, trees.after_copying(cleaned(stage), package))
    assert (stage.data / "out" / "Tavlopro" / "version.txt").exists()


@pytest.mark.parametrize("length", [LONGEST_PATH, LONGEST_PATH + 1])
def test_long_path(empty_stage: Stage, server: Nginx, length: int) -> None:
    """The package has a file with the longest path that the copying program takes, or with one that is longer: then
    nothing is asked, cleaned or copied."""
    stage = empty_stage
    stage.install(old_installation(stage.build))
    folder = stage.data / "out" / "Tavlopro"
    # As it is named to the program that copies.
    called = stage.wine.path(stage.data) / "freshen" / ".." / "out" / "Tavlopro"
    name = "x" * (length - len(str(called / "_")) + 1)
    stage.offer({NEW: {**application(stage.build, NEW), name: trees.file("long")}})
    process = start_relocated(stage, "auto")
    start_installation(stage)
    texts = stage.texts
    title = texts("Tavlopro Update")
    box = stage.windows.read_box(title)
    if length == LONGEST_PATH:
        assert box.buttons == texts.buttons("OK", "&No")
        stage.windows.keys(title, "Return")
        assert process.wait(60) == 0
        assert (stage.installation / name).exists()
        return
    reason = f"Path too long: {called / name}"
    assert box == Box(title, texts.starting_with("Couldn't copy updated files", reason), ("OK",))
    stage.windows.keys(title, "Return")
    stage.windows.wait_for_end(title)
    assert not stage.widgets()["multiButton"]["enabled"]
    close_window(stage)
    assert process.wait(30) == 0
    assert last_lines(stage, 1) == [f'[W][:0]  Copy not begun: "{expectedlog.escaped(reason)}"']
    check_installation(stage, old_installation(stage.build))
    assert (folder / name).exists()


def test_no_updater_to_relocate(stage: Stage, look: Look, server: Nginx) -> None:
    """The installation has no Freshen.exe: the copy cannot be started, and the user is shown the way to the web."""
    renamed = stage.installation / "Renamed.exe"
    (stage.installation / "Freshen.exe").rename(renamed)
    process = stage.start(program=renamed)
    title = stage.texts("Error starting Updater")
    assert stage.windows.read_box(title) == Box(title, START_ERROR.format(page=_DOWNLOAD_PAGE), ("OK",))
    stage.show("start-error", title)
    stage.windows.keys(title, "Return")
    assert process.wait(30) == 0
    assert last_lines(stage, 2) == ["[D][:0]  2", '[D][:0]  ERROR_FILE_NOT_FOUND Freshen.exe']
    assert not stage.copy.exists()
    assert server.served() == []


@contextmanager
def windows_7(stage: Stage) -> Iterator[None]:
    stage.wine.set_windows(WINDOWS_7)
    try:
        yield
    finally:
        stage.wine.set_windows(WINDOWS_10)


def test_refused_system_version(empty_stage: Stage, look: Look, server: Nginx) -> None:
    """A version for Windows 10 is not for Windows 6.1; on Windows 10 the same file offers it."""
    stage = empty_stage
    stage.install(old_installation(stage.build))
    stage.offer({FOR_WINDOWS_10: application(stage.build, FOR_WINDOWS_10)})
    with windows_7(stage):
        process = start_relocated(stage, "auto")
        title = stage.texts("Update Failed")
        assert stage.windows.read_box(title) == Box(title, READ_ERROR.format("Unknown error"), ("OK",))
        stage.show("update-failed", title)
        stage.windows.keys(title, "Return")
        assert process.wait(30) == 0
    assert last_lines(stage, 5) == [
        "[D][:0]  t0 7086 7310",
        '[D][:0]  WARNING: current os "Windows" not eligible for 7310 - os needs update to "Windows" "10.0"',
        "[D][:0]  Choosing () false 7086 7086",
        "[D][:0]  No Version found",
        f'[D][:0]  "{FOR_WINDOWS_10.line}"']

    process = stage.start("auto")
    stage.wait_for_log(f'Get: "https://localhost:{server.port}{FOR_WINDOWS_10.package_path}"')
    stage.wait_for_text("multiButton", stage.texts("Install Update and Relaunch Tavlopro..."))
    stage.show("automatic")
    assert stage.reports.window(TITLE)["rectangle"][2:] == [460, 140]
    close_window(stage)
    assert process.wait(30) == 0
    check_installation(stage, old_installation(stage.build))


def test_aborted_download(stage: Stage, look: Look, authority: Authority, tmp_path: Path) -> None:
    """The button ends the download and then the updater; nothing is stored."""
    with serving(stage, authority, tmp_path / "nginx", "limit_rate 1000000;"):
        process = start_relocated(stage, "menu")
        choose(stage)
        downloading = stage.texts("Downloading Tavlopro Software Update %1 %2 ...", NEW.kind, NEW.number)
        stage.wait_for_text("label", downloading)
        size = stage.texts("%1 of %2 MB downloaded", r"\d+\.\d", r"\d+\.\d")
        stage.reports.wait_for(TITLE, lambda widgets: re.fullmatch(size, widgets["sizeLabel"]["text"])
                               and widgets["progressBar"]["value"] > widgets["progressBar"]["maximum"] // 4,
                               "a quarter of the package")
        stage.show("download")
        stage.windows.keys(TITLE, "Tab", "space")
        stage.wait_for_text("multiButton", stage.texts("Close"))
        # Until the transfer is gone its progress is told, so that may have the last word.
        told = stage.widgets()["sizeLabel"]["text"]
        assert told == stage.texts("Download aborted!") or re.fullmatch(size, told)
        stage.show("download-aborted")
        stage.windows.keys(TITLE, "space")
        assert process.wait(30) == 0
    assert last_lines(stage, 1) == ["[D][:0]  download aborted"]
    assert not list(stage.data.glob("*.zip"))


def test_pages_of_a_whole_run(stage: Stage, look: Look, server: Nginx) -> None:
    """What the user sees from the start to the new application."""
    texts = stage.texts
    running = stage.wine.start(stage.installation / "Tavlopc.exe")
    stage.windows.wait_for("Tavlopc")
    process = start_relocated(stage, "menu")
    assert stage.windows.read_box(PRECHECK_TITLE) == Box(PRECHECK_TITLE, PRECHECK, texts.buttons("Retry"))
    stage.show("precheck", PRECHECK_TITLE)
    stage.windows.keys("Tavlopc", "Return")
    # It runs on for a moment when its window is gone.
    assert running.wait(30) == 0
    stage.windows.keys(PRECHECK_TITLE, "Return")
    stage.wait_for_log("Checking version... Run:")

    stage.windows.keys(TITLE, "Tab", "Tab", "Tab", "space")
    question = texts("Please choose a version to download")
    assert stage.windows.read_box(NO_SELECTION_TITLE) == Box(NO_SELECTION_TITLE, question, ("OK",))
    stage.show("no-selection", NO_SELECTION_TITLE)
    stage.windows.keys(NO_SELECTION_TITLE, "Return")
    stage.windows.wait_for_end(NO_SELECTION_TITLE)

    assert stage.widgets()["versionsTreeWidget"]["rows"] == [
        [NEW.number, "Update 1", NEW.date], [OLD.number, OLD.kind, OLD.date]]
    assert stage.widgets()["versionsTreeWidget"]["columns"] == ["Version", "Typ", "Datum"]
    assert stage.widgets()["versionsGroupBox"]["text"] == texts("Versions")
    assert stage.widgets()["showBetaCheckBox"]["text"] == texts("Show Beta Versions")
    assert stage.widgets()["button"]["text"] == texts("Download")
    stage.windows.keys(TITLE, "shift+Tab", "shift+Tab", "space")
    stage.reports.wait_for(TITLE, lambda widgets: len(widgets["versionsTreeWidget"]["rows"]) == 3, "the beta version")
    stage.windows.keys(TITLE, "shift+Tab", "Home", "Down")
    stage.wait_for_text("versionInfo", "Fix of 26.06 for Spielst\u00e4tten.")
    stage.show("list")
    assert stage.reports.window(TITLE)["scale"] == look.dots_per_inch / 96

    stage.windows.keys(TITLE, "Return")
    stage.wait_for_text("label", texts("Update ready to install!"))
    assert stage.widgets()["multiButton"]["text"] == texts("Install Update and Relaunch Tavlopro...")
    stage.show("ready")
    start_installation(stage)
    title = texts("Tavlopro Update")
    stage.wait_for_text("label", texts("Installing update..."))
    assert stage.widgets()["multiButton"]["text"] == texts("Please wait!")
    stage.show("cleaning-question", title)
    agree_to_clean(stage)
    assert process.wait(60) == 0
    stage.windows.wait_for(f"Tavlopro {NEW.number}")
