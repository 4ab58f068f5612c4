"""The updater's windows as a user meets them: what they say, what can be pressed, and where the keyboard is."""

from __future__ import annotations

from dataclasses import dataclass

from harness.accessibility import Accessible, Extents
from harness.desktop import Desktop
from harness.waiting import wait_for

from .evidence import becomes
from .texts import WINDOW_TITLE

COLUMNS = 6

# What a user can do something with.
_CONTROLS = ("tree", "check box", "text", "push button")


@dataclass(frozen=True)
class Row:
    """One row of the version list, hidden columns too."""

    revision: str
    version: str
    kind: str
    reference: str
    date: str
    info: str


@dataclass(frozen=True)
class Button:
    text: str
    can_be_pressed: bool


class Box:
    """A message box."""

    def __init__(self, window: Accessible) -> None:
        self.window = window

    @property
    def title(self) -> str:
        return self.window.name

    @property
    def text(self) -> str:
        return "\n".join(label.name for label in self.window.find_all("label"))

    @property
    def buttons(self) -> list[str]:
        return [button.name for button in self.window.find_all("push button")]

    def press(self, button: str) -> None:
        self.window.wait_for("push button", button).press()

    def is_open(self) -> bool:
        return "showing" in self.window.states


class Screen:
    """The windows of one updater on a desktop. process: look only at the windows of this process."""

    def __init__(self, desktop: Desktop, process: int | None = None) -> None:
        self.desktop = desktop
        self._process = process

    def windows(self) -> list[Accessible]:
        return [window for window in self.desktop.windows.all()
                if self._process is None or window.process == self._process]

    @property
    def window(self) -> Accessible:
        return wait_for(lambda: next((window for window in self.windows() if window.name == WINDOW_TITLE), None),
                        "the updater's window")

    def is_open(self) -> bool:
        return any(window.name == WINDOW_TITLE for window in self.windows())

    def boxes(self) -> list[Box]:
        return [Box(window) for window in self.windows() if window.name != WINDOW_TITLE]

    def box(self, seconds: float = 20.0) -> Box:
        """Waits for a message box with its text and buttons."""
        def complete() -> Box | None:
            return next((box for box in self.boxes() if box.text and box.buttons), None)

        return wait_for(complete, "a message box", seconds)

    def close(self, window: Accessible | None = None) -> None:
        """Closes a window, by default the updater's own, as its title bar does."""
        title = (window or self.window).name
        self.desktop.close(title)

    # --- the page with the version list

    def rows(self) -> list[Row]:
        """The rows of the version list, from top to bottom."""
        texts = [cell.name for cell in self._cells()]
        return [Row(*texts[start:start + COLUMNS]) for start in range(0, len(texts), COLUMNS)]

    def versions(self) -> list[str]:
        return [row.version for row in self.rows()]

    def shown_columns(self) -> list[str]:
        return [header.name for header in self._tree().find_all("column header") if header.extents.width > 0]

    def wait_for_rows(self, count: int) -> None:
        becomes(count, lambda: len(self.rows()), "number of rows in the version list")

    def current_version(self) -> str | None:
        """The version text of the row that the keyboard is on."""
        return next((cell.name for number, cell in enumerate(self._cells())
                     if number % COLUMNS == 1 and "focused" in cell.states), None)

    def info(self) -> str:
        return self.window.wait_for("text").text

    def click_beta_box(self) -> None:
        """Clicks with the mouse on the check box. A click is not the same as an assistant's press: only a click fills
        the list anew."""
        before = self.is_beta_checked()
        self.settle()
        self.desktop.click(self.beta_box())
        becomes(not before, self.is_beta_checked, "check mark after a click")

    def beta_box(self) -> Accessible:
        return self.window.wait_for("check box")

    def is_beta_checked(self) -> bool:
        return "checked" in self.beta_box().states

    # --- the page with the progress

    def shows_progress(self) -> bool:
        return self.window.find("progress bar") is not None

    def status(self) -> str:
        return self._progress_labels()[0]

    def wait_for_status(self, template: str) -> None:
        """Waits for a status that begins as the template does before its first blank to fill."""
        start = template.partition("{")[0]
        becomes(start, lambda: self.status()[:len(start)], "status")

    def status_tool_tip(self) -> str:
        return self.window.find_all("label")[0].description

    def size(self) -> str:
        return (*self._progress_labels(), "")[1]

    def is_busy(self) -> bool:
        """Whether the bar shows that something is going on, without saying how much."""
        value = self._bar().value
        return value.minimum == value.maximum

    def progress(self) -> tuple[int, int]:
        """How much of how much."""
        value = self._bar().value
        return int(value.current), int(value.maximum)

    def button(self) -> Button:
        """The main button of the page that is shown."""
        button = self.window.wait_for("push button")
        return Button(button.name, "sensitive" in button.states)

    def wait_for_button(self, text: str, seconds: float = 20.0) -> None:
        wait_for(lambda: self.button() == Button(text, True), f"the button {text!r}", seconds)

    def press(self, text: str) -> None:
        self.window.wait_for("push button", text).press()

    # --- the keyboard

    def settle(self) -> None:
        """Waits until one of the updater's windows takes keys and stands still where it is."""
        places: list[Extents] = []

        def stands() -> bool:
            window = self._active()
            places.append(window.extents if window else Extents(0, 0, 0, 0))
            return window is not None and places[-2:] == [places[-1]] * 2

        wait_for(stands, "a window that takes keys")

    def keys(self, *names: str) -> None:
        """Presses keys, as soon as one of the updater's windows takes them."""
        self.settle()
        self.desktop.keys(*names)

    def focus(self) -> str:
        """The widget of the updater's window that the keyboard is on: its role and name. The version list gives its
        focus to a row, so it has it when nothing else has."""
        window = self.window
        if "active" not in window.states:
            return "another window"
        controls = self.controls()
        focused = next((widget for widget in controls if "focused" in widget.states), controls[0])
        return f"{focused.role} {focused.name!r}"

    def _active(self) -> Accessible | None:
        return next((window for window in self.windows() if "active" in window.states), None)

    def controls(self) -> list[Accessible]:
        """What can be used with the keyboard on the page that is shown, from top to bottom."""
        # The list claims to be shown on the other page too, but has no size there.
        return [widget for widget in self.window.walk() if widget.role in _CONTROLS and widget.extents.width > 0]

    def _tree(self) -> Accessible:
        return self.window.wait_for("tree")

    def _cells(self) -> list[Accessible]:
        return [widget for widget in self._tree().children() if widget.role == "tree item"]

    def _bar(self) -> Accessible:
        return self.window.wait_for("progress bar")

    def _progress_labels(self) -> list[str]:
        self._bar()
        return [label.name for label in self.window.find_all("label")]
