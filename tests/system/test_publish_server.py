"""freshen-publish and web servers: what "verify" says of real ones, and what "serve" does."""

from __future__ import annotations

import signal
import ssl
import time
import urllib.request
from collections.abc import Callable
from contextlib import ExitStack, closing
from http.client import HTTPSConnection
from pathlib import Path

import pytest

from kit.offer import CHOSEN, VERSIONS_PATH, application, description, package
from kit.server import Answer, UpdateServer
from kit.servers import Authority, Nginx
from kit.publishsite import Site, documented
from kit.updater import Updater
from publishing import CLEAN, FILE_OR_NETWORK, FINDINGS, USAGE, Outcome, Publisher, Serving

PACKAGE = package(application())
KEPT = {"Cache-Control": "max-age=31536000, immutable"}
FRESH = {"Cache-Control": "no-cache"}


# --- verify

def answers(**changed: Answer) -> dict[str, Answer]:
    """What a good server answers, but for what is changed."""
    good = {"index": Answer(description(CHOSEN), headers=FRESH), "package": Answer(PACKAGE, headers=KEPT)}
    good |= changed
    return {VERSIONS_PATH: good["index"], CHOSEN.package_path: good["package"]}


PAGE = b"<!doctype html><title>Log in</title>"
BAD = {
    "nothing": ({}, []),
    "the index is missing": ({"index": Answer(status=404)}, ["server-status"]),
    "a package is missing": ({"package": Answer(b"not here", status=404)}, ["server-status"]),
    "a page to log in": ({"index": Answer(PAGE, headers=FRESH)}, ["server-html"]),
    "an error page": ({"package": Answer(PAGE, headers=KEPT)}, ["server-html"]),
    "an empty index": ({"index": Answer(headers=FRESH)}, ["server-empty"]),
    "an empty package": ({"package": Answer(headers=KEPT)}, ["server-empty"]),
    "an old index": ({"index": Answer(description(CHOSEN) + b"\n", headers={**FRESH, "Age": "99"})},
                     ["server-other-bytes"]),
    "other bytes": ({"package": Answer(PACKAGE[:-1] + b"x", headers=KEPT)}, ["server-other-bytes"]),
    "more bytes": ({"package": Answer(PACKAGE + b"x", headers=KEPT)}, ["server-other-bytes"]),
    "fewer bytes": ({"package": Answer(PACKAGE[:-1], headers=KEPT)}, ["server-other-bytes"]),
    "silent": ({"index": Answer(b"x", headers=FRESH, hold=0)}, ["server-timeout"]),
    "stopping": ({"package": Answer(PACKAGE, headers=KEPT, hold=1000)}, ["server-timeout"]),
    "no length": ({"package": Answer(PACKAGE, headers={**KEPT, "Content-Length": None})}, ["server-no-length"]),
    "caches keep the index": ({"index": Answer(description(CHOSEN))}, ["server-index-cached"]),
    "caches keep no package": ({"package": Answer(PACKAGE)}, ["server-package-uncached"]),
    "endless": ({"index": Answer(b"x" * (17 << 20))}, ["server-too-long"]),
    "round and round": ({"index": Answer(status=302, headers={"Location": VERSIONS_PATH})}, ["server-redirect-loop"]),
}


@pytest.mark.parametrize("name", BAD)
@pytest.mark.windows("the network is the system's", "nothing", "silent", "other bytes")
def test_bad_servers(publisher: Publisher, exits: ExitStack, name: str) -> None:
    changed, ids = BAD[name]
    server = exits.enter_context(UpdateServer(answers(**changed)))
    publisher.offer(CHOSEN)
    outcome = publisher("verify", f"http://127.0.0.1:{server.port}", "--timeout", "1")
    assert outcome.ids == ids, outcome
    errors = [finding for finding in outcome.document["findings"] if finding["severity"] == "error"]
    assert outcome.code == (FINDINGS if errors else CLEAN)
    asked_for_package = CHOSEN.package_path in server.targets
    assert asked_for_package == (outcome.document["packages"] == [CHOSEN.package_name])


def test_nothing_to_compare_with(publisher: Publisher, exits: ExitStack) -> None:
    server = exits.enter_context(UpdateServer(answers()))
    address = f"http://127.0.0.1:{server.port}"
    assert [(finding["id"], finding["file"]) for finding in publisher("verify", address).document["findings"]] == [
        ("server-not-compared", address + path) for path in (VERSIONS_PATH, CHOSEN.package_path)]


