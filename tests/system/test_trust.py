"""What the updater trusts, as docs/security.md says it: folders, settings, programs and libraries."""

from __future__ import annotations

import re
import shutil
from collections.abc import Callable
from contextlib import ExitStack
from pathlib import Path, PureWindowsPath

import pytest

from kit import folders, offer, processes
from kit.offer import CHOSEN, VERSIONS_PATH, Version
from kit.server import UpdateServer
from kit.updater import Updater
from kit.waiting import wait_for
from kit.window import Window
from kit.windows import WindowsUpdater

PACKAGE = offer.package(offer.application())
# In the user's part of the registry.
ENVIRONMENT = r"HKEY_CURRENT_USER\Environment"
INTERPRETER = r"HKEY_CURRENT_USER\Software\Microsoft\Command Processor"


def test_folders_of_another_account(new_updater: Callable[..., Updater], exits: ExitStack) -> None:
    """Settings and log are those of the account that the updater runs under; hand-over file, package and unpacked files
    lie above its own folder, whoever runs it."""
    owner, administrator = (new_updater(name, has_desktop=False) for name in ("owner", "administrator"))
    server = exits.enter_context(UpdateServer())
    server.offer(CHOSEN, package=PACKAGE)
    owner.write_settings(port2=1)
    administrator.use(server)
    administrator.start("auto", program=owner.place_relocated())
    administrator.wait_for_log("update unzipped to")
    assert (owner.out / "Tavlopro" / "Tavlopro.exe").exists()
    assert not owner.log_file.exists() and not (administrator.data / "out").exists()


def test_links_are_followed(updater: Updater, server: UpdateServer, folder: Path) -> None:
    """Links in the place of the folder for unpacked files and of the log are followed; the log is added to what is
    there."""
    unpacked, log = folder / "unpacked", folder / "log.txt"
    unpacked.mkdir()
    log.write_text("before\n")
    server.offer(CHOSEN, package=PACKAGE)
    updater.place_relocated()
    updater.out.symlink_to(unpacked)
    updater.log_file.symlink_to(log)
    updater.start("auto")
    wait_for(lambda: "update unzipped to" in log.read_text(), "the end of the unpacking")
    assert log.read_text().startswith("before\n")
    assert folders.differences(folders.below("Tavlopro", offer.application()), folders.look(unpacked)) == []


def test_info_text_fetches_nothing(updater: Updater, window: Window, server: UpdateServer) -> None:
    """Pictures that the information about a version names are not fetched from the network."""
    info = f'<b>New</b><img src="http://127.0.0.1:{server.port}/picture.png">'
    server.offer(Version(CHOSEN.number, info=info), package=PACKAGE)
    updater.make_ready("menu")
    # The picture would have come first: the text is shown as soon as the version is chosen.
    assert server.targets == [VERSIONS_PATH, CHOSEN.package_path]


# --- programs and libraries

@pytest.fixture
def elsewhere(updater: WindowsUpdater, exits: ExitStack) -> Path:
    """A folder of the user's own."""
    path = updater.wine.drive / "elsewhere"
    exits.callback(folders.remove, path)
    path.mkdir()
    return path


@pytest.mark.windows_only("Qt looks for its plug-ins, and Windows for libraries, in other places")
@pytest.mark.parametrize("is_beside", [True, False])
def test_libraries_come_from_its_own_folder(updater: WindowsUpdater, window: Window, server: UpdateServer,
                                            elsewhere: Path, is_beside: bool) -> None:
    """Libraries and plug-ins are loaded from the program's folder or Windows' own, also those asked for by a bare name.
    They are not where the environment leads, nor a file beside the program, nor in the current folder, nor in the one
    above where that looks like an installation of Qt."""
    folder, foreign = updater.place_relocated().parent, updater.wine.path(elsewhere)
    for place in (elsewhere, updater.data / "plugins"):
        shutil.copytree(folder / "platforms", place / "platforms")
        updater.place_plugin(place)
    folders.make(updater.data / "lib", {"libQt5Core.a": folders.text("")})
    (folder / "qt.conf").write_text(f"[Paths]\nPlugins={foreign.as_posix()}\n")
    library = updater.build.fakes / "planted.dll"
    for place in (elsewhere, folder)[:2 if is_beside else 1]:
        shutil.copy2(library, place)
    # Wine passes variables of Qt on only if they are written so.
    leading = ("WINEPATH", "WINEQT_PLUGIN_PATH", "WINEQT_QPA_PLATFORM_PLUGIN_PATH")
    updater.start("neither", through=["sh", "-c", 'cd "$0" && exec "$@" 2>loaded.txt', str(elsewhere)], variables={
        "WINDOW_READER_LOADS": library.name, "WINEDEBUG": "+loaddll", **dict.fromkeys(leading, str(foreign))})
    updater.wait_for_log("Get:")
    # The plug-in that asks for the library is at work.
    wait_for(window.report, "the window")
    assert f'libraryPaths:        ("{updater.called(folder)}")' in updater.log_texts()
    loaded = re.findall(r'Loaded L"(.*?)"', (elsewhere / "loaded.txt").read_text(errors="replace"))
    own = [path for path in updater.build.updater_files if path.endswith((".dll", ".exe"))]
    own += ["generic/windowreader.dll", *[library.name] * is_beside]
    # Paths of Windows mind no capitals.
    paths = {PureWindowsPath(path.replace("\\\\", "\\")) for path in loaded}
    assert {path for path in paths if not path.is_relative_to(r"C:\windows")} == {
        updater.wine.path(folder / path) for path in own}


@pytest.mark.windows_only("the programs that copy are Windows' own")
def test_programs_come_from_the_system(updater: WindowsUpdater, window: Window, outdated: None, elsewhere: Path,
                                       exits: ExitStack) -> None:
    """Command interpreter and copying program are those of the system's folder, whatever lies beside the updater or is
    named by the user's environment; no command of the user's is run before."""
    for folder in (elsewhere, updater.place_relocated().parent):
        for name in ("xcopy.exe", "cmd.exe", "chcp.com"):
            shutil.copy2(updater.build.fakes / "brief.exe", folder / name)
    planted = updater.wine.path(elsewhere)
    variables = {ENVIRONMENT: {"ComSpec": str(planted / "cmd.exe"), "PATH": str(planted)},
                 INTERPRETER: {"AutoRun": str(planted / "xcopy.exe")}}
    # It is at its next start that Windows reads them.
    exits.callback(updater.wine.stop)
    exits.callback(updater.wine.set_registry, {key: dict.fromkeys(names) for key, names in variables.items()})
    updater.wine.set_registry(variables)
    updater.wine.stop()
    updater.make_ready("auto", variables={"WINEPATH": str(planted), **updater.copying(pause=3)})
    updater.install_update()
    wait_for(lambda: processes.find("xcopy.exe"), "the copying program")
    interpreter, = map(processes.command, processes.find("cmd.exe"))
    assert interpreter[0].lower() == r"c:\windows\system32\cmd.exe"
    # Wine's interpreter runs no such command of the user's in any case.
    assert {"/d", "/v:off"} <= set(interpreter)
    assert updater.exit_code(60) == 0
    updater.is_updated(offer.application(updater.program))
