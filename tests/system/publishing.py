"""freshen-publish as publishers call it."""

from __future__ import annotations

import itertools
import json
import os
import re
import shlex
import subprocess
from collections.abc import Callable, Mapping, Sequence
from pathlib import Path
from typing import NamedTuple

from kit import folders
from kit.folders import File
from kit.offer import VERSIONS_PATH, Version, application, description, package
from kit.waiting import wait_for
from kit.wine import Wine

BUILD = Path(os.environ["FRESHEN_BUILD"]).resolve()

# The exit codes.
CLEAN, FINDINGS, USAGE, NOTHING_TO_DO, FILE_OR_NETWORK, LOCKED_OR_CHANGED = range(6)


class Content(bytes):
    """What is in a file. The report of a failure shows its beginning."""

    def __repr__(self) -> str:
        return f"<{len(self)} bytes, {bytes(self[:40])!r}>"


def files_below(folder: Path) -> dict[str, Content]:
    """The files below a folder, by their path in it."""
    return {str(path.relative_to(folder)): Content(path.read_bytes()) for path in sorted(folder.rglob("*"))
            if path.is_file()}


def without_leftovers(files: Mapping[str, Content]) -> dict[str, Content]:
    """The files, but for those that a killed writer has left under a name such as people give their copies
    ("windows.txt.backup"): the next writer does not remove these."""
    return {path: content for path, content in files.items()
            if not re.search(r"\.([A-Z]{6}|[A-Za-z][a-z]{5})$", path)}


class Outcome(NamedTuple):
    """How a command ended: its exit code, its JSON document, and what it said besides."""

    code: int
    document: dict
    prose: str

    @property
    def ids(self) -> list[str]:
        """Its findings, each kind once."""
        return sorted({finding["id"] for finding in self.document["findings"]})


class Publisher:
    """The tool, and a document root for it. On Windows it runs in this Wine."""

    def __init__(self, root: Path, wine: Wine | None = None) -> None:
        self.root = root
        self._wine = wine
        root.mkdir()

    def offer(self, *versions: Version | str, content: bytes | None = None) -> None:
        """Writes an index of these versions, and a package for each."""
        self.write(VERSIONS_PATH, description(*versions))
        for version in versions:
            if isinstance(version, Version):
                self.write(version.package_path, package(application()) if content is None else content)

    def write(self, path: str, content: bytes) -> Path:
        """Writes a file, named by its path on the server."""
        file = self.root / path.lstrip("/")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)
        return file

    def command(self, *arguments: str | Path) -> list[str]:
        """The command line; paths are told as the program calls them."""
        words = [self.called(word) if isinstance(word, Path) else word for word in arguments]
        return [*self._program(), "--root", self.called(self.root), "--format", "json", *words]

    def called(self, path: Path) -> str:
        return str(self._wine.path(path)) if self._wine else str(path)

    def start(self, *arguments: str | Path, through: Sequence[str] = (), variables: Mapping[str, str] = {},
              errors: int = subprocess.PIPE) -> subprocess.Popen:
        return subprocess.Popen([*through, *self.command(*arguments)], env={**self._environment(), **variables},
                                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=errors, text=True,
                                encoding="utf-8")

    def __call__(self, *arguments: str | Path, seconds: float = 60.0, **how: object) -> Outcome:
        """Runs a command to its end. Killed, it has no document."""
        process = self.start(*arguments, **how)
        output, prose = process.communicate(timeout=seconds)
        return Outcome(process.returncode, json.loads(output) if process.returncode >= 0 else {}, prose)

    def print(self, *arguments: str | Path, **how: object) -> tuple[int, str, str]:
        """Runs a command that writes text. Returns its exit code, what it printed, and what it said besides."""
        process = self.start(*arguments, "--format", "text", **how)
        output, prose = process.communicate(timeout=60)
        return process.returncode, output, prose

    def type(self, lines: str, folder: Path) -> None:
        """Has a shell in the folder run these lines, up to one that fails. They call the tool by its name."""
        program = f'#!/bin/sh\nexec {shlex.join(self._program())} "$@"\n'
        with folders.temporary() as place:
            folders.make(place, {"freshen-publish": File(program.encode(), 0o755)})
            subprocess.run(["sh", "-ec", lines], cwd=folder, check=True, stdin=subprocess.DEVNULL,
                           stdout=subprocess.DEVNULL,
                           env={**self._environment(), "PATH": f"{place}{os.pathsep}{os.defpath}"})

    def _program(self) -> list[str]:
        """The start of each command line."""
        program = str(BUILD / "bin" / "freshen-publish")
        return ["wine", f"{program}.exe"] if self._wine else [program]

    def _environment(self) -> dict[str, str]:
        if not self._wine:
            return dict(os.environ)
        sdk = re.search(r"^FRESHEN_WINDOWS_SDK:.*=(.*)", (BUILD / "CMakeCache.txt").read_text(), re.MULTILINE)[1]
        return {**self._wine.environment(), "WINEPATH": self.called(Path(sdk, "bin"))}


# The start of a command line whose program is traced, and what such a program has to be spared: a search for leaks.
TRACED = ("strace", "-f", "--seccomp-bpf")
WITHOUT_LEAKS = {"ASAN_OPTIONS": "detect_leaks=0"}


def kill_points(name: str, run: Callable[..., Outcome]) -> dict[int, str]:
    """Runs a command once, by run(*through). Returns the numbers of its system calls of this name and the file of each.
    Of many in a row for one file these are the first, a middle one and the last."""
    with folders.temporary() as folder:
        outcome = run(*TRACED, "--decode-fds", f"--trace={name}", f"--output={folder}/calls")
        lines = (folder / "calls").read_text(encoding="utf-8").splitlines()
    assert outcome.code == CLEAN, outcome
    files = [re.search(r'<.*?>|".*?"', line)[0] for line in lines if f" {name}(" in line]
    rows = [[number for number, _ in row]
            for _, row in itertools.groupby(enumerate(files, 1), lambda numbered: numbered[1])]
    return {number: files[number - 1] for row in rows for number in (row[0], row[len(row) // 2], row[-1])}


def package_pieces(points: Mapping[int, str]) -> int:
    """How many of these are amid packages in a document root."""
    return sum("/update/Tavlopc/windows/" in file for file in points.values())


def killed_at(name: str, number: int) -> list[str]:
    """The start of a command line whose program is killed when it makes its system call of this number."""
    return [*TRACED, "--output=/dev/null", f"--inject={name}:signal=KILL:when={number}"]


class Serving:
    """The tool's own server, from its start until the end of the context."""

    def __init__(self, publisher: Publisher, *options: str) -> None:
        self._process = publisher.start("serve", *options, errors=subprocess.DEVNULL)
        self.document = json.loads(wait_for(self._process.stdout.readline, "the server"))

    @property
    def address(self) -> str:
        return self.document["address"]

    @property
    def settings(self) -> dict[str, object]:
        """What makes an updater use it."""
        return self.document["settings"]

    def __enter__(self) -> Serving:
        return self

    def __exit__(self, *_: object) -> None:
        self._process.terminate()
        self._process.communicate(timeout=20)

    def end(self, signal: int) -> tuple[int, str]:
        """Sends the signal; returns the exit code and what was written besides the document."""
        self._process.send_signal(signal)
        rest, _ = self._process.communicate(timeout=20)
        return self._process.returncode, rest
