"""The processes below this one: found and ended, grandchildren that were started detached among them."""

from __future__ import annotations

import ctypes
import os
from collections.abc import Callable
from contextlib import suppress
from pathlib import Path, PureWindowsPath

import psutil

from .waiting import wait_for

_PR_SET_CHILD_SUBREAPER = 36


def adopt_orphans() -> None:
    """From now on a process below this one whose parent ends becomes a child of this one, so that nothing that was
    started detached gets lost."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


def descendants() -> list[int]:
    """The ids of the processes below this one that have not ended, parents first."""
    return [process.pid for process in psutil.Process().children(recursive=True) if command(process.pid)]


def command(pid: int) -> list[str]:
    """The command line of a process; empty if it has ended."""
    # Wine leaves out the end of the last argument, which others guess it by.
    with suppress(OSError):
        words = Path(f"/proc/{pid}/cmdline").read_bytes().rstrip(b"\0").split(b"\0")
        return [os.fsdecode(word) for word in words if word]
    return []


def name(pid: int) -> str:
    """The name of the program that a process runs; empty if it has ended."""
    # A program of Windows separates folders in its own way.
    return PureWindowsPath(*command(pid)[:1]).name


def find(*names: str) -> list[int]:
    """The processes below this one that run programs, or scripts, of these names."""
    return [pid for pid in descendants() if any(PureWindowsPath(word).name in names for word in command(pid)[:2])]


def by_environment(variable: str, value: str) -> list[int]:
    """The processes below this one that were started with this value of the variable."""
    found = []
    for pid in descendants():
        with suppress(psutil.Error):
            if psutil.Process(pid).environ().get(variable) == value:
                found.append(pid)
    return found


def end(running: Callable[[], list[int]]) -> None:
    """Kills the processes, and those that take their place meanwhile, until there are none."""
    def are_gone() -> bool:
        pids = running()
        for pid in pids:
            with suppress(psutil.Error):
                psutil.Process(pid).kill()
        return not pids

    wait_for(are_gone, "the end of processes", 10, interval=0.02)


def end_descendants() -> None:
    """Ends every process below this one: asks it first, and kills what has not ended in time."""
    children = psutil.Process().children(recursive=True)
    for child in children:
        with suppress(psutil.Error):
            child.terminate()
    psutil.wait_procs(children, 3)
    end(descendants)
