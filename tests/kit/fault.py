"""What a fault looks like: to the user, in the log and on the disk. A test makes a fault and is marked with its name:

    @pytest.mark.fault("The version file is empty")

docs/reliability.md has a row of that name, which says what is to be seen then; the test fails where something else is.
The name may hold parameters of the test in braces."""

from __future__ import annotations

import re
from dataclasses import dataclass
from itertools import groupby
from pathlib import Path
from typing import NamedTuple

from . import folders
from .offer import REVISION
from .updater import Updater
from .waiting import NotYet, becomes

_PAGE = Path(__file__).resolve().parents[2] / "docs" / "reliability.md"
_ROW = re.compile(r"^\| (.*?) \| (.*?) \| (.*?) \| (.*?) \|$", re.MULTILINE)

_NOTHING_YET = "nothing so far"
_LONGEST_TEXT, _MOST_FILES, _MOST_LINES = 150, 3, 4
# What every box about a failed connection goes on with.
_ADVICE = " Please make sure that..."
# Messages of the level debug that tell of a failure.
_TELLING = re.compile(r'WARNING|ERROR_|\bError |Connection failed|No Version found|Testpath:|cant find file'
                      r'|explorer not found|success: false|download aborted|"STD ERROR:\\n[^"]|[1-9] NormalExit'
                      r'|CrashExit')
# It holds the body of a version file, and so any word.
_NOISE = "Checking version..."


class Row(NamedTuple):
    """What is seen of a fault, as the page tells it, but without the marks of the page."""

    user: str
    log: list[str]
    left: list[str]

    def without_reasons(self) -> Row:
        """The same without the system's reasons, which each system tells in its own words."""
        return self._replace(log=[re.sub(r' - "[^"]*"', ' - "…"', line) for line in self.log])


def _unmarked(text: str) -> str:
    return text.replace("\\|", "|").replace("&lt;", "<").replace("`", "")


ROWS = {name: Row(user, log.split("<br>"), left.split("<br>"))
        for name, user, log, left in (map(_unmarked, row) for row in _ROW.findall(_PAGE.read_text(encoding="utf-8")))}


@dataclass
class Fault:
    """A fault by its name, as it shows on this updater."""

    name: str
    updater: Updater
    was_looked_at: bool = False

    def is_seen(self, seconds: float = 20.0, *, log: str | None = None) -> None:
        """Waits until the user sees what the page says; then the log has told of it and of nothing else, and that is
        left on the disk. log: a summary, where it differs from run to run."""
        expected, updater = ROWS[self.name], self.updater
        becomes(expected.user, lambda: _unmarked(told(updater)), "what the user sees", seconds)
        lines = [log] if log else telling(updater) or ["nothing"]
        if len(lines) > _MOST_LINES:
            lines[_MOST_LINES - 1:] = [f"and {len(lines) - _MOST_LINES + 1} more"]
        seen = Row(expected.user, *(list(map(_unmarked, texts)) for texts in (lines, remains(updater))))
        if updater.is_windows:
            expected, seen = expected.without_reasons(), seen.without_reasons()
        assert seen == expected
        self.was_looked_at = True


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
    return [line[:4] + _short(_anonymous(updater, line[4:])) for line in updater.log()
            if _NOISE not in line and (not line.startswith("[D]") or _TELLING.search(line))]


def remains(updater: Updater) -> list[str]:
    """What the updater has left in the folder that it works in, and what the installation is like."""
    left: list[str] = []
    for top, paths in groupby(folders.leaves(updater.leftovers()), lambda path: path.partition("/")[0]):
        left += _listed(list(map(_short, paths)), f"{top}/ ")
    if installed := folders.inside(updater.installation.name, updater.world):
        seen = updater.look(updater.installation)
        left.append("the installation as it was" if seen == installed else
                    f"the installation: {', '.join(_listed(folders.leaves(seen))) or 'empty'}")
    return left or ["nothing"]


def _listed(names: list[str], place: str = "") -> list[str]:
    if len(names) <= _MOST_FILES:
        return names
    return [f"{place}({len(names)} files)" if place else f"{len(names)} files"]


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


def _short(text: str) -> str:
    line = " ".join(text.split())
    return line if len(line) <= _LONGEST_TEXT else line[:_LONGEST_TEXT] + "…"
