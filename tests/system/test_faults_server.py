"""What servers and networks can do wrong: answers that are no version file and no package, or odd ones, certificates
that are not to be trusted, connections that are not there or go away; and redirects."""

from __future__ import annotations

from collections.abc import Callable
from contextlib import ExitStack
from pathlib import Path

import pytest

from kit.fault import Fault
from kit.offer import CHOSEN, VERSIONS_PATH, Version, application, description, package
from kit.server import Answer, UpdateServer
from kit.servers import HOST, Authority, Nginx, Squid
from kit.updater import Updater
from kit.waiting import becomes, wait_for
from kit.window import Window

MODES = {"automatic": "auto", "list": "menu"}
PACKAGE = package(application())
SOUND = description(CHOSEN)
PAGE = b"<html><head><title>Sign in</title></head>\n<body>Please sign in to use this network.</body></html>\n"


def cut(body: bytes) -> Answer:
    return Answer(body[:len(body) // 2], headers={"Content-Length": str(len(body))})


# --- answers

ANSWERS = {
    "Version file: the server answers 404": {VERSIONS_PATH: Answer(PAGE, 404)},
    "Version file: the server answers 500": {VERSIONS_PATH: Answer(PAGE, 500)},
    "Version file: redirects for ever": {VERSIONS_PATH: Answer(status=302, headers={"Location": VERSIONS_PATH})},
    "Version file: shorter than announced": {VERSIONS_PATH: cut(SOUND)},
    "Package: the server answers 404": {CHOSEN.package_path: Answer(PAGE, 404)},
    "Package: the server answers 500": {CHOSEN.package_path: Answer(PAGE, 500)},
    "Package: redirects for ever": {CHOSEN.package_path: Answer(status=302, headers={"Location": CHOSEN.package_path})},
    "Package: shorter than announced": {CHOSEN.package_path: cut(PACKAGE)},
    "Package: an HTML page with 200": {CHOSEN.package_path: Answer(PAGE)},
    "Package: empty": {CHOSEN.package_path: Answer()},
}


@pytest.mark.fault("{name}")
@pytest.mark.parametrize("name", ANSWERS)
def test_answer(updater: Updater, window: Window, server: UpdateServer, fault: Fault, name: str) -> None:
    server.offer(CHOSEN, package=PACKAGE)
    server.answers.update(ANSWERS[name])
    updater.start("auto")
    fault.is_seen()
    updater.ends("OK" if window.boxes() else None)


VERSION_FILES = {
    "empty": b"",
    "an HTML page with 200": PAGE,
    "begins with a byte order mark": b"\xef\xbb\xbf" + SOUND,
    "lines end in CR LF": SOUND.replace(b"\n", b"\r\n"),
    "bytes that are no UTF-8": SOUND + b"\xff\xc3\x28|b\n",
    "a line of 10 MB without columns": SOUND + b"x" * 10_000_000 + b"\n",
    # In a column that the list does not show.
    "a line of 10 MB": SOUND[:-1] + b"x" * 10_000_000 + b"\n",
    "a NUL between two lines, the second is never read":
        SOUND + b"\0" + description(Version("26.09.7400", "Stable", date="2026-09-01")),
    "a NUL at its start": b"\0" + SOUND,
    "every line asks for a newer updater": description(
        Version("26.06.7300", minimum_updater="9998"), Version("26.06.7301", minimum_updater="9999")),
}


@pytest.mark.fault("Version file: {name} ({mode})")
@pytest.mark.parametrize("mode", MODES)
@pytest.mark.parametrize("name", VERSION_FILES)
def test_version_file(updater: Updater, window: Window, server: UpdateServer, fault: Fault, name: str,
                      mode: str) -> None:
    """What can be read of an odd version file is taken, and where that is nothing, the automatic mode says so."""
    server.offer(CHOSEN, package=PACKAGE)
    server.answers[VERSIONS_PATH] = VERSION_FILES[name]
    updater.start(MODES[mode])
    # Until then the list is empty in any case.
    updater.wait_for_log("Checking version...")
    fault.is_seen()
    if mode == "list":
        assert window.versions() in ([], [CHOSEN.number])
    updater.ends("OK" if window.boxes() else None)


MILLION = {
    "1,000,000 lines (automatic)": ("auto", range(7206, 1_007_206)),
    "1,000,000 lines of ten versions (list)": ("menu", [*range(7200, 7210)] * 100_000),
}


@pytest.mark.fault("Version file: {name}")
@pytest.mark.parametrize("name", MILLION)
def test_million_lines(updater: Updater, window: Window, server: UpdateServer, fault: Fault, name: str) -> None:
    mode, revisions = MILLION[name]
    server.offer(Version(f"26.06.{max(revisions)}"), package=PACKAGE)
    server.answers[VERSIONS_PATH] = b"".join(b"26.06.%d|Stable||2026-05-07|\n" % revision for revision in revisions)
    updater.start(mode)
    updater.wait_for_log("Checking version...", 60)
    fault.is_seen(60)
    updater.ends()


# --- the connection

@pytest.mark.fault("Nobody listens at the server's port")
def test_nobody_listens(updater: Updater, window: Window, fault: Fault) -> None:
    updater.write_settings(port2=1)
    updater.start("auto")
    fault.is_seen()
    updater.ends("OK")


@pytest.mark.fault("The proxy goes away amid the package")
def test_proxy_goes_away(updater: Updater, window: Window, server: UpdateServer, folder: Path, exits: ExitStack,
                         fault: Fault) -> None:
    proxy = exits.enter_context(Squid(folder / "squid"))
    half = len(PACKAGE) // 2
    server.offer(CHOSEN)
    server.answers[CHOSEN.package_path] = Answer(PACKAGE, hold=half)
    updater.use(server, {"config/proxy/data/type": 2, "config/proxy/data/ip": "127.0.0.1",
                         "config/proxy/data/port": proxy.port}, host2=HOST)
    updater.start("auto")
    # The proxy may keep some of it to itself for a while.
    wait_for(lambda: half // 2 < window.bar().value <= half, "part of the package")
    proxy.kill()
    fault.is_seen()
    updater.ends()


CERTIFICATES: dict[str, Callable[[Authority, Authority], Path]] = {
    "that has expired": lambda trusted, unknown: trusted.issue("127.0.0.1", days=-1),
    "for another host": lambda trusted, unknown: trusted.issue("elsewhere.example"),
    "from an authority that is not trusted": lambda trusted, unknown: unknown.issue("127.0.0.1"),
    "that has signed itself": lambda trusted, unknown: unknown.own(),
}


@pytest.mark.windows("Windows judges certificates by itself")
@pytest.mark.fault("TLS: a certificate {name}")
@pytest.mark.parametrize("name", CERTIFICATES)
def test_certificate(updater: Updater, window: Window, nginx: Callable[..., Nginx], authority: Authority,
                     trusting: dict[str, object], folder: Path, fault: Fault, name: str) -> None:
    """A server with such a certificate is asked for nothing."""
    server = nginx(CERTIFICATES[name](authority, Authority(folder / "unknown")))
    updater.use(server, proto2="https")
    updater.start("auto", **trusting)
    fault.is_seen()
    updater.ends("OK")
    assert server.served() == []


# --- redirects

@pytest.mark.fault("{what}: a redirect from HTTPS to HTTP")
@pytest.mark.parametrize(("what", "path"), [("Version file", VERSIONS_PATH), ("Package", CHOSEN.package_path)])
def test_redirect_to_less_safe_protocol(updater: Updater, window: Window, server: UpdateServer,
                                        nginx: Callable[..., Nginx], authority: Authority,
                                        trusting: dict[str, object], fault: Fault, what: str, path: str) -> None:
    """It is not followed: nothing is asked without encryption."""
    server.offer(CHOSEN, package=PACKAGE)
    safe = nginx(authority.issue("127.0.0.1"),
                 f"location = {path} {{ return 302 http://127.0.0.1:{server.port}$request_uri; }}")
    updater.use(safe, proto2="https")
    updater.start("auto", **trusting)
    fault.is_seen()
    updater.ends("OK" if window.boxes() else None)
    assert server.requests == []


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
