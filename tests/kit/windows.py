"""The packaged Windows program in a Windows of Wine's."""

from __future__ import annotations

import re
import shutil
import subprocess
import time
import zipfile
from collections.abc import Mapping, Sequence
from contextlib import suppress
from pathlib import Path
from threading import Thread

from . import folders, processes
from .desktop import Desktop
from .folders import File, Folder, Node, Tree
from .updater import Setting, Updater
from .window import PLUGIN, PLUGINS, Window
from .wine import RegistryValue, Wine, hide_dotted

# xcopy.exe reaches no file whose path, as it is named to it, is longer; Wine's crashes on one.
LONGEST_PATH = 254

_SETTINGS = r"HKEY_CURRENT_USER\Software\Q.U.I.N.T.A.\Tavlo3"
_INSTALLATION = "Tavlopro Spielst\u00e4tte"
# What names are made of; none ends in a blank or a full stop.
_NAMES = re.compile(r'(?:[^/<>:"\\|?*\x00-\x1f]*[^/<>:"\\|?*\x00-\x1f. ](?:/|$))+')


class Build:
    """What the build for Windows has made: the updater's package, and the fakes beside it."""

    def __init__(self, folder: Path) -> None:
        self.folder, self.fakes = folder, folder / "fakes"
        self.package, = (folder / "package").glob("*.zip")
        with zipfile.ZipFile(self.package) as archive:
            # What the package of the updater brings into an installation folder.
            self.updater_files = folders.completed({name: File(archive.read(name)) for name in archive.namelist()})


