"""From the start to the first page, beside the running application and other updaters; and the end, whenever the window
is closed."""

from __future__ import annotations

import os
import shutil
import signal
from pathlib import Path

import pytest

from kit import processes
from kit.offer import CHOSEN, VERSIONS_PATH, application
from kit.server import Answer, UpdateServer
from kit.texts import PRECHECK, PRECHECK_TITLE
from kit.updater import Updater
from kit.waiting import becomes, wait_for
from kit.window import Window
from kit.windows import WindowsUpdater


class Application:
    """The running application, as far as the updater can see: a process of its name, started with the updater."""

    name = "Tavlopc.exe"

    def __init__(self, updater: Updater) -> None:
        self._updater = updater
        if isinstance(updater, WindowsUpdater):
            updater.installation.mkdir(parents=True, exist_ok=True)
            program = Path(shutil.copy2(updater.build.fakes / self.name, updater.installation))
            self._process = updater.wine.start(program)
            wait_for(lambda: updater.desktop.focus("Tavlopc"), "the application")
            updater.start()
        else:
            program = shutil.copy2("/bin/sleep", updater.folder / self.name)
            updater.start(through=("/bin/sh", "-c", '"$0" 120 & exec "$@"', str(program)))

    def close(self) -> None:
        if isinstance(self._updater, WindowsUpdater):
            self._updater.desktop.focus("Tavlopc")
            self._updater.desktop.keys("Return")
            self._process.wait(30)
        else:
            pid, = (pid for pid in self._updater.processes() if processes.name(pid) == self.name)
            os.kill(pid, signal.SIGTERM)
            wait_for(lambda: pid not in self._updater.processes(), f"the end of {self.name}")


def looks(updater: Updater) -> int:
    return updater.log_texts().count("checking ...")


@pytest.mark.windows("the process list, and the box over it, are the system's")
@pytest.mark.parametrize("language", ["en", "de"])
def test_held_by_the_application(updater: Updater, window: Window, server: UpdateServer, language: str) -> None:
    """While the application runs, a box asks to close it, in German in every language, again and again; nothing is
    copied or asked for before it is closed."""
    server.offer(CHOSEN)
    updater.appear(language)
    retry = updater.texts.button("Retry")
    application = Application(updater)
    assert window.box().says() == (PRECHECK_TITLE, PRECHECK, {retry})
    # One look every 100 ms for a second at most, and none while the box waits.
    assert looks(updater) <= 12
    for _ in range(2):
        before = looks(updater)
        window.box().press(retry)
        wait_for(lambda: looks(updater) > before, "another look")
        window.box()
    assert not updater.copy.exists() and not server.requests
    application.close()
    window.box().press(retry)
    becomes(1, lambda: len(updater.relocated("menu")), "updaters")
    window.wait_for_rows(1)


@pytest.mark.windows("a running copy's files cannot be replaced there")
def test_two_updaters_at_once(updater: Updater, window: Window, server: UpdateServer) -> None:
    """A second updater, started while the first one shows its list, works too: both write to the log, and both end."""
    server.offer(CHOSEN)
    for number in (1, 2):
        updater.start()
        assert updater.exit_code() == 0
        becomes(number, lambda: len(updater.relocated("menu")), "copies that run")
        becomes(number, lambda: sum(text.startswith("Checking version...") for text in updater.log_texts()), "lists")
    if isinstance(updater, WindowsUpdater):
        libraries = [path for path in updater.build.updater_files if path.endswith(".dll") and "/" not in path]
        assert sum(text.startswith("Copy failed") for text in updater.log_texts()) == len(libraries)
    for left in (1, 0):
        window.close()
        becomes(left, lambda: len(updater.relocated("menu")), "copies that run")


# --- closed

@pytest.mark.parametrize("target", [VERSIONS_PATH, CHOSEN.package_path], ids=["versions", "package"])
def test_closed_while_loading(updater: Updater, window: Window, server: UpdateServer, target: str) -> None:
    """The transfer ends with the window, and nothing of it is kept."""
    server.offer(CHOSEN)
    server.answers[target] = Answer(bytes(2 << 20), hold=1 << 20)
    updater.start("auto")
    wait_for(lambda: target in server.targets and window.is_open(), "the request")
    updater.ends()
    becomes([target], lambda: server.left_by_client, "connections that the updater has ended")
    assert updater.leftovers() == {}


def test_closed_while_copying(updater: Updater, window: Window, outdated: None) -> None:
    """The copy is not interrupted."""
    updater.make_ready("auto", variables=updater.copying(pause=2))
    updater.install_update()
    wait_for(lambda: processes.find("xcopy.exe"), "the copy")
    window.close()
    assert updater.exit_code() == 0
    updater.is_updated(application(updater.program))
