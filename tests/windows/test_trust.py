"""Which programs and libraries the updater takes from where: what runs with its rights, docs/security.md says."""

from __future__ import annotations

import re
import shutil
from collections.abc import Iterator
from pathlib import PureWindowsPath

import pytest

from rig.servers import Nginx
from stage import TITLE, Stage
from test_failures import agree_to_clean, choose, start_installation, start_relocated

_ENVIRONMENT = r"HKEY_CURRENT_USER\Environment"


def test_libraries_come_from_its_own_folder(stage: Stage, server: Nginx) -> None:
    """The libraries and plug-ins of the package are loaded from the folder that the program runs from, all others from
    Windows' own folder."""
    stage.relocate()
    output = stage.wine.folder / "loaded.txt"
    stage.wine.start(stage.copy, "neither", variables={"WINEDEBUG": "+loaddll"}, output=output)
    stage.wait_for_log("Get:")
    stage.windows.wait_for(TITLE)
    folder = stage.wine.path(stage.copy.parent)
    loaded = {PureWindowsPath(path.replace("\\\\", "\\")) for path in
              re.findall(r'Loaded L"(.*?)"', output.read_text(errors="replace"))}
    # Windows leaves out the full stop that ends a folder's name, and minds no capitals.
    own = {path.relative_to(folder) for path in loaded if path.is_relative_to(folder)}
    package = {PureWindowsPath(path) for path in stage.build.updater_files() if path.endswith((".dll", ".exe"))}
    assert own == package
    system = PureWindowsPath(r"C:\windows")
    assert {path for path in loaded if not path.is_relative_to(folder) and not path.is_relative_to(system)} == set()


def test_copying_tool_is_looked_for_in_its_own_folder(stage: Stage, server: Nginx) -> None:
    """The tool that copies is called by its name alone, so one beside the updater is taken before Windows' own."""
    stage.relocate()
    shutil.copyfile(stage.build.equipment / "windows" / "tools" / "xcopy.exe", stage.copy.parent / "xcopy.exe")
    process = stage.start("menu", stand_ins=False)
    choose(stage)
    start_installation(stage)
    agree_to_clean(stage)
    # Wine's own would have failed.
    stage.windows.wait_for("Tavlopro 26.06.7205")
    assert process.wait(30) == 0


@pytest.fixture
def interpreter(stage: Stage) -> Iterator[str]:
    """Has the user's environment name another command interpreter."""
    program = str(stage.wine.path(stage.installation / "Tavlopc.exe"))
    stage.wine.set_registry({_ENVIRONMENT: {"ComSpec": program}})
    stage.wine.stop()
    yield program
    stage.wine.set_registry({_ENVIRONMENT: {"ComSpec": r"C:\windows\system32\cmd.exe"}})
    stage.wine.stop()


def test_interpreter_is_the_one_of_the_environment(stage: Stage, interpreter: str, server: Nginx) -> None:
    """The batch file is given to the program that the variable ComSpec names."""
    start_relocated(stage, "menu")
    choose(stage)
    start_installation(stage)
    stage.windows.keys(stage.texts("Tavlopro Update"), "alt+n")
    stage.windows.wait_for("Tavlopc")
