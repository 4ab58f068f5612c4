"""The updater built for this system, in a home of its own."""

from __future__ import annotations

import os
import re
import shutil
import struct
import subprocess
from collections.abc import Mapping, Sequence
from pathlib import Path
from typing import Any

from . import folders, processes, sandbox
from .desktop import Desktop
from .offer import SCRIPT
from .updater import Setting, Updater
from .window import PLUGIN, PLUGINS, Window

_ORGANISATION = "Q.U.I.N.T.A."
# Where Qt has its own plug-ins of this kind.
_SYSTEM_PLUGINS, = Path("/usr/lib").glob(f"*/qt5/plugins/{PLUGINS}")
# The leaks that are not the updater's.
_KNOWN_LEAKS = Path(__file__).resolve().parents[1] / "leaks.supp"


class NativeUpdater(Updater):
    """The built program with stand-ins for the system's tools (the folder tools)."""

    platform, is_windows = "native", False
    program = SCRIPT
    # The display's own complaints.
    noise = re.compile(r"(QXcbConnection|This plugin does not support ).*", re.DOTALL)

    def __init__(self, folder: Path, program: Path, tools: Path, desktop: Desktop | None = None) -> None:
        self.home = folder / "home"
        self.data = self.home / ".local" / "share" / _ORGANISATION / "Tavlo3 Updater"
        self.settings = self.home / ".config" / _ORGANISATION / "Tavlo3.conf"
        # Stands in for the Windows folder, with the desktop's shell in it.
        self.system = folder / "windows"
        self.starts_log = self.system / "explorer.log"
        super().__init__(folder, folder / "Program Files" / "Tavlopro")
        self.files = {"Freshen.exe": folders.program(program)}
        self._tools, self._desktop = tools, desktop
        self._output, self._reports = folder / "output.txt", folder / "reports"
        self._sees_own_disk = False
        for path in (self.system, self.home / ".cache", self.home / "run", self.data.parent):
            path.mkdir(parents=True)
        (self.home / "run").chmod(0o700)
        shutil.copy2(tools / "explorer.exe", self.system)
        if desktop is not None:
            self.window = Window(desktop, self._reports)

    @property
    def own(self) -> list[Path]:
        return [self.data, self.home / ".config", self.home / ".cache", self._output, self._reports]

    def inside(self, path: Path) -> Path:
        if not (self._sees_own_disk and self.is_running()):
            return path
        pid = next((pid for pid in self.processes() if processes.name(pid) == self.copy.name), None)
        return Path(f"/proc/{pid}/root", *path.parts[1:]) if pid else path

    def store(self, settings: Mapping[str, Setting]) -> None:
        """Writes the file as Qt does, each group after its name."""
        groups: dict[str, list[str]] = {}
        for key, value in settings.items():
            group, _, name = key.partition("/") if "/" in key else ("General", "", key)
            groups.setdefault(group, [f"[{group}]"]).append(name.replace("/", "\\") + "=" + _stored(value))
        self.settings.parent.mkdir(parents=True, exist_ok=True)
        self.settings.write_text("\n".join(line for lines in groups.values() for line in lines), encoding="ascii")

    def copying_by(self, script: str) -> dict[str, str]:
        """The variables of an updater whose copying program is this script. The usual one is "$USUAL"."""
        tools = self.folder / "tools"
        folders.make(tools, {"xcopy.exe": folders.File(f"#!/bin/bash\n{script}\n".encode(), 0o755)})
        return {"PATH": f"{tools}{os.pathsep}{self.environment()['PATH']}", "USUAL": str(self._tools / "xcopy.exe")}

    def environment(self) -> dict[str, str]:
        """The environment of the updater. Nothing of this process's own environment is in it."""
        display = self._desktop.environment if self._desktop else {"QT_QPA_PLATFORM": "offscreen"}
        # A program built with sanitizers, and all that it starts, writes what they find. Others do not know these.
        # The run's own folder may have signs in its name that these options cannot.
        reports = f"log_path='{self.folder.parent}/sanitizer'"
        return {
            "HOME": str(self.home),
            "XDG_RUNTIME_DIR": str(self.home / "run"),
            # No bus: a program would start one of its own.
            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.home}/run/no-bus",
            "PATH": f"{self._tools}{os.pathsep}{os.defpath}",
            # Qt takes the language of its texts from LANGUAGE even where the machine has no such locale; the character
            # set of file names comes from LANG, and this locale is always there.
            "LANG": "C.UTF-8",
            "LANGUAGE": self.locale,
            # The one variable that may hold this word: the updater wants exactly one.
            "SYSTEMROOT": str(self.system),
            "ASAN_OPTIONS": f"{reports}:detect_leaks=1:detect_stack_use_after_return=1",
            "UBSAN_OPTIONS": f"{reports}:print_stacktrace=1",
            "LSAN_OPTIONS": f"{reports}:suppressions='{_KNOWN_LEAKS}':print_suppressions=0",
            **display}

    def launch(self, program: Path, *arguments: str, variables: Mapping[str, str], through: Sequence[str],
               replaced: Mapping[Path, Path] = {}, **restrictions: Any) -> subprocess.Popen:
        self._sees_own_disk = "small_disk" in restrictions
        # Without arguments it is the relocated copy that works.
        self.parent = program.parent.parent if arguments else self.data
        environment = {**self.environment(), **variables}
        if self._desktop is not None:
            replaced = {**replaced, _SYSTEM_PLUGINS: self._tools / PLUGINS}
            environment |= {"QT_QPA_GENERIC_PLUGINS": PLUGIN, "WINDOW_REPORTS": str(self._reports)}
        command = sandbox.sandboxed(replaced=replaced, **restrictions)
        with open(self._output, "ab") as output:
            return subprocess.Popen([*command, *through, str(program), *arguments], cwd=program.parent, env=environment,
                                    stdin=subprocess.DEVNULL, stdout=output, stderr=output, start_new_session=True)

    def processes(self) -> list[int]:
        return processes.by_environment("HOME", str(self.home))

    def output(self) -> str:
        return self._output.read_text(encoding="utf-8", errors="backslashreplace") if self._output.exists() else ""


def _stored(value: Setting) -> str:
    """A setting as Qt stores it on this system."""
    if isinstance(value, (bool, int)):
        return str(value).lower()
    if isinstance(value, str):
        return '"' + "".join(f"\\x{unit:x}" for unit, in struct.iter_unpack(">H", value.encode("utf-16-be"))) + '"'
    # An empty list has a way of its own to be written.
    return ", ".join(map(_stored, value)) or "@Invalid()"
