"""What the updater asks of a web server, and what it makes of the answers."""

from __future__ import annotations

import itertools
import re
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

from rig import manual, offers
from rig.certificates import Authority
from rig.evidence import becomes, same
from rig.faults import note
from rig.outcomes import connection_failed, is_no_archive, is_unpacked
from rig.run import Run
from rig.screen import Screen
from rig.servers import Nginx, Served
from rig.texts import UPDATE_HOST
from rig.wire import Answer, WireServer

MODES = ("auto", "menu")
FILE_LINE = f"GET {offers.DESCRIPTION_PATH} HTTP/1.1"
PACKAGE_LINE = f"GET {offers.PACKAGE_PATH} HTTP/1.1"
CAPTIVE = "<html><head><title>Sign in</title></head>\n<body>Please sign in to use this network.</body></html>\n"

# The library follows 50 redirects. It sends some requests twice, see below.
_LOOP = 110

both_modes = pytest.mark.parametrize("mode", MODES)


@pytest.fixture
def nginx(folder: Path) -> Iterator[Callable[..., Nginx]]:
    """Starts web servers that offer the versions and the package: nginx(certificate=None, locations="")."""
    started: list[Nginx] = []

    def start(certificate=None, locations: str = "") -> Nginx:
        server = Nginx(folder / f"nginx{len(started)}", certificate, locations)
        server.offer(offers.DESCRIPTION_PATH, offers.description())
        server.offer(offers.PACKAGE_PATH, offers.package())
        started.append(server.__enter__())
        return server

    start.evidence = lambda: "\n".join(server.evidence() for server in started)
    yield start
    for server in started:
        server.__exit__()


# --- what is asked


@both_modes
def test_requests_over_http(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str) -> None:
    """Both requests are plain GETs with the path, the host with its port, and the agent "Updater/2605windows"."""
    server = nginx()
    run.write_settings(port2=server.port)
    manual.go(run, screen, mode)
    is_unpacked(run)
    host = f"127.0.0.1:{server.port}"
    same([Served(line, host, "Updater/2605windows", 200, "http", server.port, "")
          for line in (FILE_LINE, PACKAGE_LINE)], server.served(), "requests")


@both_modes
def test_requests_over_https(run: Run, screen: Screen, nginx: Callable[..., Nginx], authority: Authority,
                             trust: list[str], mode: str) -> None:
    """Over HTTPS, with a certificate that the system trusts, the same two requests go out and the package arrives."""
    server = nginx(authority.issue("server", "IP:127.0.0.1"))
    run.write_settings(port2=server.port, proto2="https")
    manual.go(run, screen, mode, through=trust)
    is_unpacked(run)
    host = f"127.0.0.1:{server.port}"
    same([Served(line, host, "Updater/2605windows", 200, "https", server.port, "")
          for line in (FILE_LINE, PACKAGE_LINE)], server.served(), "requests")


@pytest.mark.parametrize(("main", "minor", "agent"), [
    ("26", "05", "Updater/2605windows"), (None, None, "Updater/windows"), ("3", "", "Updater/3windows"),
    ("2ä", "5 b", "Updater/2ä5 bwindows")])
def test_agent(run: Run, main: str | None, minor: str | None, agent: str) -> None:
    """The agent is "Updater/", both parts of the installed version and "windows", joined by nothing, as UTF-8."""
    with WireServer({offers.DESCRIPTION_PATH: Answer(offers.description(offers.STABLE))}) as server:
        run.write_settings(port2=server.port, version_main=main, version_minor=minor)
        run.start("auto")
        becomes([agent], lambda: [(request.header("User-Agent") or "").encode("latin-1").decode()
                                  for request in server.requests][:1], "agents")


def test_folder_of_the_version_file(run: Run) -> None:
    """The setting "verf" names the folder of the version file only; packages stay in the platform's folder."""
    path = "/update/Tavlopc/TRIAL/windows.txt"
    with WireServer({path: Answer(offers.description()), offers.PACKAGE_PATH: Answer(offers.package())}) as server:
        run.write_settings(port2=server.port, verf="TRIAL")
        run.start("auto")
        is_unpacked(run)
        same([path, offers.PACKAGE_PATH], [request.target for request in server.requests], "requests")


# A proxy sees whole addresses and answers for every host, also where nothing listens. Hosts of this machine are never
# asked for through a proxy.
@pytest.mark.parametrize(("mode", "port", "file_port", "package_port"), [
    ("auto", None, ":443", ""), ("auto", 8080, ":8080", ":8080"),
    ("menu", None, ":443", ":443"), ("menu", 8080, ":8080", ":8080")])
