"""Fixtures: each test gets a run of its own and nothing of the user's; whatever it starts is ended after it."""

from __future__ import annotations

import dataclasses
import fcntl
import json
import os
import re
import signal
import tempfile
from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest

from harness import processes, trees
from harness.desktop import Desktop, ToolFailure
from harness.waiting import wait_for
from rig.certificates import Authority
from rig.run import Programs, Run, sanitizer_reports
from rig.screen import Screen
from rig.views import TRUSTED, seeing

pytest_plugins = ["rig.fixtures"]

_EVIDENCE = Path(os.environ["FRESHEN_EVIDENCE"])


def pytest_configure(config: pytest.Config) -> None:
    # What the updater starts detached stays below this process and can be found and ended.
    processes.adopt_orphans()
    # The first process of a world of its own ignores this signal unless it is asked for.
    signal.signal(signal.SIGTERM, signal.default_int_handler)


def pytest_collection_modifyitems(items: list[pytest.Item]) -> None:
    for item in items:
        if not (item.obj.__doc__ or "").strip():
            raise pytest.UsageError(f"{item.nodeid} does not say which behaviour it proves")
        if item.get_closest_marker("alone"):
            item.add_marker(pytest.mark.xdist_group("alone"))


@pytest.fixture(scope="session")
def programs() -> Programs:
    found = Programs(Path(os.environ["FRESHEN_PROGRAM"]).resolve(), Path(os.environ["FRESHEN_EQUIPMENT"]).resolve())
    for path in (found.freshen, found.equipment / "explorer.exe", found.equipment / "xcopy.exe"):
        if not path.exists():
            pytest.exit(f"{path} is missing: build it first", returncode=3)
    return found


def _foreign_applications() -> list[str]:
    """The processes that hold every updater on this machine and that no test has started."""
    own = {str(pid) for pid in processes.descendants()}
    # A process that has ended and only waits for its parent to notice ("Z") holds nobody.
    return [path.parent.name for path in Path("/proc").glob("[0-9]*/stat")
            if path.parent.name not in own and "(Tavlopc.exe)" in (stat := _read(path)) and ") Z" not in stat]


def _read(path: Path) -> str:
    try:
        return path.read_text(errors="replace").strip()
    except OSError:
        return ""


@pytest.fixture(autouse=True)
def _others(request: pytest.FixtureRequest, tmp_path_factory: pytest.TempPathFactory) -> Iterator[None]:
    """Keeps the tests marked "alone" and all the others apart, across the processes of the suite."""
    base = tmp_path_factory.getbasetemp()
    common = base.parent if "PYTEST_XDIST_WORKER" in os.environ else base
    kind = fcntl.LOCK_EX if request.node.get_closest_marker("alone") else fcntl.LOCK_SH
    # Whoever waits stands in the door, so that those behind cannot overtake.
    with open(common / "door", "w") as door, open(common / "room", "w") as room:
        fcntl.flock(door, fcntl.LOCK_EX)
        fcntl.flock(room, kind)
        fcntl.flock(door, fcntl.LOCK_UN)
        wait_for(lambda: not _foreign_applications(), "the end of a Tavlopc.exe that this suite has not started", 60)
        yield


@pytest.fixture
def authority(folder: Path) -> Authority:
    """Makes certificates that a program trusts which is started through `trust`."""
    return Authority(folder / "authority")


@pytest.fixture
def trust(authority: Authority, views: None) -> list[str]:
    """What a program is started through that shall trust the authority."""
    return seeing({TRUSTED: authority.store()})


@pytest.fixture
def new_run(folder: Path, programs: Programs) -> Iterator[Callable[..., Run]]:
    """Makes runs: new_run(name="home", language="en_US")."""
    made: list[Run] = []

    def make(name: str = "run", language: str = "en_US") -> Run:
        made.append(Run(folder / name, programs, language))
        return made[-1]

    make.made = made
    yield make
    for run in made:
        run.end()
    if reports := sanitizer_reports(folder):
        pytest.fail(f"sanitizers have found something\n{reports}", pytrace=False)


@pytest.fixture
def run(new_run: Callable[..., Run]) -> Run:
    """The updater, not yet started, in a home of its own."""
    return new_run()


@pytest.fixture(scope="session")
def _desktop() -> Iterator[Desktop]:
    with ExitStack() as stack:
        path = Path(tempfile.mkdtemp(prefix="freshen-desktop-"))
        stack.callback(trees.remove, path)
        yield stack.enter_context(Desktop(path))


@pytest.fixture
def desktop(_desktop: Desktop, new_run: Callable[..., Run]) -> Desktop:
    """A desktop without a window on it. The tests of one process use it one after the other."""
    return _desktop


@pytest.fixture
def screen(desktop: Desktop) -> Screen:
    """What a user sees of the updater on the desktop."""
    return Screen(desktop)


def _testify(item: pytest.Item) -> None:
    """Hands on what a test has seen of the fault that it is marked with, for the table of docs/reliability.md."""
    mark = item.get_closest_marker("fault")
    if mark is None:
        return
    parameters = item.callspec.params if hasattr(item, "callspec") else {}
    section, fault = mark.args
    sights = [run.sight for run in item.funcargs["new_run"].made if run.sight]
    if not sights:
        pytest.exit(f"{item.nodeid} has not kept what it saw", returncode=3)
    item.user_properties.append(("fault", json.dumps({"section": section, "fault": fault.format(**parameters),
                                                      **dataclasses.asdict(sights[-1])})))


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item) -> Iterator[None]:
    report = (yield).get_result()
    if report.when == "call" and report.passed:
        _testify(item)
    if report.when == "teardown" or not report.failed:
        return
    if foreign := _foreign_applications():
        report.sections.append(("somebody else", f"a Tavlopc.exe was running: {' '.join(foreign)}"))
    for run in getattr(item.funcargs.get("new_run"), "made", ()):
        report.sections.append((f"run {run.folder.name}", run.evidence()))
    for name, value in item.funcargs.items():
        if hasattr(value, "evidence") and not isinstance(value, Run):
            report.sections.append((name, value.evidence()))
    desktop = item.funcargs.get("desktop")
    if desktop is not None:
        picture = _EVIDENCE / "failures" / (re.sub(r"[^\w.=-]+", "_", item.nodeid) + ".png")
        picture.parent.mkdir(parents=True, exist_ok=True)
        try:
            desktop.screenshot(picture)
            report.sections.append(("screenshot", str(picture)))
        except (ToolFailure, OSError) as error:
            report.sections.append(("screenshot", f"none: {error}"))
