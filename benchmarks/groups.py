"""What is measured: the figures, in groups that share their input."""

from __future__ import annotations

import os
import shutil
import socket
import subprocess
from collections.abc import Callable, Iterator
from contextlib import ExitStack, contextmanager
from dataclasses import dataclass
from pathlib import Path

from kit.desktop import Desktop
from kit.native import NativeUpdater
from kit.offer import VERSIONS_PATH, Version, description
from kit.servers import Nginx
from kit.waiting import wait_for
from kit.wine import Wine

import inputs
from inputs import MIB
from measuring import Command, CountedStep, Function, Sample, Side, Started, Step, WindowsStep

_ROOT = Path(__file__).resolve().parents[1]
_PROGRAMS = _ROOT / "build" / "bench" / "bin"
_WINDOWS = _ROOT / "build" / "windows"
_VERSION = Version("26.05.7200", "Stable", "0", "01.05.2026", "Faster and smaller")

# One value of a side: the side's name, and which of its values; perhaps in proportion to that of another side.
Value = tuple[str, str] | tuple[str, str, str]


@dataclass(frozen=True)
class Figure:
    """Ours, divided by the peer's or by a fixed limit, is to be no more than the target; without one it is reported."""

    name: str
    ours: Value
    peer: Value | float
    unit: str
    target: float | None
    # What the values are multiplied with to be in that unit.
    scale: tuple[float, float] = (1, 1)


@dataclass(frozen=True)
class Group:
    figures: list[Figure]
    sides: dict[str, Side]


class Stage:
    """Where a group is measured: a folder of its own, a home in it, and how large the inputs are to be."""

    def __init__(self, folder: Path, is_quick: bool, resources: ExitStack) -> None:
        self.folder = folder
        self.is_quick = is_quick
        self.resources = resources
        tools = folder / "tools"
        tools.mkdir(parents=True)
        for tool in ("explorer", "xcopy"):
            shutil.copy2(_ROOT / "tests" / "fakes" / f"{tool}.sh", tools / f"{tool}.exe")
        self.updater = NativeUpdater(folder, _PROGRAMS / "Freshen.exe", tools)
        self.environment = {**self.updater.environment(), "TMPDIR": str(folder),
                            # Without it the C library looks for the file of the time zone with each line of the log.
                            "TZ": "UTC"}

    def sized(self, full: int, quick: int) -> int:
        return quick if self.is_quick else full

    def program(self, name: str) -> Path:
        """A program, in a folder of its own; what it makes goes into the folder above that."""
        target = self.folder / "run" / "bin" / name
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists():
            shutil.copy2(_PROGRAMS / name, target)
        return target

    def empty(self, *folders: Path) -> None:
        for folder in folders:
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)


class _Unpacking:
    """A package to be unpacked into place/out, by the updater and by its peers."""

    def __init__(self, stage: Stage, place: Path, files: int, size: int) -> None:
        self._stage = stage
        self.out, self.given = place / "out", place / "given.zip"
        self.package, self._stored = place / f"{files} files.zip", place / f"{files} files stored.zip"
        place.mkdir(parents=True, exist_ok=True)
        inputs.make_package(self.package, files, size)
        inputs.store_package(self.package, self._stored)

    def prepare(self) -> None:
        self._stage.empty(self.out)
        self.given.unlink(missing_ok=True)
        # The updater deletes its package. So it gets a name of it; the bytes stay.
        os.link(self._stored, self.given)

    def step(self, kind: type[Step] = Step) -> Side:
        steps = self._stage.program("steps")
        return kind(self._stage.environment, steps, "extract", self.given, prepare=self.prepare)

    def peer(self, *command: str | Path) -> Side:
        return Command(self._stage.environment, *command, prepare=lambda: self._stage.empty(self.out))


