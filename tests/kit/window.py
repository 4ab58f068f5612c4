"""The updater's window as a user sees it, on any platform: what it says, what can be pressed, and its boxes."""

from __future__ import annotations

from typing import NamedTuple

from .desktop import Desktop
from .texts import TITLE, plain
from .waiting import NotYet, becomes, wait_for


class Row(NamedTuple):
    """One row of the version list, its visible columns."""

    version: str
    kind: str
    date: str


class Button(NamedTuple):
    text: str
    is_enabled: bool


class Bar(NamedTuple):
    """Where the progress bar stands. It is busy, without saying how much there is, with a maximum of 0."""

    value: int
    maximum: int


class Box(NamedTuple):
    """A message box, with its text on one line."""

    window: Window
    title: str
    text: str
    buttons: set[str]

    def says(self) -> tuple[str, str, set[str]]:
        return self.title, self.text, self.buttons

    def press(self, button: str) -> None:
        self.window.press(button, self.title)
        # What comes next may keep the updater from answering.
        wait_for(lambda: self.title not in self.window.desktop.titles(), f"the end of the box {self.title!r}")


class Window:
    """What can be seen of one updater. Looking raises NotYet where the updater is busy or has no such widget.

    A platform adds is_open(), boxes(), extents(), keys(), by the names of X, and press(), by a button's text and the
    title of its window; of the progress page labels(), bar() and button(); of the page with the list rows(), current(),
    the version of the row that the keyboard is on, info() and shows_betas()."""

    def __init__(self, desktop: Desktop) -> None:
        self.desktop = desktop

    def box(self, seconds: float = 20.0) -> Box:
        """Waits for a message box with its text and buttons."""
        return wait_for(lambda: next((box for box in self.boxes() if box.text and box.buttons), None), "a message box",
                        seconds)

    def shows_progress(self) -> bool:
        try:
            return bool(self.labels())
        except NotYet:
            return False

    def status(self) -> str:
        return plain(self.labels()[0])

    def size(self) -> str:
        return (*self.labels(), "")[1]

    def versions(self) -> list[str]:
        return [row.version for row in self.rows()]

    def wait_for_rows(self, count: int) -> None:
        becomes(count, lambda: len(self.rows()), "number of rows in the version list")

    def wait_for_button(self, text: str, seconds: float = 20.0) -> None:
        becomes(Button(text, True), self.button, "the button", seconds)

    def choose(self, version: str) -> None:
        """Picks the version from the list and starts its download, by keyboard."""
        wait_for(lambda: version in self.versions(), f"the version {version} in the list")
        self.keys("Home")
        wait_for(lambda: self.current() == self.versions()[0], "the first row picked")
        self.keys(*["Down"] * self.versions().index(version), "Return")

    def close(self) -> None:
        self.desktop.close(TITLE)
