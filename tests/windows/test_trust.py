"""Which programs and libraries the updater takes from where: what runs with its rights, docs/security.md says."""

from __future__ import annotations

import re
import shutil
from collections.abc import Iterator
from pathlib import Path, PureWindowsPath

import pytest

from harness import trees
from rig.servers import Nginx
from stage import NEW, TITLE, Stage, application, plain
from test_failures import agree_to_clean, cleaned, start_installation

_ENVIRONMENT = r"HKEY_CURRENT_USER\Environment"
_INTERPRETER = r"HKEY_CURRENT_USER\Software\Microsoft\Command Processor"
_LIBRARY = "planted.dll"


@pytest.fixture
def elsewhere(stage: Stage) -> Iterator[Path]:
    """A folder of the user's own."""
    path = stage.wine.drive / "elsewhere"
    path.mkdir()
    yield path
    trees.remove(path)


def started(stage: Stage) -> list[str]:
    """The programs and libraries that have noted their start, as Windows calls them."""
    if not stage.starts.exists():
        return []
    lines = stage.starts.read_text(encoding="utf-8").splitlines()
    return [str(PureWindowsPath(line.split("\t")[-1])) for line in lines]


def test_libraries_come_from_its_own_folder(stage: Stage, elsewhere: Path, server: Nginx) -> None:
    """The libraries and plug-ins of the package are loaded from the folder that the program runs from, all others from
    Windows' own folder; those are not that lie where the user's environment leads, or a file beside the program, or in
    the folder above where that looks like an installation of Qt."""
    stage.relocate()
    stage.reports.place_plugin(elsewhere)
    shutil.copytree(stage.copy.parent / "platforms", elsewhere / "platforms")
    shutil.copytree(stage.copy.parent / "platforms", stage.data / "plugins" / "platforms")
    (stage.data / "lib").mkdir()
    (stage.data / "lib" / "libQt5Core.a").touch()
    (stage.copy.parent / "qt.conf").write_text(f"[Paths]\nPlugins={stage.wine.path(elsewhere).as_posix()}\n")
    # Wine passes variables of Qt on only if they are written so.
    foreign = {f"WINEQT_{name}": str(stage.wine.path(elsewhere))
               for name in ("PLUGIN_PATH", "QPA_PLATFORM_PLUGIN_PATH")}
    output = stage.wine.folder / "loaded.txt"
    stage.wine.start(stage.copy, "neither", output=output,
                     variables={"WINEDEBUG": "+loaddll", **stage.reports.environment(stage.wine), **foreign})
    stage.wait_for_log("Get:")
    stage.windows.wait_for(TITLE)
    folder = stage.wine.path(stage.copy.parent)
    assert f'libraryPaths:        ("{folder.as_posix()}")' in stage.log()
    loaded = {PureWindowsPath(path.replace("\\\\", "\\")) for path in
              re.findall(r'Loaded L"(.*?)"', output.read_text(errors="replace"))}
    # Windows leaves out the full stop that ends a folder's name, and minds no capitals.
    own = {path.relative_to(folder) for path in loaded if path.is_relative_to(folder)}
    package = {PureWindowsPath(path) for path in stage.build.updater_files() if path.endswith((".dll", ".exe"))}
    assert own == package
    system = PureWindowsPath(r"C:\windows")
    assert {path for path in loaded if not path.is_relative_to(folder) and not path.is_relative_to(system)} == set()


@pytest.mark.parametrize("where", ["its own folder", "the current folder", "PATH"])
def test_library_by_its_bare_name(stage: Stage, elsewhere: Path, server: Nginx, where: str) -> None:
    """A library that is asked for by its bare name is looked for in the updater's own folder, but not in the current
    one nor in those of PATH."""
    stage.relocate()
    is_own = where == "its own folder"
    folder = stage.copy.parent if is_own else elsewhere
    shutil.copy2(stage.build.equipment / "windows" / _LIBRARY, folder)
    path = {"WINEPATH": str(stage.wine.path(folder))} if where == "PATH" else {}
    stage.start("neither", through=["env", f"--chdir={folder}"] if where == "the current folder" else (),
                variables={"WINDOW_READER_LOADS": _LIBRARY, **path})
    # The plug-in that asks for it is at work.
    stage.wait_for_text("versionsGroupBox", stage.texts("Versions"))
    assert started(stage) == ([str(stage.wine.path(folder / _LIBRARY))] if is_own else [])


@pytest.fixture
def planted(stage: Stage, elsewhere: Path) -> Iterator[Path]:
    """A folder with programs that note their start. The user's environment and settings name them."""
    for name in ("xcopy.exe", "cmd.exe", "chcp.com"):
        shutil.copy2(stage.build.equipment / "windows" / "brief.exe", elsewhere / name)
    folder = stage.wine.path(elsewhere)
    stage.wine.set_registry({_ENVIRONMENT: {"ComSpec": str(folder / "cmd.exe"), "PATH": str(folder)},
                             _INTERPRETER: {"AutoRun": str(folder / "xcopy.exe")}})
    stage.wine.stop()
    yield elsewhere
    stage.wine.set_registry({_ENVIRONMENT: {"ComSpec": None, "PATH": None}, _INTERPRETER: {"AutoRun": None}})
    stage.wine.stop()


def test_programs_come_from_the_system(stage: Stage, planted: Path, server: Nginx) -> None:
    """Command interpreter and copying program are those of the system's folder, whatever lies beside the updater or is
    named by the user's environment; no command of the user's is run before."""
    stage.relocate()
    for program in planted.iterdir():
        shutil.copy2(program, stage.copy.parent)
    process = stage.start("auto", variables={"WINEPATH": str(stage.wine.path(planted)), "XCOPY_PAUSE": "3"})
    start_installation(stage)
    agree_to_clean(stage)
    stage.wait_for_process("xcopy.exe")
    assert [command[0].lower() for command in stage.commands("cmd.exe", "xcopy.exe")] == [
        r"c:\windows\system32\cmd.exe", "xcopy.exe"]
    # Wine's interpreter runs no such command of the user's in any case.
    assert {"/d", "/v:off"} <= set(stage.commands("cmd.exe")[0])
    assert process.wait(60) == 0
    stage.windows.wait_for("Tavlopro 26.06.7205")
    assert trees.differences(plain(trees.after_copying(cleaned(stage), application(stage.build, NEW))),
                             stage.installed()) == []
    assert started(stage) == [str(stage.wine.path(stage.installation / "Tavlopro.exe"))]
