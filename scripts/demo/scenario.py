"""What the demo plays with: versions on offer, their packages, and an old installation with a user's files in it."""

from __future__ import annotations

import random
import shutil
import struct
import zlib
from dataclasses import dataclass, field
from pathlib import Path

from harness import trees
from harness.installation import Home, Setting, StandInShell, write_settings
from harness.packages import VERSIONS_PATH, Version, write_package
from harness.trees import FOLDER, Tree

OLD_VERSION = "26.05.7086"
# The version that the headless demo chooses. The automatic mode comes to the same one: the newest stable fix.
NEW_VERSION = "26.06.7205"

# A user picks from the lines with five and six columns. Those with seven name a system version and are for the
# automatic mode; on a system other than Windows they are passed over.
VERSIONS = (
    Version("26.03.6950", "Stable", "", "2026-03-12", "The release of the spring."),
    Version(OLD_VERSION, "Stable", "", "2026-05-07", "Tournament tables. This is the version that is installed now."),
    Version("26.05.7112", "Stable", "7086", "2026-05-28", "Fix: tables with more than 64 players print again.", "7000"),
    Version("26.06.7150", "Stable", "", "2026-06-18", "New: clocks, teams and <i>knock-out</i> rounds.", "7086"),
    Version(NEW_VERSION, "Stable", "7150", "2026-07-09",
            "<b>Fix of 26.06</b><ul><li>Clocks stop at the end of a round.<li>Teams keep their order.</ul>", "7086"),
    Version("26.07.7240", "Beta", "", "2026-07-23", "Beta: a first look at league tables."),
    Version("26.07.7260", "Beta", "", "2026-08-06", "Beta: league tables with promotion and relegation.", "7086"),
    Version("26.08.7300", "Stable", "", "2026-08-27", "Needs a newer updater.", "7200"),
    Version("26.08.7310", "Stable", "", "2026-08-28", "For Windows 10 and later.", "7086", "10.0"),
    Version("26.08.7315", "Test", "", "2026-08-29", "A build for testers.", "7086", "10.0"),
)

FILES_TO_KEEP = ("user.ini", "favourites.xml")
# The updater itself adds the logo to the files to keep.
_KEPT_ALWAYS = "logo.png"

_DATA_SIZE = 8 * 1024 * 1024


@dataclass(frozen=True)
class Programs:
    """The built programs."""

    freshen: Path
    equipment: Path
    # What else a package brings so that they run.
    libraries: Tree = field(default_factory=dict)

    @property
    def tavlopro(self) -> Path:
        return self.equipment / "Tavlopro.exe"

    @property
    def explorer(self) -> Path:
        return self.equipment / "explorer.exe"


@dataclass(frozen=True)
class Stage:
    """The scenario, laid out in a temporary folder."""

    home: Home
    installation: Path
    shell: StandInShell
    old: Tree
    packages: dict[str, Path]
    programs: Programs
    start_log: Path

    @property
    def contents(self) -> dict[str, bytes | Path]:
        """What the update server offers."""
        description = "".join(version.line + "\n" for version in VERSIONS)
        return {VERSIONS_PATH: description.encode(), **self.packages}

    def version_of(self, path: str) -> Version:
        """The version whose package lies under this path on the server."""
        return next(version for version in VERSIONS if version.package_path == path)

    def files_to_keep(self) -> set[str]:
        return {*FILES_TO_KEEP, _KEPT_ALWAYS}

    def name_of(self, path: Path) -> str:
        """What the programs call a file or folder."""
        return str(path)

    def as_installed(self, entries: Tree) -> Tree:
        """These entries, as far as the system can tell them apart."""
        return entries

    def start_faults(self, package: str | None) -> list[str]:
        """What is wrong with the start of the new application, whose version should be package."""
        program = self.name_of(self.installation / "Tavlopro.exe")
        noted = self.start_log.read_text(encoding="utf-8").splitlines() if self.start_log.exists() else []
        if [(line.split("\t")[0], line.split("\t")[-1]) for line in noted] != [(package, program)]:
            return [f"{program} should have noted one start of version {package}, but noted: {noted}"]
        return self._shell_faults(program)

    def _shell_faults(self, program: str) -> list[str]:
        starts = self.shell.starts()
        if [start.arguments for start in starts] != [(program,)] or starts[0].process is None:
            return [f"the shell should have started {program} once, but was called {len(starts)} times: {starts}"]
        return []

    def environment(self, language: str) -> dict[str, str]:
        return {
            **self.home.environment(language, tools=self.programs.equipment, system_root=self.shell.folder),
            "TAVLOPRO_START_LOG": str(self.start_log),
            # The packages of the demo are small: give the eye time to see the copy.
            "XCOPY_PAUSE": "2",
        }