def test_no_server(publisher: Publisher, exits: ExitStack) -> None:
    with UpdateServer() as server:
        port = server.port
    outcome = publisher("verify", f"http://127.0.0.1:{port}")
    assert (outcome.code, outcome.ids) == (FILE_OR_NETWORK, []) and "refused" in outcome.document["error"]
    assert publisher("verify", f"http://127.0.0.1:{port}/update").code == USAGE


# --- verify and nginx

@pytest.fixture
def verify(publisher: Publisher, authority: Authority, on_windows: bool) -> Callable[..., Outcome]:
    """Verifies a server of this machine: verify(server, scheme="https")."""
    publisher.offer(CHOSEN, content=PACKAGE)
    # This Windows trusts the authority by itself.
    trust = [] if on_windows else ["--ca", authority.store / "authority.pem"]

    def run(server: Nginx, scheme: str = "https", host: str = "127.0.0.1") -> Outcome:
        return publisher("verify", f"{scheme}://{host}:{server.port}", "--timeout", "5", *trust)

    return run


@pytest.fixture
def web(folder: Path, exits: ExitStack) -> Callable[[str], Nginx]:
    """Starts web servers that offer the update: web(http)."""

    def start(http: str) -> Nginx:
        server = exits.enter_context(Site(folder / f"web{len(list(folder.glob('web*')))}", http=http))
        server.offer(VERSIONS_PATH, description(CHOSEN))
        server.offer(CHOSEN.package_path, PACKAGE)
        return server

    return start


def status(server: Nginx, authority: Authority, path: str) -> int:
    context = ssl.create_default_context(cafile=authority.store / "authority.pem")
    with closing(HTTPSConnection("127.0.0.1", server.port, context=context)) as connection:
        connection.request("GET", path)
        return connection.getresponse().status


@pytest.mark.windows("the Windows updater has a TLS of its own")
def test_documented_configuration(verify: Callable[..., Outcome], web: Callable[[str], Nginx], authority: Authority,
                                  updater: Updater, trusting: dict[str, object]) -> None:
    """With the configuration of the page, all is well, an updater updates, and nothing else is served."""
    server = web(documented(authority.issue("127.0.0.1", days=90)))
    outcome = verify(server)
    assert (outcome.code, outcome.ids) == (CLEAN, []), outcome
    packages = CHOSEN.package_path.rpartition("/")[0]
    hidden = ["/.freshen-publish.lock", f"{packages}/.a.zip", f"{CHOSEN.package_path}.AbCdEf", f"{packages}/a.txt",
              f"{VERSIONS_PATH}.AbCdEf", "/update/Tavlopc/.git/windows.txt", "/update/Tavlopc/VERSIONS/other.txt"]
    for path in hidden:
        server.offer(path, b"not meant for anybody")
    assert [status(server, authority, path) for path in [*hidden, "/", f"{packages}/"]] == [404] * 9
    updater.use(server, proto2="https")
    updater.start("auto", **trusting)
    updater.wait_for_log("update unzipped to ")


def secured(certificate: Path, more: str = "") -> str:
    return f"""server {{ listen 127.0.0.1:@port ssl; ssl_certificate {certificate}; ssl_certificate_key {certificate};
        root @folder/content; add_header Cache-Control "no-cache, max-age=86400"; {more} }}"""


TLS = {
    "certificate of somebody else": (lambda authority: secured(authority.issue("other.example")),
                                     ["server-certificate"]),
    "certificate has ended": (lambda authority: secured(authority.issue("127.0.0.1", days=-1)),
                              ["server-certificate"]),
    "certificate ends soon": (lambda authority: secured(authority.issue("127.0.0.1", days=13)),
                              ["server-certificate-ends", "server-package-uncached"]),
    "only TLS 1.3": (lambda authority: secured(authority.issue("127.0.0.1"), "ssl_protocols TLSv1.3;"),
                     ["server-no-tls-1.2"]),
    "no cipher": (lambda authority: secured(authority.issue("127.0.0.1"),
                                            "ssl_protocols TLSv1.2; ssl_ciphers NULL-SHA256:@SECLEVEL=0;"),
                  ["server-tls"]),
    "to less safety": (lambda authority: secured(authority.issue("127.0.0.1"), "return 302 http://127.0.0.1:1/;"),
                       ["server-redirect-less-safe"]),
}


@pytest.mark.parametrize("name", TLS)
@pytest.mark.windows("the Windows updater has a TLS of its own", "certificate has ended", "only TLS 1.3")
def test_tls(verify: Callable[..., Outcome], web: Callable[[str], Nginx], authority: Authority, on_windows: bool,
             name: str) -> None:
    make, ids = TLS[name]
    outcome = verify(web(make(authority)))
    # The system's TLS cannot ask for the version that updaters lack.
    assert outcome.ids == (["server-tls"] if on_windows and "1.3" in name else ids), outcome


