"""One run of the updater: a private home with its settings, the program in its place, and what came of it."""

from __future__ import annotations

import os
import shutil
import signal
import subprocess
import time
from collections.abc import Mapping, Sequence
from dataclasses import dataclass
from pathlib import Path

from harness import processes
from harness.desktop import Desktop
from harness.installation import Home, Setting, StandInShell, write_settings
from harness.waiting import PATIENCE

from .evidence import LogLine, read_log
from .screen import Screen
from .sight import contents
from .started import StartedUpdater

# The settings that the tests start from: an installed version, no proxy, plain HTTP.
INSTALLED: dict[str, Setting] = {"version_main": "26", "version_minor": "05", "version_state": "Stable",
                                 "proto2": "http", "host2": "127.0.0.1"}


# The leaks that are not the updater's.
_KNOWN_LEAKS = Path(__file__).resolve().parents[2] / "leaks.supp"


@dataclass(frozen=True)
class Programs:
    """The built programs."""

    freshen: Path
    equipment: Path


def sanitizer_options(folder: Path) -> dict[str, str]:
    """The variables that have a program built with sanitizers, and all that it starts, write what they find into
    folder. Others do not know them."""
    common = f"log_path='{folder}/sanitizer'"
    return {"ASAN_OPTIONS": f"{common}:detect_leaks=1:detect_stack_use_after_return=1",
            "UBSAN_OPTIONS": f"{common}:print_stacktrace=1",
            "LSAN_OPTIONS": f"{common}:suppressions='{_KNOWN_LEAKS}':print_suppressions=0"}


def sanitizer_reports(folder: Path) -> str:
    """What sanitizers have found so far, or an empty text."""
    return "\n".join(file.read_text(errors="replace") for file in sorted(folder.glob("sanitizer.*")))