def test_ports_of_the_addresses(run: Run, screen: Screen, mode: str, port: int | None, file_port: str,
                                package_port: str) -> None:
    """Every address names the port, 443 where none is set; only the automatic mode's package then has none."""
    file = f"http://server.example{file_port}{offers.DESCRIPTION_PATH}"
    package = f"http://server.example{package_port}{offers.PACKAGE_PATH}"
    with WireServer({file: Answer(offers.description()), package: Answer(offers.package())}) as proxy:
        run.write_settings({"config/proxy/data/type": 2, "config/proxy/data/ip": "127.0.0.1",
                            "config/proxy/data/port": proxy.port}, port2=port, host2="server.example")
        manual.go(run, screen, mode)
        is_unpacked(run)
        same([file, package], [request.target for request in proxy.requests], "addresses")
    same([f'Get: "{file}"', f'Get: "{package}"'], [text for text in run.log_texts() if text.startswith("Get:")],
         "addresses in the log")


def test_defaults_without_settings(run: Run) -> None:
    """Without server settings the version file is asked of the organisation's update host, over HTTPS, at 443."""
    with WireServer({}) as proxy:
        run.write_settings({"config/proxy/data/type": 2, "config/proxy/data/ip": "127.0.0.1",
                            "config/proxy/data/port": proxy.port}, proto2=None, host2=None)
        run.start("auto")
        run.wait_for_log("Connection failed:")
        same([f"CONNECT {UPDATE_HOST}:443 HTTP/1.1"], [request.line for request in proxy.requests][:1],
             "requests")
    same(f'Get: "https://{UPDATE_HOST}:443/update/Tavlopc/VERSIONS/windows.txt"', run.wait_for_log("Get:").text,
         "address")


@pytest.mark.parametrize("extended", [False, True])
@both_modes
def test_package_name(run: Run, screen: Screen, mode: str, extended: bool) -> None:
    """The package is named after version and type; with extended naming after system and processor too."""
    name = f"Tavlopc{offers.CHOSEN.number}STABLE{'WIN7X64' if extended else ''}.zip"
    path = f"/update/Tavlopc/windows/{name}"
    with WireServer({offers.DESCRIPTION_PATH: Answer(offers.description()), path: Answer(offers.package())}) as server:
        run.write_settings(port2=server.port, extendedNaming=extended)
        manual.go(run, screen, mode)
        is_unpacked(run)
        same([offers.DESCRIPTION_PATH, path], [request.target for request in server.requests], "requests")
    same(f'{name}"', re.split(r"[/\\]", run.wait_for_log("update stored in ").text)[-1], "the end of the file's name")


# --- redirects


@pytest.mark.parametrize("status", [301, 302, 303, 307, 308])
@both_modes
def test_redirect_is_followed(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str, status: int) -> None:
    """A redirect to the same scheme is followed for the version file and for the package, with the same agent."""
    server = nginx(locations=f"""
        location = {offers.DESCRIPTION_PATH} {{ return {status} /moved/windows.txt; }}
        location = {offers.PACKAGE_PATH} {{ return {status} http://127.0.0.1:@PORT@/moved/package.zip; }}""")
    server.offer("/moved/windows.txt", offers.description())
    server.offer("/moved/package.zip", offers.package())
    run.write_settings(port2=server.port)
    manual.go(run, screen, mode)
    is_unpacked(run)
    seen = [(request.request, request.status) for request in server.served()]
    # What is redirected may be asked for twice in a row: the library sends it anew when it gives up a connection.
    same([(FILE_LINE, status), ("GET /moved/windows.txt HTTP/1.1", 200), (PACKAGE_LINE, status),
          ("GET /moved/package.zip HTTP/1.1", 200)], [request for request, _ in itertools.groupby(seen)], "requests")
    same({"Updater/2605windows"}, {request.agent for request in server.served()}, "agents")


@both_modes
def test_redirect_to_safer_scheme(run: Run, screen: Screen, nginx: Callable[..., Nginx], authority: Authority,
                                  trust: list[str], mode: str) -> None:
    """A redirect from HTTP to HTTPS is followed."""
    safe = nginx(authority.issue("server", "IP:127.0.0.1"))
    server = nginx(locations=f"location /update {{ return 302 https://127.0.0.1:{safe.port}$request_uri; }}")
    run.write_settings(port2=server.port)
    manual.go(run, screen, mode, through=trust)
    is_unpacked(run)
    same([(FILE_LINE, 200), (PACKAGE_LINE, 200)],
         [(request.request, request.status) for request in safe.served()], "requests over HTTPS")


