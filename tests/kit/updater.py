"""One run of the updater, on any platform: a user's folders with the application's settings, an installation, the
updater in either of its two places, and what comes of it."""

from __future__ import annotations

import re
import subprocess
from collections.abc import Callable, Collection, Mapping, Sequence
from pathlib import Path
from typing import Any

from . import folders, processes
from .folders import File, Tree
from .offer import CHOSEN
from .server import UpdateServer
from .texts import Texts
from .waiting import TIMEOUT_FACTOR, becomes, wait_for
from .window import PLUGINS, Window

Setting = str | int | bool | Sequence[str]

# The settings that a run starts from: an installed version, no proxy, plain HTTP.
INSTALLED_SETTINGS: dict[str, Setting] = {"version_main": "26", "version_minor": "05", "version_state": "Stable",
                                          "proto2": "http", "host2": "127.0.0.1"}

# What the updater keeps in its folder between runs.
OWN_FILES = ("debug_update.log", "freshen", "settings.ini")

_LOG_LINE = re.compile(r"^\d{6} \d\d:\d\d:\d\d:\d{3} \[(?P<level>[DWCF?])\]\[[^\]]*:\d+\]  ", re.MULTILINE)


class Updater:
    """The updater, not yet started."""

    platform: str
    is_windows: bool
    # The updater's files as they are installed, and the application at its briefest.
    files: Tree
    program: File
    # Messages of the log that are the platform's own.
    noise: re.Pattern[str]
    window: Window
    # Where the desktop's shell, or the application itself, notes that it was started.
    starts_log: Path
    # The updater's folder of local data.
    data: Path

    # What a platform adds: storing settings of the application, the ids of what runs, and what start() leads to.
    store: Callable[[Mapping[str, Setting]], None]
    processes: Callable[[], list[int]]
    launch: Callable[..., subprocess.Popen]

    def __init__(self, folder: Path, installation: Path) -> None:
        # Everything of the run lies in the folder.
        self.folder, self.installation = folder, installation
        self.language = "en"
        self.process: subprocess.Popen | None = None
        # The folder above the updater that works: packages are stored and unpacked there.
        self.parent = self.data
        # What was there before the start: the installation with what lies beside it, and what the shell had started.
        self.world: Tree = {}
        self.started: list[tuple[str, ...]] = []

    # --- its places

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
    def own(self) -> list[Path]:
        """Where it has some business, and the system: everything else in the folder stays as it is."""
        return [self.data]

    def called(self, path: Path) -> str:
        """What the updater calls a file, with "/" between the names."""
        return str(path)

    def spellings(self, path: Path) -> list[str]:
        """The ways in which it writes the path of a file or folder."""
        return [self.called(path)]

    def inside(self, path: Path) -> Path:
        """A path as the running updater sees it, which may have disks of its own."""
        return path

    # --- its language

    @property
    def texts(self) -> Texts:
        return Texts(self.language)

    @property
    def locale(self) -> str:
        return {"en": "en_US", "de": "de_DE"}.get(self.language, self.language)

    def appear(self, language: str) -> None:
        """Sets the language of the system, as "de" or "fr_FR"."""
        self.language = language

    # --- before the start

    def use(self, server: UpdateServer, settings: Mapping[str, Setting | None] = {}, **more: Setting) -> None:
        """Writes the settings, which name this server."""
        self.write_settings({"port2": server.port, **settings}, **more)

    def write_settings(self, settings: Mapping[str, Setting | None] = {}, **more: Setting) -> None:
        """Writes these settings on top of INSTALLED_SETTINGS; None takes one away."""
        settings = {**INSTALLED_SETTINGS, **settings, **more}
        self.store({name: value for name, value in settings.items() if value is not None})

    def place(self, folder: Path) -> Path:
        """Puts the updater into the folder; returns the program."""
        folders.make(folder, self.files)
        return folder / "Freshen.exe"

    def place_installed(self) -> Path:
        return self.place(self.installation)

    def place_relocated(self) -> Path:
        if not self.copy.exists():
            self.place(self.copy.parent)
            self.hand_over.write_text(self.called(self.installation), encoding="utf-8")
        return self.copy

    def install(self, tree: Tree) -> None:
        """Puts these files into the installation; those are hidden whose names begin with a full stop."""
        folders.make(self.installation, self.possible(tree))

    def possible(self, tree: Tree) -> Tree:
        """Those of these entries that there can be, as there they are."""
        return tree

    def packable(self, tree: Tree) -> Tree:
        """The same of the entries of a package, which have to survive the way through "out" as well."""
        return self.possible(tree)

    # --- the start, and what a user does

    def start(self, *arguments: str, program: Path | None = None, variables: Mapping[str, str] = {},
              through: Sequence[str] = (), **sandbox: Any) -> None:
        """Starts, by default, the updater in the installation, and with arguments the relocated one; through is the
        start of its command line."""
        if program is None:
            program = self.place_relocated() if arguments else self.place_installed()
        self.world, self.started = self.look(self.installation.parent), self.starts()
        self.process = self.launch(program, *arguments, variables=variables, through=through, **sandbox)

    def copying(self, *, exit_code: int | None = None, pause: int = 0) -> dict[str, str]:
        """The variables of an updater whose copying program waits, or ends at once."""
        return {"XCOPY_PAUSE": str(pause)} if exit_code is None else {"XCOPY_EXIT_CODE": str(exit_code)}

    def download(self, mode: str, **start: Any) -> None:
        """Starts the updater in the mode ("auto" or "menu") and has it ask for the package."""
        self.start(mode, **start)
        if mode == "menu":
            self.window.choose(CHOSEN.number)

    def make_ready(self, mode: str, **start: Any) -> None:
        """Has the updater fetch and unpack the package."""
        self.download(mode, **start)
        self.window.wait_for_button(self.texts("Install Update"))

    def install_update(self, answer: str = "OK") -> None:
        """Has the unpacked package installed, with this answer to the question of the cleaning."""
        self.window.press(self.texts("Install Update"))
        question = self.window.box()
        assert question.text.startswith(self.texts("We need to clean").partition("%1")[0]), question.text
        question.press(self.texts.button(answer))

    def kill(self) -> None:
        """Ends all processes of this run."""
        processes.end(self.processes)
        if self.process is not None:
            self.process.wait(5)

    # --- what comes of it

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
        becomes(list[int](), self.processes, "processes")

    def relocated(self, mode: str) -> list[int]:
        """The relocated updaters that run in this mode."""
        return [pid for pid in self.processes()
                if processes.name(pid) == self.copy.name and processes.command(pid)[1:] == [mode]]

    def starts(self) -> list[tuple[str, ...]]:
        """What the desktop's shell has started."""
        lines = self.starts_log.read_text(encoding="utf-8").splitlines() if self.starts_log.exists() else []
        return [tuple(line.replace("\\", "/").split("\t")[2:]) for line in lines]

    def log(self) -> list[str]:
        """The messages of the debug log so far, each with its level. A message may have line breaks in it. A log that
        does not start with a time stamp is no debug log."""
        file = self.inside(self.log_file)
        content = file.read_text(encoding="utf-8", errors="backslashreplace") if file.is_file() else ""
        before, *parts = _LOG_LINE.split(content)
        assert not before, f"no time stamp at the start: {before[:80]!r}"
        lines = [(level, text.removesuffix("\n")) for level, text in zip(parts[::2], parts[1::2])]
        return [f"[{level}] {text}" for level, text in lines if not self.noise.fullmatch(text)]

    def log_texts(self) -> list[str]:
        return [line[4:] for line in self.log()]

    def wait_for_log(self, start: str, seconds: float = 20.0) -> str:
        """Waits for a message that begins so, and returns the first one."""
        return wait_for(lambda: next((text for text in self.log_texts() if text.startswith(start)), None),
                        f"the log line {start!r}", seconds)

    def is_updated(self, package: Tree, kept: Collection[str] = (), *, is_cleaned: bool = True,
                   leftovers: Tree = {}) -> None:
        """Waits for the start of the new application. Then the installation is what the manual says, and of the package
        only these leftovers are there."""
        top = self.installation.name
        left = folders.after_cleaning(self.world, top, {*kept, "logo.png"}) if is_cleaned else self.world
        expected = folders.after_copying(left, folders.below(top, self.possible(package)))
        name = "Tavlopro.exe" if f"{top}/Tavlopro.exe" in expected else "Tavlopc.exe"
        becomes([*self.started, (self.called(self.installation / name),)], self.starts, "starts of the application")
        wrong = [*folders.differences(expected, self.look(self.installation.parent)),
                 *folders.differences(leftovers, self.leftovers())]
        assert not wrong, "\n".join(wrong)

    def leftovers(self) -> Tree:
        """What is in the folder that packages are stored and unpacked in, but for what the updater keeps there."""
        parent = self.inside(self.parent)
        return folders.look(parent, [parent / name for name in (*OWN_FILES, self.installation.name)])

    def look(self, folder: Path) -> Tree:
        """What is in a folder, in the words of possible(), but for what the tests have put there."""
        own = [self.inside(place) / PLUGINS for place in (folder, self.installation)]
        return folders.look(self.inside(folder), own)

    def output(self) -> str:
        """What came on standard output and standard error."""
        return ""

    def evidence(self) -> str:
        """What is known of the run, for the report of a failure."""
        state = "not started"
        if self.process:
            state = "running" if self.is_running() else f"ended with {self.process.poll()}"
        running = [processes.name(pid) for pid in processes.descendants()]
        files = folders.leaves(folders.look(self.data))[:60]
        log = self.log_file.read_text(encoding="utf-8", errors="replace")[-6000:] if self.log_file.is_file() else ""
        return (f"updater: {state}\nprocesses: {running}\nits files: {files}\n--- debug log\n{log}\n"
                f"--- output\n{self.output()[-3000:]}")
