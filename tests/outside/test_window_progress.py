"""The page that shows the progress: download, abort, extraction, installation, and the boxes on the way."""

from __future__ import annotations

import itertools
import random
import re
from collections.abc import Mapping
from pathlib import Path

import pytest

from harness import processes
from harness.desktop import Desktop
from harness.packages import VERSIONS_PATH
from harness.trees import Entry, file
from harness.updateserver import UpdateServer
from harness.waiting import wait_for
from rig import texts as words
from rig.catalogue import listed, offered, version
from rig.evidence import becomes, same
from rig.opening import choose, download, make_ready, open_window
from rig.run import Run
from rig.screen import Button, Screen
from rig.texts import LANGUAGES, TEXTS

OFFER = version("26.06.7205")
MODES = ("menu", "auto")
SIZE = (460, 140)
MEBIBYTE = 1024 * 1024

every_language = pytest.mark.parametrize("language", LANGUAGES)
every_mode = pytest.mark.parametrize("mode", MODES)


def package_of(folder: Path, entries: Mapping[str, Entry] | None = None) -> UpdateServer:
    return UpdateServer(offered(folder / "server", [OFFER], entries))


def serving(body: bytes) -> UpdateServer:
    return UpdateServer({**listed(OFFER), OFFER.package_path: body})


def size_of(screen: Screen) -> tuple[int, int]:
    extents = screen.window.extents
    return extents.width, extents.height


@every_language
def test_checking(run: Run, desktop: Desktop, language: str) -> None:
    """While the automatic mode asks for the versions it says so, in the same words in every language, with an empty
    bar and a button to cancel."""
    with UpdateServer(listed(OFFER)) as server:
        server.hold(VERSIONS_PATH, 0)
        screen = open_window(run, desktop, server, "auto", language)
        becomes(words.CHECKING, screen.status, "status")
        same(Button(TEXTS[language].cancel, True), screen.button(), "button")
        same(("", 0), (screen.size(), screen.progress()[0]), "size and progress")


@every_language
def test_no_installed_version(run: Run, desktop: Desktop, language: str) -> None:
    """An application whose version is not known is named missing; the check goes on all the same."""
    with UpdateServer(listed(OFFER)) as server:
        server.hold(VERSIONS_PATH, 0)
        screen = open_window(run, desktop, server, "auto", language, {"version_main": None})
        becomes(TEXTS[language].no_version, screen.status, "status")
        wait_for(lambda: server.was_asked(VERSIONS_PATH), "the request for the versions")


