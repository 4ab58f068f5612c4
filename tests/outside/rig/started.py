"""An updater that has been started, on whatever system: its process, its log, and what it leaves in its folder."""

from __future__ import annotations

import os
import signal
import subprocess
import time
from pathlib import Path

import foldermodel
from foldermodel import Model
from harness.trees import Tree
from harness.waiting import PATIENCE, wait_for

from .evidence import LogLine, read_log
from .offers import SCRIPT
from .sight import Sight


class StartedUpdater:
    """What can be seen of an updater whose application-local data folder is updater_data."""

    def __init__(self, updater_data: Path) -> None:
        self.updater_data = updater_data
        self.is_on_windows = False
        # The application at its briefest.
        self.program = SCRIPT
        self.process: subprocess.Popen | None = None
        # What was in the installation before the start, if there was one.
        self.installed: dict[str, bytes | None] | None = None
        # What the test has seen of a fault, for docs/reliability.md.
        self.sight: Sight | None = None

    @property
    def out(self) -> Path:
        """The folder that packages are unpacked into."""
        return self.updater_data / "out"

    def stored_packages(self) -> list[Path]:
        return list(self.updater_data.glob("*.zip"))

    def known(self, entries: Tree) -> Tree:
        """These entries as far as the updater's system knows such."""
        return entries

    def possible(self, model: Model) -> Model:
        """Of the entries of an installation those that there can be on the updater's system, as there they are."""
        return model

    def packable(self, model: Model) -> Model:
        """The same of the entries of a package, which have to survive the way through "out" as well."""
        return model

    def comparable(self, model: Model) -> Model:
        """What was seen, in the words of possible()."""
        return model

    def make(self, root: Path, model: Model) -> None:
        """Makes the folder root with these entries, those hidden whose names begin with a full stop."""
        foldermodel.make(root, model)

    def called(self, path: Path) -> str:
        """What the updater calls a file or folder."""
        return str(path)

    def spellings(self, path: Path) -> list[str]:
        """The ways in which it writes the path of a file or folder."""
        return [self.called(path)]

    @property
    def parent(self) -> Path:
        """The folder above the updater that works: packages are stored and unpacked there."""
        return self.updater_data

    def inside(self, path: Path) -> Path:
        """A path as the running updater sees it, which may have disks of its own."""
        return path

    def processes(self) -> list[int]:
        """The ids of the running processes of the updater, and of those that it has started."""
        raise NotImplementedError

    def kill(self) -> None:
        """Ends all processes of this run at once, as a power failure does."""
        while running := self.processes():
            for pid in running:
                try:
                    os.kill(pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
            time.sleep(0.02)
        if self.process is not None:
            self.process.wait(5)

    def log(self) -> list[LogLine]:
        return read_log(self.updater_data / "debug_update.log")

    def log_texts(self) -> list[str]:
        return [line.text for line in self.log()]

    def wait_for_log(self, start: str, seconds: float = 20.0) -> LogLine:
        """Waits for a message that begins so, and returns the first one."""
        return wait_for(lambda: next((line for line in self.log() if line.text.startswith(start)), None),
                        f"the log line {start!r}", seconds)

    def is_running(self) -> bool:
        return self.process is not None and self.process.poll() is None

    def exit_code(self, seconds: float = 20.0) -> int:
        """Waits for the end of the started process (the relocated copy has a process of its own)."""
        assert self.process is not None
        return self.process.wait(seconds * PATIENCE)

    def evidence(self) -> str:
        """What is known of the updater, for the report of a failure."""
        state = "not started" if self.process is None else \
            "running" if self.process.poll() is None else f"ended with {self.process.returncode}"
        files = sorted(path.relative_to(self.updater_data).as_posix()
                       for path in self.updater_data.rglob("*")) if self.updater_data.exists() else []
        try:
            log = "\n".join(map(str, self.log())) or "(none)"
        except AssertionError as error:
            log = str(error)
        return f"updater: {state}\nfiles of the updater: {files[:60]}\n--- debug log\n{log}"
