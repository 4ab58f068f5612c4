"""The Windows that a road is tried on: an installed application at an old version, its settings, and a web server with
packages."""

from __future__ import annotations

import functools
import os
import re
import subprocess
import zipfile
from collections.abc import Iterator, Mapping, Sequence
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path, PureWindowsPath

import expectedlog
from harness import processes, trees
from harness.desktop import Desktop
from harness.packages import VERSIONS_PATH, Version, write_package
from harness.trees import FOLDER, Tree
from harness.waiting import wait_for
from harness.windowreports import Widget, WindowReports
from harness.wine import RegistryValue, Wine, hide_dotted
from harness.xwindows import XWindows
from rig.certificates import Authority
from rig.servers import Nginx
from texts import Texts

TITLE = "Tavlopro Updater - Version 96"

# The name of this machine that the server's certificates are made out to.
HOST = "localhost"

OLD = Version("26.05.7086", "Stable", "", "2026-05-07", "Installed now.")
NEW = Version("26.06.7205", "Stable", "7150", "2026-07-09", "<b>Fix of 26.06</b> for Spielst\u00e4tten.", "7086")
BETA = Version("26.07.7240", "Beta", "", "2026-07-23", "League tables.")
FOR_WINDOWS_10 = Version("26.08.7310", "Stable", "7300", "2026-08-28", "For Windows 10.", "7086", "10.0")
VERSIONS = (OLD, NEW, BETA)

FILES_TO_KEEP = ("user.ini", "favoriten \u00e4.xml")

_SETTINGS = r"HKEY_CURRENT_USER\Software\Q.U.I.N.T.A.\Tavlo3"
_OWN_SETTINGS = f"{_SETTINGS} Updater"
_INSTALLATION = "Tavlopro Spielst\u00e4tte"
# Files that the updater keeps and cleans are few; these make the package take its time.
_DATA_SIZE = 2 * 1024 * 1024

_TIME_STAMP = re.compile(r"^\d{6} \d\d:\d\d:\d\d:\d{3} (?=\[)", re.MULTILINE)


@dataclass(frozen=True)
class Build:
    """What the build for Windows has made."""

    package: Path
    equipment: Path

    @functools.cache
    def updater_files(self) -> Tree:
        """What the package of the updater brings into an installation folder."""
        with zipfile.ZipFile(self.package) as archive:
            return trees.tree({name: trees.Entry(archive.read(name)) for name in archive.namelist()})

    def program(self, name: str) -> trees.Entry:
        return trees.Entry((self.equipment / name).read_bytes())


