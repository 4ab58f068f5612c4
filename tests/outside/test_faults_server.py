"""What servers and networks can do wrong: version files that are odd, far too large or of no use, and proxies that go
away. What the sight of each fault is stands in docs/reliability.md."""

from __future__ import annotations

from collections.abc import Iterable
from contextlib import ExitStack
from dataclasses import dataclass
from pathlib import Path

import pytest

from harness.packages import Version
from rig import manual, offers
from rig.certificates import Authority
from rig.evidence import becomes, same
from rig.faults import READY, ends, failed_unpacking, saw, unpacking_log
from rig.offers import CHOSEN, DESCRIPTION_PATH, PACKAGE_PATH
from rig.outcomes import connection_failed
from rig.proxies import HOST, Squid
from rig.run import Run
from rig.screen import Screen
from rig.servers import Nginx
from rig.wire import Answer, WireServer

NO_VERSION = 'box "Update Failed": Error reading version description file: Unknown error'
NO_ARCHIVE = "unzip(): zip.open(): -1000"


@pytest.fixture
def server(exits: ExitStack, run: Run) -> WireServer:
    """A server that offers the package and, as long as the test gives nothing else, no versions."""
    started = exits.enter_context(WireServer({PACKAGE_PATH: Answer(offers.package())}))
    run.write_settings(port2=started.port)
    return started


def start(run: Run, screen: Screen, server: WireServer, mode: str, description: bytes, seconds: float = 20.0) -> None:
    """Starts the updater with this version file, and waits until it has been read."""
    server.answers[DESCRIPTION_PATH] = Answer(description, piece=1 << 20)
    run.start(mode, desktop=screen.desktop)
    run.wait_for_log("Checking version...", seconds)


@dataclass(frozen=True)
class VersionFile:
    """A version file, whether CHOSEN is found in it, and what the log tells of it."""

    content: bytes
    is_usable: bool = True
    log: tuple[str, ...] = ()


SOUND = offers.description(CHOSEN)
LATER = b"26.09.7400|Stable||2026-09-01|Never read\n"
LONG = 10_000_000

ODD_FILES = {
    "begins with a byte order mark": VersionFile(b"\xef\xbb\xbf" + SOUND),
    "lines end in CR LF": VersionFile(SOUND.replace(b"\n", b"\r\n")),
    "bytes that are no UTF-8": VersionFile(
        SOUND + b"\xff\xc3\x28|b\n", log=('[D] WARNING: ("\ufffd\ufffd(", "b") does not have right number of cols',)),
    "a line of 10 MB without columns": VersionFile(SOUND + b"x" * LONG + b"\n", log=('[D] WARNING: ("xxx*',)),
    # In the column that the list does not show: a text of this size takes the accessibility bus to its limits.
    "a line of 10 MB": VersionFile(SOUND.replace(b"|7086\n", b"|" + b"x" * LONG + b"\n")),
    "a NUL between two lines, the second is never read": VersionFile(SOUND + b"\0" + LATER),
    "a NUL at its start": VersionFile(b"\0" + SOUND, False),
    "every line asks for a newer updater": VersionFile(
        b"26.06.7300|Stable||2026-07-09|i|7087\n26.06.7301|Stable||2026-07-09|i|9999\n", False,
        ("[D] WARNING: current version 7086 not eligible for 7300 - needs update to 7087",
         "[D] WARNING: current version 7086 not eligible for 7301 - needs update to 9999")),
}


@pytest.mark.parametrize("name", ODD_FILES)
@pytest.mark.fault("server", "Version file: {name} (automatic)")
def test_odd_version_file_auto(run: Run, screen: Screen, server: WireServer, name: str) -> None:
    """The automatic mode takes from an odd version file what can be read, and says so where that is nothing."""
    file = ODD_FILES[name]
    start(run, screen, server, "auto", file.content)
    if file.is_usable:
        run.wait_for_log("update unzipped to ")
        saw(run, screen, READY, file.log, ["out/ (4 files)"])
        ends(run, screen)
    else:
        saw(run, screen, NO_VERSION, [*file.log, "[D] No Version found"], ["nothing"])
        ends(run, screen, "OK")
    same([DESCRIPTION_PATH, *([PACKAGE_PATH] if file.is_usable else [])],
         [request.target for request in server.requests], "requests")


