"""Proxies as the application's login window sets them: which one is used, and how the user is named to it."""

from __future__ import annotations

import base64
from collections.abc import Callable, Iterator
from contextlib import ExitStack
from pathlib import Path

import pytest

from kit.fault import Fault
from kit.offer import CHOSEN, VERSIONS_PATH, application, description, package
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
WRONG = User("ada", "wrong")
NOBODY = User("", "")
REFUSED = 'Connection failed: "Proxy requires authentication"'
UNPACKED = "update unzipped to "


@pytest.fixture(scope="module")
def proxies(place: Path) -> Iterator[Callable[[str], Proxy]]:
    """Starts each proxy when it is needed first."""
    kinds: dict[str, Callable[[Path], Proxy]] = {
        "open HTTP": Squid, "basic": lambda folder: Squid(folder, "basic", (ADA, ODD)),
        "open SOCKS": Dante, "digest": lambda folder: Squid(folder, "digest", (ADA, ODD)),
        "SOCKS": lambda folder: Dante(folder, (ADA, ODD))}
    started: dict[str, Proxy] = {}
    with ExitStack() as stack:
        def start(name: str) -> Proxy:
            if name not in started:
                started[name] = stack.enter_context(kinds[name](place / name.replace(" ", "-")))
            return started[name]

        yield start


def through(kind: int, port: int, user: User = ADA) -> dict[str, Setting]:
    """The settings for a server behind the proxy at this port."""
    return {"config/proxy/data/type": kind, "config/proxy/data/ip": "127.0.0.1", "config/proxy/data/port": port,
            "config/proxy/data/username": user.name, "config/proxy/data/password": user.password, "host2": HOST}


def users(proxy: Proxy, server: Nginx) -> list[tuple[str, int]]:
    """The user and the answer of each request for this server; with SOCKS one entry for all of its connections."""
    if isinstance(proxy, Dante):
        return list({(user, 200) for user, port in proxy.connections() if port == server.port})
    return [(entry.user, entry.status) for entry in proxy.forwarded() if f"{HOST}:{server.port}" in entry.target]


ASKED_FOR_THE_USER = [("", 407), (ODD.name, 200), (ODD.name, 200)]


@pytest.mark.parametrize(("name", "kind", "logged", "user", "expected"), [
    ("open HTTP", HTTP, 3, ADA, [("", 200), ("", 200)]),
    ("digest", HTTP, 3, ODD, ASKED_FOR_THE_USER),
    pytest.param("basic", CACHING, 4, ODD, ASKED_FOR_THE_USER,
                 marks=pytest.mark.windows("the registry keeps user and password")),
    ("open SOCKS", SOCKS, 1, NOBODY, [("", 200)]),
    pytest.param("SOCKS", SOCKS, 1, ODD, [(ODD.name, 200)],
                 marks=pytest.mark.windows("Qt as it comes leaves the end of a package unread there"))])
def test_http(updater: Updater, nginx: Callable[..., Nginx], proxies: Callable[[str], Proxy], name: str, kind: int,
              logged: int, user: User, expected: list[tuple[str, int]]) -> None:
    """Version file and package come through the proxy in the user's name, whatever is in it and in the password."""
    proxy, server = proxies(name), nginx()
    updater.use(server, through(kind, proxy.port, user))
    updater.start("auto")
    updater.wait_for_log(UNPACKED)
    becomes(expected, lambda: users(proxy, server), "users and answers")
    becomes(2, lambda: len(server.served()), "answers of the server")
    password = user.password.replace("\\", "\\\\").replace('"', '\\"')
    assert f'setting proxy to: {logged} "127.0.0.1" {proxy.port} "{user.name}" "{password}"' in updater.log_texts()


@pytest.mark.parametrize(("name", "kind"), [("basic", HTTP), ("digest", HTTP), ("SOCKS", SOCKS)])
def test_https(updater: Updater, nginx: Callable[..., Nginx], proxies: Callable[[str], Proxy], authority: Authority,
               trusting: dict[str, object], name: str, kind: int) -> None:
    """HTTPS goes through the proxy in a tunnel, at whose end is the server with its own certificate."""
    proxy, server = proxies(name), nginx(authority.issue(HOST))
    updater.use(server, through(kind, proxy.port), proto2="https")
    updater.start("auto", **trusting)
    updater.wait_for_log(UNPACKED)
    becomes(["https"] * 2, lambda: [entry.scheme for entry in server.served()])
    # The proxy logs a tunnel when it has ended.
    updater.kill()
    becomes({(ADA.name, 200)}, lambda: set(users(proxy, server)) - {("", 407)}, "users and answers")


@pytest.mark.parametrize("user", [WRONG, NOBODY], ids=["wrong", "none"])
@pytest.mark.parametrize(("name", "kind"), [("basic", CACHING), ("digest", HTTP), ("SOCKS", SOCKS)])
def test_refused(updater: Updater, nginx: Callable[..., Nginx], proxies: Callable[[str], Proxy], name: str, kind: int,
                 user: User) -> None:
    """A wrong user, or none, gets nothing from a proxy that asks for one."""
    proxy, server = proxies(name), nginx()
    updater.use(server, through(kind, proxy.port, user))
    updater.start("auto")
    assert updater.wait_for_log("Connection failed:") == REFUSED
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
FILE, PACKAGE = (f"http://{HOST}:80{path}" for path in (VERSIONS_PATH, CHOSEN.package_path))


def offered(proxy: UpdateServer) -> list[str]:
    """User and password in each request, or "" where there is none."""
    return [base64.b64decode((request.header("Proxy-Authorization") or " ").split(" ")[1]).decode()
            for request in proxy.requests]


@pytest.mark.fault("The proxy refuses the user")
@pytest.mark.parametrize(("protocol", "port", "target", "times"), [
    ("http", 80, FILE, 1), ("https", 443, f"{HOST}:443", 2)])
def test_refusing(updater: Updater, window: Window, exits: ExitStack, fault: Fault, protocol: str, port: int,
                  target: str, times: int) -> None:
    """A proxy that refuses the user is told the name after it has asked, for a tunnel once more, and then no more."""
    proxy = exits.enter_context(UpdateServer({target: REFUSAL}))
    updater.write_settings(through(HTTP, proxy.port), port2=port, proto2=protocol)
    updater.start("menu")
    fault.is_seen()
    assert offered(proxy) == ["", *["ada:s3cret"] * times]
    updater.ends("OK")


def test_refusing_later(updater: Updater, exits: ExitStack) -> None:
    """A proxy that let the version file through and then refuses the package is told the user with that once."""
    proxy = exits.enter_context(UpdateServer({FILE: [REFUSAL, Answer(description(CHOSEN))], PACKAGE: REFUSAL}))
    updater.write_settings(through(HTTP, proxy.port), port2=80)
    updater.start("auto")
    updater.wait_for_log("Error unzipping")
    assert offered(proxy) == ["", "ada:s3cret", "ada:s3cret"]
