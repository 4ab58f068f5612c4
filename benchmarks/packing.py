"""What publishers wait for: a package made and checked beside zip, one checked beside unzip, a long index checked
beside the updater's reading of one."""

from __future__ import annotations

from collections.abc import Callable
from pathlib import Path

from kit.offer import VERSIONS_PATH, Version, description

import inputs
from groups import Figure, Group, Stage
from inputs import MIB
from measuring import Command, Function, Side

_VERSION = Version("26.05.7200")
_LINES = 10000


def _application(stage: Stage) -> Path:
    application = stage.folder / "application" / "Tavlopro"
    inputs.make_tree(application, stage.sized(2000, 20), stage.sized(200 * MIB, MIB))
    (application / "Tavlopro.exe").write_bytes(b"the application")
    return application


def packages(stage: Stage) -> Group:
    application, made = _application(stage), stage.folder / "made"
    program = stage.program("freshen-publish")
    zipped = stage.folder / "zipped.zip"
    options = ["--quiet", "--scratch", stage.folder]

    def side(*command: str | Path) -> Side:
        return Command(stage.environment, *command, prepare=lambda: stage.empty(made))

    zip_folder = ["env", "--chdir", application.parent, "zip", "-q", "-r", "-6"]
    Command(stage.environment, *zip_folder, zipped, application.name).peak()
    return Group([
        Figure("publish-pack", ("pack", "wall"), ("zip", "wall"), "s", 1.1),
        Figure("publish-check-package", ("check-package", "wall"), ("unzip", "wall"), "s", 1.3),
    ], {
        "pack": side(program, "pack", application, _VERSION.number, _VERSION.kind, "--output", made, *options),
        "zip": side(*zip_folder, made / "made.zip", application.name),
        "check-package": side(program, "check-package", zipped, *options),
        "unzip": side("unzip", "-t", "-q", zipped),
    })


def long_index(stage: Stage) -> Group:
    lines = stage.sized(_LINES, 100)
    index = stage.folder / "root" / VERSIONS_PATH.lstrip("/")
    index.parent.mkdir(parents=True)
    index.write_bytes(description(*(Version(f"26.05.{10000 + number}", info="What is new. " * 4)
                                    for number in range(lines))))
    check = Command(stage.environment, stage.program("freshen-publish"), "--root", stage.folder / "root", "--quiet",
                    "check", "--index-only")
    reading = Function(stage.environment, stage.program("functions"), f"readFull/{lines}",
                       0.001 if stage.is_quick else 0.5)
    return Group([
        Figure("publish-check-10000-lines", ("check", "cpu"), 1.0, "CPU s", 1.0),
        Figure("publish-check-10000-lines/reading", ("check", "cpu"), ("reading", "cpu"), "CPU s", None),
    ], {"check": check, "reading": reading})


GROUPS: dict[Callable[[Stage], Group], list[str]] = {
    packages: ["publish-pack", "publish-check-package"],
    long_index: ["publish-check-10000-lines", "publish-check-10000-lines/reading"],
}
