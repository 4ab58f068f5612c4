"""How a download can end, as far as everybody can see it."""

from __future__ import annotations

from harness import trees

from . import faults, offers
from .evidence import becomes, same
from .screen import Button, Screen
from .started import StartedUpdater

_NO_ARCHIVE = "unzip(): zip.open(): -1000"


def is_unpacked(run: StartedUpdater) -> None:
    """Waits until the package lies unpacked in "out", whole, and has been removed itself."""
    run.wait_for_log("update unzipped to ")
    same([], trees.differences(run.known(offers.unpacked()), run.known(trees.read(run.out))), "the unpacked package")
    same([], run.stored_packages(), "stored packages")


def is_no_archive(run: StartedUpdater, screen: Screen) -> None:
    """Waits until what came in the package's place could not be unpacked: log, status, dead button; nothing lies in
    "out", what came is left as it was stored, and the window stays."""
    run.wait_for_log("Error unzipping")
    same([_NO_ARCHIVE, f'Error unzipping "{_NO_ARCHIVE}"'], run.log_texts()[-2:], "the last lines of the log")
    becomes(f"Error unzipping update!\n\n{_NO_ARCHIVE}", screen.status, "the status")
    same(Button("Cancel", False), screen.button(), "the button")
    assert not run.out.exists(), "something was unpacked"
    same(1, len(run.stored_packages()), "stored packages")
    assert run.is_running()
    faults.note(run, screen)


def connection_failed(run: StartedUpdater, screen: Screen, reason: str) -> None:
    """Sees the box that the connection failed for this reason, confirms it, and sees the updater end with 0."""
    same(f'Connection failed: "{reason}"', run.wait_for_log("Connection failed:").text, "the reason in the log")
    box = screen.box()
    same(("Connection Failed", ["OK"]), (box.title, box.buttons), "the box")
    assert box.text.startswith("Connection to server could not be established:"), box.text
    assert f'"{reason}"' in box.text and "proxy settings in Tavlopro's login window" in box.text, box.text
    faults.note(run, screen)
    box.press("OK")
    same(0, run.exit_code(), "exit code")
