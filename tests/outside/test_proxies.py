"""Proxies as the application's login window sets them: which one is used, and how the user is named to it."""

from __future__ import annotations

import base64
from collections.abc import Iterator
from contextlib import ExitStack
from pathlib import Path
from tempfile import mkdtemp

import pytest

from harness import trees
from harness.installation import Setting
from rig import manual, offers
from rig.certificates import Authority
from rig.evidence import becomes, same
from rig.offers import DESCRIPTION_PATH, PACKAGE_PATH
from rig.outcomes import connection_failed, is_unpacked
from rig.proxies import HOST, Dante, Forwarded, Squid, User
from rig.run import Run
from rig.screen import Screen
from rig.servers import Nginx
from rig.views import HOSTS, seeing
from rig.wire import Answer, WireRequest, WireServer

SOCKS, HTTP, CACHING, FTP = 1, 2, 3, 4
# The same kinds as the log numbers them.
LOGGED = {SOCKS: 1, HTTP: 3, CACHING: 4, FTP: 5}

ADA = User("ada", "s3cret")
ODD = User("grace.hopper-2", "p@ss w;o,r%d\"'\\ö=#[1]")
USERS = (ADA, ODD)
REFUSED = 'Connection failed: "Proxy requires authentication"'
UNSUITABLE = 'Connection failed: "No suitable proxy found"'

http_kinds = pytest.mark.parametrize("kind", [HTTP, CACHING], ids=["http", "caching"])
schemes = pytest.mark.parametrize("scheme", ["basic", "digest"])
both_modes = pytest.mark.parametrize("mode", ["auto", "menu"])


@pytest.fixture(scope="module")
def services() -> Iterator[ExitStack]:
    """Takes the servers that the tests of this file share."""
    with ExitStack() as stack:
        yield stack


@pytest.fixture(scope="module")
def shared(services: ExitStack) -> Path:
    path = Path(mkdtemp(prefix="freshen-outside-"))
    services.callback(trees.remove, path)
    return path


@pytest.fixture(scope="module")
def basic(services: ExitStack, shared: Path) -> Squid:
    return services.enter_context(Squid(shared / "basic", "basic", USERS))


@pytest.fixture(scope="module")
def digest(services: ExitStack, shared: Path) -> Squid:
    return services.enter_context(Squid(shared / "digest", "digest", USERS))


@pytest.fixture
def squid(request: pytest.FixtureRequest, scheme: str) -> Squid:
    """The HTTP proxy with the scheme of the test."""
    return request.getfixturevalue(scheme)


@pytest.fixture(scope="module")
def dante(services: ExitStack, shared: Path, views: None) -> Dante:
    return services.enter_context(Dante(shared / "dante", USERS))


@pytest.fixture
def nginx(exits: ExitStack, folder: Path) -> Nginx:
    """The update server. Each test has its own, so its port tells in a proxy's log which requests are the test's."""
    server = Nginx(folder / "nginx")
    server.offer(DESCRIPTION_PATH, offers.description())
    server.offer(PACKAGE_PATH, offers.package())
    return exits.enter_context(server)


def proxy(kind: object, port: int, user: User | None = ADA) -> dict[str, Setting]:
    settings: dict[str, Setting] = {"config/proxy/data/type": kind, "config/proxy/data/ip": "127.0.0.1",
                                    "config/proxy/data/port": port, "host2": HOST}
    if user is not None:
        settings |= {"config/proxy/data/username": user.name, "config/proxy/data/password": user.password}
    return settings


def address(server: Nginx, path: str) -> str:
    return f"http://{HOST}:{server.port}{path}"


def through(squid: Squid, server: Nginx) -> list[Forwarded]:
    """What the proxy has dealt with for this server."""
    return [entry for entry in squid.forwarded() if f"{HOST}:{server.port}" in entry.target]


def proxy_line(run: Run) -> str:
    return next(text for text in run.log_texts() if text.startswith(("setting proxy to:", "no proxy is used.")))


# --- no proxy


