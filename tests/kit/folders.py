"""Folders as a test states them: files with their rights, links and pipes too. Made on disk, read back, compared, and
predicted: what an installation becomes when the updater cleans it and copies a package over it."""

from __future__ import annotations

import os
import shutil
import stat
import tempfile
from collections.abc import Collection, Iterator
from contextlib import contextmanager, suppress
from dataclasses import dataclass
from pathlib import Path, PurePosixPath
from posixpath import basename, dirname


@dataclass(frozen=True)
class File:
    content: bytes
    mode: int = 0o644

    def __repr__(self) -> str:
        return f"File({len(self.content)} bytes, {self.content[:40]!r}, 0o{self.mode:o})"


@dataclass(frozen=True)
class Folder:
    pass


@dataclass(frozen=True)
class Link:
    # Counts from the link's own folder.
    target: str


@dataclass(frozen=True)
class Pipe:
    """What the system offers beside files and folders."""


Node = File | Folder | Link | Pipe

# Entries by their path, "/" between the names. A folder that holds something need not be named.
Tree = dict[str, Node]


def text(content: str) -> File:
    return File(content.encode())


def program(path: Path) -> File:
    """A copy of an executable."""
    return File(path.read_bytes(), 0o755)


def completed(tree: Tree) -> Tree:
    """The tree with every folder named."""
    folders: Tree = {str(parent): Folder() for path in tree for parent in PurePosixPath(path).parents if parent.name}
    return {**folders, **tree}


def below(folder: str, tree: Tree) -> Tree:
    """The tree inside a folder."""
    return {f"{folder}/{path}": node for path, node in tree.items()}


def inside(folder: str, tree: Tree) -> Tree:
    """What the tree has in this folder."""
    return {path.removeprefix(f"{folder}/"): node for path, node in tree.items() if path.startswith(f"{folder}/")}


# --- on disk

def make(root: Path, tree: Tree) -> None:
    """Makes the folder root with these entries in it."""
    root.mkdir(parents=True, exist_ok=True)
    for path, node in completed(tree).items():
        target = root / path
        match node:
            case Folder():
                target.mkdir(parents=True, exist_ok=True)
            case Link():
                target.symlink_to(node.target)
            case Pipe():
                os.mkfifo(target)
            case File():
                target.write_bytes(node.content)
                target.chmod(node.mode)


def look(root: Path, besides: Collection[Path] = ()) -> Tree:
    """What is in the folder root, nothing if there is none, besides these places. Links are not followed. What goes
    while it is looked at is left out."""
    tree: Tree = {}
    with suppress(FileNotFoundError), _readable(root):
        for path in sorted(set(root.iterdir()).difference(besides)):
            with suppress(FileNotFoundError):
                tree[path.name] = _node(path)
                if tree[path.name] == Folder():
                    tree |= below(path.name, look(path, besides))
    return tree


def _node(path: Path) -> Node:
    if path.is_symlink():
        return Link(os.readlink(path))
    if path.is_dir():
        return Folder()
    if path.is_fifo():
        return Pipe()
    with _readable(path) as mode:
        return File(path.read_bytes(), mode)


@contextmanager
def _readable(path: Path) -> Iterator[int]:
    """Lets its owner look into a file or folder whose rights, which are given, may deny that."""
    mode = stat.S_IMODE(path.stat().st_mode)
    needed = stat.S_IRUSR | (stat.S_IXUSR if path.is_dir() else 0)
    if mode & needed == needed:
        yield mode
        return
    path.chmod(mode | needed)
    try:
        yield mode
    finally:
        path.chmod(mode)


@contextmanager
def temporary(prefix: str = "freshen-", parent: Path | None = None) -> Iterator[Path]:
    """An empty folder with a short path (sockets), private, gone afterwards."""
    with tempfile.TemporaryDirectory(prefix=prefix, dir=parent, ignore_cleanup_errors=True) as path:
        yield Path(path)


def remove(root: Path) -> None:
    """Removes the folder root, if there is one."""
    shutil.rmtree(root, ignore_errors=True)


# --- comparisons

def leaves(tree: Tree) -> list[str]:
    """The paths in order, but of the folders only the empty ones, with "/" at the end."""
    holders = {dirname(path) for path in tree}
    return sorted(f"{path}/" if node == Folder() else path for path, node in tree.items() if path not in holders)


def differences(expected: Tree, seen: Tree) -> list[str]:
    """One line for each entry that is not as expected."""
    expected, seen = completed(expected), completed(seen)
    return [f"{path}: expected {expected.get(path)}, seen {seen.get(path)}"
            for path in sorted(expected.keys() | seen.keys()) if expected.get(path) != seen.get(path)]


# --- predictions

def after_cleaning(world: Tree, top: str, kept: Collection[str]) -> Tree:
    """What the cleaning of the folder top leaves of a world that holds it, and perhaps folders that its links lead to.

    It shares nothing with the updater but the words of the manual: visible files at the top go unless they are to be
    kept, folders are emptied whatever they hold, links to folders are followed, hidden entries stay, and a folder stays
    as long as anything in it does, as does one that only a link leads to."""
    world = completed(world)
    left, entered = dict(world), set[str]()

    def clean(folder: str, kept: Collection[str]) -> None:
        for path in (path for path in world if dirname(path) == folder and not basename(path).startswith(".")):
            end = _end(world, path)
            if isinstance(world.get(end), File) and basename(path) not in kept:
                left.pop(path, None)
            elif isinstance(world.get(end), Folder):
                clean(end, ())
                if end == path:
                    entered.add(path)

    clean(top, kept)
    for path in sorted(entered, key=len, reverse=True):
        if all(dirname(other) != path for other in left):
            del left[path]
    return left


def after_copying(installed: Tree, package: Tree) -> Tree:
    """What is there when a package's folder has been copied over an installation."""
    return {**completed(installed), **completed(package)}


def _end(world: Tree, path: str) -> str:
    """The path that a path leads to, itself or through links."""
    for _ in range(8):
        if isinstance(node := world.get(path), Link):
            path = os.path.normpath(os.path.join(dirname(path), node.target))
    return path
