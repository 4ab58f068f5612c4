"""What a fault looks like: to the user, in the log and on the disk. A test compares that with what it should be; what
was seen goes into the table of docs/reliability.md, where the test is marked with the fault that it makes:

    @pytest.mark.fault("server", "The version file is empty")

The text may name parameters of the test in braces."""

from __future__ import annotations

import re
from collections.abc import Mapping, Sequence
from contextlib import ExitStack
from pathlib import Path

from harness import trees
from harness.trees import Entry
from harness.waiting import wait_for

from . import offers
from .evidence import LogLine, becomes, same
from .run import Run
from .screen import Screen
from .sight import Sight, contents
from .started import StartedUpdater
from .wire import Answer, WireServer

ENDED = "nothing: the updater has ended"
READY = '"Update ready to install!", button "Install Update and Relaunch Tavlopro..."'
UNTOUCHED = "the installation as it was"

# What every box about a failed connection goes on with.
_ADVICE = "\n\nPlease make sure that..."
_LONGEST_TEXT = 150
_MOST_FILES = 3
_OWN_FILES = ("debug_update.log", "freshen", "settings.ini")
# Messages of the level debug that tell of a failure.
_TELLING = re.compile(r'WARNING|ERROR_|\bError |Connection failed|No Version found|Testpath:|cant find file'
                      r'|explorer not found|success: false|download aborted|"STD ERROR:\\n[^"]|[1-9] NormalExit'
                      r'|CrashExit')
# The display's own complaints.
_NOISE = re.compile(r"QXcbConnection|This plugin does not support ")


def serving(exits: ExitStack, run: Run, installed: Mapping[str, Entry]) -> WireServer:
    """A server that offers one version with its package, for a run with these files installed whose settings name
    it."""
    server = exits.enter_context(WireServer({offers.DESCRIPTION_PATH: Answer(offers.description(offers.CHOSEN)),
                                             offers.PACKAGE_PATH: Answer(offers.package(run.program))}))
    run.write_settings(port2=server.port)
    trees.write(run.installation, trees.tree(installed))
    return server


def failed_unpacking(reason: str) -> str:
    """What the window shows when a package could not be unpacked."""
    return f'"{_line(f"Error unzipping update! {reason}")}", button "Cancel" (dead)'


def unpacking_log(reason: str) -> list[str]:
    """What the log says when a package could not be unpacked."""
    quoted = reason.replace("\\", "\\\\").replace("\n", "\\n")
    return [f"[W] {_line(reason)}", f'[D] Error unzipping "{quoted}"']


def failed_copying(code: int) -> str:
    """What the window shows when the copy has failed."""
    return f'"Error copying update! {code}", button "Please wait!" (dead)'


def saw(run: Run, screen: Screen, user: str, log: Sequence[str], left: Sequence[str] | None = None,
        seconds: float = 20.0) -> None:
    """Waits until the user sees this; then the log has told of this and nothing else, and this is left on the disk. An
    entry of the log that ends in "*" stands for any that begins so. left None: not compared. Keeps what was seen."""
    becomes(user, lambda: told(run, screen), "what the user sees", seconds)
    if user == ENDED:
        run.exit_code()
    seen = _look(run, screen)
    if len(log) != len(seen.log) or not all(map(_fits, log, seen.log)):
        same(list(log), list(seen.log), "what the log tells")
    if left is not None:
        same(list(left), list(seen.left), "what is left on the disk")
    run.sight = seen


def note(run: StartedUpdater, screen: Screen | None = None) -> None:
    """Keeps what is to be seen now, which the test has compared by itself. No screen: the updater has ended. Of an
    updater on another system nothing is kept."""
    if isinstance(run, Run):
        run.sight = _look(run, screen)


def _look(run: Run, screen: Screen | None) -> Sight:
    return Sight(told(run, screen) if screen else ENDED, tuple(telling(run)), tuple(remains(run)))


