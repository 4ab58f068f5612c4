"""What tests rely on and what they work around: capabilities of this machine's sandbox and of Wine. Each is declared
here once, with a name, and probed before the first test. A probe that disagrees ends the run, also where Wine has
learnt what it lacked: what works around that can go then."""

from __future__ import annotations

import subprocess
from collections.abc import Callable, Mapping
from dataclasses import dataclass
from pathlib import Path

from . import folders
from .desktop import Desktop
from .folders import File, Folder
from .sandbox import sandboxed
from .wine import cloned

# The files that a probe has left, by their path.
Files = Mapping[str, bytes]


class Disagreement(Exception):
    """A capability is not as declared."""


@dataclass(frozen=True)
class Capability:
    # A line of a shell script, for Wine of a batch file.
    probe: str
    is_shown_by: Callable[[Files], bool]
    is_declared: bool = True


SANDBOX = {
    "process list of its own": Capability("ls -d /proc/[0-9]* | wc -l >list", lambda files: int(files["list"]) < 10),
    "files in the place of the system's": Capability("cp /etc/hosts hosts", lambda files: files["hosts"] == b"probe"),
    "small disks": Capability("head -c 9999 /dev/zero >disk/x || touch full", lambda files: "full" in files),
    "files that cannot be removed": Capability("rm -f held", lambda files: "held" in files),
    "no rights of root's": Capability("echo x >denied", lambda files: files["denied"] == b""),
}

WINE = {
    "hidden files": Capability("attrib +h file & dir /b >listed", lambda files: b"\nfile\r" not in files["listed"]),
    "xcopy /G": Capability("xcopy /Y /G file copied\\ ", lambda files: "copied/file" in files, False),
    "AutoRun of the command interpreter": Capability(
        'reg add "HKCU\\Software\\Microsoft\\Command Processor" /v AutoRun /d "echo x >C:\\probe\\run" /f & cmd /c ver',
        lambda files: "run" in files, False),
    "batch files in the code page of the console": Capability("echo x >ä", lambda files: "ä" in files, False),
    "values of variables taken literally": Capability(
        "echo %NESTED%>nested", lambda files: files["nested"] == b"%OS%\r\n", False),
    "variables of Qt passed on": Capability("echo %QT_PROBE%>qt", lambda files: files["qt"] == b"x\r\n", False),
    "links to folders": Capability("md to & mklink /J link to & echo x >link\\x", lambda files: "to/x" in files, False),
}


def probed(platform: str, build: Path) -> list[str]:
    """What to say of the capabilities of "native" or "windows"; raises Disagreement."""
    with folders.temporary() as folder:
        seen = [_in_sandbox(folder), *([_in_wine(folder, build)] if platform == "windows" else [])]
    declared = {**SANDBOX, **WINE}
    lines = [", ".join(name if is_there else f"no {name}" for name, is_there in part.items()) for part in seen]
    if any(is_there != declared[name].is_declared for part in seen for name, is_there in part.items()):
        raise Disagreement("\n".join(["tests/kit/platform.py does not declare what was found:", *lines]))
    return lines


def _in_sandbox(folder: Path) -> dict[str, bool]:
    folders.make(folder, {"own": File(b"probe"), "held": File(b""), "denied": File(b"", 0o400), "disk": Folder()})
    script = "\n".join(capability.probe for capability in SANDBOX.values())
    sandbox = sandboxed(replaced={Path("/etc/hosts"): folder / "own"}, held=[folder / "held"],
                        small_disk=(folder / "disk", 4096))
    result = subprocess.run([*sandbox, "sh", "-c", script], cwd=folder, stdin=subprocess.DEVNULL, capture_output=True)
    if not (files := _files(folder)).get("list"):
        raise Disagreement(f"this machine has no sandbox: {result.stderr.decode()}")
    return {name: capability.is_shown_by(files) for name, capability in SANDBOX.items()}


def _in_wine(folder: Path, build: Path) -> dict[str, bool]:
    with Desktop(folder) as desktop, cloned(build / "wine", desktop.environment) as wine:
        place = wine.drive / "probe"
        script = "\r\n".join(["chcp 65001", *(capability.probe for capability in WINE.values()), ""])
        folders.make(place, {"probe.bat": File(script.encode()), "file": File(b"")})
        wine.start(place / "probe.bat", variables={"NESTED": "%OS%", "QT_PROBE": "x"}).wait(60)
        return {name: capability.is_shown_by(_files(place)) for name, capability in WINE.items()}


def _files(folder: Path) -> Files:
    return {str(path.relative_to(folder)): path.read_bytes() for path in folder.rglob("*") if path.is_file()}
