"""Fixtures: each test gets an updater of its own and nothing of the user's; whatever it starts is ended after it."""

from __future__ import annotations

import os
import re
import subprocess
from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest

pytest.register_assert_rewrite("kit")

from kit import fault as faults  # noqa: E402
from kit import folders, processes  # noqa: E402
from kit.desktop import Desktop  # noqa: E402
from kit.fault import Fault  # noqa: E402
from kit.native import NativeUpdater  # noqa: E402
from kit.offer import CHOSEN, VERSIONS_PATH, application, description, package  # noqa: E402
from kit.sandbox import sandboxed  # noqa: E402
from kit.server import UpdateServer  # noqa: E402
from kit.servers import Authority, Nginx  # noqa: E402
from kit.updater import Updater  # noqa: E402
from kit.waiting import NotYet  # noqa: E402
from kit.window import Window  # noqa: E402
from kit.windows import Build, WindowsUpdater  # noqa: E402
from kit.wine import Wine  # noqa: E402

BUILD = Path(os.environ["FRESHEN_BUILD"]).resolve()
PROGRAM = BUILD / "bin" / "Freshen.exe"
TRUSTED = Path("/etc/ssl/certs")
# Wide enough for the windows at twice the usual density.
SCREEN = (1600, 1200)

_desktops: list[Desktop] = []
_seen: dict[str, faults.Row] = {}
_skipped: list[str] = []


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addoption("--platform", choices=("native", "windows"), default="native", help="what is tried")


def pytest_configure(config: pytest.Config) -> None:
    # What the updater starts detached stays below this process and can be found and ended.
    processes.adopt_orphans()
    probe = subprocess.run([*sandboxed(), "true"], stdin=subprocess.DEVNULL, capture_output=True, text=True)
    if probe.returncode:
        pytest.exit(f"this machine has no sandbox: {probe.stderr}", returncode=3)


def pytest_report_header(config: pytest.Config) -> str:
    user = "root" if os.geteuid() == 0 else "an ordinary user"
    return f"platform: {config.option.platform}, as {user}"


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
def on_windows(request: pytest.FixtureRequest) -> bool:
    return request.config.option.platform == "windows"


@pytest.fixture(scope="session")
def place() -> Iterator[Path]:
    """A folder that is gone after the session."""
    with folders.temporary() as path, ExitStack() as stack:
        path.chmod(0o711)
        stack.callback(processes.end_descendants)
        yield path


@pytest.fixture(scope="session")
def session_desktop(place: Path) -> Iterator[Desktop]:
    with Desktop(place, SCREEN) as desktop:
        _desktops.append(desktop)
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
    # Beside the template of this Windows: both share files.
    with folders.temporary("clone-", BUILD) as home, \
            Wine.cloned(BUILD / "wine", home / "windows", session_desktop.environment) as wine:
        wine.trust(authority.der)
        yield WindowsUpdater(build, wine, session_desktop)


# --- what a test has of its own

@pytest.fixture
def folder() -> Iterator[Path]:
    """An empty folder that is gone after the test."""
    with folders.temporary() as path:
        path.chmod(0o711)
        yield path


@pytest.fixture
def exits() -> Iterator[ExitStack]:
    """Takes what a test opens and ends it with the test."""
    with ExitStack() as stack:
        yield stack


@pytest.fixture
def new_updater(request: pytest.FixtureRequest, on_windows: bool, folder: Path) -> Iterator[Callable[..., Updater]]:
    """Makes updaters: new_updater(name, has_desktop=True). On Windows there is one."""
    made: list[Updater] = []

    def make(name: str = "run", has_desktop: bool = True) -> Updater:
        if on_windows:
            updater = request.getfixturevalue("windows_updater")
            updater.clear()
        else:
            desktop = request.getfixturevalue("session_desktop") if has_desktop else None
            updater = NativeUpdater(folder / name, PROGRAM, BUILD / "fakes", desktop)
        made.append(updater)
        return updater

    make.evidence = lambda: "\n".join(updater.evidence() for updater in made)
    yield make
    for updater in made:
        updater.kill()
    if reports := "".join(updater.sanitizer_reports() for updater in made):
        pytest.fail(f"sanitizers have found something\n{reports}", pytrace=False)


@pytest.fixture
def updater(request: pytest.FixtureRequest, new_updater: Callable[..., Updater]) -> Updater:
    """The updater, not yet started. It has a display only where the test looks at its window."""
    return new_updater(has_desktop="window" in request.fixturenames)


@pytest.fixture
def window(updater: Updater) -> Window:
    """What a user sees of the updater."""
    return updater.window


@pytest.fixture
def server(updater: Updater, exits: ExitStack) -> UpdateServer:
    """A scripted server, which the application's settings name. It offers nothing yet."""
    server = exits.enter_context(UpdateServer())
    updater.use(server)
    return server


@pytest.fixture
def nginx(folder: Path, exits: ExitStack) -> Callable[..., Nginx]:
    """Starts web servers that offer the update: nginx(certificate=None, locations="")."""
    started: list[Nginx] = []

    def start(certificate: Path | None = None, locations: str = "") -> Nginx:
        server = exits.enter_context(Nginx(folder / f"nginx{len(started)}", certificate, locations))
        server.offer(VERSIONS_PATH, description(CHOSEN))
        server.offer(CHOSEN.package_path, package(application()))
        started.append(server)
        return server

    start.evidence = lambda: "\n".join(server.evidence() for server in started)
    return start


@pytest.fixture
def trusting(updater: Updater, authority: Authority) -> dict[str, object]:
    """What to start the updater with so that it trusts the authority; the Windows does so by itself."""
    return {} if updater.is_windows else {"replaced": {TRUSTED: authority.store()}}


# --- faults, and what is told of failures

@pytest.fixture
def fault(request: pytest.FixtureRequest, updater: Updater) -> Iterator[Fault]:
    """The fault that the test is marked with."""
    mark = request.node.get_closest_marker("fault")
    parameters = request.node.callspec.params if hasattr(request.node, "callspec") else {}
    fault = Fault(mark.args[0].format(**parameters), updater)
    yield fault
    assert fault.seen, f"the test has not looked at its fault {fault.name!r}"
    request.node.user_properties.append(("fault", (fault.name, *fault.seen)))


def pytest_runtest_logreport(report: pytest.TestReport) -> None:
    if report.skipped and not hasattr(report, "wasxfail"):
        _skipped.append(report.nodeid)
    for key, value in report.user_properties:
        if key == "fault":
            _seen[value[0]] = faults.Row(*value[1:])


def pytest_sessionfinish(session: pytest.Session) -> None:
    if _skipped:
        print(f"\nno test may be skipped: {_skipped}")
        session.exitstatus = pytest.ExitCode.INTERNAL_ERROR
    if faults.IS_WRITING and not hasattr(session.config, "workerinput"):
        faults.write(_seen)


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item: pytest.Item) -> Iterator[None]:
    report = (yield).get_result()
    if report.when == "teardown" or not report.failed:
        return
    for name, value in item.funcargs.items():
        if hasattr(value, "evidence") and name != "updater":
            report.sections.append((name, value.evidence()))
    for desktop in _desktops:
        picture = BUILD / "system" / "failures" / (re.sub(r"[^\w.=-]+", "_", item.nodeid)[:120] + ".png")
        picture.parent.mkdir(parents=True, exist_ok=True)
        try:
            desktop.screenshot(picture)
            report.sections.append(("screenshot", str(picture)))
        except (NotYet, OSError) as error:
            report.sections.append(("screenshot", f"none: {error}"))
