"""What a fault looks like: to the user, in the log and on the disk. A test makes a fault and is marked with its name:

    @pytest.mark.fault("The version file is empty")

docs/reliability.md has a row of that name, which says what is to be seen then; the test fails where something else is.
The name may hold parameters of the test in braces. With FRESHEN_WRITE_FAULTS set, the rows are written as they are seen
instead; what has changed is then looked at before it is committed."""

from __future__ import annotations

import os
import re
import time
from collections.abc import Mapping, Sequence
from pathlib import Path
from typing import NamedTuple

from . import folders
from .offer import REVISION
from .updater import OWN_FILES, Updater
from .waiting import NotYet, becomes, wait_for

PAGE = Path(__file__).resolve().parents[2] / "docs" / "reliability.md"
IS_WRITING = "FRESHEN_WRITE_FAULTS" in os.environ

_NOTHING_YET = "nothing so far"
_ROW = re.compile(r"^\| (?P<name>.*?) \| (?P<user>.*?) \| (?P<log>.*?) \| (?P<left>.*?) \|$", re.MULTILINE)
_LONGEST_TEXT, _MOST_FILES, _MOST_LINES = 150, 3, 4
# How long the user sees the same thing before it is taken for the last.
_SETTLED = 2.0
# What every box about a failed connection goes on with.
_ADVICE = " Please make sure that..."
# Messages of the level debug that tell of a failure.
_TELLING = re.compile(r'WARNING|ERROR_|\bError |Connection failed|No Version found|Testpath:|cant find file'
                      r'|explorer not found|success: false|download aborted|"STD ERROR:\\n[^"]|[1-9] NormalExit'
                      r'|CrashExit')
# It holds the body of a version file, and so any word.
_NOISE = "Checking version..."


class Row(NamedTuple):
    """What is seen of a fault, as the page shows it."""

    user: str
    log: str
    left: str

    def without_reasons(self) -> Row:
        """The same without the system's reasons, which each system tells in its own words."""
        return Row(self.user, re.sub(r' - "[^"]*"', ' - "…"', self.log), self.left)


def rows() -> dict[str, Row]:
    """The faults of the page."""
    found = {match["name"]: Row(match["user"], match["log"], match["left"])
             for match in _ROW.finditer(PAGE.read_text(encoding="utf-8"))}
    return {name: row for name, row in found.items() if name not in ("fault", "---")}


def write(seen: Mapping[str, Row]) -> None:
    """Writes these rows in place of those of the same names; new ones come last, to be put where they belong."""
    text = PAGE.read_text(encoding="utf-8")
    lines = {name: "| " + " | ".join((name, *row)) + " |" for name, row in seen.items()}
    text = _ROW.sub(lambda match: lines.pop(match["name"], match[0]), text)
    PAGE.write_text(text + "".join(f"{line}\n" for line in lines.values()), encoding="utf-8")


class Fault:
    """A fault by its name, as it shows on this updater."""

    def __init__(self, name: str, updater: Updater) -> None:
        self.name, self._updater = name.replace("|", "\\|"), updater
        self.seen: Row | None = None

    def is_seen(self, seconds: float = 20.0, *, log: str | None = None) -> None:
        """Waits until the user sees what the page says; then the log has told of it and of nothing else, and that is
        left on the disk. log: a summary, where it differs from run to run."""
        expected, updater = rows().get(self.name), self._updater
        if IS_WRITING:
            self._settle(seconds)
        else:
            assert expected is not None, f"{PAGE.name} has no row {self.name!r}"
            becomes(expected.user, lambda: _user(told(updater)), "what the user sees", seconds)
        self.seen = Row(_user(told(updater)), log or _log(telling(updater)), _left(remains(updater)))
        if IS_WRITING:
            return
        if updater.is_windows:
            expected, self.seen = expected.without_reasons(), self.seen.without_reasons()
        for column, there, here in zip(Row._fields, expected, self.seen):
            assert there == here, f"{column}\n  expected: {there}\n  seen:     {here}"

    def _settle(self, seconds: float) -> None:
        """Waits for something that the user sees for good."""
        last, since = _NOTHING_YET, 0.0

        def is_settled() -> bool:
            nonlocal last, since
            if (seen := told(self._updater)) != last:
                last, since = seen, time.monotonic()
            return last != _NOTHING_YET and time.monotonic() - since > _SETTLED

        wait_for(is_settled, "something that stays", seconds)