@pytest.mark.parametrize("kind", [None, 0, 5, -1, 99, "text", "", "http"])
def test_no_proxy(run: Run, exits: ExitStack, nginx: Nginx, folder: Path, views: None, kind: object) -> None:
    """Types other than 1 to 4, texts among them, mean no proxy: the server is asked directly, and the log says so."""
    hosts = folder / "hosts"
    hosts.write_text(f"127.0.0.1 localhost {HOST}\n", encoding="ascii")
    never = exits.enter_context(WireServer())
    run.write_settings(proxy(kind, never.port), port2=nginx.port)
    run.start("auto", through=seeing({HOSTS: hosts}))
    is_unpacked(run)
    same(2, len(nginx.served()), "requests to the server")
    same([], never.requests, "requests to the proxy")
    same("no proxy is used.", proxy_line(run), "the line of the log")


# --- HTTP proxies


@both_modes
@schemes
@http_kinds
def test_http_proxy(run: Run, screen: Screen, nginx: Nginx, squid: Squid, kind: int, scheme: str, mode: str) -> None:
    """With the right user and password, version file and package come through an HTTP proxy in the user's name."""
    run.write_settings(proxy(kind, squid.port), port2=nginx.port)
    manual.go(run, screen, mode)
    is_unpacked(run)
    becomes([Forwarded("GET", address(nginx, DESCRIPTION_PATH), "", 407),
             Forwarded("GET", address(nginx, DESCRIPTION_PATH), ADA.name, 200),
             Forwarded("GET", address(nginx, PACKAGE_PATH), ADA.name, 200)], lambda: through(squid, nginx),
            "the proxy's log")
    same({"Updater/2605windows"}, {request.agent for request in nginx.served()}, "agents")
    same(2, len(nginx.served()), "requests to the server")
    same(f'setting proxy to: {LOGGED[kind]} "127.0.0.1" {squid.port} "ada" "s3cret"', proxy_line(run), "the log")


@schemes
@http_kinds
def test_http_proxy_odd_password(run: Run, nginx: Nginx, squid: Squid, kind: int, scheme: str) -> None:
    """A password with blanks, quotes, separators and an umlaut reaches an HTTP proxy as it is, and the log too."""
    run.write_settings(proxy(kind, squid.port, ODD), port2=nginx.port)
    run.start("auto")
    is_unpacked(run)
    becomes([("", 407), (ODD.name, 200), (ODD.name, 200)],
            lambda: [(entry.user, entry.status) for entry in through(squid, nginx)], "users and answers")
    escaped = ODD.password.replace("\\", "\\\\").replace('"', '\\"')
    same(f'setting proxy to: {LOGGED[kind]} "127.0.0.1" {squid.port} "{ODD.name}" "{escaped}"', proxy_line(run),
         "the line of the log")


@pytest.mark.parametrize("user", [User("ada", "wrong"), User("nobody", "s3cret")], ids=["password", "user"])
@schemes
@http_kinds
def test_http_proxy_wrong_user(run: Run, nginx: Nginx, squid: Squid, kind: int, scheme: str, user: User) -> None:
    """A wrong user or password is offered to an HTTP proxy once; then the connection has failed."""
    run.write_settings(proxy(kind, squid.port, user), port2=nginx.port)
    run.start("auto")
    same(REFUSED, run.wait_for_log("Connection failed:").text, "the reason in the log")
    becomes([407, 407], lambda: [entry.status for entry in through(squid, nginx)], "the proxy's answers")
    same([], nginx.served(), "requests to the server")


@schemes
@http_kinds
def test_http_proxy_empty_user(run: Run, nginx: Nginx, squid: Squid, kind: int, scheme: str) -> None:
    """Without user and password the connection fails at an HTTP proxy that asks for them."""
    run.write_settings(proxy(kind, squid.port, None), port2=nginx.port)
    run.start("auto")
    same(REFUSED, run.wait_for_log("Connection failed:").text, "the reason in the log")
    becomes([("", 407)], lambda: [(entry.user, entry.status) for entry in through(squid, nginx)], "users and answers")
    same([], nginx.served(), "requests to the server")


@http_kinds
def test_open_http_proxy(run: Run, exits: ExitStack, folder: Path, nginx: Nginx, kind: int) -> None:
    """An HTTP proxy that asks for nobody's name gets none, although one is set."""
    squid = exits.enter_context(Squid(folder / "squid"))
    run.write_settings(proxy(kind, squid.port), port2=nginx.port)
    run.start("auto")
    is_unpacked(run)
    becomes([("", 200), ("", 200)], lambda: [(entry.user, entry.status) for entry in through(squid, nginx)],
            "users and answers")


