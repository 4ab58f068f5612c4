"""Transfers that are redirected, go slowly or stop, and what the window shows of them."""

from __future__ import annotations

import gzip
from collections.abc import Callable

import pytest

from kit.offer import CHOSEN, INSTALLED, VERSIONS_PATH, application, description, package
from kit.server import Answer, UpdateServer
from kit.servers import Authority, Nginx
from kit.updater import Updater
from kit.waiting import becomes, wait_for
from kit.window import Bar, Window

PACKAGE = package(application())
HALF = len(PACKAGE) // 2
# 1.5 MB, also when some of it is still to be unpacked.
PART = 1_600_000

UNKNOWN_SIZES = {
    "not announced": Answer(PACKAGE, announce=False, hold=PART),
    "compressed on the way": Answer(gzip.compress(PACKAGE), headers={"Content-Encoding": "gzip"}, hold=PART),
}
STOPPED = {"before the answer": Answer(PACKAGE, silent=True), "amid the package": Answer(PACKAGE, hold=HALF)}


@pytest.fixture
def server(server: UpdateServer) -> UpdateServer:
    """It offers the update."""
    server.offer(CHOSEN, package=PACKAGE)
    return server


@pytest.mark.parametrize("reason", UNKNOWN_SIZES)
def test_unknown_size(updater: Updater, window: Window, server: UpdateServer, reason: str) -> None:
    """While nobody knows how large the package is, the window counts what has come, and the bar is only busy."""
    server.answers[CHOSEN.package_path] = UNKNOWN_SIZES[reason]
    updater.download("auto")
    becomes("1.5 MB downloaded", window.size)
    assert window.bar().maximum == 0
    server.release()
    window.wait_for_button(updater.texts("Install Update"))
    assert window.bar().maximum > 0


def test_slow_version_file(updater: Updater, window: Window, server: UpdateServer) -> None:
    """A version file that comes byte by byte is read when it is complete, and only then."""
    content = description(INSTALLED, CHOSEN)
    server.answers[VERSIONS_PATH] = Answer(content, rate=2 * len(content), hold=len(content) // 2)
    updater.start("menu")
    wait_for(lambda: server.asked_for(VERSIONS_PATH), "the request for the version file")
    assert window.rows() == []
    server.release()
    window.wait_for_rows(2)
    assert [text for text in updater.log_texts() if text.startswith(("Checking version", "WARNING"))] == [
        f'Checking version... Run: {INSTALLED.number} Avail: "{content.decode()}"'.replace("\n", "\\n")]


@pytest.mark.parametrize("when", STOPPED)
def test_cancelled(updater: Updater, window: Window, server: UpdateServer, when: str) -> None:
    """A download that has stopped can be cancelled: its connection ends, and nothing of it is kept."""
    server.answers[CHOSEN.package_path] = STOPPED[when]
    updater.download("menu")
    wait_for(lambda: server.asked_for(CHOSEN.package_path), "the request for the package")
    if STOPPED[when].hold:
        becomes(Bar(HALF, len(PACKAGE)), window.bar)
    window.press("Cancel")
    becomes([CHOSEN.package_path], lambda: server.left_by_client, "connections that the updater has ended")
    window.wait_for_button("Close")
    assert (window.bar().value, updater.log_texts()[-1]) == (0, "download aborted")
    window.press("Close")
    assert updater.exit_code() == 0
    assert (updater.out.exists(), updater.stored_packages()) == (False, [])


@pytest.mark.parametrize("status", [301, 302, 303, 307, 308])
def test_redirects(updater: Updater, nginx: Callable[..., Nginx], authority: Authority, trusting: dict[str, object],
                   status: int) -> None:
    """Every kind of redirect is followed, to another path and to the safer protocol."""
    safe = nginx(authority.issue("127.0.0.1"))
    server = nginx(locations=f"""
        location = {VERSIONS_PATH} {{ return {status} /elsewhere{VERSIONS_PATH}; }}
        location /elsewhere {{ rewrite ^/elsewhere(.*) $1 break; }}
        location = {CHOSEN.package_path} {{ return {status} https://127.0.0.1:{safe.port}$request_uri; }}""")
    updater.use(server)
    updater.start("auto", **trusting)
    updater.wait_for_log("update unzipped to ")
    # The library may repeat a request when it gives up a connection.
    becomes([(VERSIONS_PATH, status), (f"/elsewhere{VERSIONS_PATH}", 200), (CHOSEN.package_path, status),
             (CHOSEN.package_path, 200)],
            lambda: list(dict.fromkeys((entry.request.split(" ")[1], entry.status)
                                       for entry in server.served() + safe.served())))