@pytest.mark.parametrize(("mode", "language"), itertools.product(MODES, LANGUAGES))
def test_download(run: Run, desktop: Desktop, mode: str, language: str) -> None:
    """The download names kind and version, shows how much has come of how much, in megabytes and on the bar, and can
    be cancelled."""
    texts = TEXTS[language]
    with serving(bytes(4 * MEBIBYTE)) as server:
        server.hold(OFFER.package_path, 0.375)
        screen = download(run, desktop, server, mode, language)
        becomes(texts.downloading.format("Stable", "26.06.7205"), screen.status, "status")
        becomes(texts.downloaded_of.format("1.5", "4.0"), screen.size, "size")
        same((3 * MEBIBYTE // 2, 4 * MEBIBYTE), screen.progress(), "progress")
        same(Button(texts.cancel, True), screen.button(), "button")
        becomes(SIZE, lambda: size_of(screen), "size of the window")


@every_mode
def test_size_is_fixed(run: Run, desktop: Desktop, mode: str) -> None:
    """The window of the progress page is 460 x 140 and nobody can change that."""
    with serving(bytes(MEBIBYTE)) as server:
        server.hold(OFFER.package_path, 0.5)
        screen = download(run, desktop, server, mode)
        becomes(SIZE, lambda: size_of(screen), "size of the window")
        desktop.resize(screen.window.name, 700, 500)
        screen.settle()
        same(SIZE, size_of(screen), "size of the window")
        limits = desktop.property_of(screen.window.name, "WM_NORMAL_HINTS")
        same(["460 by 140"] * 2, re.findall(r"(?:minimum|maximum) size: (.*)", limits), "limits of the window's size")


@every_language
def test_abort(run: Run, desktop: Desktop, language: str) -> None:
    """Cancelling the download says so, empties the bar, keeps nothing, and leaves a button that closes the updater."""
    texts = TEXTS[language]
    with serving(bytes(4 * MEBIBYTE)) as server:
        server.hold(OFFER.package_path, 0.5)
        screen = download(run, desktop, server, "auto", language)
        becomes(texts.downloaded_of.format("2.0", "4.0"), screen.size, "size")
        screen.press(texts.cancel)
        screen.wait_for_button(texts.close)
        becomes((texts.aborted, 0), lambda: (screen.size(), screen.progress()[0]), "size and progress")
        same("download aborted", run.log_texts()[-1], "last log line")
        screen.press(texts.close)
        same(0, run.exit_code(), "exit code")
    same([], run.stored_packages(), "stored packages")


@every_language
def test_ready(run: Run, desktop: Desktop, folder: Path, language: str) -> None:
    """An unpacked package is announced, and the button offers to install it."""
    texts = TEXTS[language]
    with package_of(folder) as server:
        screen = make_ready(run, desktop, server, "auto", language)
        same((texts.ready, ""), (screen.status(), screen.size()), "status and size")
        # Four entries: two folders and two files.
        same((4, 4), screen.progress(), "progress")


@every_language
def test_extraction_is_shown(run: Run, desktop: Desktop, folder: Path, language: str) -> None:
    """While a package is unpacked the window says so, counts its entries, and stays alive."""
    data = Entry(random.Random(1).randbytes(1000))
    with package_of(folder, {f"data/{number}": data for number in range(4000)}) as server:
        server.hold(OFFER.package_path, 0.5)
        screen = download(run, desktop, server, "auto", language)
        label, bar = screen.window.find_all("label")[0], screen.window.wait_for("progress bar")

        def is_under_way() -> bool:
            value = bar.value
            return value.maximum == 4002 and 0 < value.current < 4002 and label.name == TEXTS[language].extracting

        server.release()
        wait_for(is_under_way, "the extraction in the middle", interval=0)
        same("", screen.size(), "size")
        screen.wait_for_button(TEXTS[language].install)


@every_language
@every_mode
def test_package_that_is_none(run: Run, desktop: Desktop, language: str, mode: str) -> None:
    """A package that is no archive is reported with the archive reader's words; the button is dead, the window stays,
    and the label's tool tip has the whole text."""
    texts = TEXTS[language]
    with serving(b"<html>Please log in</html>") as server:
        screen = choose(run, desktop, server, mode, language)
        run.wait_for_log("Error unzipping")
        expected = texts.extraction_failed.format("unzip(): zip.open(): ")
        becomes(expected, lambda: screen.status()[:len(expected)], "status")
        same(screen.status(), screen.status_tool_tip(), "tool tip")
        same(Button(texts.cancel, False), screen.button(), "button")
        same([], screen.boxes(), "boxes")


@every_language
def test_cleaning_question(run: Run, desktop: Desktop, folder: Path, language: str) -> None:
    """Before the old version is removed the user is asked, with the folder's name; meanwhile the window says that it
    installs, with a dead button."""
    texts = TEXTS[language]
    run.place_installed()
    (run.installation / "Tavlopro.exe").touch()
    with package_of(folder) as server:
        screen = make_ready(run, desktop, server, "auto", language)
        screen.press(texts.install)
        box = screen.box()
        same((texts.box_title, texts.clean.format(run.installation)), (box.title, box.text), "question")
        same({"OK", texts.no}, set(box.buttons), "answers")
        same((texts.installing, Button(texts.wait, False)), (screen.status(), screen.button()), "window")


@every_language
def test_wrong_destination(run: Run, desktop: Desktop, folder: Path, language: str) -> None:
    """A destination without the application is refused in a box, and nothing in it is touched."""
    texts = TEXTS[language]
    run.installation.mkdir(parents=True)
    (run.installation / "letter.txt").write_text("mine")
    with package_of(folder) as server:
        screen = make_ready(run, desktop, server, "auto", language)
        screen.press(texts.install)
        box = screen.box()
        same((texts.box_title, texts.wrong_destination, ["OK"]), (box.title, box.text, box.buttons), "box")
        box.press("OK")
        becomes([], screen.boxes, "boxes")
        same((texts.installing, Button(texts.wait, False)), (screen.status(), screen.button()), "window")
    same(["letter.txt"], [path.name for path in run.installation.iterdir()], "files of the destination")


@every_language
def test_automatic_mode_without_hand_over(run: Run, desktop: Desktop, folder: Path, language: str) -> None:
    """The automatic mode without a hand-over file does not know where to install: the destination is refused."""
    texts = TEXTS[language]
    run.place_relocated()
    run.home.hand_over_file.unlink()
    with package_of(folder) as server:
        screen = make_ready(run, desktop, server, "auto", language)
        screen.press(texts.install)
        same(texts.wrong_destination, screen.box().text, "box")


@every_language
def test_copy_that_fails(run: Run, desktop: Desktop, folder: Path, language: str) -> None:
    """A copy that fails is reported with its exit code, in the same words in every language; the button stays dead and
    the unpacked package is kept."""
    texts = TEXTS[language]
    run.place_installed()
    (run.installation / "Tavlopro.exe").touch()
    with package_of(folder) as server:
        screen = make_ready(run, desktop, server, "auto", language)
        # A file where the package has a folder: the copy can only fail.
        (run.installation / ".data").touch()
        only = run.out / "Tavlopro"
        (only / "data").rename(only / ".data")
        screen.press(texts.install)
        screen.box().press("OK")
        run.wait_for_log("Error copying")
        becomes(words.COPY_ERROR.format(5), screen.status, "status")
        same(Button(texts.wait, False), screen.button(), "button")
        same([], screen.boxes(), "boxes")
    same(True, only.is_dir(), "the unpacked package is there")


@every_language
def test_package_without_the_application(run: Run, desktop: Desktop, folder: Path, language: str) -> None:
    """A package without the application's executable is noticed after the copy, in a box with what the copy wrote as
    errors; the unpacked package is kept."""
    texts = TEXTS[language]
    run.place_installed()
    (run.installation / "Tavlopro.exe").touch()
    with package_of(folder, {"manual.txt": file("no program")}) as server:
        screen = make_ready(run, desktop, server, "auto", language)
        screen.press(texts.install)
        screen.box().press("OK")
        wait_for(lambda: any(box.text != texts.clean.format(run.installation) for box in screen.boxes()), "another box")
        box = screen.box()
        same((texts.box_title, texts.not_copied.format("STD ERROR:\n"), ["OK"]), (box.title, box.text, box.buttons),
             "box")
        box.press("OK")
        becomes([], screen.boxes, "boxes")
        same((texts.installing, Button(texts.wait, False)), (screen.status(), screen.button()), "window")
    same(True, run.out.is_dir(), "the unpacked package is there")
    same([], run.shell.starts(), "starts of the application")


@every_language
@every_mode
def test_server_that_is_not_there(run: Run, desktop: Desktop, language: str, mode: str) -> None:
    """A server that cannot be reached is reported in a box with the reason and with advice; after it the updater
    ends."""
    texts = TEXTS[language]
    with UpdateServer({}) as server:
        pass
    screen = open_window(run, desktop, server, mode, language)
    box = screen.box()
    reason = run.log_texts()[-1].removeprefix('Connection failed: "').removesuffix('"')
    same((texts.connection_title, texts.connection.format(reason), ["OK"]), (box.title, box.text, box.buttons), "box")
    box.press("OK")
    same(0, run.exit_code(), "exit code")


@every_language
def test_no_version_for_automatic_mode(run: Run, desktop: Desktop, language: str) -> None:
    """A file without a newer version ends the automatic mode with a box that is titled in the user's language; its text
    is the same in every language."""
    with UpdateServer(listed(version("26.01.7000"))) as server:
        screen = open_window(run, desktop, server, "auto", language)
        box = screen.box()
        same((TEXTS[language].update_failed, words.READ_ERROR.format("Unknown error"), ["OK"]),
             (box.title, box.text, box.buttons), "box")
        box.press("OK")
        same(0, run.exit_code(), "exit code")


@every_language
def test_copy_of_the_updater_that_does_not_start(run: Run, desktop: Desktop, language: str) -> None:
    """Where the updater's copy of itself cannot be started, a box says so, with the address to download the
    application from, and the updater ends."""
    program = run.place_installed()
    other = program.rename(program.with_name("Renamed.exe"))
    run.language = language
    run.write_settings()
    run.start(program=other, desktop=desktop)
    box = Screen(desktop).box()
    same(["2", 'ERROR_FILE_NOT_FOUND Freshen.exe'], run.log_texts()[-2:], "end of the log")
    same((TEXTS[language].start_failed, words.START_ERROR, ["OK"]), (box.title, box.text, box.buttons), "box")
    box.press("OK")
    same(0, run.exit_code(), "exit code")


@every_mode
def test_keyboard_reaches_the_button(run: Run, desktop: Desktop, folder: Path, mode: str) -> None:
    """The button of the progress page can be reached and pressed by keyboard, and has a name; so has the bar."""
    texts = TEXTS["en_US"]
    with serving(bytes(MEBIBYTE)) as server:
        server.hold(OFFER.package_path, 0.5)
        screen = download(run, desktop, server, mode)
        becomes(SIZE, lambda: size_of(screen), "size of the window")
        same([texts.cancel], [control.name for control in screen.controls()], "controls")
        same([texts.downloading.format("Stable", OFFER.number)],
             [bar.name for bar in screen.window.find_all("progress bar")], "name of the bar")
        screen.keys("Tab", "space")
        screen.wait_for_button(texts.close)
        screen.keys("space")
        same(0, run.exit_code(), "exit code")


def test_everything_by_keyboard(run: Run, desktop: Desktop, folder: Path) -> None:
    """A whole update, from the installation to the new version, takes the keyboard alone."""
    texts = TEXTS["en_US"]
    offer = version("26.06.7205"), version("26.07.7300", "Beta", info="a beta")
    run.place_installed()
    (run.installation / "Tavlopro.exe").touch()
    with UpdateServer(offered(folder / "server", offer)) as server:
        run.write_settings(port2=server.port)
        run.start(desktop=desktop)
        screen = Screen(desktop)
        wait_for(lambda: processes.find(run.home.relocated_updater, "menu"), "the updater's copy of itself")
        same(0, run.exit_code(), "exit code")
        screen.wait_for_rows(1)
        screen.keys("Tab", "space")
        screen.wait_for_rows(2)
        screen.keys("shift+Tab", "Home")
        becomes("a beta", screen.info, "info")
        screen.keys("Tab", "Tab", "Tab", "space")
        screen.wait_for_button(texts.install)
        screen.keys("Tab", "space")
        same(texts.clean.format(run.installation), screen.box().text, "question")
        screen.keys("Return")
        becomes(1, lambda: len(run.shell.starts()), "starts of the application")
        wait_for(lambda: not screen.is_open(), "the end of the window")
    same([VERSIONS_PATH, offer[1].package_path], [request.path for request in server.requests], "requests")
    same(["Tavlopro.exe", "data"], sorted(path.name for path in run.installation.iterdir()), "files")
