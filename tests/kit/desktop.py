"""A desktop of its own, which nobody sees: display, window manager, keyboard, mouse and camera."""

from __future__ import annotations

import os
import re
import subprocess
import time
from contextlib import suppress
from pathlib import Path

from .waiting import TIMEOUT_FACTOR, NotYet, wait_for


class ToolFailure(NotYet):
    """A tool that plays keyboard, mouse or camera did not do what it should."""


class Desktop:
    """A virtual display with a window manager. A context manager; one at a time in a process. folder takes what its
    programs write."""

    def __init__(self, folder: Path, size: tuple[int, int] = (1024, 768)) -> None:
        self._folder = folder / "desktop"
        self._folder.mkdir()
        self._size = "x".join(map(str, size))
        self._processes: list[subprocess.Popen] = []
        # What a program needs in order to find it.
        self.environment = {"FONTCONFIG_FILE": str(Path(__file__).with_name("conf") / "fonts.conf")}

    def __enter__(self) -> Desktop:
        readable, writable = os.pipe()
        # A display that resets when its last client leaves cannot be reached while it does so.
        self._run("Xvfb", "-displayfd", str(writable), "-screen", "0", f"{self._size}x24", "-dpi", "96",
                  "-nolisten", "tcp", "-noreset", pass_fds=[writable])
        os.close(writable)
        with open(readable, encoding="ascii") as answer:
            number = answer.readline().strip()
        assert number, f"no display: {(self._folder / 'Xvfb.log').read_text(errors='replace')}"
        self.environment["DISPLAY"] = f":{number}"
        self._run("openbox", "--sm-disable")
        wait_for(lambda: self._tool("xdotool", "get_num_desktops"), "the window manager")
        # At the first key of a display the window manager takes its shortcuts anew; one pressed meanwhile is lost.
        self.keys("Shift_L")
        return self

    def __exit__(self, *_: object) -> None:
        for process in reversed(self._processes):
            process.terminate()
            process.wait(5)

    def _run(self, program: str, *arguments: str, pass_fds: list[int] = []) -> None:
        """Starts a program that ends with the desktop."""
        with open(self._folder / f"{program}.log", "ab") as log:
            # The caller decides when the desktop ends, not the terminal.
            self._processes.append(subprocess.Popen(
                [program, *arguments], env=self._environment(), pass_fds=pass_fds, stdin=subprocess.DEVNULL,
                stdout=log, stderr=log, start_new_session=True))

    def _environment(self) -> dict[str, str]:
        return {"PATH": os.defpath, "HOME": str(self._folder), "LC_ALL": "C.UTF-8", **self.environment}

    def _tool(self, *command: str) -> bytes:
        try:
            result = subprocess.run(command, env=self._environment(), timeout=20 * TIMEOUT_FACTOR,
                                    stdin=subprocess.DEVNULL, capture_output=True)
        except subprocess.TimeoutExpired as error:
            raise ToolFailure(f"{command[0]} does not answer") from error
        if result.returncode != 0:
            raise ToolFailure(f"{' '.join(command)}: {result.stderr.decode(errors='replace').strip()}")
        return result.stdout

    # --- keyboard and mouse

    def keys(self, *names: str) -> None:
        """Presses keys, by the names of X (Tab, Down, space, ctrl+a), one after the other, where the focus is."""
        self._tool("xdotool", "key", "--clearmodifiers", "--delay", "40", *names)

    def click(self, x: int, y: int, width: int, height: int) -> None:
        """Clicks on the middle of this part of the screen."""
        self._tool("xdotool", "mousemove", str(x + width // 2), str(y + height // 2), "click", "1")

    # --- windows

    def windows(self, title: str) -> list[str]:
        """The numbers of the windows with this title."""
        return self._search(f"^{re.escape(title)}$")

    def titles(self) -> list[str]:
        """The titles of the windows on the screen."""
        titles = []
        for window in self._search("."):
            # It may just have gone.
            with suppress(ToolFailure):
                titles.append(self._tool("xdotool", "getwindowname", window).decode(errors="replace").rstrip("\n"))
        return sorted(titles)

    def focus(self, title: str) -> bool:
        """Waits for the window with this title and gives it the keyboard."""
        def has_keyboard() -> bool:
            focused = self._tool("xdotool", "getwindowfocus").decode().strip()
            windows = self.windows(title)
            if windows and focused not in windows:
                self._tool("xdotool", "windowactivate", "--sync", windows[0])
            return focused in windows

        return wait_for(has_keyboard, f"the window {title!r}; there are {self.titles()}", 30)

    def _search(self, pattern: str) -> list[str]:
        # That there is none is a failure for this tool.
        with suppress(ToolFailure):
            return self._tool("xdotool", "search", "--onlyvisible", "--name", pattern).decode().split()
        return []

    # --- the camera

    def screenshot(self, file: Path, settle: float = 2.0) -> None:
        """A PNG picture of the whole screen. Waits until it stands still, but no longer than settle seconds."""
        end = time.monotonic() + settle
        previous, picture = None, self._take()
        while picture != previous and time.monotonic() < end:
            time.sleep(0.1)
            previous, picture = picture, self._take()
        file.write_bytes(picture)

    def _take(self) -> bytes:
        # Without the time of day in the file, equal screens give equal bytes.
        return self._tool("import", "-window", "root", "-define", "png:exclude-chunks=date,time", "png:-")
