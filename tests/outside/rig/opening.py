"""The first steps that many tests have in common."""

from __future__ import annotations

from collections.abc import Mapping

from harness.desktop import Desktop
from harness.installation import Setting
from harness.updateserver import UpdateServer

from .run import Run
from .screen import Screen
from .texts import TEXTS

# None takes a setting away.
Settings = Mapping[str, Setting | None]


def open_list(run: Run, desktop: Desktop, server: UpdateServer, language: str = "en_US", rows: int = 1,
              settings: Settings | None = None) -> Screen:
    """Opens the updater's version list and waits for its rows."""
    screen = open_window(run, desktop, server, "menu", language, settings)
    run.wait_for_log("Checking version...")
    screen.wait_for_rows(rows)
    return screen


def open_window(run: Run, desktop: Desktop, server: UpdateServer, mode: str, language: str = "en_US",
                settings: Settings | None = None) -> Screen:
    """Starts the updater in a mode, with a server."""
    run.language = language
    run.write_settings(settings, port2=server.port)
    run.start(mode, desktop=desktop)
    return run.screen(desktop)


def download(run: Run, desktop: Desktop, server: UpdateServer, mode: str, language: str = "en_US") -> Screen:
    """Brings the updater to the download of the only version that the server has, which the server must hold."""
    screen = choose(run, desktop, server, mode, language)
    screen.wait_for_status(TEXTS[language].downloading)
    return screen


def choose(run: Run, desktop: Desktop, server: UpdateServer, mode: str, language: str = "en_US",
           settings: Settings | None = None) -> Screen:
    """Has the updater ask for the package of the only version that the server has."""
    if mode == "auto":
        screen = open_window(run, desktop, server, mode, language, settings)
    else:
        screen = open_list(run, desktop, server, language, 1, settings)
        screen.keys("Home", "Return")
    return screen


def make_ready(run: Run, desktop: Desktop, server: UpdateServer, mode: str, language: str = "en_US",
               settings: Settings | None = None) -> Screen:
    """Brings the updater to where it offers to install the only version that the server has."""
    screen = choose(run, desktop, server, mode, language, settings)
    screen.wait_for_button(TEXTS[language].install)
    return screen