@both_modes
@pytest.mark.fault("server", "Version file: a redirect from HTTPS to HTTP")
def test_redirect_to_less_safe_scheme(run: Run, screen: Screen, nginx: Callable[..., Nginx], authority: Authority,
                                      trust: list[str], mode: str) -> None:
    """A redirect of the version file from HTTPS to HTTP is refused: nothing is asked over HTTP, and a box says why."""
    plain = nginx()
    server = nginx(authority.issue("server", "IP:127.0.0.1"),
                   f"location /update {{ return 302 http://127.0.0.1:{plain.port}$request_uri; }}")
    run.write_settings(port2=server.port, proto2="https")
    run.start(mode, desktop=screen.desktop, through=trust)
    connection_failed(run, screen, "Insecure redirect")
    same([], plain.served(), "requests over HTTP")


@both_modes
@pytest.mark.fault("server", "Package: a redirect from HTTPS to HTTP")
def test_package_redirect_to_less_safe_scheme(run: Run, screen: Screen, nginx: Callable[..., Nginx],
                                              authority: Authority, trust: list[str], mode: str) -> None:
    """A redirect of the package from HTTPS to HTTP is refused; what has come instead fails to unpack."""
    plain = nginx()
    server = nginx(authority.issue("server", "IP:127.0.0.1"),
                   f"location = {offers.PACKAGE_PATH} {{ return 302 http://127.0.0.1:{plain.port}$request_uri; }}")
    run.write_settings(port2=server.port, proto2="https")
    manual.go(run, screen, mode, through=trust)
    is_no_archive(run, screen)
    same([], plain.served(), "requests over HTTP")


@both_modes
@pytest.mark.fault("server", "Version file: redirects for ever")
def test_redirect_loop(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str) -> None:
    """A version file that redirects for ever is given up after 50 redirects, with a box."""
    server = nginx(locations="location /update { return 302 $request_uri; }")
    run.write_settings(port2=server.port)
    run.start(mode, desktop=screen.desktop)
    connection_failed(run, screen, "Too many redirects")
    assert 50 <= len(server.served()) <= _LOOP, len(server.served())


@both_modes
@pytest.mark.fault("server", "Package: redirects for ever")
def test_package_redirect_loop(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str) -> None:
    """A package that redirects for ever is given up; the window says that it cannot be unpacked."""
    server = nginx(locations=f"location = {offers.PACKAGE_PATH} {{ return 302 $request_uri; }}")
    run.write_settings(port2=server.port)
    manual.go(run, screen, mode)
    is_no_archive(run, screen)
    assert 50 <= len(server.served()) <= _LOOP, len(server.served())


# --- answers that are no version file and no package


@pytest.mark.parametrize(("status", "reason"), [(404, "Not Found"), (500, "Internal Server Error")])
@both_modes
@pytest.mark.fault("server", "Version file: the server answers {status}")
def test_error_instead_of_version_file(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str, status: int,
                                       reason: str) -> None:
    """A version file that is answered with 404 or 500 ends the run with a box that quotes the server."""
    server = nginx(locations=f"location /update {{ return {status}; }}")
    run.write_settings(port2=server.port)
    run.start(mode, desktop=screen.desktop)
    connection_failed(run, screen, f"Error transferring http://127.0.0.1:{server.port}{offers.DESCRIPTION_PATH} - "
                                   f"server replied: {reason}")
    same([(FILE_LINE, status)], [(request.request, request.status) for request in server.served()], "requests")


@pytest.mark.parametrize("status", [404, 500])
@both_modes
@pytest.mark.fault("server", "Package: the server answers {status}")
def test_error_instead_of_package(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str,
                                  status: int) -> None:
    """A package that is answered with 404 or 500 is stored as it came and fails to unpack."""
    server = nginx(locations=f"location = {offers.PACKAGE_PATH} {{ return {status}; }}")
    run.write_settings(port2=server.port)
    manual.go(run, screen, mode)
    is_no_archive(run, screen)


@pytest.mark.fault("server", "Version file: an HTML page with 200 (automatic)")
def test_captive_portal_instead_of_version_file_auto(run: Run, screen: Screen, nginx: Callable[..., Nginx]) -> None:
    """A sign-in page in place of the version file holds no version: the automatic mode logs its lines and says so."""
    server = nginx(locations="location /update { rewrite ^ /portal.html; } location = /portal.html { internal; }")
    server.offer("/portal.html", CAPTIVE.encode())
    run.write_settings(port2=server.port)
    run.start("auto", desktop=screen.desktop)
    box = screen.box()
    same(("Update Failed", "Error reading version description file:\nUnknown error", ["OK"]),
         (box.title, box.text, box.buttons), "the box")
    texts = run.log_texts()
    at = texts.index("No Version found")
    same([f'"{line}"' for line in CAPTIVE.splitlines()], texts[at + 1:], "what is logged of the page")
    note(run, screen)
    box.press("OK")
    same(0, run.exit_code(), "exit code")


