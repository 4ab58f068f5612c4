"""What a program sees of the system: a process list of its own, files of the test's in the place of the system's, small
disks, files that cannot be written to or removed. The system and all other programs keep theirs. Nobody has root's
rights in it, so a file that is read-only is so for root too."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from pathlib import Path

_PAGE = 4096
# Exists everywhere, and the programs that are tried do not look there.
_ASIDE = "/mnt"
# Fills a small disk with what was in its folder; rights come last, since a folder may deny its owner.
_FILL = 'cp -a "$0/." "$1" && shift && exec "$@"'


def sandboxed(
        *,
        # The test's own files and folders in the place of the system's: {system's: own}.
        replaced: Mapping[Path, Path] = {},
        read_only: Iterable[Path] = (),
        # Can be read and written to, but not removed, as if somebody had them open on Windows.
        held: Iterable[Path] = (),
        # The folder is on a disk of its own, with room for so many bytes beside what is in it. See Updater.inside().
        small_disk: tuple[Path, int] | None = None,
        # The program believes that it is this user's: 0 is root.
        user: int | None = None) -> list[str]:
    """The start of a command line: what follows runs in a sandbox. The exit code comes as soon as the program has ended
    (128 and more: a signal). What it has started and left behind lives on, until it ends or is killed."""
    options = ["--bind", "/", "/", "--dev-bind", "/dev", "/dev", "--unshare-pid", "--proc", "/proc"]
    if user is not None:
        options += ["--unshare-user", "--uid", str(user), "--gid", str(user)]
    options += ["--cap-add" if user == 0 else "--cap-drop", "ALL"]
    fill: list[str] = []
    if small_disk:
        folder, room = small_disk
        options += ["--ro-bind", str(folder), _ASIDE, "--size", str(_used(folder) + room), "--tmpfs", str(folder)]
        # The program may be started from one of these.
        options += [word for path in sorted(folder.rglob("*")) if path.is_dir() and not path.is_symlink()
                    for word in ("--dir", str(path))]
        fill = ["/bin/sh", "-c", _FILL, _ASIDE, str(folder)]
    for system, own in replaced.items():
        options += ["--bind", str(own), str(system.resolve())]
    for path in read_only:
        options += ["--ro-bind", str(path), str(path)]
    for path in held:
        options += ["--bind", str(path), str(path)]
    return ["bwrap", *options, "--", *fill]


def _used(folder: Path) -> int:
    """What the files of a folder take of a disk in memory."""
    files = (path for path in folder.rglob("*") if path.is_file() and not path.is_symlink())
    return sum(-(-path.stat().st_size // _PAGE) * _PAGE for path in files)
