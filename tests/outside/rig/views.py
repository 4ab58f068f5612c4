"""Programs that see files of the test's own in the place of some of the system's, while the system and all other
programs keep theirs."""

from __future__ import annotations

import os
import subprocess
from collections.abc import Mapping, Sequence
from pathlib import Path

# Where the system keeps the certificates that it trusts, and the hosts that it knows by name.
TRUSTED = Path("/etc/ssl/certs")
HOSTS = Path("/etc/hosts")


def seeing(replacements: Mapping[Path, Path], as_root: bool = False) -> list[str]:
    """The start of a command line: what follows runs, under the same process id, with each of the system's paths
    replaced. as_root: the program believes that it is root's; otherwise it knows its user, as does the desktop."""
    return after([f"mount --bind '{own}' '{path}'" for path, own in replacements.items()], as_root)


def read_only(*paths: Path) -> list[str]:
    """The start of a command line: what follows can write to none of these files and folders, be it root's."""
    return after([f"mount --bind '{path}' '{path}' && mount -o remount,bind,ro '{path}'" for path in paths])


def held(*files: Path) -> list[str]:
    """The start of a command line: what follows can read these files, and write to them, but not remove them, as if
    somebody had them open on Windows."""
    return after([f"mount --bind '{file}' '{file}'" for file in files])


def small_disk(folder: Path, room: int) -> list[str]:
    """The start of a command line: what follows has the folder on a disk of its own with room for so many bytes beside
    what is in the folder. Seen from elsewhere the folder stays as it is: see Run.inside()."""
    size = f"$(( $(du --summarize --block-size=1 '{folder}' | cut -f 1) + {room} ))"
    return after(["disk=$(mktemp -d)", f"mount -t tmpfs -o size={size},mode=755 tmpfs \"$disk\"",
                  f"cp -a '{folder}/.' \"$disk\"", f"mount --move \"$disk\" '{folder}'", "rmdir \"$disk\"",
                  # Where the command was started from is the folder as it was.
                  'cd "$PWD"'])


def after(commands: Sequence[str], as_root: bool = False) -> list[str]:
    """The start of a command line: what follows runs after these commands of the shell, which mount for it alone."""
    user = "" if as_root or os.getuid() == 0 else f"unshare --user --map-user={os.getuid()} --map-group={os.getgid()} "
    return ["unshare", "--mount", "--map-root-user", "sh", "-c", " && ".join([*commands, f'exec {user}"$@"']), "sh"]


def is_possible() -> bool:
    """Whether this machine allows such views."""
    return subprocess.run([*seeing({HOSTS: Path("/dev/null")}), "true"], stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=10).returncode == 0