class WindowsUpdater(Updater):
    """The updater in this Windows. One at a time."""

    platform, is_windows = "windows", True
    # What Wine lacks: part of the scaling of title bars, and one of the ways to ask for a standard symbol. The reason
    # is in the language of the system.
    noise = re.compile(r"(EnableNonClientDpiScaling\(\) failed for HWND 0x[0-9a-f]+ \(120\)"
                       r"|QPixmap::fromWinHICON\(\), failed to GetIconInfo\(\)) \(.*\)")

    def __init__(self, build: Build, wine: Wine, desktop: Desktop) -> None:
        self.build, self.wine, self.desktop = build, wine, desktop
        self.files, self.program = build.updater_files, File((build.fakes / "brief.exe").read_bytes())
        self.starts_log = wine.drive / "starts.log"
        self._reports = wine.folder / "reports"
        self.window = Window(desktop, self._reports)
        self._user, self._dots_per_inch = wine.user, 96
        # What Wine has of this tool is not enough.
        wine.replace_tool("xcopy.exe", build.fakes / "xcopy.exe")
        self.move(wine.user)
        super().__init__(wine.drive, self.installation)

    def move(self, user: str, installation: str = _INSTALLATION) -> None:
        """Lets a user of this name work with an installation in a folder of this name."""
        self.wine.user = user
        for name in ("Local", "LocalLow", "Roaming"):
            (self.wine.profile / "AppData" / name).mkdir(parents=True, exist_ok=True)
        # Windows leaves out the full stop that ends a folder's name.
        self.data = self.parent = self.wine.profile / "AppData" / "Local" / "Q.U.I.N.T.A" / "Tavlo3 Updater"
        self.installation = self.wine.drive / "Program Files" / installation

    def appear(self, language: str, dots_per_inch: int = 96) -> None:
        """Sets language and density."""
        super().appear(language)
        self.wine.language = self.locale
        if dots_per_inch != self._dots_per_inch:
            self.wine.set_registry({r"HKEY_CURRENT_USER\Control Panel\Desktop": {"LogPixels": dots_per_inch},
                                    r"HKEY_CURRENT_CONFIG\Software\Fonts": {"LogPixels": dots_per_inch}})
            # It holds from the next start of this Windows.
            self.wine.stop()
        self._dots_per_inch = dots_per_inch

    def clear(self) -> None:
        """Ends what runs, and takes away what a test has left."""
        self.kill()
        for path in (self.installation, self.data):
            folders.remove(path)
        if self.wine.user != self._user:
            folders.remove(self.wine.profile)
            self.move(self._user)
        self.starts_log.unlink(missing_ok=True)
        self.appear("en")

    # --- its places

    @property
    def own(self) -> list[Path]:
        # The system is large.
        return [self.data, self.wine.drive / "windows"]

    def called(self, path: Path) -> str:
        return self.wine.path(path).as_posix()

    def spellings(self, path: Path) -> list[str]:
        native = str(self.wine.path(path))
        return [self.called(path), native.replace("\\", "\\\\"), native]

    # --- before the start

    def store(self, settings: Mapping[str, Setting]) -> None:
        keys: dict[str, dict[str, RegistryValue]] = {_SETTINGS: {}}
        for name, value in settings.items():
            *groups, name = name.split("/")
            keys.setdefault("\\".join([_SETTINGS, *groups]), {})[name] = value
        self.wine.set_registry(keys, instead_of=[_SETTINGS])

    def place_plugin(self, folder: Path) -> None:
        """Puts the plug-in that reports on windows where programs in this folder look for one of its kind."""
        (folder / PLUGINS).mkdir(parents=True, exist_ok=True)
        shutil.copy2(self.build.fakes / PLUGINS / f"{PLUGIN}.dll", folder / PLUGINS)

    def install(self, tree: Tree) -> None:
        super().install(tree)
        hide_dotted(self.installation)

    def possible(self, tree: Tree) -> Tree:
        # Names that differ in capitals only are one name.
        lower: dict[str, str] = {}
        return {path: self._as_there(path, node) for path, node in tree.items()
                if (isinstance(node, Folder) or isinstance(node, File) and node.mode) and _NAMES.fullmatch(path)
                and lower.setdefault(path.lower(), path) == path}

    def packable(self, tree: Tree) -> Tree:
        # As it is named to the program that copies.
        called = self.wine.path(self.copy.parent) / ".." / "out"
        return {path: node for path, node in self.possible(tree).items() if len(str(called / path)) <= LONGEST_PATH}

    def look(self, folder: Path) -> Tree:
        return {path: self._as_there(path, node) for path, node in super().look(folder).items()}

    def _as_there(self, path: str, node: Node) -> Node:
        """A script is a program, and stays in it, at its end; of all rights there is one, to write."""
        if not isinstance(node, File):
            return node
        is_script = path.endswith(".exe") and not node.content.startswith(b"MZ")
        return File(self.program.content + node.content if is_script else node.content,
                    0o644 if node.mode & 0o222 else 0o444)

    # --- the start

    def launch(self, program: Path, *arguments: str, variables: Mapping[str, str],
               through: Sequence[str]) -> subprocess.Popen:
        self.place_plugin(program.parent)
        started = time.time_ns()
        process = self.wine.start(program, *arguments, through=through, variables={
            "TAVLOPRO_START_LOG": str(self.wine.path(self.starts_log)),
            "WINDOW_REPORTS": str(self.wine.path(self._reports)),
            # Wine passes variables of Qt on only if they are written so.
            "WINEQT_QPA_GENERIC_PLUGINS": PLUGIN, **variables})
        if program.parent == self.installation:
            Thread(target=self._follow, args=(process, started), daemon=True).start()
        return process

    def _follow(self, process: subprocess.Popen, started: int) -> None:
        """Puts the plug-in beside the copy as soon as the program has made it. The copy is started much later."""
        while process.poll() is None:
            with suppress(FileNotFoundError):
                # An older one may be there until the folder is emptied.
                if self.copy.stat().st_ctime_ns > started:
                    return self.place_plugin(self.copy.parent)
            time.sleep(0.005)

    def processes(self) -> list[int]:
        started = [self.process.pid] if self.is_running() else []
        return started + processes.find("Freshen.exe", "cmd.exe", "xcopy.exe", "Tavlopro.exe", "Tavlopc.exe",
                                        "Renamed.exe")
