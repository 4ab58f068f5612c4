"""Folders as a test states them: files with their rights, links and pipes too. Made on disk, read back, compared, and
foretold: what an installation becomes when the updater cleans it and copies a package over it.

The prophecy works on the stated entries alone. It shares nothing with the updater but the words of the manual: visible
files at the top go unless they are to be kept, folders are emptied whatever they hold, links to folders are followed,
hidden entries stay, and a folder stays as long as anything in it does.
"""

from __future__ import annotations

import os
import shutil
import stat
from collections.abc import Collection, Iterable
from dataclasses import dataclass
from pathlib import Path, PurePosixPath


@dataclass(frozen=True)
class File:
    content: bytes
    mode: int = 0o644


@dataclass(frozen=True)
class Folder:
    pass


@dataclass(frozen=True)
class Link:
    """Leads to a path that counts from the link's own folder."""

    target: str


@dataclass(frozen=True)
class Pipe:
    """What the system offers beside files and folders."""


Node = File | Folder | Link | Pipe

# Entries by their path, "/" between the names. A folder that holds something need not be named.
Model = dict[str, Node]


def completed(model: Model) -> Model:
    """The model with every folder named."""
    folders: Model = {str(parent): Folder() for path in model for parent in PurePosixPath(path).parents
                      if parent.name}
    return {**folders, **model}


def make(root: Path, model: Model) -> None:
    """Makes the folder root with these entries in it."""
    root.mkdir(parents=True, exist_ok=True)
    for path, node in completed(model).items():
        target = root / path
        target.parent.mkdir(parents=True, exist_ok=True)
        if isinstance(node, Folder):
            target.mkdir(exist_ok=True)
        elif isinstance(node, Link):
            target.symlink_to(node.target)
        elif isinstance(node, Pipe):
            os.mkfifo(target)
        else:
            target.write_bytes(node.content)
            target.chmod(node.mode)


def look(root: Path) -> Model:
    """What is in the folder root. Links are not followed."""
    model: Model = {}
    for parent, folders, files in os.walk(root):
        for name in (*folders, *files):
            path = Path(parent, name)
            inside = path.relative_to(root).as_posix()
            status = path.lstat()
            if stat.S_ISLNK(status.st_mode):
                model[inside] = Link(os.readlink(path))
            elif stat.S_ISDIR(status.st_mode):
                model[inside] = Folder()
            elif stat.S_ISFIFO(status.st_mode):
                model[inside] = Pipe()
            else:
                model[inside] = File(_content(path, status), stat.S_IMODE(status.st_mode))
    return model


def _content(path: Path, status: os.stat_result) -> bytes:
    """What is in a file, also where its rights let only root read it."""
    if os.access(path, os.R_OK):
        return path.read_bytes()
    path.chmod(0o400)
    try:
        return path.read_bytes()
    finally:
        path.chmod(stat.S_IMODE(status.st_mode))


def empty(root: Path) -> None:
    """Removes the folder root with all that is in it, read-only or not."""
    for parent, folders, _ in os.walk(root):
        for name in folders:
            path = Path(parent, name)
            if not path.is_symlink():
                path.chmod(0o700)
    shutil.rmtree(root, ignore_errors=True)


def differences(expected: Model, seen: Model) -> list[str]:
    """One line for each entry that is not as expected; empty if both are equal."""
    expected, seen = completed(expected), completed(seen)
    lines = []
    for path in sorted(expected.keys() | seen.keys()):
        if path not in seen:
            lines.append(f"missing: {path}")
        elif path not in expected:
            lines.append(f"should not be there: {path}")
        elif expected[path] != seen[path]:
            lines.append(f"{path}: expected {_short(expected[path])}, seen {_short(seen[path])}")
    return lines


def _short(node: Node) -> str:
    if isinstance(node, File):
        return f"{len(node.content)} bytes {node.content[:40]!r} with rights {node.mode:o}"
    return repr(node)


def after_cleaning(world: Model, top: str, kept: Collection[str]) -> Model:
    """What the cleaning of the folder top leaves of a world that holds it, and perhaps folders that its links lead
    to."""
    world = completed(world)
    doomed = {path for path in world
              if _parent(path) == top and _is_visible_file(world, path) and _name(path) not in kept}
    for path in world:
        if _parent(path) == top:
            doomed |= _emptied(world, path)
    left = {path: node for path, node in world.items() if path not in doomed}
    return _without_bare_folders(left, world, top)


def after_copying(installed: Model, package: Model) -> Model:
    """What is there when a package's folder has been copied over an installation."""
    return {**completed(installed), **completed(package)}


def last_entry(names: Iterable[str]) -> str:
    """The one of several top entries of a package that is installed: the last by name, capitals or not."""
    return max(names, key=str.casefold)


def _emptied(world: Model, path: str) -> set[str]:
    """The files that go when the entry at path is removed as a folder: all visible ones below it, also behind links."""
    folder = _folder_behind(world, path)
    if folder is None or _is_hidden(path):
        return set()
    gone: set[str] = set()
    for child in world:
        if _parent(child) == folder:
            if _is_visible_file(world, child):
                gone.add(child)
            gone |= _emptied(world, child)
    return gone


def _without_bare_folders(left: Model, world: Model, top: str) -> Model:
    """Removes the folders that the cleaning has entered and that hold nothing any more."""
    entered = _entered(world, top)
    while True:
        bare = {path for path in left if path in entered and isinstance(left[path], Folder)
                and not any(_parent(child) == path for child in left)}
        if not bare:
            return left
        left = {path: node for path, node in left.items() if path not in bare}


def _entered(world: Model, folder: str) -> set[str]:
    """The folders that are removed if they can be: those below folder, and below folders that links lead to. What a
    link itself leads to is emptied but not removed."""
    result: set[str] = set()
    for child in world:
        if _parent(child) == folder and not _is_hidden(child):
            behind = _folder_behind(world, child)
            if behind is not None:
                result |= ({child} if behind == child else set()) | _entered(world, behind)
    return result


def _folder_behind(world: Model, path: str) -> str | None:
    """The path of the folder that path names, itself or through links, or None if it names no folder."""
    for _ in range(8):
        node = world.get(path)
        if not isinstance(node, Link):
            return path if isinstance(node, Folder) else None
        path = os.path.normpath(f"{_parent(path)}/{node.target}")
    return None


def _is_visible_file(world: Model, path: str) -> bool:
    """Whether path is a file, or a link to one, that a folder's listing shows."""
    node, end = world[path], path
    for _ in range(8):
        if not isinstance(node, Link):
            break
        end = os.path.normpath(f"{_parent(end)}/{node.target}")
        node = world.get(end)
    return isinstance(node, File) and not _is_hidden(path)


def _is_hidden(path: str) -> bool:
    return _name(path).startswith(".")


def _name(path: str) -> str:
    return path.rpartition("/")[2]


def _parent(path: str) -> str:
    return path.rpartition("/")[0]
