"""The demo with the Windows program itself, under Wine."""

from __future__ import annotations

import os
import subprocess
import zipfile
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path

from harness import processes, trees
from harness.desktop import Desktop
from harness.trees import Tree
from harness.updateserver import UpdateServer
from harness.waiting import wait_for
from harness.windowreports import WindowReports
from harness.wine import Registry, Wine, hide_dotted
from harness.xwindows import XWindows

import scenario
from hands import DOWNLOAD_SHOWN, TITLE, Camera, Texts, User
from scenario import NEW_VERSION, VERSIONS

_QUESTION = "Tavlopro Update"
_SETTINGS = r"HKEY_CURRENT_USER\Software\Q.U.I.N.T.A.\Tavlo3"


def build(root: Path) -> scenario.Programs:
    """Builds the updater, its package and the equipment, and before that, once, what they are built with."""
    folder = root / "build" / "windows"
    subprocess.run([root / "scripts" / "windows-sdk"], check=True, stdout=subprocess.DEVNULL)
    for command in (["cmake", "--preset", "windows", "--fresh"],
                    ["cmake", "--build", "--preset", "windows", "--target", "Freshen", "Tavlopro", "xcopy",
                     "windowreader"],
                    ["cpack", "--config", "build/windows/CPackConfig.cmake", "-B", "build/windows/package"]):
        subprocess.run(command, cwd=root, check=True, stdout=subprocess.DEVNULL)
    package, = (folder / "package").glob("*.zip")
    with zipfile.ZipFile(package) as archive:
        libraries = trees.tree({name: trees.Entry(archive.read(name)) for name in archive.namelist()})
    return scenario.Programs(folder / "bin" / "Freshen.exe", folder / "equipment", libraries)


@dataclass(frozen=True)
class WindowsHome:
    """Where the updater keeps its things on Windows."""

    wine: Wine

    @property
    def updater_data(self) -> Path:
        # Windows leaves out the full stop that ends a folder's name.
        return self.wine.local_data / "Q.U.I.N.T.A" / "Tavlo3 Updater"

    @property
    def hand_over_file(self) -> Path:
        return self.updater_data / "settings.ini"

    @property
    def relocated_updater(self) -> Path:
        return self.updater_data / "freshen" / "Freshen.exe"

    @property
    def debug_log(self) -> Path:
        return self.updater_data / "debug_update.log"


@dataclass(frozen=True)
class WindowsStage(scenario.Stage):
    """The scenario, laid out on drive C: of a Windows. The shell that starts the new application is its own."""

    wine: Wine
    reports: WindowReports

    def name_of(self, path: Path) -> str:
        return self.wine.path(path).as_posix()

    def as_installed(self, entries: Tree) -> Tree:
        return {path: trees.Entry(entry.content) for path, entry in entries.items()}

    def variables(self) -> dict[str, str]:
        return {
            "TAVLOPRO_START_LOG": str(self.wine.path(self.start_log)),
            # The packages of the demo are small: give the eye time to see the copy.
            "XCOPY_PAUSE": "2",
            **self.reports.environment(self.wine),
        }

    def _shell_faults(self, program: str) -> list[str]:
        native = program.replace("/", "\\").replace("\\", "\\\\")
        log = self.home.debug_log.read_text(encoding="utf-8")
        if f'explorer.exe\\" \\"{native}\\""' in log and log.rstrip().endswith("success: true"):
            return []
        return [f"the shell should have started {program}"]


def set_up(folder: Path, programs: scenario.Programs, wine: Wine) -> WindowsStage:
    """Installs a Windows, and lays the scenario out on it."""
    wine.create()
    equipment = programs.equipment / "windows"
    # What Wine has of a tool of the system's is not enough.
    wine.replace_tool("xcopy.exe", equipment / "xcopy.exe")
    reports = folder / "reports"
    reports.mkdir()
    stage = WindowsStage(
        home=WindowsHome(wine),
        installation=wine.drive / "Program Files" / "Tavlopro",
        shell=None,
        old=scenario.old_installation(programs),
        packages={},
        programs=programs,
        start_log=wine.drive / "starts.log",
        wine=wine,
        reports=WindowReports(reports, equipment / "windowreader.dll"),
    )
    scenario.lay_out(stage, folder / "server")
    hide_dotted(stage.installation)
    return stage


def write_application_settings(stage: WindowsStage, host: str, port: int) -> None:
    """The settings as the old version of the application left them, in the registry."""
    keys: dict[str, dict] = {}
    for name, value in scenario.application_settings(host, port).items():
        group, _, key = name.replace("/", "\\").rpartition("\\")
        keys.setdefault(f"{_SETTINGS}\\{group}".rstrip("\\"), {})[key] = value
    registry: Registry = keys
    stage.wine.set_registry(registry)


