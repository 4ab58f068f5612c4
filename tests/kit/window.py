"""The updater's window as a user sees it: what it says, what can be pressed, and its boxes. A plug-in in the updater,
fakes/windowreader.cpp, reports several times a second what its windows show; keys and clicks go to the display."""

from __future__ import annotations

import json
import time
from pathlib import Path
from types import SimpleNamespace
from typing import NamedTuple

from .desktop import Desktop
from .texts import TITLE, plain
from .waiting import NotYet, becomes, wait_for

# The name of the plug-in, and of the folder that Qt looks for it in.
PLUGIN, PLUGINS = "windowreader", "generic"
# A window or a widget, as the plug-in reports it.
Report = SimpleNamespace


class Button(NamedTuple):
    text: str
    is_enabled: bool


class Box(NamedTuple):
    """A message box, with its text on one line."""

    window: Window
    title: str
    text: str
    buttons: set[str]

    def says(self) -> tuple[str, str, set[str]]:
        return self.title, self.text, self.buttons

    def press(self, button: str) -> None:
        desktop = self.window.desktop
        shown = desktop.windows(self.title)
        self.window.press(button, self.title)
        # What comes next may keep the updater from answering, or be another box of this title.
        wait_for(lambda: desktop.windows(self.title) != shown, f"the end of the box {self.title!r}")


class Window:
    """What can be seen of the updaters that report to this folder. Looking raises NotYet where the updater is busy or
    has no such widget."""

    def __init__(self, desktop: Desktop, reports: Path) -> None:
        self.desktop = desktop
        self._reports = reports
        reports.mkdir()

    def is_open(self) -> bool:
        return TITLE in self.desktop.titles()

    def report(self, title: str = TITLE) -> Report:
        """The window with this title, and all its visible widgets."""
        for window in self._windows():
            if window.title == title:
                return window
        raise NotYet(f"no window {title!r}")

    def widget(self, name: str) -> Report:
        for widget in self.report().widgets:
            if widget.name == name:
                return widget
        raise NotYet(f"no widget {name!r}")

    def controls(self) -> list[Report]:
        """What can be used with the keyboard, from top to bottom."""
        return sorted((widget for widget in self.report().widgets if widget.takes_keys),
                      key=lambda widget: widget.rectangle[1])

    def extents(self) -> tuple[int, ...]:
        return tuple(self.report().rectangle[2:])

    # --- boxes

    def boxes(self) -> list[Box]:
        if not self._titles_of_boxes():
            return []
        # A window is still there for a moment when its program has ended.
        return [Box(self, window.title, plain("".join(_texts(window, "QLabel"))), set(_texts(window, "QPushButton")))
                for window in self._windows(3) if window.title not in ("", TITLE)]

    def box(self, seconds: float = 20.0) -> Box:
        """Waits for a message box with its text and buttons."""
        return wait_for(lambda: next((box for box in self.boxes() if box.text and box.buttons), None), "a message box",
                        seconds)

    # --- the progress page

    def shows_progress(self) -> bool:
        return any(widget.name == "progressBar" for widget in self.report().widgets)

    def status(self) -> str:
        return plain(self.widget("label").text)

    def size(self) -> str:
        return self.widget("sizeLabel").text

    def bar(self) -> Report:
        """Where it stands: value and maximum. It is busy, without saying how much there is, with a maximum of 0."""
        return self.widget("progressBar")

    # --- the list page

    def rows(self) -> list[list[str]]:
        """The rows of the version list, their visible columns."""
        return self.widget("versionsTreeWidget").rows

    def versions(self) -> list[str]:
        return [version for version, *_ in self.rows()]

    def wait_for_rows(self, count: int) -> None:
        becomes(count, lambda: len(self.rows()), "number of rows in the version list")

    def info(self) -> str:
        return self.widget("versionInfo").text

    def choose(self, version: str) -> None:
        """Picks the version from the list and starts its download, by keyboard."""
        wait_for(lambda: version in self.versions(), f"the version {version} in the list")
        self.keys("Home")
        becomes(0, lambda: self.widget("versionsTreeWidget").current, "the row picked")
        self.keys(*["Down"] * self.versions().index(version), "Return")

    # --- buttons and keys

    def button(self) -> Button:
        """The one button of either page."""
        button, = (widget for widget in self.report().widgets if widget.type == "QPushButton")
        return Button(button.text, button.is_enabled)

    def wait_for_button(self, text: str, seconds: float = 20.0) -> None:
        becomes(Button(text, True), self.button, "the button", seconds)

    def press(self, text: str, title: str = TITLE) -> None:
        """Clicks on the button where it has come to rest."""
        places: list[list[int]] = []

        def rests() -> bool:
            places.extend(widget.rectangle for widget in self.report(title).widgets if widget.text == text)
            return len(places) > 1 and places[-1] == places[-2]

        wait_for(rests, f"the button {text!r} of {title!r}")
        self.desktop.click(*places[-1])

    def keys(self, *names: str) -> None:
        """Presses keys, by the names of X."""
        self.desktop.focus((*self._titles_of_boxes(), TITLE)[0])
        self.desktop.keys(*names)

    def close(self) -> None:
        """Closes it in the way its title bar does: its program is asked."""
        self.desktop.focus(TITLE)
        self.desktop.keys("alt+F4")

    # --- the reports

    def _titles_of_boxes(self) -> list[str]:
        return [title for title in self.desktop.titles() if title not in ("", TITLE)]

    def _windows(self, seconds: float = 10.0) -> list[Report]:
        """The windows of the programs that report after this call. Raises NotYet where none does: each is busy, or has
        ended."""
        call = time.time_ns()
        try:
            new = wait_for(lambda: [path for path in self._reports.glob("*.json") if path.stat().st_mtime_ns > call],
                           "a report", seconds, interval=0.01)
        except TimeoutError as error:
            raise NotYet("a program that is busy, or has ended") from error
        return [window for path in new
                for window in json.loads(path.read_bytes(), object_hook=lambda fields: Report(**fields))]


def _texts(window: Report, kind: str) -> list[str]:
    return [widget.text for widget in window.widgets if widget.type == kind]
