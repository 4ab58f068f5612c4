"""Reading the widgets of a Qt program on Windows, from the reports of the plug-in windowreader."""

from __future__ import annotations

import json
import shutil
import subprocess
import time
from collections.abc import Callable, Mapping
from pathlib import Path
from threading import Thread
from typing import Any

from .waiting import wait_for
from .wine import Wine

Widget = Mapping[str, Any]


class WindowReports:
    """What the programs that run with environment(), and with the plug-in placed beside them, show in their windows, a
    moment ago. folder takes their reports."""

    def __init__(self, folder: Path, plugin: Path) -> None:
        self.folder = folder
        self.plugin = plugin

    def place_plugin(self, folder: Path) -> None:
        """Puts the plug-in where programs in this folder look for one of its kind."""
        place = folder / "generic"
        place.mkdir(parents=True, exist_ok=True)
        shutil.copy2(self.plugin, place)

    def follow(self, process: subprocess.Popen, copy: Path) -> None:
        """Puts the plug-in beside copy as soon as the program, just started as process, has made this copy of itself.
        The copy is started much later."""
        started = time.time_ns()

        def place() -> None:
            while process.poll() is None:
                try:
                    # An older one may be there until the folder is emptied.
                    if copy.stat().st_ctime_ns > started:
                        return self.place_plugin(copy.parent)
                except FileNotFoundError:
                    pass
                time.sleep(0.005)

        Thread(target=place, daemon=True).start()

    def environment(self, wine: Wine) -> dict[str, str]:
        """The variables that load the plug-in into a program."""
        # Wine passes variables of Qt on only if they are written so.
        return {"WINEQT_QPA_GENERIC_PLUGINS": "windowreader", "WINDOW_REPORTS": str(wine.path(self.folder))}

    def refresh(self, seconds: float = 10.0) -> None:
        """Waits until there is a report that was made after this call."""
        call = time.time_ns()
        wait_for(lambda: any(_time(report) > call for report in self.folder.glob("*.json")), "a new report", seconds,
                 interval=0.01)

    def windows(self) -> list[dict[str, Any]]:
        """The windows of the programs, those of the last one that was started first."""
        reports = sorted(self.folder.glob("*.json"), key=_time, reverse=True)
        return [window for report in reports for window in json.loads(report.read_bytes())]

    def window(self, title: str) -> dict[str, Any] | None:
        return next((window for window in self.windows() if window["title"] == title), None)

    def widgets(self, title: str) -> dict[str, Widget]:
        """The visible widgets of the window of this title by their names; none while there is no such window. Of those
        without a name, as the buttons of a box, it has one only."""
        return {widget["name"]: widget for widget in self.all_widgets(title)}

    def all_widgets(self, title: str) -> list[Widget]:
        """All visible widgets of the window of this title; none while there is no such window."""
        window = self.window(title)
        return window["widgets"] if window else []

    def wait_for(self, title: str, condition: Callable[[dict[str, Widget]], object], what: str,
                 seconds: float = 60.0) -> None:
        """Waits until the widgets of the window of this title are so."""
        wait_for(lambda: (widgets := self.widgets(title)) and condition(widgets), what, seconds)

    def wait_for_text(self, title: str, widget: str, text: str, seconds: float = 60.0) -> None:
        """Waits until this widget says exactly this."""
        self.wait_for(title, lambda widgets: widgets.get(widget, {}).get("text") == text, f"{text!r} on {widget}",
                      seconds)


def _time(report: Path) -> int:
    try:
        return report.stat().st_mtime_ns
    except FileNotFoundError:
        # Just being replaced.
        return 0
