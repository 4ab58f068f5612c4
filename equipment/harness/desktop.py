"""A desktop of its own, which nobody sees: display, window manager, buses, keyboard, mouse and camera."""

from __future__ import annotations

import os
import re
import subprocess
import time
from contextlib import ExitStack
from pathlib import Path

from .accessibility import Accessible, Windows
from .bus import Bus
from .waiting import PATIENCE, NotYet, wait_for

_ACCESSIBILITY_LAUNCHER = "/usr/libexec/at-spi-bus-launcher"

_BACKGROUND = "#47607c"

# A bus that starts no services. Programs and accessibility each get their own: a program that finds the accessibility
# service on its bus asks it for the address in the background and may give up before the answer comes. Without it the
# program reads the address off the display, at once.
_BUS_CONFIGURATION = """\
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:dir={folder}</listen>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""

# Text looks the same wherever these fonts are installed, however many others are there too.
_FONTS = """\
<?xml version="1.0"?>
<!DOCTYPE fontconfig SYSTEM "fonts.dtd">
<fontconfig>
  <include ignore_missing="yes">/etc/fonts/fonts.conf</include>
  <match target="pattern">
    <edit name="family" mode="prepend" binding="strong"><string>Liberation Sans</string></edit>
  </match>
</fontconfig>
"""


class DesktopFailure(Exception):
    """The desktop did not start; the text holds what its programs said."""


class ToolFailure(NotYet):
    """A tool that plays keyboard, mouse or camera did not do what it should."""


class Desktop:
    """A virtual display with all that a program expects of a desktop. A context manager.

    folder holds its sockets and logs; it must be short (sockets) and private (mode 0700).
    """

    def __init__(self, folder: Path, size: tuple[int, int] = (1024, 768)) -> None:
        self._folder = folder
        self._size = size
        self._stack = ExitStack()
        self.environment: dict[str, str] = {}
        self.windows: Windows

    def __enter__(self) -> Desktop:
        try:
            self._start()
        except TimeoutError as error:
            self._stack.close()
            raise DesktopFailure(f"{error}\n{self._logs()}") from error
        except BaseException:
            self._stack.close()
            raise
        return self

    def __exit__(self, *_: object) -> None:
        self._stack.close()

    def _start(self) -> None:
        fonts = self._folder / "fonts.conf"
        fonts.write_text(_FONTS)
        self.environment = {"DISPLAY": self._start_display(), "XDG_RUNTIME_DIR": str(self._folder),
                            "FONTCONFIG_FILE": str(fonts)}
        self._run("openbox", "openbox", "--sm-disable")
        wait_for(lambda: self._tool("xdotool", "get_num_desktops"), "the window manager")
        self._tool("xsetroot", "-solid", _BACKGROUND)
        accessibility = self._start_bus("accessibility")
        self._run("launcher", _ACCESSIBILITY_LAUNCHER, "--launch-immediately",
                  DBUS_SESSION_BUS_ADDRESS=accessibility)
        with Bus(accessibility) as bus:
            address = wait_for(lambda: bus.call("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress")[0],
                               "the accessibility bus")
        self.windows = Windows(self._stack.enter_context(Bus(address)))
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = self._start_bus("programs")
        self.environment["QT_LINUX_ACCESSIBILITY_ALWAYS_ON"] = "1"

    def _start_display(self) -> str:
        width, height = self._size
        readable, writable = os.pipe()
        with open(readable, encoding="ascii") as answer:
            try:
                # A display that resets when its last client leaves cannot be reached while it does so.
                self._run("display", "Xvfb", "-displayfd", str(writable), "-screen", "0", f"{width}x{height}x24",
                          "-dpi", "96", "-nolisten", "tcp", "-noreset", pass_fds=(writable,))
            finally:
                os.close(writable)
            number = answer.readline().strip()
        if not number:
            raise DesktopFailure(f"the virtual display did not start\n{self._logs()}")
        return f":{number}"

    def _start_bus(self, name: str) -> str:
        configuration = self._folder / f"{name}.conf"
        configuration.write_text(_BUS_CONFIGURATION.format(folder=self._folder))
        readable, writable = os.pipe()
        with open(readable, encoding="ascii") as answer:
            try:
                self._run(f"bus-{name}", "dbus-daemon", f"--config-file={configuration}", "--nofork",
                          f"--print-address={writable}", pass_fds=(writable,))
            finally:
                os.close(writable)
            address = answer.readline().strip()
        if not address:
            raise DesktopFailure(f"the bus for {name} did not start\n{self._logs()}")
        return address

    def _run(self, name: str, *command: str, pass_fds: tuple[int, ...] = (), **variables: str) -> None:
        with open(self._folder / f"{name}.log", "wb") as log:
            # The caller decides when the desktop ends, not the terminal.
            process = subprocess.Popen(command, env={**self._base_environment(), **variables}, pass_fds=pass_fds,
                                       stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True)
        self._stack.callback(_end, process)

    def _logs(self) -> str:
        return "\n".join(f"{log.stem}: {log.read_text(errors='replace').strip()}"
                         for log in sorted(self._folder.glob("*.log")))

    def _base_environment(self) -> dict[str, str]:
        return {"PATH": os.defpath, "HOME": str(self._folder), "LC_ALL": "C.UTF-8", **self.environment}

    def _tool(self, *command: str) -> bytes:
        result = subprocess.run(command, env=self._base_environment(), timeout=20 * PATIENCE, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        if result.returncode != 0:
            raise ToolFailure(f"{command[0]}: {result.stderr.decode(errors='replace').strip()}")
        return result.stdout

    def keys(self, *names: str) -> None:
        """Presses keys, by the names of X (Tab, Down, space, ctrl+a), one after the other, where the focus is."""
        self._tool("xdotool", "key", "--clearmodifiers", "--delay", "40", *names)

    def click(self, widget: Accessible) -> None:
        """Clicks with the mouse on the middle of a widget."""
        self.click_at(*widget.extents.center)

    def click_at(self, x: int, y: int) -> None:
        """Clicks with the mouse on this place of the screen."""
        self._tool("xdotool", "mousemove", str(x), str(y), "click", "1")

    def double_click(self, widget: Accessible) -> None:
        """Clicks twice with the mouse on the middle of a widget."""
        x, y = widget.extents.center
        self._tool("xdotool", "mousemove", str(x), str(y), "click", "--repeat", "2", "--delay", "50", "1")

    def close(self, title: str) -> None:
        """Closes the window with this title in the way its title bar does: its program is asked."""
        self._tool("xdotool", "windowactivate", "--sync", self._window(title), "key", "--clearmodifiers", "alt+F4")

    def resize(self, title: str, width: int, height: int) -> None:
        """Asks the window manager for another size of the window with this title."""
        self._tool("xdotool", "windowsize", self._window(title), str(width), str(height))

    def property_of(self, title: str, name: str) -> str:
        """A property of the window with this title, as the display's tool prints it."""
        return self._tool("xprop", "-id", self._window(title), name).decode().strip()

    def _window(self, title: str) -> str:
        search = "xdotool", "search", "--onlyvisible", "--name", f"^{re.escape(title)}$"
        return wait_for(lambda: self._tool(*search), f"the window {title!r}").split()[0].decode()

    def screenshot(self, file: Path | None = None, settle: float = 2.0) -> bytes:
        """A PNG picture of the whole screen, written to file if one is given. Waits until the screen stands still, but
        no longer than settle seconds."""
        end = time.monotonic() + settle
        picture = self._take()
        while time.monotonic() < end:
            time.sleep(0.1)
            previous, picture = picture, self._take()
            if picture == previous:
                break
        if file is not None:
            file.write_bytes(picture)
        return picture

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
