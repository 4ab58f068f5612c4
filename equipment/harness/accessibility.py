"""Reading the widgets of running programs through the accessibility bus (AT-SPI 2), as a screen reader does.

It talks to the bus directly, so that one process can watch any number of desktops at a time.
"""

from __future__ import annotations

from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

from gi.repository import GLib

from .bus import Bus, CallFailure
from .waiting import wait_for

_ROOT = "/org/a11y/atspi/accessible/root"

# The state numbers of AT-SPI, in order.
_STATES = (
    "invalid active armed busy checked collapsed defunct editable enabled expandable expanded focusable focused "
    "has-tooltip horizontal iconified modal multi-line multiselectable opaque pressed resizable selectable selected "
    "sensitive showing single-line stale transient vertical visible manages-descendants indeterminate required "
    "truncated animated invalid-entry supports-autocompletion selectable-text is-default visited checkable has-popup "
    "read-only"
).split()


@dataclass(frozen=True)
class Extents:
    """A rectangle on the screen, in pixels."""

    x: int
    y: int
    width: int
    height: int

    @property
    def center(self) -> tuple[int, int]:
        return self.x + self.width // 2, self.y + self.height // 2


@dataclass(frozen=True)
class Value:
    """Where a progress bar or a slider stands."""

    minimum: float
    maximum: float
    current: float


class Accessible:
    """One widget, or one cell of a list, of a running program. Everything is asked anew each time; CallFailure says
    that the widget has gone, or that its program does not answer."""

    def __init__(self, bus: Bus, owner: str, path: str) -> None:
        self._bus = bus
        self._owner = owner
        self._path = path

    def __repr__(self) -> str:
        return f"<{self.role} {self.name!r}>"

    @property
    def name(self) -> str:
        return self._property("Accessible", "Name")

    @property
    def description(self) -> str:
        return self._property("Accessible", "Description")

    @property
    def role(self) -> str:
        return self._call("Accessible", "GetRoleName")[0]

    @property
    def process(self) -> int:
        """The id of the process that the widget belongs to."""
        return self._bus.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                              "GetConnectionUnixProcessID", GLib.Variant("(s)", (self._owner,)))[0]

    @property
    def states(self) -> frozenset[str]:
        low, high = self._call("Accessible", "GetState")[0]
        bits = low | high << 32
        return frozenset(name for number, name in enumerate(_STATES) if bits >> number & 1)

    @property
    def text(self) -> str:
        """The contents of a text field."""
        return self._call("Text", "GetText", GLib.Variant("(ii)", (0, -1)))[0]

    @property
    def value(self) -> Value:
        return Value(*(self._property("Value", f"{name}Value") for name in ("Minimum", "Maximum", "Current")))

    @property
    def extents(self) -> Extents:
        return Extents(*self._call("Component", "GetExtents", GLib.Variant("(u)", (0,)))[0])

    def children(self) -> list[Accessible]:
        return [Accessible(self._bus, owner, path)
                for owner, path in self._call("Accessible", "GetChildren")[0]]

    def walk(self) -> Iterator[Accessible]:
        """This widget and all below it, in the order of the eye."""
        yield self
        for child in self.children():
            yield from child.walk()

    def find_all(self, role: str, name: str | None = None) -> list[Accessible]:
        """The widgets below that are on the screen and have this role and, if given, this name."""
        return [widget for widget in self.walk()
                if widget.role == role and (name is None or widget.name == name) and "showing" in widget.states]

    def find(self, role: str, name: str | None = None) -> Accessible | None:
        """The first of find_all(), or None."""
        return next(iter(self.find_all(role, name)), None)

    def wait_for(self, role: str, name: str | None = None, seconds: float = 20.0) -> Accessible:
        return wait_for(lambda: self.find(role, name), f"the {role} {name!r}", seconds)

    def press(self) -> None:
        """Does what a click on the widget does."""
        self._call("Action", "DoAction", GLib.Variant("(i)", (0,)))

    def _call(self, interface: str, method: str, arguments: GLib.Variant | None = None) -> Any:
        return self._bus.call(self._owner, self._path, f"org.a11y.atspi.{interface}", method, arguments)

    def _property(self, interface: str, name: str) -> Any:
        return self._bus.call(self._owner, self._path, "org.freedesktop.DBus.Properties", "Get",
                              GLib.Variant("(ss)", (f"org.a11y.atspi.{interface}", name)))[0]


class Windows:
    """The windows of one desktop that can be read."""

    def __init__(self, bus: Bus) -> None:
        self._programs = Accessible(bus, "org.a11y.atspi.Registry", _ROOT)

    def all(self) -> list[Accessible]:
        """The windows on the screen, dialogs too. Those that cannot be read just now are left out."""
        windows = []
        for program in self._programs.children():
            try:
                windows += [window for window in program.children() if "showing" in window.states]
            except CallFailure:
                continue
        return windows

    def find(self, title: str | None = None, label: str | None = None) -> Accessible | None:
        """The first window with this title and with a label whose text contains this one, as far as given, or None."""
        for window in self.all():
            try:
                if (title is None or window.name == title) and (
                        label is None or any(label in widget.name for widget in window.find_all("label"))):
                    return window
            except CallFailure:
                continue
        return None

    def wait_for(self, title: str | None = None, label: str | None = None, seconds: float = 20.0) -> Accessible:
        return wait_for(lambda: self.find(title, label), f"the window {title or label!r}", seconds)
