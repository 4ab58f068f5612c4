"""The whole road, from the start to the new application, with the files of the package."""

from __future__ import annotations

import pytest

import expectedlog
from harness import processes, trees
from harness.packages import VERSIONS_PATH
from harness.xwindows import Box
from rig.rawarchive import UTF8, Entry, archive
from rig.servers import Nginx
from stage import (FILES_TO_KEEP, NEW, TITLE, VERSIONS, Look, Stage, application, old_installation, plain,
                   values_for_log)
from texts import PRECHECK, PRECHECK_TITLE


def choose_and_download(stage: Stage) -> None:
    """Shows the beta versions and hides them again, takes the topmost version, and waits for its package; all by
    keyboard."""
    stage.wait_for_log("Checking version... Run:")
    stage.windows.keys(TITLE, "Tab", "space", "space", "shift+Tab", "Home", "Return")
    stage.wait_for_log("update unzipped to")


def install(stage: Stage, answer: str) -> None:
    """Starts the installation and answers the question whether to clean."""
    stage.windows.keys(TITLE, "Tab", "space")
    texts = stage.texts
    title = texts("Tavlopro Update")
    assert stage.windows.read_box(title) == Box(
        title, texts.starting_with("We need to clean", stage.wine.path(stage.installation).as_posix()),
        texts.buttons("OK", "&No"))
    stage.windows.keys(title, answer)


def check_outcome(stage: Stage, server: Nginx, copy: int, log: str, cleaned: bool) -> None:
    """The updater has ended well, everything is where it should be, and the shell has started the new application."""
    assert processes.wait_for_exit(copy, 60) == 0
    old, kept = old_installation(stage.build), {*FILES_TO_KEEP, "logo.png"}
    left = trees.after_cleaning(old, kept) if cleaned else old
    expected = plain(trees.after_copying(left, application(stage.build, NEW)))
    assert trees.differences(expected, stage.installed()) == []
    assert stage.files_to_keep() == [*FILES_TO_KEEP, "logo.png"]

    stage.windows.wait_for("Tavlopro 26.06.7205")
    program = (stage.wine.path(stage.installation) / "Tavlopro.exe").as_posix()
    starts = [line.split("\t") for line in stage.starts.read_text(encoding="utf-8").splitlines()]
    assert [(start[0], start[-1]) for start in starts] == [("26.06.7205", program)]

    # The batch file is in UTF-8, with the line end of Windows.
    source = stage.wine.path(stage.data) / "freshen" / ".." / "out" / "Tavlopro"
    batch = f'xcopy.exe /E /Y /G /K "{source}" "{stage.wine.path(stage.installation).as_posix()}"\r\n'
    assert (stage.copy.parent / "copyBatch.bat").read_bytes() == batch.replace("%", "%%").encode()
    # The copying program names each file.
    assert r"\\documents\\Änderungen.txt\r\n" in stage.log()
    assert not (stage.data / "out").exists()
    assert not list(stage.data.glob("*.zip"))

    assert [(request.request, request.status, request.agent) for request in server.served()] == [
        (f"GET {path} HTTP/1.1", 200, "Updater/2605windows") for path in (VERSIONS_PATH, NEW.package_path)]
    assert expectedlog.differences(log, values_for_log(stage, server, cleaned, expected), stage.log()) == []