# --- what there is

def told(updater: Updater) -> str:
    """What the updater tells the user: a box, or else what the page says."""
    window = updater.window
    try:
        if boxes := window.boxes():
            return "; ".join(f'box "{box.title}": {_short(_anonymous(updater, box.text.partition(_ADVICE)[0]))}'
                             for box in boxes)
        if not window.is_open():
            # A window that is busy cannot be read either.
            return _NOTHING_YET if updater.processes() else "nothing: the updater has ended"
        if not window.shows_progress():
            count = len(window.rows())
            return f"a list of {count} version{'' if count == 1 else 's'}"
        button = window.button()
        status = _short(_anonymous(updater, window.status()))
        return f'"{status}", button "{button.text}"{"" if button.is_enabled else " (dead)"}'
    except NotYet:
        return _NOTHING_YET


def telling(updater: Updater) -> list[str]:
    """The lines of the log that tell of a failure, in a form that is the same in every run."""
    return [f"[{line.level}] {_short(_anonymous(updater, line.text))}" for line in updater.log()
            if not line.text.startswith(_NOISE) and (line.level != "D" or _TELLING.search(line.text))]


def remains(updater: Updater) -> list[str]:
    """What the updater has left in the folder that it works in, and what the installation is like."""
    left = []
    for path in sorted(updater.inside(updater.parent).iterdir()):
        if path.name in OWN_FILES or updater.parent / path.name == updater.installation:
            continue
        if path.is_dir() and not path.is_symlink():
            names = [_short(f"{path.name}/{name}") for name in sorted(folders.contents(path))]
            left += _listed(names, f"{path.name}/ ") or [f"{path.name}/"]
        else:
            left.append(path.name)
    if updater.installed:
        seen = updater.contents()
        left.append("the installation as it was" if seen == updater.installed else
                    f"the installation: {', '.join(_listed(sorted(seen))) or 'empty'}")
    return left or ["nothing"]


def _listed(names: list[str], place: str = "") -> list[str]:
    count = len(names)
    return names if count <= _MOST_FILES else [f"{place}({count} files)" if place else f"{count} files"]


def _anonymous(updater: Updater, text: str) -> str:
    for path, name in ((updater.data, "DATA"), (updater.installation, "INSTALLATION"),
                       (updater.installation.parent, "PROGRAMS"), (updater.folder, "RUN")):
        for spelling in updater.spellings(path):
            text = text.replace(spelling, name)
    # The rest of a path, as Windows writes it.
    text = re.sub(r'\b(?:DATA|INSTALLATION)(?:\\{1,2}[^\\"]+)+', lambda path: re.sub(r"\\+", "/", path[0]), text)
    # The words of the program that copies are not the updater's, nor is their order.
    text = re.sub(r'^"STD ERROR:\\n.+"$', '"STD ERROR:\\\\n…"', text)
    # Each version of the updater has another.
    text = re.sub(rf"\b{REVISION}\b", "REVISION", text)
    # Disks of any machine have other blocks.
    text = re.sub(r"\d+ bytes (needed|free)", r"N bytes \1", text)
    return re.sub(r"127\.0\.0\.1:\d+", "127.0.0.1:PORT", text)


# --- as the page shows it

def _short(text: str) -> str:
    line = " ".join(text.split())
    return line if len(line) <= _LONGEST_TEXT else line[:_LONGEST_TEXT] + "…"


def _user(text: str) -> str:
    return text.replace("|", "\\|").replace("<", "&lt;")


def _log(lines: Sequence[str]) -> str:
    shown = list(map(_code, lines))
    if len(lines) > _MOST_LINES:
        shown[_MOST_LINES - 1:] = [f"and {len(lines) - _MOST_LINES + 1} more"]
    return "<br>".join(shown) or "nothing"


def _left(lines: Sequence[str]) -> str:
    return "<br>".join(line if line.startswith(("the ", "nothing")) else _code(line) for line in lines)


def _code(text: str) -> str:
    fence = "``" if "`" in text else "`"
    return f"{fence}{text}{fence}".replace("|", "\\|")