def application(version: str, programs: Programs) -> Tree:
    """The application as a package brings it."""
    revision = version.rpartition(".")[2]
    data = random.Random(revision).randbytes(_DATA_SIZE)
    return trees.tree({
        **programs.libraries,
        "Tavlopro.exe": trees.program(programs.tavlopro),
        "Freshen.exe": trees.program(programs.freshen),
        "version.txt": trees.file(version + "\n"),
        "data/pieces.dat": trees.Entry(data),
        "data/boards/8x8.tav": trees.file(f"board 8 8 revision {revision}\n"),
        "documents/manual.txt": trees.file(f"Manual of Tavlopro {version}\n"),
        f"documents/Änderungen {version}.txt": trees.file(f"What is new in {version}\n"),
        "print queue": FOLDER,
    })


def old_installation(programs: Programs) -> Tree:
    """The application at its old version, and what has come to lie there since."""
    return {
        **application(OLD_VERSION, programs),
        **trees.tree({
            # These stay: named in the settings, or hidden.
            "user.ini": trees.file("[user]\nname=Ada\n"),
            "favourites.xml": trees.file("<favourites><opening>c4</opening></favourites>\n"),
            "logo.png": trees.Entry(_logo()),
            ".license": trees.file("licensed to Ada\n"),
            "cache/.index": trees.file("hidden in a sub-folder\n"),
            # These go, the second with a name that is kept only at the top.
            "notes.txt": trees.file("not in the list of files to keep\n"),
            "exports/favourites.xml": trees.file("<favourites/>\n"),
            "exports/2026/results.csv": trees.file("Ada;1\nGrace;0\n"),
            "cache/page.tmp": trees.file("temporary\n"),
            "legacy.dat": trees.file("of no use to the new version\n"),
        }),
    }


def set_up(folder: Path, programs: Programs) -> Stage:
    """Lays the scenario out in folder: home, installation, stand-in shell and packages."""
    stage = Stage(
        home=Home(folder / "home"),
        installation=folder / "Program Files" / "Tavlopro",
        shell=StandInShell(folder / "windows"),
        old=old_installation(programs),
        packages={},
        programs=programs,
        start_log=folder / "starts.log",
    )
    stage.shell.install(programs.explorer)
    lay_out(stage, folder / "server")
    return stage


def lay_out(stage: Stage, server: Path) -> None:
    """Makes the old installation, and the packages in the folder server."""
    trees.write(stage.installation, stage.old)
    server.mkdir()
    for version in VERSIONS:
        package = server / version.package_name
        write_package(package, application(version.number, stage.programs))
        stage.packages[version.package_path] = package


def write_application_settings(stage: Stage, host: str, port: int) -> None:
    """The settings as the old version of the application left them."""
    write_settings(stage.home.application_settings, application_settings(host, port))


def application_settings(host: str, port: int) -> dict[str, Setting]:
    main, minor, _ = OLD_VERSION.split(".")
    return {
        "version_main": main,
        "version_minor": minor,
        "version_state": "Stable",
        "host2": host,
        "port2": port,
        "proto2": "http",
        "LoginWindow/useBeta": False,
        "Updater/filesToKeep": FILES_TO_KEEP,
        "config/proxy/data/type": 0,
    }


def relocate(stage: Stage) -> None:
    """Leaves the updater where its own relocation puts it, with the hand-over file. The automatic mode runs in place,
    so it takes a start from there, as an application makes it whose updater has been relocated before."""
    copy = stage.home.relocated_updater
    copy.parent.mkdir(parents=True)
    shutil.copy2(stage.programs.freshen, copy)
    stage.home.hand_over_file.write_text(str(stage.installation), encoding="utf-8")


def _logo(size: int = 96) -> bytes:
    """The club's own logo, a round token, as a PNG picture."""
    center = (size - 1) / 2
    rows = bytearray()
    for y in range(size):
        rows.append(0)
        for x in range(size):
            distance = ((x - center) ** 2 + (y - center) ** 2) ** 0.5 / center
            rows += bytes((176, 52, 40, 255) if distance < 0.55 else (236, 226, 206, 255) if distance < 0.95 else
                          (0, 0, 0, 0))
    header = struct.pack(">IIBBBBB", size, size, 8, 6, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + b"".join(
        struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
        for kind, data in ((b"IHDR", header), (b"IDAT", zlib.compress(bytes(rows))), (b"IEND", b"")))
