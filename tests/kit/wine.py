"""A Windows of its own for a run: a Wine prefix with its registry, its fonts and its folders."""

from __future__ import annotations

import fcntl
import json
import os
import pwd
import shutil
import subprocess
from collections.abc import Iterator, Mapping, Sequence
from contextlib import contextmanager
from hashlib import sha1
from pathlib import Path, PureWindowsPath
from struct import pack

from . import folders

RegistryValue = str | int | bool | bytes | Sequence[str] | None
Registry = Mapping[str, Mapping[str, RegistryValue]]

# Where it keeps the authorities that its user trusts, and properties of certificates there.
_ROOT_CERTIFICATES = r"HKEY_CURRENT_USER\Software\Microsoft\SystemCertificates\Root\Certificates"
_FINGERPRINT, _CERTIFICATE = 3, 32

# What a complete Windows has: a tool that is missing fails in ways of its own.
_TOOLS = ("regedit.exe", "explorer.exe", "system32/cmd.exe", "system32/reg.exe", "system32/winecfg.exe",
          "system32/xcopy.exe")
# How often a Windows that was not complete is installed again.
_INSTALLATIONS = 3

# Where Wine keeps the attributes of a file that this machine's file systems have not, and "hidden" among them.
_ATTRIBUTES, _HIDDEN = "user.DOSATTRIB", b"0x2"


