"""Shows the updater at work: makes an old installation of the demo application and a local update server, and updates
the one from the other. ./demo has built what it takes."""

from __future__ import annotations

import argparse
import os
import shlex
import shutil
import signal
import subprocess
import sys
from contextlib import ExitStack
from pathlib import Path
from types import SimpleNamespace
from typing import Any

from kit import folders, processes
from kit.desktop import Desktop
from kit.folders import File, Tree, text
from kit.native import NativeUpdater
from kit.offer import CHOSEN, INSTALLED, VERSIONS, Version, application
from kit.server import Answer, UpdateServer
from kit.texts import TITLE
from kit.updater import Updater
from kit.waiting import NotYet, becomes, wait_for
from kit.windows import Build, WindowsUpdater
from kit.wine import Wine

ROOT = Path(__file__).resolve().parents[2]
PICTURES = ROOT / "build" / "demo"
# Publishers use it where they like, so for the Windows program too.
PUBLISHING_TOOL = ROOT / "build" / "native" / "bin" / "freshen-publish"
BYTES_PER_SECOND = 1 << 20
PATIENCE_WITH_USER = 20 * 60.0

FILES_TO_KEEP = ("user.ini", "favourites.xml")
# What has come to lie in the old installation.
COLLECTED: Tree = {
    # These stay: named in the settings, or hidden.
    "user.ini": text("[user]\nname=Ada\n"),
    "favourites.xml": text("<favourites><opening>c4</opening></favourites>\n"),
    "logo.png": File((ROOT / "tests" / "fakes" / "logo.png").read_bytes()),
    ".license": text("licensed to Ada\n"),
    "cache/.index": text("hidden in a sub-folder\n"),
    # These go, the second with a name that is kept only at the top.
    "notes.txt": text("not in the list of files to keep\n"),
    "exports/favourites.xml": text("<favourites/>\n"),
    "cache/page.tmp": text("temporary\n"),
}

STEPS = """   Now it is your turn:
   - in the list, choose a version (the box below it shows beta versions too) and press the button;
   - when the package is ready, press the button to install it;
   - answer the question whether the old version may be removed first.
   The new version of Tavlopro then opens; close its window to end the demo."""


def parse_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="./demo", description=__doc__)
    parser.add_argument("--headless", action="store_true",
                        help="work on a virtual display and leave pictures in build/demo/ (so too where there is none)")
    parser.add_argument("--auto", dest="mode", action="store_const", const="auto", default="menu",
                        help="show the automatic mode")
    parser.add_argument("--windows", action="store_true", help="show the Windows program itself, under Wine")
    parser.add_argument("--lang", choices=("en", "de"), default="en", help="language of the updater's texts")
    parser.add_argument("--through", default="", help="the command that runs the updater's command line, if any")
    options = parser.parse_args()
    options.headless = options.headless or not os.environ.get("DISPLAY")
    options.run = f"{'windows-' if options.windows else ''}{options.mode}-{options.lang}"
    return options


def call_tool(*arguments: str | Path) -> None:
    """Calls the publishing tool. It finds fault with all packages, since they bring the same updater."""
    code = subprocess.run([PUBLISHING_TOOL, "--quiet", *arguments], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL).returncode
    assert code <= 1, f"{arguments} ended with {code}"


