"""The windows of a display, by their titles: what can be told of programs that no accessibility bus knows."""

from __future__ import annotations

import os
import subprocess
from collections.abc import Mapping
from dataclasses import dataclass

from .desktop import Desktop
from .waiting import NotYet, wait_for

_RULER = "-" * 27 + "\n"


@dataclass(frozen=True)
class Box:
    """What a message box says, its text as the program wrote it."""

    title: str
    text: str
    buttons: tuple[str, ...]


class XWindows:
    """The windows on a desktop."""

    def __init__(self, desktop: Desktop) -> None:
        self._desktop = desktop
        self._variables: Mapping[str, str] = {"PATH": os.defpath, "LC_ALL": "C.UTF-8", **desktop.environment}

    def titles(self) -> list[str]:
        """The titles of the windows on the screen."""
        return sorted(self._title(window) for window in self._visible())

    def is_shown(self, title: str) -> bool:
        return title in self.titles()

    def wait_for(self, title: str, seconds: float = 30.0) -> None:
        """Waits for the window of this title and lets it have the keyboard."""
        wait_for(lambda: self._give_keyboard(title), f"the window {title!r}; there are {self.titles()}", seconds)

    def wait_for_end(self, title: str, seconds: float = 30.0) -> None:
        wait_for(lambda: not self.is_shown(title), f"the end of the window {title!r}", seconds)

    def keys(self, title: str, *names: str) -> None:
        """Presses keys in the window of this title."""
        self.wait_for(title)
        self._desktop.keys(*names)

    def answer(self, title: str, *names: str) -> None:
        """Presses keys in the window of this title, and waits until it is gone. Another of that title may follow."""
        self.wait_for(title)
        window = self._window(title)
        self._desktop.keys(*names)
        wait_for(lambda: window not in self._visible(), f"the end of one window {title!r}")

    def read_box(self, title: str) -> Box:
        """What the message box of this title says. On Windows, Ctrl+C in a message box copies all of it."""
        self._run("xclip", "-selection", "clipboard", "-in", text="nothing")
        self.keys(title, "ctrl+c")

        def copied() -> str | None:
            text = self._run("xclip", "-selection", "clipboard", "-out", "-target", "UTF8_STRING").replace("\r\n", "\n")
            return text if text.startswith(_RULER) else None

        parts = wait_for(copied, f"the text of the box {title!r}").split(_RULER)
        return Box(parts[1].removesuffix("\n"), parts[2].removesuffix("\n"), tuple(parts[3].split()))

    def _window(self, title: str) -> str | None:
        return next((window for window in self._visible() if self._title(window) == title), None)

    def _give_keyboard(self, title: str) -> bool:
        window = self._window(title)
        if window is None:
            return False
        if self._run("xdotool", "getwindowfocus").strip() != window:
            self._run("xdotool", "windowactivate", "--sync", window)
        return self._run("xdotool", "getwindowfocus").strip() == window

    def _visible(self) -> list[str]:
        try:
            return self._run("xdotool", "search", "--onlyvisible", "--name", ".").split()
        except NotYet:
            return []

    def _title(self, window: str) -> str:
        try:
            return self._run("xdotool", "getwindowname", window).removesuffix("\n")
        except NotYet:
            return ""

    def _run(self, *command: str, text: str | None = None) -> str:
        # A program that offers a selection stays behind to serve it, and holds what it was started with.
        output = subprocess.DEVNULL if text is not None else subprocess.PIPE
        try:
            result = subprocess.run(command, env=self._variables, input=(text or "").encode(), stdout=output,
                                    stderr=subprocess.DEVNULL, timeout=10)
        except subprocess.TimeoutExpired as error:
            raise NotYet(f"{command[0]} does not answer") from error
        if result.returncode != 0:
            raise NotYet(f"{' '.join(command)} failed")
        return (result.stdout or b"").decode(errors="replace")