def test_network_of_caches(verify: Callable[..., Outcome], web: Callable[[str], Nginx], authority: Authority) -> None:
    """A server that sends updaters on to a network of caches: whatever is wrong there is found, and told by the address
    that updaters ask for."""
    cache = web(documented(authority.issue("127.0.0.1", days=90)))
    server = web(f"""server {{ listen 127.0.0.1:@port; location = {VERSIONS_PATH} {{ root @folder/content;
        add_header Cache-Control no-cache; }}
        location / {{ return 302 https://127.0.0.1:{cache.port}$request_uri; }} }}""")
    address = f"http://127.0.0.1:{server.port}{CHOSEN.package_path}"
    outcome = verify(server, "http")
    assert [(finding["id"], finding["file"]) for finding in outcome.document["findings"]] == [
        ("server-redirects", address)]
    cache.offer(CHOSEN.package_path, PACKAGE + b"more")
    assert (outcome := verify(server, "http")).ids == ["server-other-bytes", "server-redirects"], outcome


def test_truncating_proxy(publisher: Publisher, verify: Callable[..., Outcome], web: Callable[[str], Nginx],
                          exits: ExitStack) -> None:
    origin = exits.enter_context(Serving(publisher, "--cut-at", "1500000"))
    proxy = web(f"server {{ listen 127.0.0.1:@port; location / {{ proxy_pass {origin.address}; }} }}")
    assert verify(proxy, "http").ids == ["server-cut-off"]


def test_stale_cache(verify: Callable[..., Outcome], web: Callable[[str], Nginx], exits: ExitStack) -> None:
    """A cache that keeps the index against its header offers the old versions, until it is emptied."""
    origin = exits.enter_context(UpdateServer(answers(index=Answer(description(CHOSEN) + b"\n", headers=FRESH))))
    cache = web(f"""proxy_cache_path @folder/cache keys_zone=one:1m;
        server {{ listen 127.0.0.1:@port; location / {{ proxy_pass http://127.0.0.1:{origin.port};
        proxy_cache one; proxy_cache_valid 200 1h; proxy_ignore_headers Cache-Control; }} }}""")
    assert verify(cache, "http").ids == ["server-other-bytes"]
    origin.answers = answers()
    assert (verify(cache, "http").ids, verify(origin, "http").ids) == (["server-other-bytes"], [])


# --- serve

@pytest.mark.windows("sockets and interruptions are the system's")
def test_serve(publisher: Publisher, updater: Updater, exits: ExitStack) -> None:
    """The tool's own server is as good as the documented one. An updater uses it with the settings that it tells."""
    publisher.offer(CHOSEN, content=PACKAGE)
    serving = exits.enter_context(Serving(publisher))
    outcome = publisher("verify", serving.address)
    assert (outcome.code, outcome.ids) == (CLEAN, []), outcome
    updater.write_settings(serving.settings)
    updater.start("auto")
    updater.wait_for_log("update unzipped to ")


def test_serve_badly(publisher: Publisher, exits: ExitStack) -> None:
    """Packages, and packages alone, are cut off; a slow server takes its time."""
    publisher.offer(CHOSEN, content=PACKAGE)
    serving = exits.enter_context(Serving(publisher, "--cut-at", "20", "--throttle", "40"))
    begin = time.monotonic()
    outcome = publisher("verify", serving.address)
    assert [(finding["id"], finding["file"]) for finding in outcome.document["findings"]] == [
        ("server-cut-off", serving.address + CHOSEN.package_path)]
    # Before each piece, twenty of them a second, there is a pause.
    assert time.monotonic() - begin > (len(description(CHOSEN)) + 20) / 40 * 0.9


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM])
def test_serve_ends(publisher: Publisher, number: int) -> None:
    """An interruption ends it, even while it sends, and the report is the only document."""
    publisher.offer(CHOSEN, content=PACKAGE)
    with Serving(publisher, "--throttle", "1000") as serving, urllib.request.urlopen(
            serving.address + CHOSEN.package_path, timeout=10) as answer:
        assert answer.read(10) == PACKAGE[:10]
        assert serving.end(number) == (CLEAN, "")


@pytest.mark.parametrize(("options", "code"), [
    (["--port", "65536"], USAGE), (["--throttle", "0"], USAGE), (["--cut-at", "x"], USAGE)])
def test_serve_refuses(publisher: Publisher, options: list[str], code: int) -> None:
    assert publisher("serve", *options).code == code


def test_port_is_taken(publisher: Publisher, exits: ExitStack) -> None:
    server = exits.enter_context(UpdateServer())
    assert publisher("serve", "--port", str(server.port)).code == FILE_OR_NETWORK
