"""Fixtures: each test gets an updater of its own and nothing of the user's; whatever it starts is ended after it."""

from __future__ import annotations

import os
import re
from collections.abc import Callable, Iterator
from contextlib import ExitStack, suppress
from pathlib import Path

import pytest

pytest.register_assert_rewrite("kit")

from kit import folders, platform, processes  # noqa: E402
from kit.desktop import Desktop  # noqa: E402
from kit.fault import Fault  # noqa: E402
from kit.folders import text  # noqa: E402
from kit.native import NativeUpdater  # noqa: E402
from kit.offer import CHOSEN, SCRIPT, VERSIONS_PATH, application, description, package  # noqa: E402
from kit.server import UpdateServer  # noqa: E402
from kit.servers import Authority, Nginx  # noqa: E402
from kit.updater import Updater  # noqa: E402
from kit.waiting import NotYet  # noqa: E402
from kit.window import Window  # noqa: E402
from kit.windows import Build, WindowsUpdater  # noqa: E402
from kit.wine import cloned  # noqa: E402

from publishing import Publisher  # noqa: E402

BUILD = Path(os.environ["FRESHEN_BUILD"]).resolve()
_CAPABILITIES = pytest.StashKey[list[str]]()
_MADE = pytest.StashKey[list]()


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addoption("--platform", choices=("native", "windows"), default="native", help="what is tried")


def pytest_configure(config: pytest.Config) -> None:
    # What the updater starts detached stays below this process and can be found and ended.
    processes.adopt_orphans()
    is_first = not hasattr(config, "workerinput")
    try:
        config.stash[_CAPABILITIES] = platform.probed(config.option.platform, BUILD) if is_first else []
    except platform.Disagreement as reason:
        pytest.exit(str(reason), returncode=3)


def pytest_report_header(config: pytest.Config) -> list[str]:
    user = "root" if os.geteuid() == 0 else "an ordinary user"
    return [f"platform: {config.option.platform}, as {user}", *config.stash[_CAPABILITIES]]


def pytest_generate_tests(metafunc: pytest.Metafunc) -> None:
    """A case that no parameter has is misspelt."""
    parameters = [mark.args[1] for mark in metafunc.definition.iter_markers("parametrize")]
    for mark in metafunc.definition.iter_markers("windows"):
        for case in mark.args[1:]:
            assert any(case in values for values in parameters), f"no parameter is {case!r}"


def pytest_collection_modifyitems(config: pytest.Config, items: list[pytest.Item]) -> None:
    """Leaves out what is not meant for the platform."""
    is_meant = {"windows": _is_for_windows, "native": lambda item: not item.get_closest_marker("windows_only")}
    chosen = [item for item in items if is_meant[config.option.platform](item)]
    config.hook.pytest_deselected(items=[item for item in items if item not in chosen])
    items[:] = chosen


def _is_for_windows(item: pytest.Item) -> bool:
    if (mark := item.get_closest_marker("windows")) is None:
        return item.get_closest_marker("windows_only") is not None
    cases = mark.args[1:]
    return not cases or any(value in cases for value in item.callspec.params.values())


# --- what a session shares

@pytest.fixture(scope="session")
def place() -> Iterator[Path]:
    """A folder that is gone after the session."""
    with folders.temporary() as path, ExitStack() as stack:
        stack.callback(processes.end_descendants)
        yield path


@pytest.fixture(scope="session")
def session_desktop(place: Path) -> Iterator[Desktop]:
    # Large enough for the windows at twice the usual density.
    with Desktop(place, (1600, 1200)) as desktop:
        yield desktop


@pytest.fixture(scope="session")
def authority(place: Path) -> Authority:
    """Makes certificates that the updater trusts."""
    return Authority(place / "authority")


@pytest.fixture(scope="session")
def build() -> Build:
    """What the build for Windows has made."""
    return Build(BUILD)


@pytest.fixture(scope="session")
def windows_updater(build: Build, session_desktop: Desktop, authority: Authority) -> Iterator[WindowsUpdater]:
    """The updater in a Windows 10 that trusts the authority."""
    with cloned(BUILD / "wine", session_desktop.environment) as wine:
        wine.trust(authority.der)
        yield WindowsUpdater(build, wine, session_desktop)


# --- what a test has of its own

@pytest.fixture
def folder() -> Iterator[Path]:
    """An empty folder that is gone after the test."""
    with folders.temporary() as path:
        yield path


@pytest.fixture
def exits() -> Iterator[ExitStack]:
    """Takes what a test opens and ends it with the test."""
    with ExitStack() as stack:
        yield stack


@pytest.fixture
def made(request: pytest.FixtureRequest) -> list[Updater | Nginx | UpdateServer]:
    """What the test has made and what can say something of a failure."""
    return request.node.stash.setdefault(_MADE, [])


