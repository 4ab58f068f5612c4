"""Shows the updater at work: makes an old installation of the demo application and a local update server, and updates
the one from the other."""

from __future__ import annotations

import argparse
import os
import shutil
import signal
import subprocess
import sys
from contextlib import ExitStack
from pathlib import Path
from types import SimpleNamespace

from kit import folders, processes
from kit.desktop import Desktop
from kit.folders import File, Tree
from kit.native import NativeUpdater
from kit.offer import INSTALLED
from kit.server import UpdateServer
from kit.texts import TITLE
from kit.updater import Updater
from kit.waiting import NotYet, becomes, wait_for
from kit.windows import Build, WindowsUpdater
from kit.wine import Wine

import scenario
from scenario import FILES_TO_KEEP, NEW

ROOT = Path(__file__).resolve().parents[2]
PICTURES = ROOT / "build" / "demo"
# How much of the package has come while the picture of the download is taken.
DOWNLOAD_SHOWN = 0.6
PATIENCE_WITH_USER = 20 * 60.0

# The updater's whole run, but not the tools that it starts.
MEMCHECK = ("valgrind", "--child-silent-after-fork=yes", "--leak-check=full",
            "--errors-for-leak-kinds=definite,indirect,possible", "--num-callers=40",
            f"--suppressions={ROOT / 'tests' / 'memcheck.supp'}", "--error-exitcode=9")

