"""Reading the widgets of running programs through the accessibility bus (AT-SPI 2), as a screen reader does. It calls
the bus itself: nothing is remembered from one look to the next."""

from __future__ import annotations

from collections.abc import Iterator
from concurrent.futures import ThreadPoolExecutor
from typing import Any, NamedTuple

from gi.repository import Gio, GLib

from .waiting import NotYet, wait_for

_TIMEOUT_MS = 3000
_FLAGS = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION
# Some of the states that AT-SPI has numbers for.
_STATES = {"active": 1, "checked": 4, "enabled": 8, "focused": 12, "showing": 25}


class CallFailure(NotYet):
    """There is nobody to answer, or the answer is an error."""


class Bus:
    """A connection to the bus at an address. A context manager."""

    def __init__(self, address: str) -> None:
        self._connection = Gio.DBusConnection.new_for_address_sync(address, _FLAGS, None, None)
        # Calls are made in a thread of their own. An exception that a signal handler raises, always in the main thread,
        # can so never strike inside the library, which would print it and lose it, or end the process on the spot.
        self._caller = ThreadPoolExecutor(1)

    def __enter__(self) -> Bus:
        return self

    def __exit__(self, *_: object) -> None:
        self._caller.shutdown()
        self._connection.close_sync(None)

    def call(self, owner: str, path: str, interface: str, method: str, types: str = "()", *arguments: object) -> Any:
        """The first value of the answer. Raises CallFailure."""
        answer = self._caller.submit(self._connection.call_sync, owner, path, interface, method,
                                     GLib.Variant(types, arguments), None, Gio.DBusCallFlags.NONE, _TIMEOUT_MS, None)
        try:
            return answer.result().unpack()[0]
        except GLib.Error as error:
            raise CallFailure(f"{method} of {interface}: {error.message}") from error


class Extents(NamedTuple):
    """A rectangle on the screen, in pixels."""

    x: int
    y: int
    width: int
    height: int


class Accessible:
    """One widget, or one cell of a list, of a running program. Everything is asked anew each time; CallFailure says
    that the widget has gone, or that its program does not answer."""

    def __init__(self, bus: Bus, owner: str, path: str) -> None:
        self._bus, self._owner, self._path = bus, owner, path

    @property
    def name(self) -> str:
        return self._property("Accessible", "Name")

    @property
    def description(self) -> str:
        return self._property("Accessible", "Description")

    @property
    def role(self) -> str:
        return self._call("Accessible", "GetRoleName")

    @property
    def states(self) -> set[str]:
        low, _ = self._call("Accessible", "GetState")
        return {name for name, number in _STATES.items() if low >> number & 1}

    @property
    def text(self) -> str:
        """The contents of a text field."""
        return self._call("Text", "GetText", "(ii)", 0, -1)

    @property
    def value(self) -> tuple[int, int]:
        """Where a progress bar stands, and how far it goes."""
        return int(self._property("Value", "CurrentValue")), int(self._property("Value", "MaximumValue"))

    @property
    def extents(self) -> Extents:
        return Extents(*self._call("Component", "GetExtents", "(u)", 0))

    def children(self) -> list[Accessible]:
        return [Accessible(self._bus, owner, path) for owner, path in self._call("Accessible", "GetChildren")]

    def walk(self) -> Iterator[Accessible]:
        """This widget and all below it, in the order of the eye."""
        yield self
        for child in self.children():
            yield from child.walk()

    def find_all(self, role: str, name: str | None = None) -> list[Accessible]:
        """The widgets below that are on the screen and have this role and, if given, this name."""
        return [widget for widget in self.walk()
                if widget.role == role and name in (None, widget.name) and "showing" in widget.states]

    def need(self, role: str, name: str | None = None) -> Accessible:
        """The first of find_all(). Raises NotYet where there is none."""
        for widget in self.find_all(role, name):
            return widget
        raise NotYet(f"no {role} {name or ''}")

    def press(self, name: str) -> None:
        """Waits for the button of this name below, and does what a click on it does."""
        button = wait_for(lambda: self.need("push button", name), f"the button {name!r}")
        button._call("Action", "DoAction", "(i)", 0)

    def _call(self, interface: str, method: str, types: str = "()", *arguments: object) -> Any:
        return self._bus.call(self._owner, self._path, f"org.a11y.atspi.{interface}", method, types, *arguments)

    def _property(self, interface: str, name: str) -> Any:
        return self._bus.call(self._owner, self._path, "org.freedesktop.DBus.Properties", "Get", "(ss)",
                              f"org.a11y.atspi.{interface}", name)


def windows(bus: Bus) -> list[Accessible]:
    """The windows on the screen, dialogs too. Those that cannot be read just now are left out."""
    found = []
    for program in Accessible(bus, "org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root").children():
        try:
            found += [window for window in program.children() if "showing" in window.states]
        except CallFailure:
            continue
    return found
