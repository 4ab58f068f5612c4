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


def look(root: Path) -> Tree:
    """What is in the folder root, nothing if there is none, also where rights deny it to its owner. Links are not
    followed. What goes while it is looked at is left out."""
    tree: Tree = {}
    with suppress(FileNotFoundError), _readable(root, 0o500):
        for path in sorted(root.iterdir()):
            with suppress(FileNotFoundError):
                tree[path.name] = _node(path)
                if tree[path.name] == Folder():
                    tree |= below(path.name, look(path))
    return tree


def contents(root: Path) -> dict[str, bytes | None]:
    """The files of a folder by their path in it. Only empty folders are named, with a slash at the end."""
    tree = look(root)
    holders = {_parent(path) for path in tree}
    found: dict[str, bytes | None] = {}
    for path, node in tree.items():
        if isinstance(node, File):
            found[path] = node.content
        elif not isinstance(node, Folder):
            found[path] = (root / path).read_bytes() if (root / path).is_file() else b""
        elif path not in holders:
            found[f"{path}/"] = None
    return found


@contextmanager
def temporary(prefix: str = "freshen-", parent: Path | None = None) -> Iterator[Path]:
    """An empty folder with a short path (sockets), private, gone afterwards."""
    path = Path(tempfile.mkdtemp(prefix=prefix, dir=parent))
    try:
        yield path
    finally:
        remove(path)


def remove(root: Path) -> None:
    """Removes the folder root with all that is in it, whatever its rights."""
    if root.is_dir() and not root.is_symlink():
        root.chmod(0o700)
    for parent, folders, _ in os.walk(root):
        for path in (Path(parent, name) for name in folders):
            if not path.is_symlink():
                path.chmod(0o700)
    shutil.rmtree(root, ignore_errors=True)


def _node(path: Path) -> Node:
    status = path.lstat()
    if stat.S_ISLNK(status.st_mode):
        return Link(os.readlink(path))
    if stat.S_ISDIR(status.st_mode):
        return Folder()
    if stat.S_ISFIFO(status.st_mode):
        return Pipe()
    with _readable(path, 0o400):
        return File(path.read_bytes(), stat.S_IMODE(status.st_mode))


@contextmanager
def _readable(path: Path, rights: int) -> Iterator[None]:
    """Gives the owner these rights for a while, where they are missing."""
    mode = stat.S_IMODE(path.lstat().st_mode)
    is_denied = mode & rights != rights and os.geteuid() != 0
    if is_denied:
        path.chmod(mode | rights)
    try:
        yield
    finally:
        if is_denied:
            path.chmod(mode)


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
        for path in (path for path in world if _parent(path) == folder and not _name(path).startswith(".")):
            end = _end(world, path)
            if isinstance(world.get(end), File) and _name(path) not in kept:
                left.pop(path, None)
            elif isinstance(world.get(end), Folder):
                clean(end, ())
                if end == path:
                    entered.add(path)

    clean(top, kept)
    for path in sorted(entered, key=len, reverse=True):
        if all(_parent(other) != path for other in left):
            del left[path]
    return left


def after_copying(installed: Tree, package: Tree) -> Tree:
    """What is there when a package's folder has been copied over an installation."""
    return {**completed(installed), **completed(package)}


def _end(world: Tree, path: str) -> str:
    """The path that a path leads to, itself or through links."""
    for _ in range(8):
        if isinstance(node := world.get(path), Link):
            path = os.path.normpath(os.path.join(_parent(path), node.target))
    return path


def _name(path: str) -> str:
    return path.rpartition("/")[2]


def _parent(path: str) -> str:
    return path.rpartition("/")[0]
