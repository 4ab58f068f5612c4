"""Transfers that go slowly, stop or break off, and what the window shows of them."""

from __future__ import annotations

import gzip
from contextlib import ExitStack

import pytest

from harness.waiting import wait_for
from rig import manual, offers
from rig.evidence import becomes, same
from rig.faults import note
from rig.offers import DESCRIPTION_PATH, PACKAGE_PATH
from rig.outcomes import connection_failed, is_no_archive, is_unpacked
from rig.run import Run
from rig.screen import Button, Screen
from rig.wire import Answer, WireServer

both_modes = pytest.mark.parametrize("mode", ["auto", "menu"])


def cut_at_each_stage(what: str) -> pytest.MarkDecorator:
    """The library does not always call it a failure when not one byte has come, so that is not kept as the fault's
    sight."""
    mark = pytest.mark.fault("server", f"{what}: shorter than announced")
    return pytest.mark.parametrize("percent", [0, pytest.param(50, marks=mark), pytest.param(99, marks=mark)])


@pytest.fixture
def server(exits: ExitStack, run: Run) -> WireServer:
    """A server that offers the versions and the package, and is the one of the run's settings."""
    started = exits.enter_context(WireServer({DESCRIPTION_PATH: Answer(offers.description()),
                                              PACKAGE_PATH: Answer(offers.package())}))
    run.write_settings(port2=started.port)
    return started


def part(body: bytes, percent: int) -> int:
    return len(body) * percent // 100


def stored(run: Run) -> bytes:
    (file,) = run.stored_packages()
    return file.read_bytes()


def as_stored(body: bytes) -> bytes:
    return len(body).to_bytes(4, "big") + body


# --- progress


@pytest.mark.parametrize("percent", [1, 25, 50, 75, 99])
@both_modes
def test_progress(run: Run, screen: Screen, server: WireServer, mode: str, percent: int) -> None:
    """While the package arrives, the window names it, and text and bar show the megabytes received of all."""
    body = offers.package()
    size = part(body, percent)
    server.answers[PACKAGE_PATH] = Answer(body, hold=size)
    manual.go(run, screen, mode)
    becomes((size, len(body)), screen.progress, "the bar")
    same(f"{offers.megabytes(size)} of {offers.megabytes(len(body))} MB downloaded", screen.size(), "the text")
    same("Downloading Tavlopro Software Update Stable 26.06.7205 ...", screen.status(), "the status")
    same(Button("Cancel", True), screen.button(), "the button")
    server.release()
    is_unpacked(run)
    becomes("Update ready to install!", screen.status, "the status")
    same("", screen.size(), "the text")
    same(Button("Install Update and Relaunch Tavlopro...", True), screen.button(), "the button")


@both_modes
def test_progress_without_length(run: Run, screen: Screen, server: WireServer, mode: str) -> None:
    """Where the server does not say how long the package is, the text shows the megabytes so far; the bar is busy."""
    body = offers.package()
    size = 3 * offers.MEGABYTE // 2
    server.answers[PACKAGE_PATH] = Answer(body, announce=False, hold=size)
    manual.go(run, screen, mode)
    becomes("1.5 MB downloaded", screen.size, "the text")
    assert screen.is_busy()
    server.release()
    is_unpacked(run)
    becomes("Update ready to install!", screen.status, "the status")
    assert not screen.is_busy()


def test_progress_of_a_compressed_answer(run: Run, screen: Screen, server: WireServer) -> None:
    """Where the package is compressed on the way, its size is not known beforehand either: the bar is busy."""
    body = gzip.compress(offers.package(), 1, mtime=0)
    server.answers[PACKAGE_PATH] = Answer(body, headers={"Content-Encoding": "gzip"}, hold=part(body, 50))
    manual.go(run, screen, "auto")
    wait_for(lambda: screen.size().endswith(" MB downloaded") and " of " not in screen.size(), "the text without total")
    assert screen.is_busy()
    server.release()
    is_unpacked(run)


@both_modes
def test_slow_server(run: Run, screen: Screen, server: WireServer, mode: str) -> None:
    """A server that sends drop by drop is waited for; what arrives is whole, and the progress never goes back."""
    server.answers[PACKAGE_PATH] = Answer(offers.package(), piece=128 * 1024, pause=0.1)
    seen: list[int] = []
    manual.go(run, screen, mode)

    def ended() -> bool:
        received, total = screen.progress()
        # The same bar counts something else before and after, and may begin with that between two looks at it.
        if total == len(offers.package()) == screen.progress()[1]:
            seen.append(received)
        return any(line.text.startswith("update stored in ") for line in run.log())

    wait_for(ended, "the end of the download")
    same(sorted(seen), seen, "the bar")
    assert len(set(seen)) >= 3, seen
    is_unpacked(run)


def test_slow_version_file(run: Run, screen: Screen, server: WireServer) -> None:
    """A version file that comes byte by byte is read when it is complete, and not before."""
    server.answers[DESCRIPTION_PATH] = Answer(offers.description(), piece=8, pause=0.01,
                                              hold=part(offers.description(), 90))
    run.start("menu", desktop=screen.desktop)
    wait_for(lambda: server.asked_for(DESCRIPTION_PATH), "the request")
    run.wait_for_log("Get:")
    same([], screen.rows(), "rows before the end")
    server.release()
    screen.wait_for_rows(2)