def start_updater(stage: WindowsStage, mode: str, log: Path) -> Callable[[], int]:
    """Starts the updater; returns a function that waits for the end of the process that does the work, and gives its
    exit code."""
    if mode == "auto":
        trees.write(stage.home.relocated_updater.parent, stage.programs.libraries)
        stage.home.hand_over_file.write_text(stage.name_of(stage.installation), encoding="utf-8")
        stage.reports.place_plugin(stage.home.relocated_updater.parent)
        process = stage.wine.start(stage.home.relocated_updater, "auto", variables=stage.variables(), output=log)
        return lambda: process.wait(60)
    first = stage.wine.start(stage.installation / "Freshen.exe", variables=stage.variables(), output=log)
    stage.reports.follow(first, stage.home.relocated_updater)
    copy = wait_for(lambda: find_updater("menu"), "the updater's copy of itself", 60.0)
    return lambda: processes.wait_for_exit(copy, 60)


def find_updater(*arguments: str) -> int | None:
    """The id of the process of an updater whose arguments begin so."""
    for pid in processes.descendants():
        try:
            command = Path(f"/proc/{pid}/cmdline").read_bytes().rstrip(b"\0").split(b"\0")
        except OSError:
            continue
        if command[0].endswith(b"\\Freshen.exe") and command[1:len(arguments) + 1] == [*map(str.encode, arguments)]:
            return pid
    return None


@dataclass
class WindowsHands(User):
    """What a user does at the keyboard."""

    stage: WindowsStage

    def choose(self) -> None:
        """Takes the wanted version from the list, the beta versions shown."""
        reports, windows = self.stage.reports, XWindows(self.desktop)
        reports.wait_for(TITLE, lambda widgets: NEW_VERSION in _shown(widgets), "the list of versions")
        self.camera.take("list")
        windows.keys(TITLE, "Tab", "space")
        betas = {version.number for version in VERSIONS if version.kind == "Beta"}
        reports.wait_for(TITLE, lambda widgets: betas < set(_shown(widgets)), "the beta versions in the list")
        self.camera.take("list-with-betas")
        row = _shown(reports.widgets(TITLE)).index(NEW_VERSION)
        windows.keys(TITLE, "shift+Tab", "Home", *["Down"] * row)
        reports.wait_for(TITLE, lambda widgets: widgets["versionsTreeWidget"]["current"] == row, "the chosen row")
        self.camera.take("choice")
        windows.keys(TITLE, "Return")

    def watch_download(self) -> None:
        """Sees the download under way and the package made ready."""
        self.stage.reports.wait_for_text(
            TITLE, "label", self.texts.downloading.format(self.version.kind, NEW_VERSION))
        self.stage.reports.wait_for(
            TITLE, lambda widgets: widgets["progressBar"]["value"] >= widgets["progressBar"]["maximum"] *
            DOWNLOAD_SHOWN * 0.95 > 0, "the first part of the package")
        self.camera.take("progress")
        self.server.release()
        self.stage.reports.wait_for_text(TITLE, "label", self.texts.ready)
        self.camera.take("ready")

    def install(self) -> None:
        """Starts the installation, agrees to the cleaning, and sees the new application."""
        windows = XWindows(self.desktop)
        self.stage.reports.wait_for_text(TITLE, "multiButton", self.texts.install)
        windows.keys(TITLE, "Tab", "space")
        assert windows.read_box(_QUESTION).text.startswith(self.texts.clean)
        self.camera.take("cleaning-question")
        windows.keys(_QUESTION, "Return")
        windows.wait_for(f"Tavlopro {NEW_VERSION}", 60.0)
        windows.wait_for_end(TITLE)
        self.camera.take("new-application")


def _shown(widgets: dict) -> list[str]:
    return [row[0] for row in widgets.get("versionsTreeWidget", {}).get("rows", [])]


def update_headless(stage: WindowsStage, desktop: Desktop, server: UpdateServer, camera: Camera, texts: Texts,
                    mode: str, log: Path) -> list[str]:
    """Drives one run; returns what went wrong."""
    user = WindowsHands(desktop, stage, server, camera, texts)
    user.prepare()
    try:
        wait_for_end = start_updater(stage, mode, log)
        if mode != "auto":
            user.choose()
        user.watch_download()
        user.install()
        exit_code = wait_for_end()
    except (TimeoutError, subprocess.TimeoutExpired) as error:
        camera.take("failure")
        return [str(error)]
    return [f"the updater ended with {exit_code}"] if exit_code else []


def update_by_user(stage: WindowsStage, mode: str, log: Path, patience: float) -> list[str]:
    """Leaves one run to the user; returns what went wrong."""
    try:
        start_updater(stage, mode, log)
        wait_for(lambda: find_updater() is None, "the end of the updater", patience)
        wait_for(stage.start_log.exists, "the start of the new application")
    except TimeoutError as error:
        return [str(error)]
    return []


def user_display() -> dict[str, str]:
    """The variables of the display that the user sits at."""
    return {"DISPLAY": os.environ["DISPLAY"],
            "XAUTHORITY": os.environ.get("XAUTHORITY", str(Path.home() / ".Xauthority"))}
