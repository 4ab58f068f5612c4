"""The way of a user through the updater's window, as far as the package's download."""

from __future__ import annotations

from collections.abc import Sequence

from harness.waiting import wait_for

from .offers import CHOSEN
from .run import Run
from .screen import Screen


def choose(screen: Screen, number: str = CHOSEN.number) -> None:
    """Picks the version from the list and starts its download, by keyboard."""
    wait_for(lambda: number in screen.versions(), f"the version {number} in the list")
    screen.keys("Home")
    for _ in screen.versions():
        if screen.current_version() == number:
            break
        screen.keys("Down")
    wait_for(lambda: screen.current_version() == number, f"the version {number} picked")
    screen.keys("Return")


def go(run: Run, screen: Screen, mode: str, through: Sequence[str] = ()) -> None:
    """Starts the updater in the mode and has it ask for the package."""
    run.start(mode, desktop=screen.desktop, through=through)
    if mode == "menu":
        choose(screen)