# --- transfers that break off


@cut_at_each_stage("Package")
@both_modes
def test_package_cut(run: Run, screen: Screen, server: WireServer, mode: str, percent: int) -> None:
    """When the connection ends amid the package, what came is stored and cannot be unpacked; the window says so."""
    body = offers.package()
    server.answers[PACKAGE_PATH] = Answer(body, cut=part(body, percent))
    manual.go(run, screen, mode)
    is_no_archive(run, screen)
    same(as_stored(body[:part(body, percent)]), stored(run), "the stored file")
    assert not run.out.exists()


@cut_at_each_stage("Version file")
@both_modes
def test_version_file_cut(run: Run, screen: Screen, server: WireServer, mode: str, percent: int) -> None:
    """When the connection ends amid the version file, a box says that the connection failed; the run ends with 0."""
    body = offers.description()
    server.answers[DESCRIPTION_PATH] = Answer(body, cut=part(body, percent))
    run.start(mode, desktop=screen.desktop)
    connection_failed(run, screen, "Connection closed")
    assert not server.asked_for(PACKAGE_PATH)


@both_modes
@pytest.mark.fault("server", "Package: empty")
def test_empty_package(run: Run, screen: Screen, server: WireServer, mode: str) -> None:
    """A package of 0 bytes is stored as a length of 0 and nothing else, and cannot be unpacked."""
    server.answers[PACKAGE_PATH] = Answer(b"")
    manual.go(run, screen, mode)
    is_no_archive(run, screen)
    same(as_stored(b""), stored(run), "the stored file")


@pytest.mark.fault("server", "Version file: empty (automatic)")
def test_empty_version_file_auto(run: Run, screen: Screen, server: WireServer) -> None:
    """A version file of 0 bytes offers nothing to the automatic mode: a box says so, and the run ends with 0."""
    server.answers[DESCRIPTION_PATH] = Answer(b"")
    run.start("auto", desktop=screen.desktop)
    box = screen.box()
    same(("Update Failed", "Error reading version description file:\nUnknown error", ["OK"]),
         (box.title, box.text, box.buttons), "the box")
    same("No Version found", run.log_texts()[-1], "the last line of the log")
    note(run, screen)
    box.press("OK")
    same(0, run.exit_code(), "exit code")


@pytest.mark.fault("server", "Version file: empty (list)")
def test_empty_version_file_menu(run: Run, screen: Screen, server: WireServer) -> None:
    """A version file of 0 bytes leaves the list of the manual choice empty, without a box or a warning."""
    server.answers[DESCRIPTION_PATH] = Answer(b"")
    run.start("menu", desktop=screen.desktop)
    run.wait_for_log("Checking version...")
    same('Checking version... Run: 26.05.7086 Avail: ""', run.log_texts()[-1], "the last line of the log")
    same(([], []), (screen.rows(), screen.boxes()), "rows and boxes")
    note(run, screen)


# --- transfers that stop, and the user who gives up


@pytest.mark.parametrize("percent", [None, 0, 50, 99])
@both_modes
def test_abort(run: Run, screen: Screen, server: WireServer, mode: str, percent: int | None) -> None:
    """A download that has stopped can be cancelled: the connection ends, nothing is stored, Close ends with 0."""
    body = offers.package()
    server.answers[PACKAGE_PATH] = Answer(body, silent=True) if percent is None else \
        Answer(body, hold=part(body, percent))
    manual.go(run, screen, mode)
    wait_for(lambda: server.asked_for(PACKAGE_PATH), "the request for the package")
    if percent:
        becomes((part(body, percent), len(body)), screen.progress, "the bar")
    screen.press("Cancel")
    becomes(Button("Close", True), screen.button, "the button")
    same("Download aborted!", screen.size(), "the text")
    same(0, screen.progress()[0], "the bar")
    same("Downloading Tavlopro Software Update Stable 26.06.7205 ...", screen.status(), "the status")
    same("download aborted", run.log_texts()[-1], "the last line of the log")
    becomes([PACKAGE_PATH], lambda: server.left_by_client, "connections that the updater has ended")
    screen.press("Close")
    same(0, run.exit_code(), "exit code")
    same((False, []), (run.out.exists(), run.stored_packages()), "what is left of the package")


@pytest.mark.parametrize("percent", [None, 0, 50, 99])
@both_modes
def test_version_file_stalls(run: Run, screen: Screen, server: WireServer, mode: str, percent: int | None) -> None:
    """While the version file does not come, nothing happens; closing the window ends the run with 0."""
    body = offers.description()
    server.answers[DESCRIPTION_PATH] = Answer(body, silent=True) if percent is None else \
        Answer(body, hold=part(body, percent))
    run.start(mode, desktop=screen.desktop)
    wait_for(lambda: server.asked_for(DESCRIPTION_PATH), "the request for the version file")
    wait_for(screen.is_open, "the window")
    assert run.log_texts()[-1].startswith("Get:"), run.log_texts()[-1]
    if mode == "auto":
        same("Checking for Tavlopro Software Update...", screen.status(), "the status")
    screen.close()
    same(0, run.exit_code(), "exit code")
    same([], screen.boxes(), "boxes")
