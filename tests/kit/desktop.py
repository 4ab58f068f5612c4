"""A desktop of its own, which nobody sees: display, window manager, buses, keyboard, mouse and camera."""

from __future__ import annotations

import os
import re
import subprocess
import time
from contextlib import ExitStack, suppress
from pathlib import Path

from .accessibility import Accessible, Bus, windows
from .configuration import FOLDER, configured
from .waiting import TIMEOUT_FACTOR, NotYet, wait_for

_ACCESSIBILITY_LAUNCHER = "/usr/libexec/at-spi-bus-launcher"
_BACKGROUND = "#47607c"


class ToolFailure(NotYet):
    """A tool that plays keyboard, mouse or camera did not do what it should."""


class Desktop:
    """A virtual display with all that a program expects of a desktop. A context manager; one at a time in a process.

    folder takes its sockets and logs; its path must be short (sockets)."""

    def __init__(self, folder: Path, size: tuple[int, int] = (1024, 768)) -> None:
        # Private: programs refuse another one.
        self._folder = folder / "desktop"
        self._folder.mkdir(mode=0o700)
        self._size = "x".join(map(str, size))
        self._stack = ExitStack()
        # What a program needs in order to find it.
        self.environment: dict[str, str] = {}

    def __enter__(self) -> Desktop:
        try:
            self._start()
        except BaseException as error:
            self._stack.close()
            error.add_note("\n".join(f"{log.stem}: {log.read_text(errors='replace').strip()}"
                                     for log in sorted(self._folder.glob("*.log"))))
            raise
        return self

    def __exit__(self, *_: object) -> None:
        self._stack.close()

    def _start(self) -> None:
        # A display that resets when its last client leaves cannot be reached while it does so.
        display = self._run("Xvfb", "-displayfd", "{fd}", "-screen", "0", f"{self._size}x24", "-dpi", "96",
                            "-nolisten", "tcp", "-noreset")
        self.environment = {"DISPLAY": f":{display}", "XDG_RUNTIME_DIR": str(self._folder),
                            "FONTCONFIG_FILE": str(FOLDER / "fonts.conf")}
        self._run("openbox", "--sm-disable")
        wait_for(lambda: self._tool("xdotool", "get_num_desktops"), "the window manager")
        # At the first key of a display the window manager takes its shortcuts anew; one pressed meanwhile is lost.
        self.keys("Shift_L")
        self._tool("xsetroot", "-solid", _BACKGROUND)
        configuration = self._folder / "bus.conf"
        configuration.write_text(configured("bus.conf", folder=self._folder))
        # Programs and accessibility each get their own bus: a program that finds the accessibility service on its bus
        # asks it for the address in the background and may give up before the answer comes. Without it the program
        # reads the address off the display, at once.
        services, programs = (self._run("dbus-daemon", f"--config-file={configuration}", "--nofork",
                                        "--print-address={fd}") for _ in range(2))
        self._run(_ACCESSIBILITY_LAUNCHER, "--launch-immediately", DBUS_SESSION_BUS_ADDRESS=services)
        with Bus(services) as bus:
            address = wait_for(lambda: bus.call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress"),
                               "the accessibility bus")
        self._accessibility = self._stack.enter_context(Bus(address))
        self.environment |= {"DBUS_SESSION_BUS_ADDRESS": programs, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1"}

    def _run(self, program: str, *arguments: str, **variables: str) -> str:
        """Starts a program that ends with the desktop. Returns the line that it writes to {fd}, if it is to."""
        readable, writable = os.pipe()
        with open(readable, encoding="ascii") as answer, open(writable, "wb") as end, \
                open(self._folder / f"{Path(program).name}.log", "ab") as log:
            command = [program, *(argument.format(fd=writable) for argument in arguments)]
            # The caller decides when the desktop ends, not the terminal.
            process = subprocess.Popen(command, env={**self._environment(), **variables}, pass_fds=(writable,),
                                       stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
            self._stack.callback(_end, process)
            end.close()
            if "{fd}" not in " ".join(arguments):
                return ""
            line = answer.readline().strip()
            assert line, f"{program} says nothing"
            return line

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

    def click(self, x: int, y: int, width: int, height: int, times: int = 1) -> None:
        """Clicks on the middle of this part of the screen."""
        middle = str(x + width // 2), str(y + height // 2)
        self._tool("xdotool", "mousemove", *middle, "click", "--repeat", str(times), "--delay", "50", "1")

    # --- windows

    def windows(self) -> list[Accessible]:
        """What the programs on it show to a screen reader."""
        return windows(self._accessibility)

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
            window = self._window(title)
            if focused() != window:
                self._tool("xdotool", "windowactivate", "--sync", window)
            return focused() == window

        def focused() -> str:
            return self._tool("xdotool", "getwindowfocus").decode().strip()

        return wait_for(has_keyboard, f"the window {title!r}; there are {self.titles()}", 30)

    def close(self, title: str) -> None:
        """Closes the window with this title in the way its title bar does: its program is asked."""
        self.focus(title)
        self.keys("alt+F4")

    def resize(self, title: str, width: int, height: int) -> None:
        """Asks the window manager for another size of the window with this title."""
        self._tool("xdotool", "windowsize", self._window(title), str(width), str(height))

    def property_of(self, title: str, name: str) -> str:
        """A property of the window with this title, as the display's tool prints it."""
        return self._tool("xprop", "-id", self._window(title), name).decode().strip()

    def _window(self, title: str) -> str:
        for window in self._search(f"^{re.escape(title)}$"):
            return window
        raise NotYet(f"no window {title!r}")

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


def _end(process: subprocess.Popen) -> None:
    process.terminate()
    try:
        process.wait(3)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()
