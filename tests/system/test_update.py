"""The whole update, from the old installation to the new application."""

from __future__ import annotations

import os
import re
from collections.abc import Callable
from pathlib import Path

import pytest

from kit import folders
from kit.folders import File, Tree, text
from kit.offer import CHOSEN, REVISION, VERSION, VERSIONS, VERSIONS_PATH, application, description, package
from kit.servers import Authority, Nginx, Served
from kit.updater import Updater
from kit.waiting import becomes
from kit.window import Window
from kit.windows import WindowsUpdater

LOGS = Path(__file__).with_name("logs")
KEPT = ("user.ini", "favoriten ä.xml")
INSTALLED = {
    "Tavlopro.exe": File(b"the old one"),
    "user.ini": text("[user]\nname=Ada\n"),
    "favoriten ä.xml": text("<favourites/>\n"),
    "logo.png": text("a picture\n"),
    "notes.txt": text("not in the list of files to keep\n"),
    "exports/user.ini": text("kept at the top only\n"),
    ".license": text("hidden: neither listed nor removed\n"),
    "cache/.index": text("holds its folder\n"),
}


def new_application(updater: Updater) -> Tree:
    return {**application(updater.program), "print queue": folders.Folder()}


@pytest.fixture
def updater(new_updater: Callable[..., Updater]) -> Updater:
    """Natively, home and installation are in a folder with blanks, signs, and letters of two scripts in its name."""
    return new_updater("Jürgen  Groß & أحمد's 100% (x86)")


@pytest.fixture
def secure(updater: Updater, nginx: Callable[..., Nginx], authority: Authority) -> Nginx:
    """A web server that the settings name, with all versions and the package of the chosen one."""
    server = nginx(authority.issue("localhost"))
    server.offer(VERSIONS_PATH, description(*VERSIONS))
    server.offer(CHOSEN.package_path, package(new_application(updater)))
    updater.write_settings({"Updater/filesToKeep": KEPT}, proto2="https", host2="localhost", port2=server.port)
    return server


def update(updater: Updater, mode: str, answer: str, trusting: dict[str, object]) -> None:
    """Goes the whole way: by list from the installation, or automatically from where a relocation has left it."""
    updater.install(INSTALLED)
    if mode == "auto":
        updater.start("auto", **trusting)
    else:
        updater.start(**trusting)
        assert updater.exit_code() == 0
        becomes(1, lambda: len(updater.relocated("menu")), "updaters")
        assert updater.hand_over.read_bytes() == updater.called(updater.installation).encode()
        updater.window.choose(CHOSEN.number)
    updater.window.wait_for_button(updater.texts("Install Update"))
    updater.install_update(answer)
    updater.is_updated(new_application(updater), KEPT, is_cleaned=answer == "OK")
    becomes([], updater.processes, "processes")


@pytest.mark.windows("the program, its package and all that it calls are others")
@pytest.mark.parametrize(("mode", "answer"), [("menu", "OK"), ("menu", "No"), ("auto", "OK")])
def test_update(updater: Updater, window: Window, secure: Nginx, trusting: dict, mode: str, answer: str) -> None:
    """The files are replaced as the user has answered, the new application is started, and the log tells all of it."""
    update(updater, mode, answer, trusting)
    assert secure.served() == [
        Served(f"GET {path} HTTP/1.1", f"localhost:{secure.port}", "Updater/2605windows", 200, "https")
        for path in (VERSIONS_PATH, CHOSEN.package_path)]
    if answer == "OK":
        assert comparable(updater, secure) == expected_log(updater, secure, f"{updater.platform}-{mode}.log")


@pytest.mark.windows_only("names are in UTF-16 there, and pass through a command interpreter")
@pytest.mark.parametrize("user", ["Gr\u00fc\u00dfe \u00df", "\u6e2c\u8a66"])
@pytest.mark.parametrize("mode", ["menu", "auto"])
def test_any_letter_on_windows(updater: WindowsUpdater, window: Window, secure: Nginx, mode: str, user: str) -> None:
    """Folders may have letters of any script, also such as the system's code page has not, and signs that mean
    something to a command interpreter."""
    updater.appear("de")
    updater.move(user, "\u0395\u03bb\u03bb\u03b7\u03bd\u03b9\u03ba\u03ac & 100% (neu), a=b^c!")
    update(updater, mode, "OK", {})
    # The copying program names each file.
    assert r"\\documents\\manual.txt\r\n" in updater.log_file.read_text()


# --- the debug log as a whole

def comparable(updater: Updater, server: Nginx) -> list[str]:
    """The log without what differs from run to run."""
    lines = "\n".join(updater.log()).replace("Q.U.I.N.T.A.\\\\", "Q.U.I.N.T.A\\\\")
    for path, name in ((updater.data, "{data}"), (updater.installation, "{installation}"), (updater.folder, "{run}")):
        for spelling in updater.spellings(path):
            lines = lines.replace(spelling, name)
    for value, name in ((f"localhost:{server.port}", "{server}"), (VERSION, "{version}"),
                        (str(REVISION), "{revision}")):
        lines = lines.replace(value, name)
    # The application is looked for until it is closed; the words of the copying program are its own.
    lines = re.sub(r"(\[D\] checking \.\.\.\n\[D\] \n)+", r"\1", lines)
    return re.sub(r'STD OUT:\n "(?:[^"\\]|\\.)*"', 'STD OUT:\n "{copied}"', lines).splitlines()


def expected_log(updater: Updater, server: Nginx, name: str) -> list[str]:
    if "FRESHEN_WRITE_LOGS" in os.environ:
        (LOGS / name).write_text("".join(f"{line}\n" for line in comparable(updater, server)), encoding="utf-8")
    return (LOGS / name).read_text(encoding="utf-8").splitlines()
