"""Shows the updater at work: makes an old installation of the demo application and a local update server, and updates
the one from the other."""

from __future__ import annotations

import argparse
import os
import shutil
import signal
import subprocess
import sys
import tempfile
from contextlib import ExitStack
from pathlib import Path
from typing import Callable, NoReturn, Sequence

from harness import processes, trees
from harness.desktop import Desktop, DesktopFailure, ToolFailure
from harness.updateserver import UpdateServer
from harness.waiting import wait_for
from harness.wine import Wine

import hands
import onwindows
import scenario
import verdict

_ROOT = Path(__file__).resolve().parents[2]
_BUILD = _ROOT / "build" / "native"
_PICTURES = _ROOT / "build" / "demo"

_BYTES_PER_SECOND = 4 * 1024 * 1024
# The updater's whole run, but not the tools that it starts.
_MEMCHECK = ("valgrind", "--child-silent-after-fork=yes", "--leak-check=full",
             "--errors-for-leak-kinds=definite,indirect,possible", "--num-callers=40",
             f"--suppressions={_ROOT / 'tests' / 'memcheck.supp'}", "--error-exitcode=9")
_LANGUAGES = {"en": "en_US", "de": "de_DE"}
_PATIENCE_WITH_USER = 20 * 60.0

_WHAT_TO_DO = {
    "manual": """\
   The updater copies itself and opens its window. Now it is your turn:
   - choose a version (the box below the list shows beta versions too) and press the button below;
   - when the package is ready, press the button to install it;
   - answer the question whether the old version may be removed first.
   The new version of Tavlopro then opens; close its window to end the demo.""",
    "auto": """\
   The updater chooses the newest version by itself and downloads it. Now it is your turn:
   - when the package is ready, press the button to install it;
   - answer the question whether the old version may be removed first.
   The new version of Tavlopro then opens; close its window to end the demo.""",
}


def parse_options() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="./demo", description=__doc__)
    parser.add_argument("--headless", action="store_true",
                        help="work on a virtual display and leave pictures in build/demo/ (so too where there is none)")
    parser.add_argument("--auto", dest="mode", action="store_const", const="auto", default="manual",
                        help="show the automatic mode")
    parser.add_argument("--windows", action="store_true", help="show the Windows program itself, under Wine")
    parser.add_argument("--lang", choices=sorted(_LANGUAGES), default="en", help="language of the updater's texts")
    parser.add_argument("--memcheck", action="store_true",
                        help="run the updater under Valgrind (see scripts/memcheck); means --auto --headless")
    options = parser.parse_args()
    if options.memcheck:
        options.mode, options.headless = "auto", True
    options.headless = options.headless or not os.environ.get("DISPLAY")
    return options


def say(text: str) -> None:
    print(text, flush=True)


