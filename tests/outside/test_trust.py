"""What the updater trusts, as docs/security.md says it."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

import pytest

from harness import trees
from harness.desktop import Desktop
from harness.updateserver import UpdateServer
from rig.catalogue import listed, offered, small_application, version
from rig.evidence import becomes, same
from rig.opening import open_list
from rig.run import Run

OFFER = version("26.06.7205")


def test_folders_of_another_account(new_run: Callable[..., Run], folder: Path) -> None:
    """Settings and log are those of the account that the updater runs under; hand-over file, package and unpacked files
    lie above its own folder, whoever runs it."""
    owner, administrator = new_run("owner"), new_run("administrator")
    program = owner.place_relocated()
    with UpdateServer(offered(folder / "server", [OFFER])) as server:
        owner.write_settings(port2=1)
        administrator.write_settings(port2=server.port)
        administrator.start("auto", program=program)
        administrator.wait_for_log("update unzipped to")
    same(True, (owner.out / "Tavlopro" / "Tavlopro.exe").exists(), "unpacked above the program's folder")
    same((False, False), (owner.home.debug_log.exists(), administrator.out.exists()),
         "log of one, package of the other")


def test_unpacking_follows_a_link(run: Run, folder: Path) -> None:
    """A link in the place of the folder for unpacked files is followed."""
    elsewhere = folder / "elsewhere"
    elsewhere.mkdir()
    run.place_relocated()
    run.out.symlink_to(elsewhere)
    with UpdateServer(offered(folder / "server", [OFFER])) as server:
        run.write_settings(port2=server.port)
        run.start("auto")
        run.wait_for_log("update unzipped to")
    unpacked = trees.tree({f"Tavlopro/{path}": entry for path, entry in small_application().items()})
    same([], trees.differences(unpacked, trees.read(elsewhere)), "the folder that the link leads to")


def test_log_follows_a_link(run: Run) -> None:
    """A link in the place of the debug log is followed: the log is added to what is there."""
    other = run.folder / "other.txt"
    other.write_text("before\n")
    run.home.debug_log.parent.mkdir(parents=True)
    run.home.debug_log.symlink_to(other)
    run.start("neither")
    becomes(True, lambda: "Get: " in other.read_text(), "the log is in the other file")
    same("before", other.read_text().splitlines()[0], "first line")


@pytest.mark.parametrize("variable", ["QT_PLUGIN_PATH", "QT_QPA_PLATFORM_PLUGIN_PATH"])
def test_plugins_of_the_environment(run: Run, folder: Path, variable: str) -> None:
    """Plug-ins are looked for beside the updater, but not in the folder that either variable names; the log tells
    where."""
    program = run.place_relocated()
    run.start("neither", variables={variable: str(folder)})
    line = run.wait_for_log("libraryPaths:").text
    assert f'"{program.parent}"' in line and f'"{folder}"' not in line, line


def test_info_text_fetches_nothing(run: Run, desktop: Desktop) -> None:
    """Pictures that the information about a version names are not fetched from the network."""
    with UpdateServer({}) as stranger:
        picture = f'<b>New</b><img src="http://127.0.0.1:{stranger.port}/picture.png">'
        with UpdateServer(listed(version("26.06.7205", info=picture))) as server:
            screen = open_list(run, desktop, server)
            screen.keys("Home")
            becomes(True, lambda: screen.info().startswith("New"), "the information is shown")
            run.end()
        same([], stranger.requests, "requests")
