"""Programs that see files of the test's own in the place of some of the system's, while the system and all other
programs keep theirs."""

from __future__ import annotations

import os
import subprocess
from collections.abc import Mapping
from pathlib import Path

# Where the system keeps the certificates that it trusts, and the hosts that it knows by name.
TRUSTED = Path("/etc/ssl/certs")
HOSTS = Path("/etc/hosts")


def seeing(replacements: Mapping[Path, Path], as_root: bool = False) -> list[str]:
    """The start of a command line: what follows runs, under the same process id, with each of the system's paths
    replaced. as_root: the program believes that it is root's; otherwise it knows its user, as does the desktop."""
    mounts = [f"mount --bind '{own}' '{path}'" for path, own in replacements.items()]
    user = "" if as_root or os.getuid() == 0 else f"unshare --user --map-user={os.getuid()} --map-group={os.getgid()} "
    return ["unshare", "--mount", "--map-root-user", "sh", "-c", " && ".join([*mounts, f'exec {user}"$@"']), "sh"]


def is_possible() -> bool:
    """Whether this machine allows such views."""
    return subprocess.run([*seeing({HOSTS: Path("/dev/null")}), "true"], stdin=subprocess.DEVNULL, capture_output=True,
                          timeout=10).returncode == 0
