"""What the demo uses: versions on offer, their packages, and an old installation with a user's files in it."""

from __future__ import annotations

import random
from pathlib import Path

from kit import folders
from kit.folders import File, Folder, Tree, text
from kit.offer import INSTALLED, REVISION, VERSIONS_PATH, Version, description, package
from kit.server import Answer, UpdateServer
from kit.updater import Updater
from kit.windows import WindowsUpdater

# The updater's own revision.
OWN = str(REVISION)
# The version that the headless demo chooses. The automatic mode comes to the same one: the newest stable fix.
NEW = Version("26.06.7205", "Stable", "7150", "2026-07-09",
              "<b>Fix of 26.06</b><ul><li>Clocks stop at the end of a round.<li>Teams keep their order.</ul>", OWN)

# A user picks from the lines with five and six columns. Those with seven name a system version and are for the
# automatic mode; on a system other than Windows they are passed over.
VERSIONS = (
    Version("26.03.6950", "Stable", "", "2026-03-12", "The release of the spring."),
    Version(INSTALLED.number, date="2026-05-07", info="Tournament tables. This is the version that is installed now."),
    Version("26.05.7112", "Stable", OWN, "2026-05-28", "Fix: tables with more than 64 players print again.", "7000"),
    Version("26.06.7150", "Stable", "", "2026-06-18", "New: clocks, teams and <i>knock-out</i> rounds.", OWN),
    NEW,
    Version("26.07.7240", "Beta", "", "2026-07-23", "Beta: a first look at league tables."),
    Version("26.07.7260", "Beta", "", "2026-08-06", "Beta: league tables with promotion and relegation.", OWN),
    Version("26.08.7300", "Stable", "", "2026-08-27", "Needs a newer updater.", "7200"),
    Version("26.08.7310", "Stable", "", "2026-08-28", "For Windows 10 and later.", OWN, "10.0"),
    Version("26.08.7315", "Test", "", "2026-08-29", "A build for testers.", OWN, "10.0"),
)

FILES_TO_KEEP = ("user.ini", "favourites.xml")
_BYTES_PER_SECOND = 4 * 1024 * 1024
_DATA_SIZE = 8 * 1024 * 1024
_LOGO = Path(__file__).resolve().parents[2] / "tests" / "fakes" / "logo.png"


def application(updater: Updater, fakes: Path, version: str) -> Tree:
    """The application as a package brings it, the updater among its files."""
    revision = version.rpartition(".")[2]
    own = updater.build.updater_files if isinstance(updater, WindowsUpdater) else {
        "Freshen.exe": folders.program(fakes.parent / "bin" / "Freshen.exe")}
    return updater.possible(folders.completed({
        **own,
        "Tavlopro.exe": folders.program(fakes / "Tavlopro.exe"),
        "version.txt": text(version + "\n"),
        "data/pieces.dat": File(random.Random(revision).randbytes(_DATA_SIZE)),
        "data/boards/8x8.tav": text(f"board 8 8 revision {revision}\n"),
        "documents/manual.txt": text(f"Manual of Tavlopro {version}\n"),
        f"documents/Änderungen {version}.txt": text(f"What is new in {version}\n"),
        "print queue": Folder(),
    }))


def old_installation(updater: Updater, fakes: Path) -> Tree:
    """The application at its old version, and what has come to lie there since."""
    return folders.completed({
        **application(updater, fakes, INSTALLED.number),
        # These stay: named in the settings, or hidden.
        "user.ini": text("[user]\nname=Ada\n"),
        "favourites.xml": text("<favourites><opening>c4</opening></favourites>\n"),
        "logo.png": File(_LOGO.read_bytes()),
        ".license": text("licensed to Ada\n"),
        "cache/.index": text("hidden in a sub-folder\n"),
        # These go, the second with a name that is kept only at the top.
        "notes.txt": text("not in the list of files to keep\n"),
        "exports/favourites.xml": text("<favourites/>\n"),
        "exports/2026/results.csv": text("Ada;1\nGrace;0\n"),
        "cache/page.tmp": text("temporary\n"),
        "legacy.dat": text("of no use to the new version\n"),
    })


def offer(server: UpdateServer, updater: Updater, fakes: Path, held: float | None = None) -> None:
    """Has the server offer all versions at the speed of an ordinary connection. held: where the new package stops until
    the server is released, as a part of it."""
    server.answers[VERSIONS_PATH] = Answer(description(*VERSIONS))
    for version in VERSIONS:
        body = package(application(updater, fakes, version.number))
        hold = int(len(body) * held) if held and version == NEW else None
        server.answers[version.package_path] = Answer(body, rate=_BYTES_PER_SECOND, hold=hold)
