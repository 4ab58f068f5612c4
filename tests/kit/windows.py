"""The packaged Windows program in a Windows of Wine's."""

from __future__ import annotations

import re
import shutil
import subprocess
import time
import zipfile
from collections.abc import Mapping, Sequence
from dataclasses import replace
from pathlib import Path, PureWindowsPath
from threading import Thread

from . import folders, processes, sandbox
from .desktop import Desktop
from .folders import File, Folder, Node, Tree
from .updater import INSTALLED_SETTINGS, Setting, Updater
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
        packages = list((folder / "package").glob("*.zip"))
        assert len(packages) == 1, f"there should be one package in {folder / 'package'}, not {packages}"
        self.folder, self.package, self.fakes = folder, packages[0], folder / "fakes"
        with zipfile.ZipFile(self.package) as archive:
            # What the package of the updater brings into an installation folder.
            self.updater_files = folders.completed({name: File(archive.read(name)) for name in archive.namelist()})


class WindowsUpdater(Updater):
    """The updater in this Windows. One at a time."""

    platform = "windows"
    # What Wine lacks: part of the scaling of title bars, and one of the ways to ask for a standard symbol. The reason
    # is in the language of the system.
    noise = re.compile(r"(EnableNonClientDpiScaling\(\) failed for HWND 0x[0-9a-f]+ \(120\)"
                       r"|QPixmap::fromWinHICON\(\), failed to GetIconInfo\(\)) \(.*\)")

    def __init__(self, build: Build, wine: Wine, desktop: Desktop) -> None:
        super().__init__(wine.drive, wine.profile, Path(), wine.drive / "Program Files" / _INSTALLATION)
        self.wine, self.build, self.desktop = wine, build, desktop
        self.program = File((build.fakes / "brief.exe").read_bytes())
        self.starts_log = wine.drive / "starts.log"
        self._reports = wine.folder / "reports"
        self.window = Window(desktop, self._reports)
        self._profile, self._dots_per_inch = wine.profile, 96
        # What Wine has of this tool is not enough.
        wine.replace_tool("xcopy.exe", build.fakes / "xcopy.exe")
        self.move(wine.user)

    def move(self, user: str, installation: str = _INSTALLATION) -> None:
        """Lets a user of this name work with an installation in a folder of this name."""
        self.wine.user = user
        self.home = self.wine.profile
        for name in ("Local", "LocalLow", "Roaming"):
            (self.home / "AppData" / name).mkdir(parents=True, exist_ok=True)
        # Windows leaves out the full stop that ends a folder's name.
        self.data = self.parent = self.home / "AppData" / "Local" / "Q.U.I.N.T.A" / "Tavlo3 Updater"
        self.installation = self.installation.with_name(installation)

    def appear(self, language: str, dots_per_inch: int = 96) -> None:
        """Sets language and density."""
        self.language, self.wine.language = language, {"en": "en_US", "de": "de_DE"}.get(language, language)
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
        if self.home != self._profile:
            folders.remove(self.home)
            self.move(self._profile.name)
        self.starts_log.unlink(missing_ok=True)
        self.appear("en")

    # --- its places

    def called(self, path: Path) -> str:
        return self.wine.path(path).as_posix()

    def spellings(self, path: Path) -> list[str]:
        native = str(self.wine.path(path))
        return [self.called(path), native.replace("\\", "\\\\"), native]

    # --- before the start

    def write_settings(self, settings: Mapping[str, Setting] = {}, **more: Setting) -> None:
        keys: dict[str, dict[str, RegistryValue]] = {_SETTINGS: {}}
        for name, value in {**INSTALLED_SETTINGS, **settings, **more}.items():
            if value is not None:
                *groups, name = name.split("/")
                keys.setdefault("\\".join([_SETTINGS, *groups]), {})[name] = value
        self.wine.set_registry(keys, instead_of=[_SETTINGS])

    def files_to_keep(self) -> list[str]:
        """The list as it is stored now."""
        output = self.wine.run("reg.exe", "query", rf"{_SETTINGS}\Updater", "/v", "filesToKeep")
        return re.search(r"REG_MULTI_SZ\s*(.*?)\s*$", output, re.MULTILINE)[1].split("\\0")

    def place(self, folder: Path) -> Path:
        folders.make(folder, self.build.updater_files)
        return folder / "Freshen.exe"

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

    def _as_there(self, path: str, node: Node) -> Node:
        """A script is a program, and stays in it, at its end; of all rights there is one, to write."""
        if not isinstance(node, File):
            return node
        content = node.content
        if path.endswith(".exe") and not content.startswith(b"MZ"):
            content = self.program.content + content
        return File(content, 0o644 if node.mode & 0o222 else 0o444)

    def look(self, folder: Path) -> Tree:
        return {path: replace(node, mode=0o644 if node.mode & 0o222 else 0o444) if isinstance(node, File) else node
                for path, node in folders.look(folder).items() if path.split("/")[0] != PLUGINS}

    def install(self, tree: Tree) -> None:
        super().install(tree)
        hide_dotted(self.installation)

    def copying(self, *, exit_code: int | None = None, pause: int | None = None) -> dict[str, str]:
        return {"XCOPY_EXIT_CODE": str(exit_code)} if exit_code is not None else {"XCOPY_PAUSE": str(pause)}

    def place_plugin(self, folder: Path) -> None:
        """Puts the plug-in that reports on windows where programs in this folder look for one of its kind."""
        (folder / PLUGINS).mkdir(parents=True, exist_ok=True)
        shutil.copy2(self.build.fakes / PLUGINS / f"{PLUGIN}.dll", folder / PLUGINS)

    # --- while it runs, and afterwards

    def launch(self, program: Path, *arguments: str, variables: Mapping[str, str], through: Sequence[str],
               **restrictions: object) -> subprocess.Popen:
        self.place_plugin(program.parent)
        started = time.time_ns()
        command = [*(sandbox.sandboxed(processes=False, **restrictions) if restrictions else ()), *through]
        process = self.wine.start(program, *arguments, through=command, variables={
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
            try:
                # An older one may be there until the folder is emptied.
                if self.copy.stat().st_ctime_ns > started:
                    return self.place_plugin(self.copy.parent)
            except FileNotFoundError:
                pass
            time.sleep(0.005)

    def processes(self) -> list[int]:
        started = [self.process.pid] if self.is_running() else []
        return started + processes.find("Freshen.exe", "cmd.exe", "xcopy.exe", "Tavlopro.exe", "Tavlopc.exe",
                                        "Renamed.exe")

    def starts(self) -> list[tuple[str, ...]]:
        lines = self.starts_log.read_text(encoding="utf-8").splitlines() if self.starts_log.exists() else []
        return [(PureWindowsPath(line.split("\t")[-1]).as_posix(),) for line in lines]

    def beside(self) -> dict[str, bytes | None]:
        found: dict[str, bytes | None] = {}
        for top in self.wine.drive.iterdir():
            # The system itself is large.
            if top.is_dir() and top.name != "windows":
                found |= {f"{top.name}/{path}": content for path, content in folders.contents(top).items()
                          if not (top / path).is_relative_to(self.data)}
        return found
