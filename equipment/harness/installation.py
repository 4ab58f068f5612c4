"""A private home with an installed application in it: folders, environment, settings, and the stand-in shell."""

from __future__ import annotations

import os
import re
import shutil
import string
import struct
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path

_ORGANISATION = "Q.U.I.N.T.A."

Setting = str | int | bool | Sequence[str]


@dataclass(frozen=True)
class Home:
    """The home folder of one run. Programs that run in environment() find nothing of the user's, and leave nothing."""

    folder: Path

    def __post_init__(self) -> None:
        for path in (self.config, self.data, self.cache, self.runtime):
            path.mkdir(parents=True)
        self.runtime.chmod(0o700)

    @property
    def config(self) -> Path:
        return self.folder / ".config"

    @property
    def data(self) -> Path:
        return self.folder / ".local" / "share"

    @property
    def cache(self) -> Path:
        return self.folder / ".cache"

    @property
    def runtime(self) -> Path:
        return self.folder / "run"

    @property
    def updater_data(self) -> Path:
        """The updater's application-local data folder."""
        return self.data / _ORGANISATION / "Tavlo3 Updater"

    @property
    def hand_over_file(self) -> Path:
        return self.updater_data / "settings.ini"

    @property
    def relocated_updater(self) -> Path:
        """The updater's copy of itself, which it works from."""
        return self.updater_data / "freshen" / "Freshen.exe"

    @property
    def debug_log(self) -> Path:
        return self.updater_data / "debug_update.log"

    @property
    def application_settings(self) -> Path:
        """The settings store of the application."""
        return self.config / _ORGANISATION / "Tavlo3.conf"

    def environment(self, language: str, tools: Path, system_root: Path) -> dict[str, str]:
        """The environment of a program: language (such as "de_DE") for its texts, the folder tools searched first for
        programs, system_root in place of the Windows folder. Nothing of this process's own environment is in it."""
        return {
            "HOME": str(self.folder),
            "XDG_CONFIG_HOME": str(self.config),
            "XDG_DATA_HOME": str(self.data),
            "XDG_CACHE_HOME": str(self.cache),
            "XDG_RUNTIME_DIR": str(self.runtime),
            # No bus but the one that a desktop brings: without this, a program would start one of its own.
            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.runtime}/no-bus",
            "PATH": f"{tools}{os.pathsep}{os.defpath}",
            # Qt takes the language of its texts from LANGUAGE even where the machine has no such locale; the character
            # set of file names comes from LANG, and this locale is always there.
            "LANG": "C.UTF-8",
            "LANGUAGE": language,
            # The one variable that may hold this word: the updater wants exactly one.
            "SYSTEMROOT": str(system_root),
        }


def write_settings(file: Path, settings: Mapping[str, Setting]) -> None:
    """Writes a settings store as Qt keeps it on this system. Keys are written as the program names them
    ("group/key")."""
    groups: dict[str, list[str]] = {}
    for key, value in settings.items():
        group, _, name = key.rpartition("/")
        top, _, rest = group.partition("/")
        stored = f"{rest}/{name}" if rest else name
        groups.setdefault(top or "General", []).append(stored.replace("/", "\\") + "=" + _stored(value))
    file.parent.mkdir(parents=True, exist_ok=True)
    sections = ("\n".join([f"[{group}]", *lines]) for group, lines in groups.items())
    file.write_text("\n\n".join(sections) + "\n", encoding="utf-8")


def _stored(value: Setting) -> str:
    if isinstance(value, bool):
        return str(value).lower()
    if isinstance(value, str):
        return _quoted(value)
    if isinstance(value, int):
        return str(value)
    # An empty list has a way of its own to be written.
    return ", ".join(map(_quoted, value)) or "@Invalid()"


def _quoted(text: str) -> str:
    """A text as it has to be written so that the program reads this text back."""
    if re.fullmatch(r"\w([\w./: -]*\w)?", text, re.ASCII):
        return text
    written = ""
    after_code = False
    for (unit,) in struct.iter_unpack(">H", ("@" + text if text.startswith("@") else text).encode("utf-16-be")):
        character = chr(unit)
        # A code swallows all hexadecimal digits that follow it.
        needs_code = not " " <= character <= "~" or character in '\\"' or after_code and character in string.hexdigits
        written += f"\\x{unit:x}" if needs_code else character
        after_code = needs_code
    return f'"{written}"'


@dataclass(frozen=True)
class ShellStart:
    """One start that the stand-in shell was asked for."""

    time: str
    # The id of the started process, or None where there was nothing to start.
    process: int | None
    arguments: tuple[str, ...]


@dataclass(frozen=True)
class StandInShell:
    """A folder that stands in for the Windows folder, with the stand-in of the desktop shell in it."""

    folder: Path

    def install(self, explorer: Path) -> None:
        self.folder.mkdir(parents=True)
        shutil.copy2(explorer, self.folder / "explorer.exe")

    def starts(self) -> list[ShellStart]:
        """The starts so far, the first one first."""
        log = self.folder / "explorer.log"
        if not log.exists():
            return []
        starts = []
        for line in log.read_text(encoding="utf-8").splitlines():
            time, process, *arguments = line.split("\t")
            starts.append(ShellStart(time, None if process == "-" else int(process), tuple(arguments)))
        return starts