@pytest.fixture
def new_updater(request: pytest.FixtureRequest, made: list, folder: Path) -> Iterator[Callable[..., Updater]]:
    """Makes updaters: new_updater(name, has_desktop=True). On Windows there is one."""
    updaters: list[Updater] = []

    def make(name: str = "run", has_desktop: bool = True) -> Updater:
        if request.config.option.platform == "windows":
            updater = request.getfixturevalue("windows_updater")
            updater.clear()
        else:
            desktop = request.getfixturevalue("session_desktop") if has_desktop else None
            updater = NativeUpdater(folder / name, BUILD / "bin" / "Freshen.exe", BUILD / "fakes", desktop)
        updaters.append(updater)
        made.append(updater)
        return updater

    yield make
    for updater in updaters:
        updater.kill()
    if reports := "\n".join(file.read_text(errors="replace") for file in folder.glob("sanitizer.*")):
        pytest.fail(f"sanitizers have found something\n{reports}", pytrace=False)


@pytest.fixture
def updater(request: pytest.FixtureRequest, new_updater: Callable[..., Updater]) -> Updater:
    """The updater, not yet started. It has a display only where the test looks at its window."""
    return new_updater(has_desktop="window" in request.fixturenames)


@pytest.fixture
def window(updater: Updater) -> Window:
    return updater.window


@pytest.fixture
def server(updater: Updater, exits: ExitStack, made: list) -> UpdateServer:
    """A scripted server, which the application's settings name. It offers nothing yet."""
    made.append(exits.enter_context(UpdateServer()))
    updater.use(made[-1])
    return made[-1]


@pytest.fixture
def outdated(updater: Updater, server: UpdateServer) -> None:
    """There is an installation, and a new version for it."""
    server.offer(CHOSEN, package=package(application(updater.program)))
    updater.install({"Tavlopro.exe": SCRIPT, "logo.png": text("kept"), "letter.txt": text("mine"),
                     "data/old.dat": text("old")})


@pytest.fixture
def nginx(folder: Path, exits: ExitStack, made: list) -> Callable[..., Nginx]:
    """Starts web servers that offer the update: nginx(certificate=None, locations="")."""
    def start(certificate: Path | None = None, locations: str = "") -> Nginx:
        server = exits.enter_context(Nginx(folder / f"nginx{len(made)}", certificate, locations))
        server.offer(VERSIONS_PATH, description(CHOSEN))
        server.offer(CHOSEN.package_path, package(application()))
        made.append(server)
        return server

    return start


@pytest.fixture
def trusting(updater: Updater, authority: Authority) -> dict[str, object]:
    """What to start the updater with so that it trusts the authority; the Windows does so by itself."""
    return {} if updater.is_windows else {"replaced": {Path("/etc/ssl/certs"): authority.store}}


@pytest.fixture
def on_windows(request: pytest.FixtureRequest) -> bool:
    return request.config.option.platform == "windows"


@pytest.fixture
def publisher(request: pytest.FixtureRequest, on_windows: bool, folder: Path) -> Publisher:
    """The publishing tool, with an empty document root."""
    wine = request.getfixturevalue("windows_updater").wine if on_windows else None
    return Publisher(folder / "root", wine)


# --- faults, and what is told of failures

@pytest.fixture
def fault(request: pytest.FixtureRequest, updater: Updater) -> Iterator[Fault]:
    """The fault that the test is marked with."""
    mark = request.node.get_closest_marker("fault")
    parameters = request.node.callspec.params if hasattr(request.node, "callspec") else {}
    fault = Fault(mark.args[0].format(**parameters), updater)
    yield fault
    assert fault.was_looked_at, f"the test has not looked at its fault {fault.name!r}"


def pytest_sessionfinish(session: pytest.Session) -> None:
    # The processes that run the tests report to the first one, which has a terminal.
    terminal = session.config.pluginmanager.get_plugin("terminalreporter")
    if terminal is not None and terminal.stats.get("skipped"):
        terminal.write_line("\nno test may be skipped", red=True)
        session.exitstatus = pytest.ExitCode.INTERNAL_ERROR


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item) -> Iterator[None]:
    report = (yield).get_result()
    if report.when == "teardown" or not report.failed:
        return
    for made in item.stash.get(_MADE, []):
        report.sections.append((type(made).__name__, made.evidence()))
    if "window" in item.funcargs:
        picture = BUILD / "system" / "failures" / (re.sub(r"[^\w.=-]+", "_", item.nodeid)[:120] + ".png")
        picture.parent.mkdir(parents=True, exist_ok=True)
        with suppress(NotYet):
            item.funcargs["window"].desktop.screenshot(picture)
            report.sections.append(("screenshot", str(picture)))