@schemes
def test_https_through_http_proxy(run: Run, exits: ExitStack, folder: Path, squid: Squid, authority: Authority,
                                  trust: list[str], scheme: str) -> None:
    """HTTPS goes through an HTTP proxy in a tunnel that the user's name opens."""
    server = Nginx(folder / "secure", authority.issue("server", f"DNS:{HOST}"))
    server.offer(DESCRIPTION_PATH, offers.description())
    server.offer(PACKAGE_PATH, offers.package())
    exits.enter_context(server)
    run.write_settings(proxy(HTTP, squid.port), port2=server.port, proto2="https")
    run.start("auto", through=trust)
    is_unpacked(run)
    same([("https", f"{HOST}:{server.port}")] * 2, [(request.scheme, request.host) for request in server.served()],
         "requests to the server")
    run.end()
    becomes({("CONNECT", "", 407), ("CONNECT", ADA.name, 200)},
            lambda: {(entry.method, entry.user, entry.status) for entry in through(squid, server)}, "the proxy's log")


@pytest.mark.parametrize(("kind", "protocol"), [(CACHING, "https"), (FTP, "http"), (FTP, "https")])
def test_unsuitable_proxy(run: Run, exits: ExitStack, kind: int, protocol: str) -> None:
    """A caching proxy does not do for HTTPS, nor an FTP proxy for either: no request is sent, the connection fails."""
    never = exits.enter_context(WireServer())
    run.write_settings(proxy(kind, never.port), port2=80, proto2=protocol)
    run.start("auto")
    same(UNSUITABLE, run.wait_for_log("Connection failed:").text, "the reason in the log")
    same([], never.requests, "requests to the proxy")
    same(f'setting proxy to: {LOGGED[kind]} "127.0.0.1" {never.port} "ada" "s3cret"', proxy_line(run), "the log")


@http_kinds
@pytest.mark.fault("server", "The proxy refuses the user")
def test_proxy_failure_is_shown(run: Run, screen: Screen, nginx: Nginx, basic: Squid, kind: int) -> None:
    """When the proxy refuses the user, a box says that the connection failed and why; after it the run ends with 0."""
    run.write_settings(proxy(kind, basic.port, User("ada", "wrong")), port2=nginx.port)
    run.start("menu", desktop=screen.desktop)
    connection_failed(run, screen, "Proxy requires authentication")


@pytest.mark.parametrize("kind", [SOCKS, HTTP, CACHING])
def test_proxy_down(run: Run, kind: int) -> None:
    """Where no proxy listens, the connection fails; the server is not asked directly instead."""
    with WireServer() as gone:
        port = gone.port
    run.write_settings(proxy(kind, port), port2=80)
    run.start("auto")
    reason = "Connection to proxy refused" if kind == SOCKS else "Connection refused"
    same(f'Connection failed: "{reason}"', run.wait_for_log("Connection failed:").text, "the reason in the log")


def test_port_is_cut_to_16_bits(run: Run, nginx: Nginx, basic: Squid) -> None:
    """Of a proxy port beyond 65535 the lower 16 bits count; the log shows it as it is set."""
    run.write_settings(proxy(HTTP, 65536 + basic.port), port2=nginx.port)
    run.start("auto")
    is_unpacked(run)
    same(f'setting proxy to: 3 "127.0.0.1" {65536 + basic.port} "ada" "s3cret"', proxy_line(run), "the line of the log")


# --- what a proxy that refuses is offered


def offered(requests: list[WireRequest]) -> list[str]:
    """The user and password in each request, or "" where there is none."""
    return [base64.b64decode((request.header("Proxy-Authorization") or " ").split(" ")[1]).decode("latin-1")
            for request in requests]


REFUSAL = Answer(b"no\n", 407, {"Proxy-Authenticate": 'Basic realm="Tests"'})


@http_kinds
def test_refused_user_is_offered_once(run: Run, exits: ExitStack, kind: int) -> None:
    """A proxy that refuses the user gets the name once, after it has asked, and not again."""
    file = f"http://{HOST}:80{DESCRIPTION_PATH}"
    refusing = exits.enter_context(WireServer({file: REFUSAL}))
    run.write_settings(proxy(kind, refusing.port), port2=80)
    run.start("auto")
    same(REFUSED, run.wait_for_log("Connection failed:").text, "the reason in the log")
    same(["", "ada:s3cret"], offered(refusing.requests), "users offered")


