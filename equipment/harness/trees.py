"""Folders with all that is in them, as plain values: made, read, compared, and foretold."""

from __future__ import annotations

import os
import shutil
import stat
from collections.abc import Collection, Mapping
from dataclasses import dataclass
from pathlib import Path


@dataclass(frozen=True)
class Entry:
    """A file, or, without content, a folder."""

    content: bytes | None
    executable: bool = False

    @property
    def is_folder(self) -> bool:
        return self.content is None


FOLDER = Entry(None)

# The entries of a folder by their path in it, with "/" between the names. Each folder has an entry of its own.
Tree = dict[str, Entry]


def tree(entries: Mapping[str, Entry]) -> Tree:
    """The tree of these entries, with the folders that they lie in."""
    result: Tree = {}
    for path, entry in entries.items():
        names = path.split("/")
        for depth in range(1, len(names)):
            result["/".join(names[:depth])] = FOLDER
        result[path] = entry
    return result


def file(text: str) -> Entry:
    return Entry(text.encode())


def program(path: Path) -> Entry:
    """A copy of an executable."""
    return Entry(path.read_bytes(), executable=True)


def write(folder: Path, entries: Tree) -> None:
    """Makes folder, with these entries in it."""
    folder.mkdir(parents=True, exist_ok=True)
    for path, entry in sorted(entries.items()):
        target = folder / path
        if entry.content is None:
            target.mkdir(parents=True, exist_ok=True)
        else:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(entry.content)
            target.chmod(0o755 if entry.executable else 0o644)


def read(folder: Path) -> Tree:
    """What is in folder, hidden entries too."""
    result: Tree = {}
    for parent, folders, files in os.walk(folder):
        for name in folders:
            result[_inside(folder, parent, name)] = FOLDER
        for name in files:
            path = Path(parent, name)
            executable = bool(path.stat().st_mode & stat.S_IXUSR)
            result[_inside(folder, parent, name)] = Entry(path.read_bytes(), executable)
    return result


def remove(folder: Path) -> None:
    """Removes folder with everything in it, read-only folders too."""
    for parent, folders, _ in os.walk(folder):
        for name in folders:
            path = Path(parent, name)
            if not path.is_symlink():
                path.chmod(0o700)
    shutil.rmtree(folder, ignore_errors=True)


def after_cleaning(entries: Tree, files_to_keep: Collection[str]) -> Tree:
    """What the updater leaves of an installation when it cleans it: the files to keep, at the top only, and whatever is
    hidden, at any depth, with the folders that it lies in."""
    survivors: Tree = {}
    for path, entry in entries.items():
        names = path.split("/")
        is_kept = len(names) == 1 and not entry.is_folder and path in files_to_keep
        if is_kept or any(name.startswith(".") for name in names):
            survivors[path] = entry
    return tree(survivors)


def after_copying(entries: Tree, package: Tree) -> Tree:
    """What is there when the package has been copied over these entries."""
    return {**entries, **package}


def differences(expected: Tree, actual: Tree) -> list[str]:
    """One line for each entry that is not as expected; empty for equal trees."""
    lines = []
    for path in sorted(expected.keys() | actual.keys()):
        if path not in actual:
            lines.append(f"missing: {path}")
        elif path not in expected:
            lines.append(f"should not be there: {path}")
        elif expected[path] != actual[path]:
            lines.append(f"{_difference(expected[path], actual[path])}: {path}")
    return lines


def _difference(expected: Entry, actual: Entry) -> str:
    if expected.is_folder != actual.is_folder:
        return "not a folder" if expected.is_folder else "a folder, not a file"
    if expected.content != actual.content:
        return "other content"
    return "not executable" if expected.executable else "executable"


def _inside(folder: Path, parent: str, name: str) -> str:
    return Path(parent, name).relative_to(folder).as_posix()