@pytest.mark.parametrize("name", ODD_FILES)
@pytest.mark.fault("server", "Version file: {name} (list)")
def test_odd_version_file_menu(run: Run, screen: Screen, server: WireServer, name: str) -> None:
    """The list shows from an odd version file what can be read, without a box where that is nothing."""
    file = ODD_FILES[name]
    start(run, screen, server, "menu", file.content)
    saw(run, screen, "a list of 1 version" if file.is_usable else "a list of 0 versions", file.log, ["nothing"])
    same([CHOSEN.number] if file.is_usable else [], screen.versions(), "the list")
    ends(run, screen)


def lines(revisions: Iterable[int]) -> bytes:
    return b"".join(b"26.06.%d|Stable||2026-05-07|One of many\n" % revision for revision in revisions)


@pytest.mark.fault("server", "Version file: 1,000,000 lines (automatic)")
def test_million_lines_auto(run: Run, screen: Screen, server: WireServer) -> None:
    """Of a million versions the newest is found and fetched."""
    newest = Version("26.06.1007205", "Stable", "", "", "")
    server.answers[newest.package_path] = Answer(offers.package())
    start(run, screen, server, "auto", lines(range(7206, 1_007_206)), 60)
    run.wait_for_log("update unzipped to ", 60)
    saw(run, screen, READY, [], ["out/ (4 files)"])
    same([DESCRIPTION_PATH, newest.package_path], [request.target for request in server.requests], "requests")
    ends(run, screen)


@pytest.mark.fault("server", "Version file: 1,000,000 lines of ten versions (list)")
def test_million_lines_menu(run: Run, screen: Screen, server: WireServer) -> None:
    """A million lines that tell of ten versions again and again make a list of ten."""
    start(run, screen, server, "menu", lines(7200 + number % 10 for number in range(1_000_000)), 60)
    saw(run, screen, "a list of 10 versions", [], ["nothing"], 60)
    ends(run, screen)


@pytest.mark.fault("server", "TLS: a certificate that has signed itself")
@pytest.mark.parametrize("mode", ["auto", "menu"])
def test_self_signed_certificate(run: Run, screen: Screen, folder: Path, exits: ExitStack, mode: str) -> None:
    """A server whose certificate is signed by nobody but itself is not asked for anything."""
    certificate = Authority(folder / "authority").own()
    server = exits.enter_context(Nginx(folder / "nginx", certificate))
    run.write_settings(port2=server.port, proto2="https")
    run.start(mode, desktop=screen.desktop)
    connection_failed(run, screen, "SSL handshake failed")
    same([], server.served(), "requests")


@pytest.mark.fault("server", "The proxy goes away amid the package")
def test_proxy_gone(run: Run, screen: Screen, folder: Path, exits: ExitStack, server: WireServer) -> None:
    """When the proxy dies amid the package, what has come is stored and cannot be unpacked; log and window say so."""
    proxy = exits.enter_context(Squid(folder / "squid"))
    body = offers.package()
    server.answers[DESCRIPTION_PATH] = Answer(SOUND)
    server.answers[PACKAGE_PATH] = Answer(body, hold=len(body) // 2)
    run.write_settings({"config/proxy/data/type": 2, "config/proxy/data/ip": "127.0.0.1",
                        "config/proxy/data/port": proxy.port}, port2=server.port, host2=HOST)
    manual.go(run, screen, "auto")
    becomes((len(body) // 2, len(body)), screen.progress, "the bar")
    proxy.kill()
    run.wait_for_log("Error unzipping")
    saw(run, screen, failed_unpacking(NO_ARCHIVE),
        ['[W] Download failed: "Connection closed"', *unpacking_log(NO_ARCHIVE)], [CHOSEN.package_name])
    ends(run, screen)