def application(build: Build, version: Version, *, executable: str | None = "Tavlopro.exe") -> Tree:
    """The application as a package brings it, the updater among its files."""
    revision = version.number.rpartition(".")[2]
    entries = {
        "version.txt": trees.file(version.number + "\n"),
        "data/pieces.dat": trees.Entry(bytes(revision, "ascii") * (_DATA_SIZE // len(revision))),
        "documents/\u00c4nderungen.txt": trees.file(f"What is new in {version.number}\n"),
        "print queue": FOLDER,
    }
    if executable is not None:
        entries[executable] = build.program("Tavlopro.exe")
    return {**build.updater_files(), **trees.tree(entries)}


def old_installation(build: Build) -> Tree:
    """The application at its old version, and what has come to lie there since."""
    return {
        **application(build, OLD),
        **trees.tree({
            "Tavlopc.exe": build.program("windows/Tavlopc.exe"),
            "user.ini": trees.file("[user]\nname=Ada\n"),
            "favoriten \u00e4.xml": trees.file("<favourites/>\n"),
            "logo.png": trees.file("a picture\n"),
            "notes.txt": trees.file("not in the list of files to keep\n"),
            "exports/user.ini": trees.file("kept at the top only\n"),
            # Hidden: neither listed nor removed.
            ".license": trees.file("licensed to Ada\n"),
            "cache/.index": trees.file("holds its folder\n"),
        }),
    }


@dataclass(frozen=True)
class Look:
    """How Windows shows itself."""

    language: str
    dots_per_inch: int

    def __str__(self) -> str:
        return f"{self.language[:2]}-{self.dots_per_inch}"


# Each language at one of the densities that are no whole number of pixels.
LOOKS = (Look("en_US", 96), Look("de_DE", 96), Look("de_DE", 120), Look("en_US", 144), Look("en_US", 192),
         Look("de_DE", 192))


class Stage:
    """One installation on one Windows, and what happens to it."""

    def __init__(self, build: Build, wine: Wine, desktop: Desktop, folder: Path, pictures: Path) -> None:
        self.look = LOOKS[0]
        self.build = build
        self.wine = wine
        self.desktop = desktop
        self.windows = XWindows(desktop)
        self.pictures = pictures
        self.web = folder / "web"
        self.reports = WindowReports(folder / "reports", build.equipment / "windows" / "windowreader.dll")
        self.installation = wine.drive / "Program Files" / _INSTALLATION
        self.starts = wine.drive / "starts.log"
        self._user = wine.user
        # What Wine has of a tool of the system's is not enough.
        wine.replace_tool("xcopy.exe", build.equipment / "windows" / "xcopy.exe")

    # --- before the start

    def clear(self) -> None:
        """Takes away what an earlier road has left."""
        self._leave()
        self.move(self._user, _INSTALLATION)
        self._leave()
        for path in (self.web, self.reports.folder):
            trees.remove(path)
        self.starts.unlink(missing_ok=True)
        self.web.mkdir()
        self.reports.folder.mkdir()

    def move(self, user: str, installation: str) -> None:
        """Lets a user of this name work with an installation in a folder of this name."""
        self.wine.user = user
        for name in ("Local", "LocalLow", "Roaming"):
            (self.wine.profile / "AppData" / name).mkdir(parents=True, exist_ok=True)
        self.installation = self.installation.with_name(installation)

    def _leave(self) -> None:
        trees.remove(self.installation)
        trees.remove(self.data)
        if self.wine.user != self._user:
            trees.remove(self.wine.profile)

    def appear(self, look: Look) -> None:
        """Sets language and density."""
        self.wine.language = look.language
        if look.dots_per_inch != self.look.dots_per_inch:
            self.wine.set_dots_per_inch(look.dots_per_inch)
        self.look = look

    def install(self, files: Tree) -> None:
        """Puts these files into the installation. Those whose names begin with a full stop are hidden."""
        trees.write(self.installation, files)
        hide_dotted(self.installation)

    def relocate(self, installation: Path | None = None) -> None:
        """Puts the updater where its own relocation puts it, with a hand-over file for this installation."""
        trees.write(self.data / "freshen", self.build.updater_files())
        destination = self.wine.path(installation or self.installation).as_posix()
        self.hand_over.write_text(destination, encoding="utf-8")

    def offer(self, packages: Mapping[Version, Tree | bytes | None]) -> None:
        """Lets the web server offer these versions and their packages: a tree, a file's content, or none at all."""
        self._serve(VERSIONS_PATH, "".join(version.line + "\n" for version in packages).encode())
        for version, package in packages.items():
            if isinstance(package, bytes):
                self._serve(version.package_path, package)
            elif package is not None:
                file = self.web / version.package_path.removeprefix("/")
                file.parent.mkdir(parents=True, exist_ok=True)
                write_package(file, package)

    def set_up(self, port: int) -> None:
        """Stores the application's settings as it left them."""
        self.write_settings({
            "version_main": "26", "version_minor": "05", "version_state": "Stable", "host2": HOST, "port2": port,
            "proto2": "https", "LoginWindow/useBeta": False, "Updater/filesToKeep": FILES_TO_KEEP,
            "config/proxy/data/type": 0})

    def write_settings(self, settings: Mapping[str, RegistryValue | None]) -> None:
        """Stores these settings of the application and no others, by the names that programs know them by
        ("group/name"); None stands for none."""
        self._write_settings(_SETTINGS, settings)

    def write_own_settings(self, settings: Mapping[str, RegistryValue]) -> None:
        """Stores these settings of the updater's own and no others."""
        self._write_settings(_OWN_SETTINGS, settings)

    def _write_settings(self, place: str, settings: Mapping[str, RegistryValue | None]) -> None:
        keys: dict[str, dict[str, RegistryValue]] = {}
        for name, value in settings.items():
            if value is not None:
                *groups, name = name.split("/")
                keys.setdefault("\\".join([place, *groups]), {})[name] = value
        self.wine.set_registry(keys, instead_of=[place])

    def files_to_keep(self) -> list[str]:
        """The list as it is stored now."""
        return self.wine.list_value(rf"{_SETTINGS}\Updater", "filesToKeep")

    def start(self, *arguments: str, program: Path | None = None, reader: bool = True,
              variables: Mapping[str, str] | None = None, through: Sequence[str] = ()) -> subprocess.Popen:
        """Starts the updater: without arguments the one in the installation, with arguments the relocated one. reader:
        with eyes on the widgets, of the copy that the one in the installation makes of itself. through is a command of
        this machine that runs the rest of its command line."""
        is_relocated = program is not None or bool(arguments)
        if program is None:
            program = self.copy if arguments else self.installation / "Freshen.exe"
        environment = {"TAVLOPRO_START_LOG": str(self.wine.path(self.starts))}
        if reader:
            environment |= self.reports.environment(self.wine)
            if is_relocated:
                self.reports.place_plugin(program.parent)
        process = self.wine.start(program, *arguments, through=through, variables={**environment, **(variables or {})})
        if reader and not is_relocated:
            self.reports.follow(process, self.copy)
        return process

    def programs(self, *names: str) -> list[int]:
        """The ids of the processes that run programs of these names."""
        return [pid for pid in processes.descendants()
                if (command := _command(pid)) and PureWindowsPath(command[0]).name in names]

    def commands(self, *names: str) -> list[list[str]]:
        """The command lines of the processes that run programs of these names."""
        return [_command(pid) for pid in self.programs(*names)]

    def wait_for_process(self, name: str) -> None:
        wait_for(lambda: self.programs(name), f"a process of {name}")

    # --- what there is to see

    @property
    def data(self) -> Path:
        # Windows leaves out the full stop that ends a folder's name.
        return self.wine.local_data / "Q.U.I.N.T.A" / "Tavlo3 Updater"

    @property
    def copy(self) -> Path:
        return self.data / "freshen" / "Freshen.exe"

    @property
    def hand_over(self) -> Path:
        return self.data / "settings.ini"

    def log(self) -> str:
        """The debug log without its time stamps."""
        file = self.data / "debug_update.log"
        if not file.exists():
            return ""
        return _TIME_STAMP.sub("", file.read_bytes().decode("utf-8").replace("\r\n", "\n"))

    def wait_for_log(self, text: str, seconds: float = 60.0) -> None:
        wait_for(lambda: text in self.log(), f"{text!r} in the debug log", seconds)

    @property
    def texts(self) -> Texts:
        """What the updater says in this language."""
        return Texts(self.look.language[:2])

    def show(self, name: str, title: str = TITLE) -> None:
        """Takes a picture of the windows, which the one of this title must be among, and makes sure that none of its
        texts is cut."""
        self.windows.wait_for(title)
        wait_for(lambda: self.widgets(title), f"the widgets of {title!r}")
        self.pictures.mkdir(parents=True, exist_ok=True)
        picture = self.pictures / f"{name}-{self.look}.png"
        self.desktop.screenshot(picture)
        # The windows, with a narrow rim of the empty screen.
        subprocess.run(["mogrify", "-fuzz", "2%", "-trim", "+repage", "-border", "12", picture], check=True)
        # One line high, whatever its text; the tool tip has all of it.
        cut = [widget["text"] for name, widget in self.widgets(title).items() if widget.get("cut") and name != "label"]
        assert cut == [], f"too little room for {cut}"

    def widgets(self, title: str = TITLE) -> dict[str, Widget]:
        return self.reports.widgets(title)

    def wait_for_text(self, widget: str, text: str) -> None:
        """Waits until this widget of the updater's window says exactly this."""
        self.reports.wait_for_text(TITLE, widget, text)

    def updaters(self, *arguments: str) -> list[int]:
        """The process ids of the updaters that run with these arguments."""
        commands = ((pid, _command(pid)) for pid in processes.descendants())
        return [pid for pid, command in commands
                if command and command[0].endswith("\\Freshen.exe") and command[1:] == list(arguments)]

    def wait_for_updater(self, *arguments: str) -> int:
        """Waits for the one updater that runs with these arguments; returns its process id."""
        return wait_for(lambda: self.updaters(*arguments), f"the updater with the arguments {arguments}", 60.0)[0]

    def installed(self) -> Tree:
        return plain(trees.read(self.installation))

    def _serve(self, path: str, content: bytes) -> None:
        file = self.web / path.removeprefix("/")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content)


@contextmanager
def serving(stage: Stage, authority: Authority, folder: Path, settings: str = "") -> Iterator[Nginx]:
    """An update server for the stage, which the application's settings name. It keeps its files in folder; settings is
    added to its configuration as it is."""
    certificate = authority.issue("server", f"DNS:{HOST}")
    with Nginx(folder, certificate, settings, content=stage.web) as server:
        stage.set_up(server.port)
        yield server


def values_for_log(stage: Stage, server: Nginx, cleaned: bool, installed: Tree) -> dict[str, str | list[str]]:
    """What the templates of the debug log of a whole road leave open."""
    installation, parent = stage.wine.path(stage.installation), stage.wine.path(stage.data)
    package = application(stage.build, NEW)
    # The package brings one folder.
    unpacked = trees.tree({f"Tavlopro/{path}": entry for path, entry in package.items()})
    listed = expectedlog.entry_list(installed)
    return {
        "language": stage.wine.language[:2],
        "installation": installation.as_posix(),
        "native_installation": expectedlog.escaped(str(installation)),
        # As it was asked for, and as it is called.
        "data": expectedlog.escaped(str(parent).replace("Q.U.I.N.T.A\\", "Q.U.I.N.T.A.\\")),
        "parent": parent.as_posix(),
        "native_parent": expectedlog.escaped(str(parent)),
        "server": f"https://{HOST}:{server.port}",
        "versions": "".join(version.line + "\\n" for version in VERSIONS),
        "info": NEW.info,
        "package": NEW.package_path,
        "unzipping": expectedlog.unzipping(package),
        "cleaning": expectedlog.cleaning(installation.as_posix(), old_installation(stage.build),
                                         (*FILES_TO_KEEP, "logo.png")) if cleaned else [],
        "count": str(len(listed)),
        "entries": ", ".join(f'"{name}"' for name in listed),
        "removing": expectedlog.cleaning(f"{parent.as_posix()}/out", unpacked, remove_self=True,
                                         spelt=rf"{parent}\freshen\..\out"),
    }


def plain(entries: Tree) -> Tree:
    """These entries as Windows knows them, which has no right to execute."""
    return {path: trees.Entry(entry.content) for path, entry in entries.items()}


def _command(pid: int) -> list[str]:
    try:
        return [os.fsdecode(part) for part in Path(f"/proc/{pid}/cmdline").read_bytes().rstrip(b"\0").split(b"\0")]
    except OSError:
        return []