def _extraction(stage: Stage, name: str, files: int, size: int, targets: tuple[float, float | None]) -> Group:
    unpacking = _Unpacking(stage, stage.folder / "run", files, size)
    sides = {
        "updater": unpacking.step(),
        "unzip": unpacking.peer("unzip", "-q", unpacking.package, "-d", unpacking.out),
        "bsdtar": unpacking.peer("bsdtar", "-x", "-f", unpacking.package, "-C", unpacking.out),
    }
    figures = [
        Figure(f"{name}/unzip", ("updater", "wall"), ("unzip", "wall"), "s", targets[0]),
        Figure(f"{name}/bsdtar", ("updater", "wall"), ("bsdtar", "wall"), "s", targets[1]),
    ]
    if files == stage.sized(40, 2):
        sides["one entry"] = _Unpacking(stage, stage.folder / "run", 1, size // files).step()
        figures.append(Figure("longest-stall", ("updater", "stall"), ("one entry", "wall"), "s", None))
    return Group(figures, sides)


def extraction_2000_files(stage: Stage) -> Group:
    return _extraction(stage, "extraction-2000-files", stage.sized(2000, 20), stage.sized(100 * MIB, MIB), (0.95, 1.05))


def extraction_40_files(stage: Stage) -> Group:
    return _extraction(stage, "extraction-40-files", stage.sized(40, 2), stage.sized(1024 * MIB, MIB), (0.95, 1.05))


def extraction_50000_files(stage: Stage) -> Group:
    return _extraction(stage, "extraction-50000-files", stage.sized(50000, 500), stage.sized(100 * MIB, MIB),
                       (1.15, None))


def extraction_calls(stage: Stage) -> Group:
    entries = stage.sized(10000, 100)
    unpacking = _Unpacking(stage, stage.folder / "run", entries, 2048 * entries)
    return Group([Figure("extraction-calls", ("updater", "calls"), 14.0, "per entry", 1.0, (1 / entries, 1))],
                 {"updater": unpacking.step(CountedStep)})


def _settings(stage: Stage, port: int) -> None:
    stage.updater.write_settings({
        "proto2": "http", "host2": "127.0.0.1", "port2": port, "version_main": "26", "version_minor": "05",
        "Updater/filesToKeep": ["logo.png"],
    })


def _offer(stage: Stage, make: Callable[[Path, int], None], size: int) -> str:
    """Makes a package for a web server to offer; returns its address. The updater is to find it there."""
    server = stage.resources.enter_context(Nginx(stage.folder / "server"))
    server.offer(VERSIONS_PATH, description(_VERSION))
    make(server.file(_VERSION.package_path), size)
    _settings(stage, server.port)
    return f"http://127.0.0.1:{server.port}{_VERSION.package_path}"


def _update(stage: Stage, until: str, result: Path, size: int, *through: str) -> Started:
    """The updater in automatic mode until a line of its log; by then the file of the result has this size."""
    log, folder = stage.updater.log_file, stage.folder / "run"

    def forget() -> None:
        log.unlink(missing_ok=True)
        (folder / result).unlink(missing_ok=True)

    def is_done() -> None:
        wait_for(lambda: log.exists() and until in log.read_text(), f"the line {until!r}", 240)
        if (folder / result).stat().st_size != size:
            raise RuntimeError(f"{result} is not there as a whole")

    return Started(stage.environment, [*through, stage.program("Freshen.exe"), "auto"], is_done, prepare=forget)


def download(stage: Stage) -> Group:
    body, stored = stage.sized(500 * MIB, MIB), stage.folder / "run" / _VERSION.package_name
    address = _offer(stage, inputs.make_file, body)
    return Group([
        Figure("download-cpu", ("updater", "cpu"), ("curl", "cpu"), "CPU s", 2.0),
        Figure("download-memory", ("updater", "memory"), body / MIB + 64, "MiB", 1.0),
    ], {
        # The package is none, so the updater stops when it has stored it.
        "updater": _update(stage, "update stored in", stored, body + 4),
        "curl": Command(stage.environment, "curl", "--silent", "--fail", "-o", stored, address,
                        prepare=lambda: stored.unlink(missing_ok=True)),
    })


def large_package(stage: Stage) -> Group:
    size = stage.sized(3072 * MIB, MIB)
    _offer(stage, inputs.make_large_package, size)
    # To hold the body twice at any time would exceed the limit.
    limit = f"--as={size + 1024 * MIB}"
    update = _update(stage, "update unzipped to", Path("out/Tavlopro/large.dat"), size, "prlimit", limit)
    return Group([Figure("large-package-memory", ("updater", "memory"), size / MIB + 64, "MiB", 1.0)],
                 {"updater": update})


def _description(stage: Stage, name: str, reading: str, splitting: str) -> Group:
    lines = (100, 10000, stage.sized(1000000, 10000))
    program, seconds = stage.program("functions"), 0.001 if stage.is_quick else 0.5
    # At some numbers of lines the C library would otherwise return memory to the system after each reading.
    environment = {**stage.environment, "MALLOC_TOP_PAD_": str(64 * MIB)}

    def side(function: str, count: int) -> Side:
        return Function(environment, program, f"{function}/{count}", seconds)

    def per_line(count: int) -> float:
        return 1e9 / count

    figures = [
        Figure(f"{name}-{count}-lines", (reading + label, "cpu"), (splitting + label, "cpu"), "ns/line", 2.0,
               (per_line(actual), per_line(actual)))
        for count, label, actual in zip((100, 10000, 1000000), ("a", "b", "c"), lines)
    ]
    growth = (lines[1] / lines[2],) * 2
    figures.append(Figure(f"{name}-growth", (reading + "c", "cpu", reading + "b"),
                          (splitting + "c", "cpu", splitting + "b"), "times", 1.2, growth))
    sides = {function + label: side(function, count)
             for label, count in zip(("a", "b", "c"), lines) for function in (reading, splitting)}
    return Group(figures, sides)


def description_automatic(stage: Stage) -> Group:
    return _description(stage, "description-automatic", "readFull", "splitFull")


def description_manual(stage: Stage) -> Group:
    return _description(stage, "description-manual", "readList", "splitList")


def version_list(stage: Stage) -> Group:
    program, seconds = stage.program("functions"), 0.001 if stage.is_quick else 1
    return Group([Figure("version-list", ("updater", "cpu"), ("tree", "cpu"), "s", 1.15)], {
        "updater": Function(stage.environment, program, "toggleBeta", seconds),
        "tree": Function(stage.environment, program, "fillTree", seconds),
    })


def debug_log(stage: Stage) -> Group:
    program, seconds = stage.program("functions"), 0.001 if stage.is_quick else 0.5
    return Group([Figure("debug-log-line", ("updater", "cpu"), ("printf", "cpu"), "ns", 3.0, (1e9, 1e9))], {
        "updater": Function(stage.environment, program, "logLine", seconds),
        "printf": Function(stage.environment, program, "printLine", seconds),
    })


def start(stage: Stage) -> Group:
    server = stage.resources.enter_context(socket.create_server(("127.0.0.1", 0)))
    server.settimeout(30)
    port = server.getsockname()[1]
    _settings(stage, port)

    def is_requested() -> None:
        connection, _ = server.accept()
        stage.resources.enter_context(connection).settimeout(30)
        if not connection.recv(1):
            raise RuntimeError("no request came")

    address = f"http://127.0.0.1:{port}{VERSIONS_PATH}"
    sides: dict[str, Side] = {
        "updater": Started(stage.environment, [stage.program("Freshen.exe"), "menu"], is_requested),
        "empty window": Started(stage.environment, [stage.program("emptywindow"), address], is_requested),
        "form": Started(stage.environment, [stage.program("emptywindow"), address, "--form"], is_requested),
    }
    return Group([
        Figure("start/form", ("updater", "wall"), ("form", "wall"), "s", 1.15),
        Figure("start/empty-window", ("updater", "wall"), ("empty window", "wall"), "s", None),
        Figure("start-memory/form", ("updater", "memory"), ("form", "memory"), "MiB", 1.15),
        Figure("start-memory/empty-window", ("updater", "memory"), ("empty window", "memory"), "MiB", None),
    ], sides)


def relocation(stage: Stage) -> Group:
    installation, copy = stage.folder / "installation", stage.updater.copy.parent
    inputs.make_updater_folder(installation, _PROGRAMS / "steps", 0.05 if stage.is_quick else 1)

    def remove() -> None:
        shutil.rmtree(copy, ignore_errors=True)

    stage.updater.data.mkdir(parents=True)
    sides: dict[str, Side] = {
        "updater": Step(stage.environment, installation / "Freshen.exe", "relocate", prepare=remove),
        "cp": Command(stage.environment, "cp", "-r", installation, copy, prepare=remove),
    }
    return Group([Figure("relocation", ("updater", "wall"), ("cp", "wall"), "s", 1.3)], sides)


class _Tree:
    """An installation to be cleaned and copied, and how the peers do that."""

    def __init__(self, stage: Stage, place: Path) -> None:
        self._stage = stage
        self.source, self.target = place / "source", place / "target"
        inputs.make_tree(self.source, stage.sized(5000, 50), stage.sized(500 * MIB, MIB))

    def fill(self) -> None:
        self.remove()
        shutil.copytree(self.source, self.target)

    def empty(self) -> None:
        self._stage.empty(self.target)

    def remove(self) -> None:
        shutil.rmtree(self.target, ignore_errors=True)

    def rm(self) -> Side:
        return Command(self._stage.environment, "rm", "-r", self.target, prepare=self.fill)

    def cp(self) -> Side:
        return Command(self._stage.environment, "cp", "-r", self.source, self.target, prepare=self.remove)


def installation(stage: Stage) -> Group:
    tree, steps = _Tree(stage, stage.folder), stage.program("steps")
    sides: dict[str, Side] = {
        "cleaning": Step(stage.environment, steps, "clean", tree.target, prepare=tree.fill),
        "bare": Command(stage.environment, stage.program("barecleaning"), tree.target, stage.folder / "cleaning.log",
                        prepare=tree.fill),
        "rm": tree.rm(),
        "copying": Step(stage.environment, steps, "copy", tree.source, tree.target, prepare=tree.empty),
        "cp": tree.cp(),
    }
    return Group([
        Figure("cleaning/bare", ("cleaning", "wall"), ("bare", "wall"), "s", 1.15),
        Figure("cleaning/rm", ("cleaning", "wall"), ("rm", "wall"), "s", None),
        Figure("copy", ("copying", "wall"), ("cp", "wall"), "s", 1.2),
    ], sides)


@contextmanager
def _sleepers(count: int) -> Iterator[None]:
    with ExitStack() as stack:
        for _ in range(count):
            process = stack.enter_context(subprocess.Popen(["sleep", "1000"], stdin=subprocess.DEVNULL))
            stack.callback(process.kill)
        yield


def precheck(stage: Stage) -> Group:
    present = sum(entry.name.isdigit() for entry in Path("/proc").iterdir())
    stage.resources.enter_context(_sleepers(max(0, stage.sized(500, 20) - present)))
    seconds = 0.001 if stage.is_quick else 0.5
    return Group([Figure("precheck-round", ("updater", "cpu"), ("ps", "cpu"), "CPU s", 0.5)], {
        "updater": Function(stage.environment, stage.program("functions"), "precheck", seconds),
        "ps": Command(stage.environment, "ps", "-e"),
    })


def _windows_package() -> Path | None:
    """The package of the Windows program, where it has been made."""
    return max((_WINDOWS / "package").glob("*.zip"), default=None)


class _NotMade:
    """Stands for something of the Windows program where that has not been made."""

    def sample(self) -> Sample:
        return {}

    def peak(self) -> None:
        return None


class _Size(_NotMade):
    """The size of a file."""

    def __init__(self, file: Path) -> None:
        self._file = file

    def sample(self) -> Sample:
        return {"size": self._file.stat().st_size / MIB}


def steps_under_wine(stage: Stage) -> Group:
    peers = {"extraction": "unzip", "relocation": "cp of the updater", "cleaning": "rm", "copy": "cp"}
    group = Group([Figure(f"{step}-wine", (step, "wall"), (peer, "wall"), "s", None) for step, peer in peers.items()],
                  dict.fromkeys([*peers, *peers.values()], _NotMade()))
    package, steps = _windows_package(), _WINDOWS / "bin" / "steps.exe"
    if package is None or not steps.exists():
        return group
    desktop = stage.resources.enter_context(Desktop(stage.folder))
    wine = stage.resources.enter_context(Wine(stage.folder / "windows", desktop.environment))
    wine.create()
    # Wine's own copying tool does not know all that Windows' does.
    wine.replace_tool("xcopy.exe", _WINDOWS / "fakes" / "xcopy.exe")
    # The relocation starts a copy of this name.
    program = wine.drive / "run" / "bin" / "Freshen.exe"
    shutil.unpack_archive(package, program.parent)
    shutil.copy2(steps, program)
    # Windows drops the full stop at the end of a folder's name.
    copy = wine.profile / "AppData" / "Local" / "Q.U.I.N.T.A" / "Tavlo3 Updater" / "freshen"
    tree = _Tree(stage, wine.drive)
    unpacking = _Unpacking(stage, program.parents[1], stage.sized(2000, 20), stage.sized(4 * MIB, MIB))

    def step(name: str, *paths: Path, prepare: Callable[[], None]) -> WindowsStep:
        return WindowsStep(wine, program, name, *(str(wine.path(path)) for path in paths), prepare=prepare)

    def remove_copy() -> None:
        shutil.rmtree(copy, ignore_errors=True)
        copy.parent.mkdir(parents=True, exist_ok=True)

    group.sides.update({
        "extraction": step("extract", unpacking.given, prepare=unpacking.prepare),
        "unzip": unpacking.peer("unzip", "-q", unpacking.package, "-d", unpacking.out),
        "relocation": step("relocate", prepare=remove_copy),
        "cp of the updater": Command(stage.environment, "cp", "-r", program.parent, copy, prepare=remove_copy),
        "cleaning": step("clean", tree.target, prepare=tree.fill),
        "rm": tree.rm(),
        "copy": step("copy", tree.source, tree.target, prepare=tree.empty),
        "cp": tree.cp(),
    })
    return group


def package_size(stage: Stage) -> Group:
    del stage
    package = _windows_package()
    return Group([Figure("package-size", ("package", "size"), 12.0, "MiB", 1.0)],
                 {"package": _NotMade() if package is None else _Size(package)})


def _reading_figures(name: str) -> list[str]:
    return [f"{name}-100-lines", f"{name}-10000-lines", f"{name}-1000000-lines", f"{name}-growth"]


# Each group with its figures, so that they can be chosen before anything is made.
GROUPS: dict[Callable[[Stage], Group], list[str]] = {
    extraction_2000_files: ["extraction-2000-files/unzip", "extraction-2000-files/bsdtar"],
    extraction_40_files: ["extraction-40-files/unzip", "extraction-40-files/bsdtar", "longest-stall"],
    extraction_50000_files: ["extraction-50000-files/unzip", "extraction-50000-files/bsdtar"],
    extraction_calls: ["extraction-calls"],
    download: ["download-cpu", "download-memory"],
    large_package: ["large-package-memory"],
    description_automatic: _reading_figures("description-automatic"),
    description_manual: _reading_figures("description-manual"),
    version_list: ["version-list"],
    start: ["start/form", "start/empty-window", "start-memory/form", "start-memory/empty-window"],
    debug_log: ["debug-log-line"],
    relocation: ["relocation"],
    installation: ["cleaning/bare", "cleaning/rm", "copy"],
    steps_under_wine: ["extraction-wine", "relocation-wine", "cleaning-wine", "copy-wine"],
    precheck: ["precheck-round"],
    package_size: ["package-size"],
}
