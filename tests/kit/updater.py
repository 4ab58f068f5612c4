"""One run of the updater, on any platform: a user's folders with the application's settings, an installation, the
updater in either of its two places, and what comes of it."""

from __future__ import annotations

import re
import subprocess
from collections.abc import Mapping, Sequence
from pathlib import Path
from typing import NamedTuple

from . import folders, processes
from .folders import File, Tree
from .offer import CHOSEN
from .server import UpdateServer
from .texts import Texts
from .waiting import TIMEOUT_FACTOR, becomes, wait_for
from .window import PLUGINS, Window

Setting = str | int | bool | Sequence[str] | None

# The settings that a run starts from: an installed version, no proxy, plain HTTP.
INSTALLED_SETTINGS: dict[str, Setting] = {"version_main": "26", "version_minor": "05", "version_state": "Stable",
                                          "proto2": "http", "host2": "127.0.0.1"}

# What the updater keeps in its folder between runs.
OWN_FILES = ("debug_update.log", "freshen", "settings.ini")

_LOG_LINE = re.compile(r"^\d{6} \d\d:\d\d:\d\d:\d{3} \[(?P<level>[DWCF?])\]\[[^\]]*:\d+\]  ", re.MULTILINE)


class LogLine(NamedTuple):
    """One message of the debug log, without its time stamp. A message may have line breaks in it."""

    level: str
    text: str

    def __str__(self) -> str:
        return f"[{self.level}] {self.text}"


