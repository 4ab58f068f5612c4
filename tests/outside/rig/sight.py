"""One fault as it shows: to the user, in the log, and on the disk."""

from __future__ import annotations

import os
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Sight:
    user: str
    log: tuple[str, ...]
    left: tuple[str, ...]


def contents(folder: Path) -> dict[str, bytes | None]:
    """The files of a folder by their path in it. Only empty folders are named, with a slash at the end."""
    found: dict[str, bytes | None] = {}
    for parent, folders, files in os.walk(folder):
        for name in (*files, *(name for name in folders if Path(parent, name).is_symlink())):
            path = Path(parent, name)
            found[path.relative_to(folder).as_posix()] = path.read_bytes() if path.is_file() else b""
        if not folders and not files and Path(parent) != folder:
            found[Path(parent).relative_to(folder).as_posix() + "/"] = None
    return found