@pytest.mark.fault("server", "Version file: an HTML page with 200 (list)")
def test_captive_portal_instead_of_version_file_menu(run: Run, screen: Screen, nginx: Callable[..., Nginx]) -> None:
    """A sign-in page in place of the version file leaves the list empty, with a warning for each line, and no box."""
    server = nginx(locations="location /update { rewrite ^ /portal.html; } location = /portal.html { internal; }")
    server.offer("/portal.html", CAPTIVE.encode())
    run.write_settings(port2=server.port)
    run.start("menu", desktop=screen.desktop)
    warning = 'WARNING: ("{}") does not have right number of cols'
    becomes([warning.format(line) for line in CAPTIVE.splitlines()],
            lambda: [text for text in run.log_texts() if text.startswith("WARNING")], "warnings")
    same([], screen.rows(), "rows of the list")
    same([], screen.boxes(), "boxes")
    note(run, screen)


@both_modes
@pytest.mark.fault("server", "Package: an HTML page with 200")
def test_captive_portal_instead_of_package(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str) -> None:
    """A sign-in page in place of the package is stored, with its length before it, and fails to unpack."""
    server = nginx(locations=f"location = {offers.PACKAGE_PATH} {{ rewrite ^ /portal.html; }}")
    server.offer("/portal.html", CAPTIVE.encode())
    run.write_settings(port2=server.port)
    manual.go(run, screen, mode)
    is_no_archive(run, screen)
    stored = run.stored_packages()[0].read_bytes()
    same(len(CAPTIVE).to_bytes(4, "big") + CAPTIVE.encode(), stored, "the stored file")


@both_modes
def test_gzip(run: Run, screen: Screen, nginx: Callable[..., Nginx], mode: str) -> None:
    """Answers that the server compresses on the way arrive as they were: the list is read, the package unpacks."""
    server = nginx(locations="gzip on; gzip_types *; gzip_min_length 1; gzip_http_version 1.0;")
    run.write_settings(port2=server.port)
    manual.go(run, screen, mode)
    is_unpacked(run)
    same(["gzip", "gzip"], [request.encoding for request in server.served()], "encodings")


# --- certificates


@pytest.mark.parametrize(("names", "days"), [
    pytest.param(["IP:127.0.0.1"], -1, id="expired",
                 marks=pytest.mark.fault("server", "TLS: a certificate that has expired")),
    pytest.param(["DNS:elsewhere.example"], 2, id="wrong-name",
                 marks=pytest.mark.fault("server", "TLS: a certificate for another host"))])
@both_modes
def test_bad_certificate(run: Run, screen: Screen, nginx: Callable[..., Nginx], authority: Authority,
                         trust: list[str], mode: str, names: list[str], days: int) -> None:
    """A server with a certificate that has expired or names another host is not asked for anything."""
    server = nginx(authority.issue("server", *names, days=days))
    run.write_settings(port2=server.port, proto2="https")
    run.start(mode, desktop=screen.desktop, through=trust)
    connection_failed(run, screen, "SSL handshake failed")
    same([], server.served(), "requests")


@both_modes
@pytest.mark.fault("server", "TLS: a certificate from an authority that is not trusted")
def test_untrusted_certificate(run: Run, screen: Screen, nginx: Callable[..., Nginx], folder: Path, mode: str) -> None:
    """A server whose certificate comes from an authority that the system does not trust is not asked for anything."""
    server = nginx(Authority(folder / "unknown", "Unknown authority").issue("server", "IP:127.0.0.1"))
    run.write_settings(port2=server.port, proto2="https")
    run.start(mode, desktop=screen.desktop)
    connection_failed(run, screen, "SSL handshake failed")
    same([], server.served(), "requests")


@both_modes
@pytest.mark.fault("server", "Nobody listens at the server's port")
def test_server_down(run: Run, screen: Screen, folder: Path, mode: str) -> None:
    """Where nobody listens, the run ends with a box that says so."""
    with WireServer({}) as server:
        port = server.port
    run.write_settings(port2=port)
    run.start(mode, desktop=screen.desktop)
    connection_failed(run, screen, "Connection refused")