def test_tunnel_is_asked_for_again_once(run: Run, exits: ExitStack) -> None:
    """For a tunnel the name is offered once more after the first refusal; then the request has failed."""
    refusing = exits.enter_context(WireServer({f"{HOST}:443": REFUSAL}))
    run.write_settings(proxy(HTTP, refusing.port), port2=443, proto2="https")
    run.start("auto")
    same(REFUSED, run.wait_for_log("Connection failed:").text, "the reason in the log")
    same(["", "ada:s3cret", "ada:s3cret"], offered(refusing.requests), "users offered")


def test_user_refused_later(run: Run, exits: ExitStack) -> None:
    """A proxy that let the version file through and then refuses the package is offered the user with it once."""
    file, package = f"http://{HOST}:80{DESCRIPTION_PATH}", f"http://{HOST}:80{PACKAGE_PATH}"
    changing = exits.enter_context(WireServer({file: [REFUSAL, Answer(offers.description())], package: REFUSAL}))
    run.write_settings(proxy(HTTP, changing.port), port2=80)
    run.start("auto")
    run.wait_for_log("Error unzipping")
    same(["", "ada:s3cret", "ada:s3cret"], offered(changing.requests), "users offered")


# --- SOCKS


@both_modes
@pytest.mark.parametrize("user", USERS, ids=["plain", "odd"])
def test_socks_proxy(run: Run, screen: Screen, nginx: Nginx, dante: Dante, user: User, mode: str) -> None:
    """With the right user and password everything goes through a SOCKS proxy, which also finds the server's name."""
    run.write_settings(proxy(SOCKS, dante.port, user), port2=nginx.port)
    manual.go(run, screen, mode)
    is_unpacked(run)
    same(2, len(nginx.served()), "requests to the server")
    same({(user.name, nginx.port)}, {entry for entry in dante.connections() if entry[1] == nginx.port},
         "connections of the proxy")
    assert proxy_line(run).startswith(f'setting proxy to: 1 "127.0.0.1" {dante.port} "{user.name}" "')


@pytest.mark.parametrize("user", [User("ada", "wrong"), User("nobody", "s3cret"), None],
                         ids=["password", "user", "empty"])
def test_socks_proxy_wrong_user(run: Run, nginx: Nginx, dante: Dante, user: User | None) -> None:
    """A wrong user or password, or none, fails at a SOCKS proxy that asks for one."""
    run.write_settings(proxy(SOCKS, dante.port, user), port2=nginx.port)
    run.start("auto")
    same(REFUSED, run.wait_for_log("Connection failed:").text, "the reason in the log")
    same([], [entry for entry in dante.connections() if entry[1] == nginx.port], "connections of the proxy")
    same([], nginx.served(), "requests to the server")


def test_open_socks_proxy(run: Run, exits: ExitStack, folder: Path, nginx: Nginx, views: None) -> None:
    """A SOCKS proxy that asks for nobody's name lets everything through."""
    dante = exits.enter_context(Dante(folder / "dante"))
    run.write_settings(proxy(SOCKS, dante.port, None), port2=nginx.port)
    run.start("auto")
    is_unpacked(run)
    same({("", nginx.port)}, set(dante.connections()), "connections of the proxy")


def test_https_through_socks_proxy(run: Run, exits: ExitStack, folder: Path, dante: Dante, authority: Authority,
                                   trust: list[str]) -> None:
    """HTTPS goes through a SOCKS proxy too, and the certificate is that of the server."""
    server = Nginx(folder / "secure", authority.issue("server", f"DNS:{HOST}"))
    server.offer(DESCRIPTION_PATH, offers.description())
    server.offer(PACKAGE_PATH, offers.package())
    exits.enter_context(server)
    run.write_settings(proxy(SOCKS, dante.port), port2=server.port, proto2="https")
    run.start("auto", through=trust)
    is_unpacked(run)
    same({(ADA.name, server.port)}, {entry for entry in dante.connections() if entry[1] == server.port},
         "connections of the proxy")
