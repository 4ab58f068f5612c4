"""Every page and box on Windows, in both languages, at several densities: no text is cut, and a picture of each lies
in the build folder."""

from __future__ import annotations

import subprocess
from collections.abc import Callable
from typing import NamedTuple

import pytest

from conftest import BUILD
from kit.offer import CHOSEN, VERSIONS, VERSIONS_PATH, application, package
from kit.server import Answer, UpdateServer
from kit.texts import COPY_ERROR, PRECHECK_TITLE, READ_ERROR, START_ERROR, TITLE
from kit.waiting import becomes, wait_for
from kit.windows import WindowsUpdater
from test_start import Application

pytestmark = pytest.mark.windows_only("Windows draws its widgets in a style of its own, at any density")


class Look(NamedTuple):
    language: str
    dots_per_inch: int


# Each language at one of the densities that are no whole number of pixels.
LOOKS = (Look("en", 96), Look("de", 96), Look("de", 120), Look("en", 144), Look("en", 192), Look("de", 192))


@pytest.fixture
def show(updater: WindowsUpdater, request: pytest.FixtureRequest) -> Callable[..., None]:
    """Takes a picture of the windows: show(name, title of the window)."""
    look = request.getfixturevalue("look")
    updater.appear(*look)

    def take(name: str, title: str = TITLE) -> None:
        widgets = wait_for(lambda: updater.window.report(title).widgets, f"the widgets of {title!r}")
        picture = BUILD / "system" / "pictures" / f"{name}-{look.language}-{look.dots_per_inch}.png"
        picture.parent.mkdir(parents=True, exist_ok=True)
        updater.desktop.screenshot(picture)
        # The windows, with a narrow rim of the empty screen.
        subprocess.run(["mogrify", "-fuzz", "2%", "-trim", "+repage", "-border", "12", picture], check=True)
        # The label of the progress page is one line high; its tool tip has all of it.
        assert [widget.text for widget in widgets if widget.is_cut and widget.name != "label"] == []
        assert updater.window.report(title).scale == look.dots_per_inch / 96

    return take


@pytest.mark.parametrize("look", LOOKS, ids=lambda look: f"{look.language}-{look.dots_per_inch}")
def test_pages(updater: WindowsUpdater, server: UpdateServer, show: Callable[..., None], look: Look) -> None:
    """What the user sees from the start to the new application."""
    window, texts = updater.window, updater.texts
    server.offer(*VERSIONS, package=package(application(updater.program)))
    updater.install({"Tavlopro.exe": updater.program})
    application_itself = Application(updater)
    window.box()
    show("precheck", PRECHECK_TITLE)
    application_itself.close()
    window.box().press(texts.button("Retry"))
    window.wait_for_rows(2)
    window.keys("Tab", "Tab", "Tab", "space")
    assert window.box().says() == ("Information", texts("Please choose a version"), {"OK"})
    show("no-selection", "Information")
    window.box().press("OK")
    window.keys("shift+Tab", "shift+Tab", "space")
    window.wait_for_rows(3)
    window.keys("shift+Tab", "Home", "Down")
    becomes(CHOSEN.info, window.info, "info")
    show("list")
    window.keys("Return")
    window.wait_for_button(texts("Install Update"))
    show("ready")
    window.press(texts("Install Update"))
    title = texts("Tavlopro Update")
    assert window.box().says() == (title, texts("We need to clean", updater.called(updater.installation)),
                                   {"OK", texts.button("No")})
    show("cleaning-question", title)
    window.box().press("OK")
    becomes(1, lambda: len(updater.starts()), "starts of the application")


# --- what an update can end with, beside the new application

def start(updater: WindowsUpdater) -> None:
    updater.start("auto")


def press_install(updater: WindowsUpdater) -> None:
    updater.make_ready("auto")
    updater.window.press(updater.texts("Install Update"))


def copy(updater: WindowsUpdater) -> None:
    updater.install({"Tavlopro.exe": updater.program})
    updater.make_ready("auto", variables=updater.copying(exit_code=4))
    updater.install_update()


def relocate_under_another_name(updater: WindowsUpdater) -> None:
    program = updater.place_installed()
    updater.start(program=program.rename(program.with_name("Renamed.exe")))


class End(NamedTuple):
    """How the updater comes there, the title of the box, if there is one, and the text of it or else of the page; and
    what the server answers instead. A text with values is one of the catalogues."""

    come: Callable[[WindowsUpdater], None]
    title: str
    text: str | tuple[str, ...]
    answers: dict[str, bytes | Answer] = {}


ENDS = {
    "connection-failed": End(start, "Connection Failed", ("Connection to server", "Connection closed"),
                             {VERSIONS_PATH: Answer(headers={"Content-Length": "9"})}),
    "update-failed": End(start, "Update Failed", READ_ERROR.format("Unknown error"), {VERSIONS_PATH: b""}),
    "error-unzipping": End(start, "", ("Error unzipping", "unzip(): zip.open(): -1000"),
                           {CHOSEN.package_path: b"no package"}),
    "download": End(start, "", ("%1 of %2 MB downloaded", "2.0", "4.0"),
                    {CHOSEN.package_path: Answer(bytes(4 << 20), hold=2 << 20)}),
    "wrong-destination": End(press_install, "Tavlopro Update", ("The destination path",)),
    "error-copying": End(copy, "", COPY_ERROR.format(4)),
    "start-error": End(relocate_under_another_name, "Error starting Updater", START_ERROR),
}


@pytest.mark.parametrize("name", ENDS)
@pytest.mark.parametrize("look", [Look("en", 96), Look("de", 192)], ids=lambda look: look.language)
def test_ends(updater: WindowsUpdater, server: UpdateServer, show: Callable[..., None], look: Look, name: str) -> None:
    end, window = ENDS[name], updater.window
    server.offer(CHOSEN, package=package(application(updater.program)))
    server.answers.update(end.answers)
    end.come(updater)
    text = end.text if isinstance(end.text, str) else updater.texts(*end.text)
    title = updater.texts(end.title) if end.title else TITLE
    if end.title:
        assert window.box().says() == (title, text, {"OK"})
    else:
        wait_for(lambda: text in (window.status(), window.size()), f"the text {text!r}")
    show(name, title)
