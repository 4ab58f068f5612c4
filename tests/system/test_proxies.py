"""Proxies as the application's login window sets them: which one is used, and how the user is named to it."""

from __future__ import annotations

import base64
from collections.abc import Callable, Iterator
from contextlib import ExitStack
from functools import cache
from pathlib import Path

import pytest

from kit.fault import Fault
from kit.offer import CHOSEN, VERSIONS_PATH, application, package
from kit.server import Answer, UpdateServer
from kit.servers import HOST, Authority, Dante, Nginx, Squid, User
from kit.updater import Setting, Updater
from kit.waiting import becomes
from kit.window import Window

Proxy = Squid | Dante

# The kinds of proxies as the settings number them.
NONE, SOCKS, HTTP, CACHING, FTP = range(5)

ADA = User("ada", "s3cret")
ODD = User("grace.hopper-2", "p@ss w;o,r%d\"'\\ö=#[1]")
NOBODY = User("", "")
UNPACKED = "update unzipped to "


KINDS: dict[str, Callable[[Path], Proxy]] = {
    "open HTTP": Squid, "HTTP": lambda folder: Squid(folder, (ADA, ODD)),
    "open SOCKS": Dante, "SOCKS": lambda folder: Dante(folder, (ADA, ODD))}


@pytest.fixture(scope="module")
def proxies(place: Path) -> Iterator[Callable[[str], Proxy]]:
    """Starts each proxy when it is needed first."""
    with ExitStack() as stack:
        yield cache(lambda name: stack.enter_context(KINDS[name](place / name.replace(" ", "-"))))


def through(kind: int, port: int, user: User = ADA) -> dict[str, Setting]:
    """The settings for a server behind the proxy at this port."""
    return {"config/proxy/data/type": kind, "config/proxy/data/ip": "127.0.0.1", "config/proxy/data/port": port,
            "config/proxy/data/username": user.name, "config/proxy/data/password": user.password, "host2": HOST}


@pytest.mark.parametrize(("protocol", "name", "kind", "user"), [
    ("http", "open HTTP", HTTP, NOBODY),
    pytest.param("http", "HTTP", CACHING, ODD, marks=pytest.mark.windows("the registry keeps user and password")),
    ("http", "open SOCKS", SOCKS, NOBODY),
    pytest.param("http", "SOCKS", SOCKS, ODD,
                 marks=pytest.mark.windows("Qt as it comes leaves the end of a package unread there")),
    ("https", "HTTP", HTTP, ADA), ("https", "SOCKS", SOCKS, ADA)])
def test_accepted(updater: Updater, nginx: Callable[..., Nginx], proxies: Callable[[str], Proxy], authority: Authority,
                  trusting: dict[str, object], protocol: str, name: str, kind: int, user: User) -> None:
    """Version file and package come through the proxy, which alone knows the server, for users with any signs in their
    names and passwords; with HTTPS in a tunnel, at whose end is the server with its own certificate."""
    proxy, server = proxies(name), nginx(authority.issue(HOST) if protocol == "https" else None)
    updater.use(server, through(kind, proxy.port, user), proto2=protocol)
    updater.start("auto", **trusting)
    updater.wait_for_log(UNPACKED)
    becomes([protocol] * 2, lambda: [entry.scheme for entry in server.served()], "answers of the server")


@pytest.mark.parametrize(("name", "kind"), [("HTTP", CACHING), ("SOCKS", SOCKS)])
def test_refused(updater: Updater, nginx: Callable[..., Nginx], proxies: Callable[[str], Proxy], name: str,
                 kind: int) -> None:
    """A wrong password gets nothing from a proxy that asks for one."""
    proxy, server = proxies(name), nginx()
    updater.use(server, through(kind, proxy.port, User(ADA.name, "wrong")))
    updater.start("auto")
    assert updater.wait_for_log("Connection failed:") == 'Connection failed: "Proxy requires authentication"'
    assert server.served() == []


# --- where no proxy is, or does not do

@pytest.mark.parametrize(("kind", "protocol", "reason"), [
    (NONE, "http", None),
    (SOCKS, "http", "Connection to proxy refused"), (HTTP, "http", "Connection refused"),
    (CACHING, "https", "No suitable proxy found"), (FTP, "http", "No suitable proxy found")])
def test_only_without_a_proxy_is_the_server_asked_directly(
        updater: Updater, server: UpdateServer, folder: Path, kind: int, protocol: str, reason: str | None) -> None:
    """A server that could be reached is not asked where a proxy is set that does not listen, or does not suit."""
    hosts = folder / "hosts"
    hosts.write_text(f"127.0.0.1 localhost {HOST}\n", encoding="ascii")
    server.offer(CHOSEN, package=package(application()))
    with UpdateServer() as gone:
        pass
    updater.use(server, through(kind, gone.port), proto2=protocol)
    updater.start("auto", replaced={Path("/etc/hosts"): hosts})
    if reason is None:
        updater.wait_for_log(UNPACKED)
    else:
        assert updater.wait_for_log("Connection failed:") == f'Connection failed: "{reason}"'
    assert server.targets == ([] if reason else [VERSIONS_PATH, CHOSEN.package_path])


# --- what a proxy is told that refuses

REFUSAL = Answer(b"no\n", 407, {"Proxy-Authenticate": 'Basic realm="Tests"'})


@pytest.mark.fault("The proxy refuses the user")
@pytest.mark.parametrize(("protocol", "port", "target", "times"), [
    ("http", 80, f"http://{HOST}:80{VERSIONS_PATH}", 1), ("https", 443, f"{HOST}:443", 2)])
def test_refusing(updater: Updater, window: Window, exits: ExitStack, fault: Fault, protocol: str, port: int,
                  target: str, times: int) -> None:
    """A proxy that refuses the user is told the name after it has asked, for a tunnel once more, and then no more."""
    proxy = exits.enter_context(UpdateServer({target: REFUSAL}))
    updater.write_settings(through(HTTP, proxy.port), port2=port, proto2=protocol)
    updater.start("menu")
    fault.is_seen()
    told = [request.headers.get("Proxy-Authorization") for request in proxy.requests]
    assert told == [None, *[f"Basic {base64.b64encode(b'ada:s3cret').decode()}"] * times]
    updater.ends("OK")