FIRST_STEPS = {
    "menu": """The updater copies itself and opens its window. Now it is your turn:
   - choose a version (the box below the list shows beta versions too) and press the button below;""",
    "auto": "The updater chooses the newest version by itself and downloads it. Now it is your turn:",
}
LAST_STEPS = """   - when the package is ready, press the button to install it;
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
    parser.add_argument("--memcheck", action="store_true",
                        help="run the updater under Valgrind (see scripts/memcheck); means --auto --headless")
    options = parser.parse_args()
    if options.memcheck:
        options.mode, options.headless = "auto", True
    options.headless = options.headless or not os.environ.get("DISPLAY")
    options.run = f"{'windows-' if options.windows else ''}{options.mode}-{options.lang}"
    return options


def say(text: str) -> None:
    print(text, flush=True)


def build(options: argparse.Namespace) -> Path:
    """Builds the updater and what it is tried with; returns the folder of the build."""
    say("== Building the updater and the demo application")
    preset = "windows" if options.windows else "native"
    targets = ["Freshen", "Tavlopro", *(["xcopy", "brief", "windowreader"] if options.windows else [])]
    commands = [["cmake", "--preset", preset], ["cmake", "--build", "--preset", preset, "--target", *targets]]
    if options.windows:
        commands = [["scripts/windows-sdk"], *commands,
                    ["cpack", "--config", "build/windows/CPackConfig.cmake", "-B", "build/windows/package"]]
    for command in commands:
        subprocess.run(command, cwd=ROOT, check=True, stdout=subprocess.DEVNULL)
    return ROOT / "build" / preset


class Demo:
    """One run: the scenario, laid out in a temporary folder, and the updater on it."""

    def __init__(self, options: argparse.Namespace, folder: Path, build: Path, stack: ExitStack) -> None:
        self.options = options
        self.fakes = build / "fakes"
        if options.headless:
            self.desktop = stack.enter_context(Desktop(folder))
        else:
            # The display that the user sits at.
            authority = os.environ.get("XAUTHORITY", str(Path.home() / ".Xauthority"))
            self.desktop = SimpleNamespace(environment={"DISPLAY": os.environ["DISPLAY"], "XAUTHORITY": authority})
        self.updater: Updater
        if options.windows:
            wine = stack.enter_context(Wine(folder / "windows", self.desktop.environment))
            wine.create()
            self.updater = WindowsUpdater(Build(build), wine, self.desktop)
        else:
            self.updater = NativeUpdater(folder / "run", build / "bin" / "Freshen.exe", self.fakes, self.desktop)
        self.updater.appear(options.lang)
        self.updater.install(scenario.old_installation(self.updater, self.fakes))
        self.old = self.updater.look(self.updater.installation)
        self.server = stack.enter_context(UpdateServer())
        scenario.offer(self.server, self.updater, self.fakes, DOWNLOAD_SHOWN if options.headless else None)
        self.updater.use(self.server, {"LoginWindow/useBeta": False, "Updater/filesToKeep": FILES_TO_KEEP,
                                       "config/proxy/data/type": 0})
        self._start_log = self.updater.folder / "starts.log"
        self._pictures = 0

    def start(self) -> None:
        # The packages are small: there shall be time to see the copy.
        variables = {"XCOPY_PAUSE": "2"}
        if not self.options.windows:
            variables["TAVLOPRO_START_LOG"] = str(self._start_log)
        through: tuple[str, ...] = ()
        if self.options.memcheck:
            through = (*MEMCHECK, f"--log-file={PICTURES / f'{self.options.run}-memcheck.txt'}")
            # Valgrind cannot follow code that regular expressions and graphics drivers generate as they run.
            variables |= {"QT_ENABLE_REGEXP_JIT": "0", "QT_XCB_GL_INTEGRATION": "none"}
        self.updater.start(*["auto"] * (self.options.mode == "auto"), variables=variables, through=through)

    def take(self, what: str, settle: float = 2.0) -> None:
        """Takes a picture of the screen."""
        self._pictures += 1
        file = PICTURES / f"{self.options.run}-{self._pictures}-{what}.png"
        self.desktop.screenshot(file, settle)
        say(f"   {what.replace('-', ' ')}: {file.name}")

    def drive(self) -> None:
        """Does what a user does, and takes a picture of each step."""
        window, texts = self.updater.window, self.updater.texts
        self.start()
        if self.options.mode == "menu":
            wait_for(lambda: NEW.number in window.versions(), "the list of versions", 60)
            self.take("list")
            window.keys("Tab", "space")
            becomes(True, window.shows_betas, "the check box")
            self.take("list-with-betas")
            window.keys("shift+Tab")
            window.choose(NEW.number)
        becomes(texts("Downloading Tavlopro", NEW.kind, NEW.number), window.status, "the status", 60)
        wait_for(lambda: window.bar().value >= window.bar().maximum * DOWNLOAD_SHOWN * 0.95 > 0, "the download", 60)
        self.take("progress")
        self.server.release()
        window.wait_for_button(texts("Install Update"), 60)
        self.take("ready")
        window.press(texts("Install Update"))
        question = window.box()
        assert question.text == texts("We need to clean", self.updater.called(self.updater.installation))
        self.take("cleaning-question")
        question.press("OK")
        wait_for(lambda: processes.find("xcopy.exe"), "the copy of the new files")
        self.take("installing", settle=0)
        wait_for(lambda: f"Tavlopro {NEW.number}" in self.desktop.titles(), "the new application", 60)
        wait_for(lambda: TITLE not in self.desktop.titles(), "the end of the updater's window")
        self.take("new-application")
        assert (code := self.updater.exit_code()) == 0, f"the updater ended with {code}"

    def leave_to_user(self) -> None:
        say(f"   {FIRST_STEPS[self.options.mode]}\n{LAST_STEPS}")
        self.start()
        wait_for(lambda: not processes.find("Freshen.exe"), "the end of the updater", PATIENCE_WITH_USER)

    def show(self) -> bool:
        """Goes through the whole update; returns whether all was as it should be."""
        try:
            if self.options.headless:
                self.drive()
            else:
                self.leave_to_user()
        except (AssertionError, TimeoutError, NotYet) as error:
            if self.options.headless:
                self.take("failure")
            return self.conclude(str(error))
        return self.conclude()

    def conclude(self, *faults: str) -> bool:
        """Compares the installation with what the chosen package should have made of it, and tells what came of it."""
        updater = self.updater
        number = next((version.number for version in scenario.VERSIONS
                       if version.package_path in self.server.targets[-1:]), None)
        brought = scenario.application(updater, self.fakes, number) if number else {}
        was_cleaned = f'deleteTempDir "{updater.called(updater.installation)}" false' in updater.log_texts()
        kept = folders.after_cleaning(self.old, "", {*FILES_TO_KEEP, "logo.png"}) if was_cleaned else self.old
        actual = updater.look(updater.installation)
        program = updater.called(updater.installation / "Tavlopro.exe")
        noted = self._start_log.read_text(encoding="utf-8").splitlines() if self._start_log.exists() else []
        starts = [(line.split("\t")[0], line.split("\t")[-1].replace("\\", "/")) for line in noted]
        faults = [*faults, *([] if number else ["no package was downloaded"]),
                  *folders.differences(folders.after_copying(kept, brought), actual),
                  *([] if starts == [(number, program)] else [f"{program} should have noted one start: {noted}"]),
                  *(f"left over: {path}" for path in [updater.out, *updater.stored_packages()] if path.exists())]
        old, new, files = _files(self.old), _files(brought), _files(actual)
        say("== Verdict")
        for title, names in (("replaced", old & new & files), ("added", files - old), ("removed", old - files),
                             ("kept", {path for path in old & files - new if actual[path] == self.old[path]})):
            say(f"files {title:9} {len(names)}{': ' if names else ''}{', '.join(sorted(names))}")
        say(f"versions        {INSTALLED.number} -> {number}")
        say("verdict         " + ("\n                ".join(["NOT AS IT SHOULD BE", *faults]) if faults else
                                  "UPDATED: the installation equals the package plus the kept files, byte for byte, "
                                  "and the shell has started the new application"))
        if updater.log_file.exists():
            log = Path(shutil.copyfile(updater.log_file, PICTURES / f"{self.options.run}-debug_update.log"))
            say(f"debug log       {log.relative_to(ROOT)}")
        return not faults


def _files(tree: Tree) -> set[str]:
    return {path for path, node in tree.items() if isinstance(node, File)}


def end_on_signals() -> None:
    """Makes an interruption end the demo in the ordinary way, so that it cleans up, undisturbed by a second one."""
    numbers = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

    def end(number: int, _: object) -> None:
        for other in numbers:
            signal.signal(other, signal.SIG_IGN)
        say("demo: interrupted, cleaning up")
        sys.exit(128 + number)

    for number in numbers:
        signal.signal(number, end)


def main() -> int:
    options = parse_options()
    end_on_signals()
    processes.adopt_orphans()
    with ExitStack() as stack:
        folder = stack.enter_context(folders.temporary("freshen-demo-"))
        stack.callback(processes.end_descendants)
        try:
            built = build(options)
        except subprocess.CalledProcessError as error:
            say(f"demo: the build failed: {' '.join(map(str, error.cmd))}")
            return 1
        PICTURES.mkdir(parents=True, exist_ok=True)
        for old in PICTURES.glob(f"{options.run}-*"):
            old.unlink()
        say("== Setting up an old installation, packages and an update server")
        demo = Demo(options, folder, built, stack)
        say(f"== Updating {INSTALLED.number}: {options.mode} mode, "
            + (f"virtual display, pictures in {PICTURES.relative_to(ROOT)}/" if options.headless else "your display"))
        is_good = demo.show()
        if options.memcheck:
            say((PICTURES / f"{options.run}-memcheck.txt").read_text(encoding="utf-8", errors="replace").rstrip())
        if not options.headless and processes.find("Tavlopro.exe"):
            say("   Close the window of Tavlopro to end the demo.")
            wait_for(lambda: not processes.find("Tavlopro.exe"), "the end", PATIENCE_WITH_USER, 0.5)
        return 0 if is_good else 1


if __name__ == "__main__":
    sys.exit(main())