def test_from_the_installation_to_the_new_application(stage: Stage, server: Nginx) -> None:
    """No arguments; held by the running application; relocation; choice; cleaning; copy; relaunch."""
    running = stage.wine.start(stage.installation / "Tavlopc.exe")
    stage.windows.wait_for("Tavlopc")
    first = stage.start(reader=False)
    assert stage.windows.read_box(PRECHECK_TITLE) == Box(PRECHECK_TITLE, PRECHECK, stage.texts.buttons("Retry"))
    stage.windows.answer(PRECHECK_TITLE, "Return")
    # Still held: the box comes again, and takes the keyboard.
    stage.windows.answer(PRECHECK_TITLE, "Return")
    stage.windows.wait_for(PRECHECK_TITLE)
    assert not stage.copy.exists()
    stage.windows.keys("Tavlopc", "Return")
    # It runs on for a moment when its window is gone.
    assert running.wait(30) == 0
    stage.windows.keys(PRECHECK_TITLE, "Return")

    copy = stage.wait_for_updater("menu")
    assert first.wait(30) == 0
    assert stage.hand_over.read_bytes() == stage.wine.path(stage.installation).as_posix().encode()
    relocated = {path: entry for path, entry in stage.build.updater_files().items() if not path.startswith("licenses")}
    assert trees.differences(plain(relocated), plain(trees.read(stage.copy.parent))) == []

    choose_and_download(stage)
    install(stage, "Return")
    check_outcome(stage, server, copy, "menu.log", cleaned=True)


def test_declining_to_clean_keeps_the_old_files(stage: Stage, server: Nginx) -> None:
    """The answer No skips the cleaning and nothing else."""
    stage.start(reader=False)
    copy = stage.wait_for_updater("menu")
    choose_and_download(stage)
    install(stage, "alt+n")
    check_outcome(stage, server, copy, "menu.log", cleaned=False)


@pytest.mark.parametrize("cleaned", [True, False], ids=["cleaned", "not cleaned"])
def test_automatic_mode(stage: Stage, server: Nginx, cleaned: bool) -> None:
    """Started with "auto" where a relocation has left it: the newest fix is taken without a question."""
    stage.relocate()
    stage.start("auto", reader=False)
    copy = stage.wait_for_updater("auto")
    stage.wait_for_log("update unzipped to")
    install(stage, "Return" if cleaned else "alt+n")
    check_outcome(stage, server, copy, "auto.log", cleaned)


@pytest.mark.parametrize("user", ["Gr\u00fc\u00dfe \u00df", "\u6e2c\u8a66"])
@pytest.mark.parametrize("mode", ["menu", "auto"])
def test_any_letter_in_the_folders(empty_stage: Stage, server: Nginx, mode: str, user: str) -> None:
    """Folders with letters of any script, also such as the system's code page has not, and with signs that mean
    something to a command interpreter."""
    stage = empty_stage
    stage.appear(Look("de_DE", 96))
    stage.move(user, "\u0395\u03bb\u03bb\u03b7\u03bd\u03b9\u03ba\u03ac & 100% (neu), a=b^c!")
    stage.install(old_installation(stage.build))
    stage.offer({version: application(stage.build, version) for version in VERSIONS})
    if mode == "menu":
        stage.start(reader=False)
        copy = stage.wait_for_updater("menu")
        choose_and_download(stage)
    else:
        stage.relocate()
        stage.start("auto", reader=False)
        copy = stage.wait_for_updater("auto")
        stage.wait_for_log("update unzipped to")
    install(stage, "Return")
    check_outcome(stage, server, copy, f"{mode}.log", cleaned=True)


def test_names_in_the_code_page_of_the_system(empty_stage: Stage, server: Nginx) -> None:
    """Names of a package that are not marked as UTF-8 are in the 8-bit code page that the system's language comes with,
    though the updater itself works in UTF-8."""
    stage = empty_stage
    stage.appear(Look("de_DE", 96))
    names = {"Gr\u00f6\u00dfe.txt", "Gr\u00f6\u00dfen.txt"}
    shorter, longer = sorted(names, key=len)
    stage.offer({NEW: archive([Entry(f"Tavlopro/{shorter}".encode("cp1252")),
                               Entry(f"Tavlopro/{longer}".encode(), flags=UTF8)])})
    stage.relocate()
    process = stage.start("auto", reader=False)
    stage.wait_for_log("update unzipped to")
    assert {path.name for path in (stage.data / "out" / "Tavlopro").iterdir()} == names
    stage.windows.keys(TITLE, "alt+F4")
    assert process.wait(30) == 0
