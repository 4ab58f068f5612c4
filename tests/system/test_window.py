"""The window as its user has it in hand: keyboard, mouse, screen reader, and what the display does to its size."""

from __future__ import annotations

import pytest

from kit.offer import BETA, CHOSEN, INSTALLED, VERSIONS_PATH, application, package
from kit.server import Answer, UpdateServer
from kit.texts import LANGUAGES
from kit.updater import Updater
from kit.waiting import becomes
from kit.window import Window

MEBIBYTE = 1 << 20


@pytest.mark.parametrize("language", LANGUAGES)
def test_tab_order(updater: Updater, window: Window, server: UpdateServer, language: str) -> None:
    """The Tab key goes through the list page as the eye does, and round; everything that it stops at has a name."""
    server.offer(CHOSEN)
    updater.appear(language)
    updater.start("menu")
    window.wait_for_rows(1)
    order = [updater.texts(source) for source in (
        "Versions", "Show Beta Versions", "<html><head/><body><p><span", "Download")]
    assert [control.label for control in window.controls()] == order
    for expected in (*order[1:], *order[:2]):
        window.keys("Tab")
        becomes(expected, lambda: focus(window), "after Tab")
    window.keys("shift+Tab")
    becomes(order[0], lambda: focus(window), "after Shift+Tab")


def focus(window: Window) -> str | None:
    """The label of the widget that the keyboard is on."""
    return next((control.label for control in window.controls() if control.has_focus), None)


def test_everything_by_keyboard(updater: Updater, window: Window, server: UpdateServer) -> None:
    """A whole update takes the keyboard alone. What the server says of a version may have any letters."""
    beta = BETA._replace(info="إصلاح: 日本語 🎲, a < b & c, naïve, " + "word " * 100 + "ends")
    server.offer(INSTALLED, CHOSEN, beta, package=package(application()))
    updater.install({"Tavlopro.exe": updater.program})
    updater.start()
    window.wait_for_rows(2)
    extents = window.extents()
    window.keys("Tab", "space")
    window.wait_for_rows(3)
    window.keys("shift+Tab", "Home")
    becomes(beta.info, window.info, "info")
    assert window.extents() == extents
    window.keys("Tab", "Tab", "Tab", "space")
    window.wait_for_button(updater.texts("Install Update"))
    window.keys("Tab", "space")
    assert window.box().text == updater.texts("We need to clean", updater.installation)
    window.keys("Return")
    becomes(1, lambda: len(updater.starts()), "starts of the application")
    assert server.targets == [VERSIONS_PATH, BETA.package_path]


@pytest.mark.parametrize("mode", ["auto", "menu"])
def test_progress_page(updater: Updater, window: Window, server: UpdateServer, mode: str) -> None:
    """The progress page is 460 x 140; bar and button have names, and keys press the button. When the download is
    cancelled its connection ends, and nothing of it is kept."""
    server.offer(CHOSEN)
    server.answers[CHOSEN.package_path] = Answer(bytes(MEBIBYTE), hold=MEBIBYTE // 2)
    updater.download(mode)
    becomes((460, 140), window.extents, "size of the window")
    assert [control.label for control in window.controls()] == [updater.texts("Cancel")]
    assert window.widget("progressBar").label == updater.texts("Downloading Tavlopro", CHOSEN.kind, CHOSEN.number)
    window.keys("Tab", "space")
    window.wait_for_button(updater.texts("Close"))
    becomes([CHOSEN.package_path], lambda: server.left_by_client, "connections that the updater has ended")
    window.keys("space")
    assert updater.exit_code() == 0
    assert updater.leftovers() == {}