class Demo:
    """One run in a temporary folder. What is on the stack is ended with it."""

    def __init__(self, options: argparse.Namespace, stack: ExitStack) -> None:
        self.options = options
        folder = stack.enter_context(folders.temporary("freshen-demo-"))
        stack.callback(processes.end_descendants)
        self.desktop: Any
        if options.headless:
            self.desktop = stack.enter_context(Desktop(folder))
        else:
            # The display that the user sits at.
            authority = os.environ.get("XAUTHORITY", str(Path.home() / ".Xauthority"))
            self.desktop = SimpleNamespace(environment={"DISPLAY": os.environ["DISPLAY"], "XAUTHORITY": authority})
        built = ROOT / "build" / ("windows" if options.windows else "native")
        self.updater: Updater
        if options.windows:
            wine = stack.enter_context(Wine(folder / "windows", self.desktop.environment))
            wine.create()
            self.updater = WindowsUpdater(Build(built), wine, self.desktop)
        else:
            self.updater = NativeUpdater(folder / "run", built / "bin" / "Freshen.exe", built / "fakes", self.desktop)
        self.updater.appear(options.lang)
        self._program = folders.program(built / "fakes" / "Tavlopro.exe")
        self.updater.install({**self._brought(INSTALLED), **COLLECTED})
        self.server = stack.enter_context(UpdateServer())
        root = self._published(folder)
        for file in filter(Path.is_file, root.rglob("*")):
            body = file.read_bytes()
            is_held = options.headless and file.suffix == ".zip"
            self.server.answers[f"/{file.relative_to(root)}"] = \
                Answer(body, hold=len(body) // 2) if is_held else Answer(body, rate=BYTES_PER_SECOND)
        self.updater.use(self.server, {"Updater/filesToKeep": FILES_TO_KEEP})
        self._pictures = 0

    def _brought(self, version: Version) -> Tree:
        """What the package of a version brings."""
        return self.updater.possible({**application(self._program, version), **self.updater.files})

    def _published(self, folder: Path) -> Path:
        """Makes the folder of an update server, as publishers do; returns it."""
        root = folder / "root"
        root.mkdir()
        for version in VERSIONS:
            folders.make(folder / version.number, self._brought(version))
            call_tool("pack", folder / version.number, version.number, version.kind, "--output", folder)
            is_first = not any(root.iterdir())
            call_tool("--root", root, "add", folder / version.package_name, *["--new"] * is_first, "--force",
                      "--date", version.date, "--info", version.info, "--reference", version.reference)
        return root

    def start(self) -> None:
        # The packages are small: there shall be time to see the copy.
        self.updater.start(*["auto"] * (self.options.mode == "auto"), variables=self.updater.copying(pause=2),
                           through=shlex.split(self.options.through))

    def take(self, what: str) -> None:
        """Takes a picture of the screen."""
        self._pictures += 1
        file = PICTURES / f"{self.options.run}-{self._pictures}-{what}.png"
        self.desktop.screenshot(file)
        print(f"   {what.replace('-', ' ')}: {file.name}")

    def drive(self) -> None:
        """Does what a user does, and takes a picture of each step."""
        window, texts = self.updater.window, self.updater.texts
        self.start()
        if self.options.mode == "menu":
            wait_for(window.rows, "the list of versions", 60)
            self.take("list")
            window.choose(CHOSEN.number)
        becomes(texts("Downloading Tavlopro", CHOSEN.kind, CHOSEN.number), window.status, "the status", 60)
        becomes(True, lambda: window.bar().value * 2 >= window.bar().maximum - 1 > 0, "half of the package", 60)
        self.take("progress")
        self.server.release()
        window.wait_for_button(texts("Install Update"), 60)
        self.take("ready")
        window.press(texts("Install Update"))
        question = window.box()
        self.take("cleaning-question")
        question.press("OK")
        wait_for(lambda: f"Tavlopro {CHOSEN.number}" in self.desktop.titles(), "the new application", 60)
        wait_for(lambda: TITLE not in self.desktop.titles(), "the end of the updater's window")
        self.take("new-application")
        assert (code := self.updater.exit_code()) == 0, f"the updater ended with {code}"

    def leave_to_user(self) -> None:
        print(STEPS)
        self.start()
        wait_for(lambda: not processes.find("Freshen.exe"), "the end of the updater", PATIENCE_WITH_USER)

    def run(self) -> str:
        """Goes through the whole update; returns what is not as it should be."""
        try:
            if self.options.headless:
                self.drive()
            else:
                self.leave_to_user()
            self._compare()
        except (AssertionError, TimeoutError, NotYet) as error:
            if self.options.headless:
                self.take("failure")
            return str(error)
        return ""

    def _compare(self) -> None:
        """The installation is what the chosen package should have made of it."""
        updater, asked_last = self.updater, self.server.targets[-1:]
        chosen = next((version for version in VERSIONS if version.package_path in asked_last), None)
        assert chosen, "no package was downloaded"
        is_cleaned = f'deleteTempDir "{updater.called(updater.installation)}" false' in updater.log_texts()
        updater.is_updated(self._brought(chosen), FILES_TO_KEEP, is_cleaned=is_cleaned)


def main() -> int:
    options = parse_options()
    # The demo ends in the ordinary way then, so that it cleans up.
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda number, _: sys.exit(128 + number))
    processes.adopt_orphans()
    PICTURES.mkdir(parents=True, exist_ok=True)
    for old in PICTURES.glob(f"{options.run}-*"):
        old.unlink()
    with ExitStack() as stack:
        print("== Setting up an old installation, packages and an update server")
        demo = Demo(options, stack)
        place = f"virtual display, pictures in {PICTURES.relative_to(ROOT)}/" if options.headless else "your display"
        print(f"== Updating {INSTALLED.number}: {options.mode} mode, {place}")
        faults = demo.run()
        print(f"== NOT AS IT SHOULD BE\n{faults}" if faults else
              "== UPDATED: the installation equals the package plus the kept files, byte for byte, and the shell has "
              "started the new application")
        if demo.updater.log_file.exists():
            log = Path(shutil.copyfile(demo.updater.log_file, PICTURES / f"{options.run}-debug_update.log"))
            print(f"   debug log: {log.relative_to(ROOT)}")
        if not options.headless and processes.find("Tavlopro.exe"):
            print("   Close the window of Tavlopro to end the demo.")
            wait_for(lambda: not processes.find("Tavlopro.exe"), "the end", PATIENCE_WITH_USER, 0.5)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