class Run(StartedUpdater):
    """A home, an installation folder, and the updater in either of its two places. end() ends every process that was
    started with this home, detached ones too."""

    def __init__(self, folder: Path, programs: Programs, language: str = "en_US") -> None:
        self.folder = folder
        self.language = language
        self.home = Home(folder / "home")
        super().__init__(self.home.updater_data)
        self.installation = folder / "Program Files" / "Tavlopro"
        self.shell = StandInShell(folder / "windows")
        self.desktop: Desktop | None = None
        self._parent: Path | None = None
        self._has_view = False
        self._programs = programs
        self._output = folder / "output.txt"
        self.shell.install(programs.equipment / "explorer.exe")

    # --- before the start

    def write_settings(self, settings: Mapping[str, Setting] | None = None, **more: Setting) -> None:
        """Writes the application's settings: INSTALLED, and these on top of it. None takes a key away."""
        merged = {**INSTALLED, **(settings or {}), **more}
        write_settings(self.home.application_settings,
                       {key: value for key, value in merged.items() if value is not None})

    def write_own_settings(self, **settings: Setting) -> None:
        """Writes the settings that the updater keeps for itself."""
        write_settings(self.home.application_settings.with_name("Tavlo3 Updater.conf"), settings)

    def place_relocated(self) -> Path:
        """Puts the updater where its own relocation puts it, with the hand-over file, and returns the program."""
        program = self.home.relocated_updater
        if not program.exists():
            program.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(self._programs.freshen, program)
            self.home.hand_over_file.write_text(str(self.installation), encoding="utf-8")
        return program

    def place_installed(self) -> Path:
        """Puts the updater into the installation folder and returns the program."""
        program = self.installation / "Freshen.exe"
        self.installation.mkdir(parents=True, exist_ok=True)
        shutil.copy2(self._programs.freshen, program)
        return program

    def environment(self) -> dict[str, str]:
        variables = self.home.environment(self.language, self._programs.equipment, self.shell.folder)
        variables |= sanitizer_options(self.folder.parent)
        if self.desktop is None:
            return {**variables, "QT_QPA_PLATFORM": "offscreen"}
        return {**variables, **self.desktop.environment}

    def copying(self, script: str) -> dict[str, str]:
        """The variables of an updater whose copying program is this script. The usual one is "$USUAL"."""
        tools = self.folder / "tools"
        tools.mkdir()
        (tools / "xcopy.exe").write_text(f"#!/bin/bash\n{script}\n")
        (tools / "xcopy.exe").chmod(0o755)
        path = self.environment()["PATH"]
        return {"PATH": f"{tools}{os.pathsep}{path}", "USUAL": f"{path.partition(os.pathsep)[0]}/xcopy.exe",
                "DATA": str(self.home.updater_data)}

    def copying_ends_with(self, code: int) -> dict[str, str]:
        """The variables of an updater whose copying program ends at once, with this code."""
        return self.copying(f"exit {code}")

    def copying_waits(self) -> dict[str, str]:
        """The variables of an updater whose copying program waits for a minute before it copies."""
        return self.copying("sleep 60")

    def start(self, *arguments: str, desktop: Desktop | None = None, program: Path | None = None,
              variables: Mapping[str, str] | None = None, through: Sequence[str] = ()) -> None:
        """Starts the updater: on a desktop if one is given, else without any display. Without arguments it is the one
        in the installation, with arguments the relocated copy, if program does not say otherwise. through is a command
        that runs the rest of its command line under the same process id."""
        self.desktop = desktop or self.desktop
        if program is None:
            program = self.place_relocated() if arguments else self.place_installed()
        self._has_view = bool(through)
        # Without arguments it is the relocated copy that works.
        self._parent = program.parent.parent if arguments else self.home.updater_data
        self.installed = contents(self.installation) if self.installation.exists() else None
        with open(self._output, "ab") as output:
            self.process = subprocess.Popen(
                [*through, program, *arguments], cwd=program.parent, env={**self.environment(), **(variables or {})},
                stdin=subprocess.DEVNULL, stdout=output, stderr=output, start_new_session=True)

    # --- while it runs, and afterwards

    def places(self) -> list[tuple[Path, str]]:
        """Places that logs name, with a short name of each, the inner ones first."""
        return [(self.home.updater_data, "DATA"), (self.installation, "INSTALLATION"),
                (self.installation.parent, "PROGRAMS"), (self.shell.folder, "WINDOWS"), (self.folder, "RUN")]

    def beside(self) -> dict[str, bytes | None]:
        """Everything around the run that the updater has no business with, by its path."""
        own = (self.home.updater_data, self.home.config, self.home.cache, self.folder / "output.txt")
        return {path: content for path, content in contents(self.folder).items()
                if not any((self.folder / path).is_relative_to(place) for place in own)}

    def screen(self, desktop: Desktop) -> Screen:
        """What a user sees of it."""
        return Screen(desktop)

    def starts(self) -> list[tuple[str, ...]]:
        """What the desktop's shell was asked to start so far, each with all arguments."""
        return [start.arguments for start in self.shell.starts()]

    @property
    def parent(self) -> Path:
        """The folder above the updater that works: packages are stored and unpacked there."""
        assert self._parent is not None
        return self._parent

    def inside(self, path: Path) -> Path:
        """A path as the running updater sees it, which may have disks of its own."""
        if not (self._has_view and self.is_running()):
            return path
        return Path(f"/proc/{self.process.pid}/root", *path.parts[1:])

    def log(self) -> list[LogLine]:
        return read_log(self.inside(self.home.debug_log))

    def output(self) -> str:
        """What came on standard output and standard error."""
        return self._output.read_text(encoding="utf-8", errors="backslashreplace") if self._output.exists() else ""

    def relocated(self, mode: str) -> int | None:
        """The process id of the relocated updater in this mode."""
        return processes.find(self.home.relocated_updater, mode)

    def relocated_files(self) -> set[str]:
        """The names of the files that a relocation brings."""
        return {"Freshen.exe"}

    def processes(self) -> list[int]:
        """The ids of the running processes that have this home, however they were started."""
        mark = b"HOME=" + os.fsencode(self.home.folder)
        found = []
        for pid in processes.descendants():
            try:
                if mark in Path(f"/proc/{pid}/environ").read_bytes().split(b"\0"):
                    found.append(pid)
            except OSError:
                continue
        return found

    def end(self) -> None:
        """Ends all processes of this run: asks them first, and kills what has not ended in time."""
        for number, patience in ((signal.SIGTERM, 2.0), (signal.SIGKILL, 5.0)):
            end = time.monotonic() + patience * PATIENCE
            while time.monotonic() < end and (running := self.processes()):
                for pid in running:
                    try:
                        os.kill(pid, number)
                    except ProcessLookupError:
                        pass
                time.sleep(0.02)
        if self.process is not None:
            self.process.wait(5)

    def evidence(self) -> str:
        """What is known of the run, for the report of a failure."""
        return f"{super().evidence()}\n--- output\n{self.output()[-4000:]}"
