"""A process list of its own for a program and all that it starts, where the system allows it (Linux namespaces).

A running Tavlopc.exe holds every updater that sees it. A secluded updater sees only what was started with it, whatever
else runs on the machine. It may also be kept off the network, and off writing to some folders: for the root user that
takes more than the folders' rights. It keeps its user, so that the desktop, which asks for it, knows it.
"""

from __future__ import annotations

import functools
import os
import subprocess
import sys
from collections.abc import Sequence
from dataclasses import dataclass
from pathlib import Path

# The first process of the list: takes in orphans, notes how each process ended, and ends when none is left.
_INIT = """\
import os, subprocess, sys
ends = open(sys.argv[1], "a", buffering=1)
user, group = sys.argv[2:4]
last = 4 + int(sys.argv[4])
for folder in sys.argv[5:last + 1]:
    subprocess.run(["mount", "--bind", folder, folder], check=True)
    subprocess.run(["mount", "-o", "remount,bind,ro", folder], check=True)
program = sys.argv[last + 1:]
if user != "0":
    program = ["/usr/bin/unshare", "--user", "--map-user=" + user, "--map-group=" + group, "--", *program]
os.posix_spawn(program[0], program, os.environ)
while True:
    try:
        end = os.waitid(os.P_ALL, 0, os.WEXITED | os.WNOWAIT)
    except ChildProcessError:
        break
    with open(f"/proc/{end.si_pid}/comm", errors="replace") as name:
        program = name.read().rstrip("\\n")
    code = os.waitstatus_to_exitcode(os.waitpid(end.si_pid, 0)[1])
    ends.write(f"{program}\\t{code}\\n")
"""


@dataclass(frozen=True)
class End:
    """The end of a secluded process."""

    program: str
    # Negative: the signal that ended it.
    exit_code: int


@functools.cache
def namespace_command() -> tuple[str, ...] | None:
    """The beginning of a command that runs in a process list of its own, or None where the system refuses that."""
    as_root = () if os.geteuid() == 0 else ("--user", "--map-root-user")
    command = ("unshare", *as_root, "--pid", "--fork", "--kill-child", "--mount-proc")
    try:
        test = subprocess.run([*command, "true"], stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                              stderr=subprocess.DEVNULL, timeout=20)
    except (OSError, subprocess.TimeoutExpired):
        return None
    return command if test.returncode == 0 else None


def secluded(program: Path, *arguments: str, ends: Path, network: bool = True,
             read_only: Sequence[Path] = ()) -> list[str]:
    """The command that runs program secluded; it ends when program and all that was started from it have ended, and
    ending it ends them all. How they ended is noted in the file ends. The folders read_only are so to the program;
    without network it has not even a loopback address."""
    namespace = namespace_command()
    if namespace is None:
        raise OSError("this system allows no process list of one's own")
    # -I: the settings of the program's environment are not for the interpreter.
    return [*namespace, *(() if network else ("--net",)), sys.executable, "-I", "-S", "-c", _INIT, str(ends),
            str(os.geteuid()), str(os.getegid()), str(len(read_only)), *map(str, read_only), str(program), *arguments]


def read_ends(file: Path) -> list[End]:
    """The processes that have ended so far, the first one first."""
    if not file.exists():
        return []
    fields = (line.split("\t") for line in file.read_text(encoding="utf-8", errors="replace").splitlines())
    return [End(program, int(code)) for program, code in fields]