class Updater:
    """The updater, not yet started. A platform adds:

    write_settings(), the application's on top of INSTALLED_SETTINGS, where None takes one away; place(folder), which
    puts the updater into it and returns the program; copying(exit_code=, pause=), the variables of an updater whose
    copying program ends at once, or waits; processes(), the ids of those that run; starts(), what the desktop's shell
    was asked to start; beside(), all files that it has no business with; and launch(), which start() leads to."""

    platform: str
    # The application at its briefest.
    program: File
    # Messages of the log that are the platform's own.
    noise: re.Pattern[str]
    window: Window

    def __init__(self, folder: Path, home: Path, data: Path, installation: Path) -> None:
        # Where everything of the run lies, the user's folder, and the updater's folder of local data in that.
        self.folder, self.home, self.data = folder, home, data
        self.installation = installation
        self.language = "en"
        self.process: subprocess.Popen | None = None
        # The folder above the updater that works: packages are stored and unpacked there.
        self.parent = data
        # What was in the installation before the start.
        self.installed: dict[str, bytes | None] = {}

    # --- its places

    @property
    def is_windows(self) -> bool:
        return self.platform == "windows"

    @property
    def copy(self) -> Path:
        """The updater's copy of itself, which it works from."""
        return self.data / "freshen" / "Freshen.exe"

    @property
    def log_file(self) -> Path:
        return self.data / "debug_update.log"

    @property
    def hand_over(self) -> Path:
        """The file that tells the copy where the installation is."""
        return self.data / "settings.ini"

    @property
    def out(self) -> Path:
        """The folder that packages are unpacked into."""
        return self.parent / "out"

    @property
    def texts(self) -> Texts:
        """What the updater says in this run's language."""
        return Texts(self.language)

    def called(self, path: Path) -> str:
        """What the updater calls a file, with "/" between the names."""
        return str(path)

    def spellings(self, path: Path) -> list[str]:
        """The ways in which it writes the path of a file or folder."""
        return [self.called(path)]

    def inside(self, path: Path) -> Path:
        """A path as the running updater sees it, which may have disks of its own."""
        return path

    # --- before the start

    def appear(self, language: str) -> None:
        """Sets the language of the system, as "de" or "fr_FR"."""
        self.language = language

    def place_installed(self) -> Path:
        """Puts the updater into the installation; returns the program."""
        return self.place(self.installation)

    def place_relocated(self) -> Path:
        """Puts the updater where it copies itself to; returns the program."""
        if not self.copy.exists():
            self.place(self.copy.parent)
            self.hand_over.write_text(self.called(self.installation), encoding="utf-8")
        return self.copy

    def possible(self, tree: Tree) -> Tree:
        """Those of these entries that there can be, as there they are."""
        return tree

    def packable(self, tree: Tree) -> Tree:
        """The same of the entries of a package, which have to survive the way through "out" as well."""
        return self.possible(tree)

    def look(self, folder: Path) -> Tree:
        """What is in a folder, in the words of possible()."""
        return folders.look(folder)

    def contents(self) -> dict[str, bytes | None]:
        """What is in the installation."""
        found = folders.contents(self.inside(self.installation))
        return {path: content for path, content in found.items() if not path.startswith(f"{PLUGINS}/")}

    def install(self, tree: Tree) -> None:
        """Puts these files into the installation; those are hidden whose names begin with a full stop."""
        folders.make(self.installation, self.possible(tree))

    # --- the start, and the way of a user

    def start(self, *arguments: str, program: Path | None = None, variables: Mapping[str, str] = {},
              through: Sequence[str] = (), **sandbox: object) -> None:
        """Starts, by default, the updater in the installation, and with arguments the relocated one; through is the
        start of its command line."""
        if program is None:
            program = self.place_relocated() if arguments else self.place_installed()
        self.installed = self.contents()
        self.process = self.launch(program, *arguments, variables=variables, through=through, **sandbox)

    def use(self, server: UpdateServer, settings: Mapping[str, Setting] = {}, **more: Setting) -> None:
        """Writes the settings, which name this server."""
        self.write_settings({"port2": server.port, **settings}, **more)

    def download(self, mode: str, version: str = CHOSEN.number, **start: object) -> None:
        """Starts the updater in the mode ("auto" or "menu") and has it ask for the package."""
        self.start(mode, **start)
        if mode == "menu":
            self.window.choose(version)

    def make_ready(self, mode: str, **start: object) -> None:
        """Has the updater fetch and unpack the package."""
        self.download(mode, **start)
        self.window.wait_for_button(self.texts("Install Update"))

    def install_update(self, answer: str = "OK") -> None:
        """Has the unpacked package installed, with this answer to the question of the cleaning."""
        self.window.press(self.texts("Install Update"))
        question = self.window.box()
        assert question.text.startswith(self.texts("We need to clean").partition("%1")[0]), question.text
        question.press(self.texts.button(answer))

    # --- while it runs, and afterwards

    def relocated(self, mode: str) -> list[int]:
        """The relocated updaters that run in this mode."""
        return [pid for pid in self.processes()
                if processes.name(pid) == self.copy.name and processes.command(pid)[1:] == [mode]]

    def kill(self) -> None:
        """Ends all processes of this run."""
        processes.end(self.processes)
        if self.process is not None:
            self.process.wait(5)

    def log(self) -> list[LogLine]:
        """The messages of the debug log so far. A log that does not start with a time stamp is no debug log."""
        file = self.inside(self.log_file)
        content = file.read_text(encoding="utf-8", errors="backslashreplace") if file.is_file() else ""
        marks = list(_LOG_LINE.finditer(content))
        assert not content or marks and marks[0].start() == 0, f"no time stamp at the start: {content[:80]!r}"
        ends = [mark.start() for mark in marks[1:]] + [len(content)]
        lines = [LogLine(mark["level"], content[mark.end():end].removesuffix("\n")) for mark, end in zip(marks, ends)]
        return [line for line in lines if not self.noise.fullmatch(line.text)]

    def log_texts(self) -> list[str]:
        return [line.text for line in self.log()]

    def wait_for_log(self, start: str, seconds: float = 20.0) -> str:
        """Waits for a message that begins so, and returns the first one."""
        return wait_for(lambda: next((text for text in self.log_texts() if text.startswith(start)), None),
                        f"the log line {start!r}", seconds)

    def requested(self) -> list[str]:
        """The addresses that the log says were asked for."""
        return [text.removeprefix('Get: "').removesuffix('"') for text in self.log_texts() if text.startswith("Get:")]

    def stored_packages(self) -> list[Path]:
        return list(self.inside(self.parent).glob("*.zip"))

    def is_running(self) -> bool:
        return self.process is not None and self.process.poll() is None

    def exit_code(self, seconds: float = 30.0) -> int:
        """Waits for the end of the started process (the relocated copy has a process of its own)."""
        return self.process.wait(seconds * TIMEOUT_FACTOR)

    def ends(self, button: str | None = None) -> None:
        """Presses the button of the box, or closes the window; the updater ends with 0 and leaves no process."""
        if button is not None:
            self.window.box().press(button)
        elif self.window.is_open():
            self.window.close()
        assert self.exit_code() == 0
        becomes([], self.processes, "processes")

    def output(self) -> str:
        """What came on standard output and standard error."""
        return ""

    def sanitizer_reports(self) -> str:
        """What sanitizers have found so far."""
        return ""

    def evidence(self) -> str:
        """What is known of the run, for the report of a failure."""
        state = "not started" if self.process is None else "running" if self.is_running() else \
            f"ended with {self.process.returncode}"
        files = sorted(path.relative_to(self.data).as_posix() for path in self.data.rglob("*"))[:60]
        log = self.log_file.read_text(encoding="utf-8", errors="replace")[-6000:] if self.log_file.is_file() else ""
        return f"updater: {state}\nits files: {files}\n--- debug log\n{log}\n--- output\n{self.output()[-3000:]}"