def build(options: argparse.Namespace) -> scenario.Programs:
    say("== Building the updater and the demo application")
    if options.windows:
        return onwindows.build(_ROOT)
    subprocess.run(["cmake", "--preset", "native"], cwd=_ROOT, check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", "--preset", "native", "--target", "Freshen", "Tavlopro"], cwd=_ROOT, check=True)
    return scenario.Programs(freshen=_BUILD / "bin" / "Freshen.exe", equipment=_BUILD / "equipment")


def start_updater(stage: scenario.Stage, mode: str, environment: dict[str, str], log: Path,
                  through: Sequence[str] = ()) -> Callable[[], int]:
    """Starts the updater; returns a function that waits for the end of the process that does the work, and gives its
    exit code. through is the start of a command that runs the updater under the same process id."""
    if mode == "auto":
        scenario.relocate(stage)
        program, arguments = stage.home.relocated_updater, ["auto"]
    else:
        program, arguments = stage.installation / "Freshen.exe", []
    with open(log, "wb") as errors:
        process = subprocess.Popen([*through, program, *arguments], cwd=program.parent, env=environment,
                                   stdin=subprocess.DEVNULL, stdout=errors, stderr=errors, start_new_session=True)
    if mode == "auto":
        return lambda: processes.wait_for_exit(process.pid, 20)
    copy = wait_for(lambda: processes.find(stage.home.relocated_updater, "menu"), "the updater's copy of itself")
    return lambda: processes.wait_for_exit(copy, 20)


def update_headless(stage: scenario.Stage, server: UpdateServer, options: argparse.Namespace, run: str) -> list[str]:
    """Drives one run on a virtual display; returns what went wrong."""
    with Desktop(stage.home.runtime) as desktop:
        environment = {**stage.environment(_LANGUAGES[options.lang]), **desktop.environment}
        camera = hands.Camera(desktop, _PICTURES, run)
        user = hands.Hands(desktop, stage, server, camera, hands.TEXTS[options.lang])
        user.prepare()
        try:
            report = _PICTURES / f"{run}-memcheck.txt"
            through = (*_MEMCHECK, f"--log-file={report}") if options.memcheck else ()
            if options.memcheck:
                # Valgrind cannot follow code that regular expressions and graphics drivers generate as they run.
                environment |= {"QT_ENABLE_REGEXP_JIT": "0", "QT_XCB_GL_INTEGRATION": "none"}
            wait_for_end = start_updater(stage, options.mode, environment, _PICTURES / f"{run}-stderr.log", through)
            hands.ROADS[options.mode](user)
            exit_code = wait_for_end()
        except TimeoutError as error:
            camera.take("failure")
            return [str(error)]
    if options.memcheck:
        say(report.read_text(encoding="utf-8", errors="replace").rstrip())
    return [f"the updater ended with {exit_code}"] if exit_code else []


def update_by_user(stage: scenario.Stage, options: argparse.Namespace, run: str) -> list[str]:
    """Leaves one run to the user; returns what went wrong."""
    say(_WHAT_TO_DO[options.mode])
    environment = stage.environment(_LANGUAGES[options.lang])
    environment["DISPLAY"] = os.environ["DISPLAY"]
    environment["XAUTHORITY"] = os.environ.get("XAUTHORITY", str(Path.home() / ".Xauthority"))
    try:
        start_updater(stage, options.mode, environment, _PICTURES / f"{run}-stderr.log")
        wait_for(lambda: processes.find_by_name("Freshen.exe") is None, "the end of the updater", _PATIENCE_WITH_USER)
        wait_for(lambda: stage.start_log.exists() or not stage.shell.starts(), "the start of the new application")
    except TimeoutError as error:
        return [str(error)]
    return []


def update_on_windows(folder: Path, programs: scenario.Programs, options: argparse.Namespace, run: str) -> bool:
    """One run of the Windows program, from the set-up to the verdict; returns whether that is good."""
    with ExitStack() as stack:
        desktop = stack.enter_context(Desktop(folder)) if options.headless else None
        wine = stack.enter_context(Wine(folder / "windows", desktop.environment if desktop else
                                        onwindows.user_display(), _LANGUAGES[options.lang]))
        stage = onwindows.set_up(folder, programs, wine)
        server = stack.enter_context(UpdateServer(stage.contents, _BYTES_PER_SECOND))
        onwindows.write_application_settings(stage, server.host, server.port)
        say_what_comes(options)
        log = _PICTURES / f"{run}-stderr.log"
        if desktop:
            camera = hands.Camera(desktop, _PICTURES, run)
            faults = onwindows.update_headless(stage, desktop, server, camera, hands.TEXTS[options.lang], options.mode,
                                               log)
        else:
            say(_WHAT_TO_DO[options.mode])
            faults = onwindows.update_by_user(stage, options.mode, log, _PATIENCE_WITH_USER)
        result = verdict.judge(stage, server, options.headless or verdict.cleaning_was_agreed(stage), faults)
        return conclude(stage, result, options, run)


def wait_for_user() -> None:
    """Lets the user look at the new application."""
    if processes.find_by_name("Tavlopro.exe"):
        say("   Close the window of Tavlopro to end the demo.")
        try:
            wait_for(lambda: processes.find_by_name("Tavlopro.exe") is None, "the end", _PATIENCE_WITH_USER, 0.5)
        except TimeoutError:
            pass


def update_here(folder: Path, programs: scenario.Programs, options: argparse.Namespace, run: str) -> bool:
    """One run of the native program, from the set-up to the verdict; returns whether that is good."""
    stage = scenario.set_up(folder, programs)
    with UpdateServer(stage.contents, _BYTES_PER_SECOND) as server:
        scenario.write_application_settings(stage, server.host, server.port)
        say_what_comes(options)
        faults = update_headless(stage, server, options, run) if options.headless else \
            update_by_user(stage, options, run)
        # The hands always agree to the cleaning; what a user has answered is in the debug log.
        was_cleaned = options.headless or verdict.cleaning_was_agreed(stage)
        result = verdict.judge(stage, server, was_cleaned, faults)
    return conclude(stage, result, options, run)


def say_what_comes(options: argparse.Namespace) -> None:
    say(f"== Updating {scenario.OLD_VERSION}: {options.mode} mode, "
        + (f"virtual display, pictures in {_PICTURES.relative_to(_ROOT)}/" if options.headless else "your display"))


def update(folder: Path, programs: scenario.Programs, options: argparse.Namespace) -> int:
    run = f"{'windows-' if options.windows else ''}{options.mode}-{options.lang}"
    _PICTURES.mkdir(parents=True, exist_ok=True)
    for old in _PICTURES.glob(f"{run}-*"):
        old.unlink()
    say("== Setting up an old installation, packages and an update server")
    return 0 if (update_on_windows if options.windows else update_here)(folder, programs, options, run) else 1


def conclude(stage: scenario.Stage, result: verdict.Verdict, options: argparse.Namespace, run: str) -> bool:
    """Tells what came of it, and lets a user look at the new application."""
    log = _PICTURES / f"{run}-debug_update.log"
    if stage.home.debug_log.exists():
        shutil.copyfile(stage.home.debug_log, log)
    say("== Verdict")
    say(str(result))
    say(f"debug log       {log.relative_to(_ROOT)}")
    if not options.headless:
        wait_for_user()
    return result.is_good


def end_on_signals() -> None:
    """Makes an interruption end the demo in the ordinary way, so that it cleans up. A second one does not disturb that.
    """
    numbers = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)

    def end(number: int, _: object) -> NoReturn:
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
        folder = Path(tempfile.mkdtemp(prefix="freshen-demo-"))
        stack.callback(trees.remove, folder)
        stack.callback(processes.end_descendants)
        try:
            programs = build(options)
        except subprocess.CalledProcessError as error:
            say(f"demo: the build failed: {' '.join(error.cmd)}")
            return 1
        try:
            return update(folder, programs, options)
        except (DesktopFailure, ToolFailure) as error:
            say(f"demo: {error}")
            return 1


if __name__ == "__main__":
    sys.exit(main())
