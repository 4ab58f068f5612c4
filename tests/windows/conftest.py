"""Fixtures: one desktop and one Windows for all tests, one after the other; each starts from a clean installation."""

from __future__ import annotations

import os
import re
import tempfile
from collections.abc import Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest

from harness import processes, trees
from harness.desktop import Desktop
from driver import WindowsRun, WindowsScreen
from harness.waiting import NotYet
from harness.wine import Wine
from rig.certificates import Authority
from rig.servers import Nginx
from stage import LOOKS, VERSIONS, Build, Look, Stage, application, old_installation, serving

pytest_plugins = ["rig.fixtures"]

_BUILD = Path(os.environ["FRESHEN_WINDOWS_BUILD"])
_SCREEN = (1600, 1200)


def pytest_configure(config: pytest.Config) -> None:
    # What the updater starts detached stays below this process and can be found and ended.
    processes.adopt_orphans()


# Cases from outside whose functions run here, but for these: the beginnings of their names, with the reason.
_LEFT_OUT = {
    ("test_upgrade[with links-", "test_upgrade_without_cleaning[with links-"): "links to folders need rights there",
    tuple(f"test_upgrade_without_cleaning[{old}-{answer}]" for old in (
        "plain", "with files to keep", "with hidden files", "read-only and odd") for answer in (
        "No-plain", "close-over kept and hidden files")): "for the sake of time, here each answer meets one package",
    tuple(f"test_killed[{phase}]" for phase in (
        "amid its relocation", "when the package is stored", "amid the unpacking",
        "before it starts the application")): "stopped there by a pipe in the place of a file",
}


def pytest_collection_modifyitems(items: list[pytest.Item]) -> None:
    for item in items:
        for beginnings, reason in _LEFT_OUT.items():
            if item.name.startswith(beginnings):
                item.add_marker(pytest.mark.skip(reason=reason))


@pytest.fixture(scope="session")
def build() -> Build:
    packages = list((_BUILD / "package").glob("*.zip"))
    if len(packages) != 1:
        pytest.exit(f"there should be one package in {_BUILD / 'package'}, not {packages}", returncode=3)
    return Build(packages[0], _BUILD / "equipment")


@pytest.fixture(scope="session")
def place() -> Iterator[Path]:
    with ExitStack() as stack:
        path = Path(tempfile.mkdtemp(prefix="freshen-"))
        stack.callback(trees.remove, path)
        stack.callback(processes.end_descendants)
        yield path


@pytest.fixture(scope="session")
def desktop(place: Path) -> Iterator[Desktop]:
    # Short, since it holds sockets.
    with Desktop(place, _SCREEN) as desktop:
        yield desktop


@pytest.fixture(scope="session")
def authority(place: Path) -> Authority:
    return Authority(place / "authority")


@pytest.fixture(scope="session")
def wine(place: Path, desktop: Desktop, authority: Authority) -> Iterator[Wine]:
    """A Windows 10 that trusts the authority."""
    with Wine(place / "windows", desktop.environment) as wine:
        wine.create()
        wine.trust(authority.binary_certificate)
        yield wine


@pytest.fixture(scope="session")
def _stage(build: Build, wine: Wine, desktop: Desktop, place: Path) -> Stage:
    return Stage(build, wine, desktop, place, _BUILD / "screenshots")


@pytest.fixture(scope="session", params=LOOKS, ids=str)
def look(request: pytest.FixtureRequest) -> Look:
    """Lets a test run in every language and at every density."""
    return request.param


@pytest.fixture
def empty_stage(request: pytest.FixtureRequest, _stage: Stage) -> Iterator[Stage]:
    """Nothing installed, nothing on offer."""
    _stage.clear()
    _stage.appear(request.getfixturevalue("look") if "look" in request.fixturenames else LOOKS[0])
    yield _stage
    _stage.wine.stop()


@pytest.fixture
def stage(empty_stage: Stage) -> Stage:
    """An old installation, and versions with their packages."""
    empty_stage.install(old_installation(empty_stage.build))
    empty_stage.offer({version: application(empty_stage.build, version) for version in VERSIONS})
    return empty_stage


@pytest.fixture
def server(empty_stage: Stage, authority: Authority, tmp_path: Path) -> Iterator[Nginx]:
    """The update server, with a certificate that the Windows trusts; the application's settings name it."""
    with serving(empty_stage, authority, tmp_path / "nginx") as server:
        yield server


# --- for the cases of the suite from outside


@pytest.fixture(scope="module")
def _lasting_windows(wine: Wine) -> Iterator[None]:
    """A Windows that is started once for all tests of a file."""
    yield
    wine.stop()


@pytest.fixture
def run(_stage: Stage, _lasting_windows: None) -> Iterator[WindowsRun]:
    """The updater, not yet started, where its relocation puts it; nothing else is installed."""
    _stage.clear()
    _stage.appear(LOOKS[0])
    _stage.relocate()
    run = WindowsRun(_stage)
    yield run
    run.end()


@pytest.fixture
def screen(_stage: Stage) -> WindowsScreen:
    """What a user sees of the updater."""
    return WindowsScreen(_stage)


@pytest.fixture
def trust(authority: Authority) -> list[str]:
    """What a program is started through that shall trust the authority: nothing, since the Windows trusts it."""
    return []


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item) -> Iterator[None]:
    report = (yield).get_result()
    stage = item.funcargs.get("_stage")
    if report.when != "call" or not report.failed or stage is None:
        return
    evidence = _BUILD / "failures" / re.sub(r"[^\w.=-]+", "_", item.name)
    evidence.parent.mkdir(parents=True, exist_ok=True)
    log = stage.log()
    evidence.with_suffix(".log").write_text(log, encoding="utf-8")
    report.sections.append((f"debug log ({evidence}.log), its last lines", "\n".join(log.splitlines()[-12:])))
    report.sections.append(("windows", "\n".join(stage.windows.titles())))
    for name, value in item.funcargs.items():
        if hasattr(value, "evidence"):
            report.sections.append((name, value.evidence()))
    try:
        stage.desktop.screenshot(evidence.with_suffix(".png"))
        report.sections.append(("screenshot", f"{evidence}.png"))
    except (NotYet, OSError) as error:
        report.sections.append(("screenshot", f"none: {error}"))
