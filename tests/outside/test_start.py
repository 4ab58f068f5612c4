"""How a run begins and ends."""

from __future__ import annotations

from harness.desktop import Desktop
from rig.evidence import same
from rig.run import Run


def test_unknown_argument_asks_nothing(run: Run) -> None:
    """An argument other than "auto" and "menu" leaves the window open and asks the server for nothing."""
    run.write_settings(port2=9)
    run.start("Menu")
    run.wait_for_log("Get:")
    assert run.is_running()
    same([], [text for text in run.log_texts() if text.startswith("Connection failed")], "a failed request")


def test_window_title(run: Run, desktop: Desktop) -> None:
    """The window's title names the updater's own version."""
    run.write_settings(port2=9)
    run.start("x", desktop=desktop)
    desktop.windows.wait_for("Tavlopro Updater - Version 96")
