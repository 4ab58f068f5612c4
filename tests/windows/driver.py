"""The updater on the Windows, started and seen in the way of the suite from outside, so that its cases run here too."""

from __future__ import annotations

from collections.abc import Mapping, Sequence

import expectedlog
from harness import trees
from harness.desktop import Desktop
from harness.installation import Setting
from harness.trees import Tree
from harness.waiting import NotYet, wait_for
from harness.windowreports import Widget
from rig.evidence import LogLine
from rig.run import INSTALLED
from rig.screen import Button
from rig.started import StartedUpdater
from stage import TITLE, Stage, plain


class WindowsRun(StartedUpdater):
    """The relocated updater with its settings. One at a time; end() ends it."""

    def __init__(self, stage: Stage) -> None:
        super().__init__(stage.data)
        self._stage = stage
        self._has_own_settings = False

    def write_settings(self, settings: Mapping[str, Setting | None] | None = None, **more: Setting | None) -> None:
        """Writes the application's settings: INSTALLED, and these on top of it. None takes a key away."""
        self._stage.write_settings({**INSTALLED, **(settings or {}), **more})

    def write_own_settings(self, **settings: Setting) -> None:
        """Writes the settings that the updater keeps for itself, until the end of this run."""
        self._stage.write_own_settings(settings)
        self._has_own_settings = True

    def start(self, *arguments: str, desktop: Desktop | None = None, through: Sequence[str] = ()) -> None:
        """Starts the updater. Its widgets can be read if a desktop is given; the one that it is on is always the
        same."""
        self.process = self._stage.start(*arguments, reader=desktop is not None, through=through)

    def known(self, entries: Tree) -> Tree:
        return plain(entries)

    def log(self) -> list[LogLine]:
        return [line for line in super().log() if not expectedlog.is_only_under_wine(line.text)]

    def end(self) -> None:
        if self.process is not None and self.process.poll() is None:
            self.process.kill()
            self.process.wait(10)
        if self._has_own_settings:
            self._stage.write_own_settings({})


class WindowsBox:
    """A message box."""

    def __init__(self, screen: WindowsScreen, title: str, widgets: Mapping[str, Widget]) -> None:
        self.title = title
        self._screen = screen
        self._widgets = widgets

    @property
    def text(self) -> str:
        """As the program wrote it, with the marks of rich text."""
        return self._widgets.get("qt_msgbox_label", {}).get("text", "")

    @property
    def buttons(self) -> list[str]:
        return [_label(widget) for widget in self._widgets.values() if widget["class"] == "QPushButton"]

    def press(self, button: str) -> None:
        self._screen.click(self.title, lambda widget: _label(widget) == button)


class WindowsScreen:
    """The windows of the updater, as a plug-in in it reports them. What is looked at is never older than the look."""

    def __init__(self, stage: Stage) -> None:
        self.desktop = stage.desktop
        self._stage = stage

    def is_open(self) -> bool:
        return self._stage.windows.is_shown(TITLE)

    def box(self, seconds: float = 20.0) -> WindowsBox:
        """Waits for a message box with its text and buttons."""
        return wait_for(lambda: next((box for box in self._reported_boxes() if box.text and box.buttons), None),
                        "a message box", seconds)

    def boxes(self) -> list[str]:
        """The titles of the message boxes."""
        return [title for title in self._stage.windows.titles() if title not in ("", TITLE)]

    def close(self) -> None:
        self._stage.windows.keys(TITLE, "alt+F4")

    # --- the page with the version list

    def rows(self) -> list[list[str]]:
        """The texts that the rows of the version list show, from top to bottom."""
        return self._widgets().get("versionsTreeWidget", {}).get("rows", [])

    def versions(self) -> list[str]:
        return [row[0] for row in self.rows()]

    def wait_for_rows(self, count: int) -> None:
        wait_for(lambda: len(self.rows()) == count, f"{count} rows in the version list")

    def current_version(self) -> str | None:
        tree = self._widgets()["versionsTreeWidget"]
        return tree["rows"][tree["current"]][0] if tree["current"] >= 0 else None

    # --- the page with the progress

    def status(self) -> str:
        return self._widget("label")["text"]

    def size(self) -> str:
        return self._widget("sizeLabel")["text"]

    def is_busy(self) -> bool:
        bar = self._widget("progressBar")
        return bar["minimum"] == bar["maximum"]

    def progress(self) -> tuple[int, int]:
        """How much of how much."""
        bar = self._widget("progressBar")
        return bar["value"], bar["maximum"]

    def button(self) -> Button:
        """The main button of the page that is shown."""
        widget = next(widget for widget in self._widgets().values() if widget["class"] == "QPushButton")
        return Button(_label(widget), widget["enabled"])

    def press(self, text: str) -> None:
        self.click(TITLE, lambda widget: _label(widget) == text)

    # --- keyboard and mouse

    def keys(self, *names: str) -> None:
        self._stage.windows.keys(TITLE, *names)

    def click(self, title: str, choose) -> None:
        """Clicks on the chosen widget of the window of this title, where it has come to rest."""
        places: list[Sequence[int]] = []

        def stands() -> bool:
            widget = next(filter(choose, self._widgets(title).values()), None)
            places.append(widget["rectangle"] if widget else ())
            return widget is not None and places[-2:] == [places[-1]] * 2

        wait_for(stands, f"the widget to click on in {title!r}")
        left, top, width, height = places[-1]
        self.desktop.click_at(left + width // 2, top + height // 2)

    # --- reports

    def _widget(self, name: str) -> Widget:
        widget = self._widgets().get(name)
        if widget is None:
            raise NotYet(f"no widget {name}")
        return widget

    def _widgets(self, title: str = TITLE) -> dict[str, Widget]:
        self._stage.reports.refresh()
        return self._stage.reports.widgets(title)

    def _reported_boxes(self) -> list[WindowsBox]:
        self._stage.reports.refresh()
        return [WindowsBox(self, window["title"], self._stage.reports.widgets(window["title"]))
                for window in self._stage.reports.windows() if window["title"] not in ("", TITLE)]


def _label(widget: Widget) -> str:
    """The text of a button without the mark of its key."""
    return widget.get("text", "").replace("&", "")
