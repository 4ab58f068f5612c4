"""Calls on a D-Bus bus."""

from __future__ import annotations

from concurrent.futures import ThreadPoolExecutor
from typing import Any

from gi.repository import Gio, GLib

from .waiting import NotYet

_TIMEOUT_MS = 3000
_FLAGS = Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION


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

    def call(self, owner: str, path: str, interface: str, method: str, arguments: GLib.Variant | None = None) -> Any:
        """The unpacked answer of one call. Raises CallFailure."""
        answer = self._caller.submit(self._connection.call_sync, owner, path, interface, method, arguments, None,
                                     Gio.DBusCallFlags.NONE, _TIMEOUT_MS, None)
        try:
            return answer.result().unpack()
        except GLib.Error as error:
            raise CallFailure(f"{method} of {interface}: {error.message}") from error
