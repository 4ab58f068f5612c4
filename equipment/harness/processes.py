"""The processes below this one: found, awaited and ended, grandchildren that were started detached among them."""

import ctypes
import os
import signal
import time
from collections.abc import Iterator
from pathlib import Path, PureWindowsPath

from .waiting import wait_for

_PR_SET_CHILD_SUBREAPER = 36


def adopt_orphans() -> None:
    """From now on a process below this one whose parent ends becomes a child of this one. So nothing that was started
    detached gets lost, and its exit code can be read."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


def descendants(root: int | None = None) -> Iterator[int]:
    """The process ids below root (below this process by default), parents first. Ended processes do not count."""
    children: dict[int, list[int]] = {}
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            parent = _parent(int(entry.name))
            if parent is not None:
                children.setdefault(parent, []).append(int(entry.name))
    waiting = list(children.get(os.getpid() if root is None else root, []))
    while waiting:
        pid = waiting.pop(0)
        yield pid
        waiting += children.get(pid, [])


def find(program: Path, *arguments: str) -> int | None:
    """The id of the process below this one that runs program with exactly these arguments, or None."""
    for pid in descendants():
        try:
            executable = os.readlink(f"/proc/{pid}/exe")
            command = Path(f"/proc/{pid}/cmdline").read_bytes()
        except OSError:
            continue
        if executable == os.path.realpath(program) and _arguments(command)[1:] == list(arguments):
            return pid
    return None


def find_by_name(name: str) -> int | None:
    """The id of a process below this one whose command line names a program or script called name, or None."""
    for pid in descendants():
        try:
            command = Path(f"/proc/{pid}/cmdline").read_bytes()
        except OSError:
            continue
        # A program of Windows separates folders in its own way.
        if any(PureWindowsPath(argument).name == name for argument in _arguments(command)[:2]):
            return pid
    return None


def wait_for_exit(pid: int, seconds: float) -> int:
    """Waits until this process's child pid has ended; returns its exit code (negative: the signal that ended it)."""
    def status() -> tuple[int, int] | None:
        ended, value = os.waitpid(pid, os.WNOHANG)
        return (ended, value) if ended else None

    return os.waitstatus_to_exitcode(wait_for(status, f"the end of process {pid}", seconds)[1])


def end_descendants(seconds: float = 3.0) -> None:
    """Ends every process below this one: asks it first, and kills what has not ended in time."""
    for number, patience in ((signal.SIGTERM, seconds), (signal.SIGKILL, seconds)):
        for pid in list(descendants()):
            _send(pid, number)
        end = time.monotonic() + patience
        while True:
            _reap()
            if not list(descendants()):
                return
            if time.monotonic() >= end:
                break
            time.sleep(0.02)


def _parent(pid: int) -> int | None:
    try:
        # The name stands in brackets and may hold anything, brackets and blanks too; state and parent follow it.
        state, parent = Path(f"/proc/{pid}/stat").read_text(errors="replace").rpartition(")")[2].split()[:2]
    except (OSError, ValueError):
        return None
    return None if state in "ZX" else int(parent)


def _arguments(command: bytes) -> list[str]:
    return [os.fsdecode(argument) for argument in command.split(b"\0")[:-1]]


def _send(pid: int, number: int) -> None:
    try:
        os.kill(pid, number)
    except ProcessLookupError:
        pass


def _reap() -> None:
    try:
        while os.waitpid(-1, os.WNOHANG)[0]:
            pass
    except ChildProcessError:
        pass