class Wine:
    """A Windows in folder/prefix, reached through this object only. A context manager: at its end nothing of it runs.
    display: the variables of the desktop that it shows its windows on."""

    def __init__(self, folder: Path, display: Mapping[str, str]) -> None:
        self.folder = folder
        self.prefix = folder / "prefix"
        self.drive = self.prefix / "drive_c"
        self.language = "en_US"
        # Names the folder of the user who starts programs from now on. Other users' settings are the same.
        self.user = pwd.getpwuid(os.getuid()).pw_name
        self._display = dict(display)

    def __enter__(self) -> Wine:
        return self

    def __exit__(self, *_: object) -> None:
        self.stop()

    def create(self) -> None:
        """Installs it, with the same look everywhere."""
        (self.folder / "home").mkdir(parents=True)
        self._install()
        self.run("regedit.exe", "/S", str(self.path(Path(__file__).with_name("conf") / "windows.reg")))
        self.run("winecfg.exe", "/v", "win10")
        self.stop()

    def _install(self) -> None:
        """Makes the prefix. The program that does so ends before all of it is there: what still works on it is waited
        for, and what it should have made is looked for."""
        for _ in range(_INSTALLATIONS):
            self.run("wineboot.exe", "--init", seconds=180)
            self._server("--wait", 180)
            missing = [tool for tool in _TOOLS if not (self.drive / "windows" / tool).exists()]
            if not missing and (self.prefix / "user.reg").exists():
                return
        raise OSError(f"the Windows in {self.prefix} is not complete: {missing}")

    def stop(self) -> None:
        """Ends every program in it. What it remembers is on disk then."""
        self._server("--kill")
        self._server("--wait")

    def _server(self, request: str, seconds: float = 60.0) -> None:
        subprocess.run(["wineserver", request], env=self.environment(), stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=seconds)

    # --- its places

    @property
    def profile(self) -> Path:
        """The user's own folder."""
        return self.drive / "users" / self.user

    def path(self, path: Path) -> PureWindowsPath:
        """What programs in it call a file or folder of this machine."""
        if path.is_relative_to(self.drive):
            return PureWindowsPath("C:\\", *path.relative_to(self.drive).parts)
        return PureWindowsPath("Z:\\", *path.parts[1:])

    def replace_tool(self, name: str, program: Path) -> None:
        """Lets a program stand in for Windows' own of this name, which lies in the folder "wine" then."""
        tool = self.drive / "windows" / "system32" / name
        own = self.drive / "windows" / "wine" / name
        own.parent.mkdir(exist_ok=True)
        # Clones share the file, so it is not written to.
        tool.rename(own)
        shutil.copyfile(program, tool)

    # --- its settings

    def set_registry(self, keys: Registry, instead_of: Sequence[str] = ()) -> None:
        """Sets these values of these keys. Texts, numbers, truth values as Qt stores them, bytes, lists of texts;
        None takes a value away. Before that the keys instead_of are removed, with everything below them."""
        lines = ["Windows Registry Editor Version 5.00", "", *(f"[-{key}]\r\n" for key in instead_of)]
        for key, values in keys.items():
            lines += [f"[{key}]", *(f'"{name}"={_stored(value)}' for name, value in values.items()), ""]
        file = self.folder / "settings.reg"
        file.write_text("\r\n".join(lines), encoding="utf-16")
        self.run("regedit.exe", "/S", str(self.path(file)))

    def trust(self, certificate: bytes) -> None:
        """Makes its user trust an authority with this certificate (DER). Certificate stores keep properties of a
        certificate one after the other, each with number, encoding, length and value."""
        fingerprint = sha1(certificate).digest()
        stored = b"".join(pack("<III", number, 1, len(value)) + value
                          for number, value in ((_FINGERPRINT, fingerprint), (_CERTIFICATE, certificate)))
        self.set_registry({f"{_ROOT_CERTIFICATES}\\{fingerprint.hex().upper()}": {"Blob": stored}})

    # --- its programs

    def environment(self) -> dict[str, str]:
        """The environment of its programs. Nothing of this process's own environment is in it."""
        variables = {
            **self._display,
            "PATH": os.defpath,
            "HOME": str(self.folder / "home"),
            "USER": self.user,
            "WINEPREFIX": str(self.prefix),
            "WINEARCH": "win64",
            "WINEDEBUG": "-all",
            # No downloads and no entries in the desktop's menus; a stand-in in the place of a tool of Wine's own.
            "WINEDLLOVERRIDES": "mscoree,mshtml=;winemenubuilder.exe=d;xcopy.exe=n,b",
            "LC_ALL": "C.UTF-8",
        }
        if self.language != "en_US":
            variables |= {"LC_ALL": f"{self.language}.UTF-8", "LOCPATH": str(self._locales())}
        return variables

    def run(self, program: str, *arguments: str, seconds: float = 60.0) -> str:
        """Runs one of its own tools to its end, and returns what that printed."""
        result = subprocess.run(["wine", program, *arguments], env=self.environment(), stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=seconds)
        # In the code page of DOS, as far as letters go.
        output = result.stdout.decode("cp437", errors="replace")
        if result.returncode != 0:
            raise OSError(f"{program} {' '.join(arguments)} ended with {result.returncode}: {output}")
        return output

    def start(self, program: Path, *arguments: str, variables: Mapping[str, str] = {}, output: Path | None = None,
              through: Sequence[str] = ()) -> subprocess.Popen:
        """Starts a program in its own folder; output takes what it prints. through is a command of this machine that
        runs the rest of its command line."""
        with open(output or os.devnull, "ab") as stream:
            return subprocess.Popen([*through, "wine", str(self.path(program)), *arguments], cwd=program.parent,
                                    env={**self.environment(), **variables}, stdin=subprocess.DEVNULL,
                                    stdout=stream, stderr=stream, start_new_session=True)

    def _locales(self) -> Path:
        """A folder with this one's language as a locale of this machine, which Wine takes its own from."""
        locale = self.folder / "locales" / f"{self.language}.UTF-8"
        if not locale.exists():
            locale.parent.mkdir(exist_ok=True)
            subprocess.run(["localedef", "--no-archive", "-i", self.language, "-f", "UTF-8", str(locale)], check=True,
                           stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        return locale.parent


@contextmanager
def cloned(template: Path, display: Mapping[str, str]) -> Iterator[Wine]:
    """One like the Windows in the folder template, which whoever comes first makes. It lies beside that: the files of
    Windows itself, which nobody changes, are shared."""
    original = Wine(template, display)
    template.parent.mkdir(parents=True, exist_ok=True)
    with open(f"{template}.lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not (template / "finished").exists():
            folders.remove(template)
            original.create()
            (template / "finished").touch()
    with folders.temporary("clone-", template.parent) as folder, Wine(folder, display) as wine:
        (folder / "home").mkdir()
        shutil.copytree(original.prefix, wine.prefix, symlinks=True,
                        ignore=lambda path, names: ["windows"] if path.endswith("drive_c") else [])
        shutil.copytree(original.drive / "windows", wine.drive / "windows", symlinks=True, copy_function=os.link)
        yield wine


def hide_dotted(folder: Path) -> None:
    """Hides what other systems hide for the full stop that its name begins with."""
    for path in folder.rglob(".*"):
        os.setxattr(path, _ATTRIBUTES, _HIDDEN)


def _stored(value: RegistryValue) -> str:
    match value:
        case None:
            return "-"
        case bool():
            return f'"{str(value).lower()}"'
        case int():
            return f"dword:{value & 0xFFFFFFFF:08x}"
        case str():
            # Quoted in the same way.
            return json.dumps(value, ensure_ascii=False)
        case bytes():
            return "hex:" + value.hex(",")
    return "hex(7):" + "".join(f"{text}\0" for text in [*value, ""]).encode("utf-16-le").hex(",")