def _fits(expected: str, line: str) -> bool:
    return line.startswith(expected[:-1]) if expected.endswith("*") else line == expected


def told(run: Run, screen: Screen) -> str:
    """What the updater tells the user: a box, or else what the page says."""
    boxes = screen.boxes()
    if boxes:
        return "; ".join(f'box "{box.title}": {_short(_anonymous(run, box.text.partition(_ADVICE)[0]))}'
                         for box in boxes)
    if not screen.is_open():
        # A window that is busy cannot be read either.
        return "nothing so far" if run.processes() else ENDED
    if not screen.shows_progress():
        count = len(screen.versions())
        return f"a list of {count} version{'' if count == 1 else 's'}"
    button = screen.button()
    status = _short(_anonymous(run, screen.status()))
    return f'"{status}", button "{button.text}"{"" if button.can_be_pressed else " (dead)"}'


def telling(run: Run) -> list[str]:
    """The lines of the log that tell of a failure, in a form that is the same in every run."""
    return [f"[{line.level}] {_short(_anonymous(run, line.text))}" for line in run.log() if _tells(line)]


def _tells(line: LogLine) -> bool:
    # The body of a version file may hold any word.
    if _NOISE.match(line.text) or line.text.startswith("Checking version..."):
        return False
    return line.level != "D" or bool(_TELLING.search(line.text))


def remains(run: Run) -> list[str]:
    """What the updater has left in the folder that it works in, and what the installation is like."""
    parent = run.inside(run.parent)
    left = []
    for path in sorted(parent.iterdir()):
        if path.name in _OWN_FILES or run.parent / path.name == run.installation:
            continue
        left += _listed(path, path.name)
    if run.installed is not None:
        seen = contents(run.inside(run.installation))
        left += [UNTOUCHED] if seen == run.installed else \
            [f"the installation: {', '.join(_listed_names(sorted(seen))) or 'empty'}"]
    return left or ["nothing"]


def _listed(path: Path, name: str) -> list[str]:
    if not path.is_dir() or path.is_symlink():
        return [name]
    names = sorted(_short(f"{name}/{inside}") for inside in contents(path))
    return _listed_names(names, name) or [f"{name}/"]


def _listed_names(names: list[str], folder: str = "") -> list[str]:
    if len(names) <= _MOST_FILES:
        return names
    return [f"{folder}/ ({len(names)} files)" if folder else f"{len(names)} files"]


def _short(text: str) -> str:
    line = _line(text)
    return line if len(line) <= _LONGEST_TEXT else line[:_LONGEST_TEXT] + "…"


def _line(text: str) -> str:
    return " ".join(text.split())


def _anonymous(run: Run, text: str) -> str:
    for path, name in run.places():
        for spelling in run.spellings(path):
            text = text.replace(spelling, name)
    # The rest of a path, as Windows writes it.
    text = re.sub(r'\b(?:DATA|INSTALLATION)(?:\\\\[^\\"]+)+', lambda path: path[0].replace("\\\\", "/"), text)
    # The words of the program that copies are not the updater's, nor is their order.
    text = re.sub(r'^"STD ERROR:\\n.+"$', '"STD ERROR:\\\\n…"', text)
    # Disks of any machine have other blocks.
    text = re.sub(r"\d+ bytes (needed|free)", r"N bytes \1", text)
    return re.sub(r"127\.0\.0\.1:\d+", "127.0.0.1:PORT", text)


def confirm(screen: Screen) -> None:
    """Presses OK in the box, and sees the window that stays."""
    screen.box().press("OK")
    becomes([], screen.boxes, "boxes")


def ends(run: Run, screen: Screen, button: str | None = None) -> None:
    """Presses the button of the box, or closes the window; the updater then ends with 0 and leaves no process."""
    if button is not None:
        screen.box().press(button)
    elif screen.is_open():
        screen.close()
    same(0, run.exit_code(), "exit code")
    wait_for(lambda: not run.processes(), "the end of all processes")
