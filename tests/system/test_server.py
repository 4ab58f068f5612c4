"""What the updater asks of a web server, and where it lets one send it."""

from __future__ import annotations

from collections.abc import Callable

import pytest

from kit.offer import CHOSEN, VERSIONS_PATH, application, package
from kit.server import UpdateServer
from kit.servers import Authority, Nginx, Served
from kit.updater import Updater
from kit.waiting import becomes
from kit.window import Window

AGENT = "Updater/2605windows"


@pytest.mark.parametrize(("protocol", "mode"), [("http", "menu"), ("https", "auto")])
def test_requests(updater: Updater, window: Window, nginx: Callable[..., Nginx], authority: Authority,
                  trusting: dict[str, object], protocol: str, mode: str) -> None:
    """Version file and package are asked for by plain GETs that name host, port and agent."""
    server = nginx(authority.issue("127.0.0.1") if protocol == "https" else None)
    updater.use(server, proto2=protocol)
    updater.make_ready(mode, **trusting)
    becomes([Served(f"GET {path} HTTP/1.1", f"127.0.0.1:{server.port}", AGENT, 200, protocol)
             for path in (VERSIONS_PATH, CHOSEN.package_path)], server.served)


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
    becomes([(VERSIONS_PATH, status, AGENT), (f"/elsewhere{VERSIONS_PATH}", 200, AGENT),
             (CHOSEN.package_path, status, AGENT), (CHOSEN.package_path, 200, AGENT)],
            lambda: answers(server) + answers(safe))


def answers(server: Nginx) -> list[tuple[str, int, str]]:
    """Path, status and agent of each request, but of those that the library repeats when it gives up a connection."""
    return list(dict.fromkeys((entry.request.split(" ")[1], entry.status, entry.agent) for entry in server.served()))


@pytest.mark.windows("the system is asked for its version")
def test_extended_package_name(updater: Updater, server: UpdateServer) -> None:
    """With extended naming a package is named after system and processor too, on the server and where it is stored."""
    name = f"Tavlopc{CHOSEN.number}STABLEWIN7X64.zip"
    server.offer(CHOSEN)
    server.answers[f"/update/Tavlopc/windows/{name}"] = package(application())
    updater.use(server, extendedNaming=True)
    updater.start("auto")
    updater.wait_for_log("update unzipped to ")
    assert updater.wait_for_log("update stored in ").endswith(f'{name}"')
