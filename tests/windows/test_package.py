"""The package as it is made for users: what is in it, and what Windows reads in it."""

from __future__ import annotations

import calendar
import os
import re
import struct
import subprocess
import zipfile
from pathlib import Path
from xml.etree import ElementTree

import pytest

from stage import Build

_ROOT = Path(__file__).resolve().parents[2]
_TOOL = "x86_64-w64-mingw32-"

_NAME = "Tavlopro-Updater-26.05.7086-win64.zip"
_PROGRAMS = {
    "Freshen.exe", "Qt5Core.dll", "Qt5Gui.dll", "Qt5Network.dll", "Qt5Widgets.dll", "libgcc_s_seh-1.dll",
    "libquazip1-qt5.dll", "libstdc++-6.dll", "libwinpthread-1.dll", "zlib1.dll", "platforms/qwindows.dll",
    "imageformats/qico.dll", "styles/qwindowsvistastyle.dll"}
_NOTICES = {
    "licenses/gcc-runtime/GPL-3", "licenses/gcc-runtime/copyright", "licenses/qt/LICENSE.GPL3",
    "licenses/qt/LICENSE.LGPL3", "licenses/qt/copyright", "licenses/quazip/COPYING", "licenses/quazip/copyright",
    "licenses/winpthreads/copyright", "licenses/zlib/copyright"}
_LARGEST = 12 * 1024 * 1024

# Windows' own libraries, all of them part of Windows 7 and later.
_WINDOWS = set("""
    advapi32 bcrypt crypt32 d3d11 dwmapi dxgi gdi32 imm32 iphlpapi kernel32 mpr msvcrt netapi32 ole32 oleaut32 secur32
    shell32 user32 userenv uxtheme version winmm ws2_32 wtsapi32
""".split())

_ICON, _VERSION, _MANIFEST = "14", "16", "24"


@pytest.fixture(scope="module")
def unpacked(build: Build, tmp_path_factory: pytest.TempPathFactory) -> Path:
    folder = tmp_path_factory.mktemp("package")
    with zipfile.ZipFile(build.package) as archive:
        archive.extractall(folder)
    return folder


@pytest.fixture(scope="module")
def freshen(unpacked: Path) -> Path:
    return unpacked / "Freshen.exe"


def programs(folder: Path) -> list[Path]:
    return sorted(path for path in folder.rglob("*") if path.suffix in (".exe", ".dll"))


def output(*command: str | Path) -> bytes:
    return subprocess.run(command, check=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, timeout=60).stdout


def header(program: Path) -> str:
    return output(f"{_TOOL}objdump", "--private-headers", program).decode()


def test_name_and_contents(build: Build) -> None:
    """Exactly what an installation folder needs beside the application, and the notices; no folders, no surprises."""
    assert build.package.name == _NAME
    with zipfile.ZipFile(build.package) as archive:
        assert sorted(archive.namelist()) == sorted(_PROGRAMS | _NOTICES)
        assert archive.testzip() is None


def test_size(build: Build) -> None:
    """A small download."""
    assert build.package.stat().st_size <= _LARGEST


def test_every_library_is_there(unpacked: Path) -> None:
    """Whatever a program or library imports is in the package, where Windows looks for it, or Windows' own."""
    missing = [f"{program.relative_to(unpacked)} needs {name}" for program in programs(unpacked)
               for name in re.findall(r"DLL Name: (\S+)", header(program))
               if not (unpacked / name).exists() and name.lower().removesuffix(".dll") not in _WINDOWS]
    assert missing == []


def test_every_library_is_needed(unpacked: Path) -> None:
    """Nothing is in the package that nobody imports, plug-ins aside."""
    imported = {name for program in programs(unpacked) for name in re.findall(r"DLL Name: (\S+)", header(program))}
    assert {path.name for path in unpacked.glob("*.dll")} <= imported


def test_windows_protections(unpacked: Path) -> None:
    """64 bit; addresses at random, over the whole range; data is not executed."""
    for program in programs(unpacked):
        text = header(program)
        assert "(PE32+)" in text, program
        for flag in ("HIGH_ENTROPY_VA", "DYNAMIC_BASE", "NX_COMPAT"):
            assert re.search(rf"^\s+{flag}$", text, re.MULTILINE), (program, flag)
        # Without these, the program cannot be moved.
        assert "Base Relocation Directory" in text and "relocations stripped" not in text, program


def test_window_program(freshen: Path) -> None:
    """No console window comes up with it."""
    assert re.search(r"^Subsystem\s+00000002\s+\(Windows GUI\)$", header(freshen), re.MULTILINE)


def test_manifest(freshen: Path) -> None:
    """It asks for no rights by itself, and for the common controls' version 6."""
    manifest = ElementTree.fromstring(output("wrestool", "-x", "--raw", f"--type={_MANIFEST}", freshen))
    levels = [(element.get("level"), element.get("uiAccess")) for element in manifest.iter()
              if element.tag.endswith("}requestedExecutionLevel")]
    assert levels == [("asInvoker", "false")]
    controls = [element for element in manifest.iter() if element.tag.endswith("}assemblyIdentity")]
    assert [(element.get("name"), element.get("version")) for element in controls] == [
        ("Microsoft.Windows.Common-Controls", "6.0.0.0")]


def test_version(freshen: Path) -> None:
    """Version, product and description, as the file's properties show them."""
    resource = output("wrestool", "-x", "--raw", f"--type={_VERSION}", freshen)
    fixed = resource.index(struct.pack("<I", 0xFEEF04BD))
    for position in (8, 16):
        minor, major, build, revision = struct.unpack_from("<4H", resource, fixed + position)
        assert (major, minor, revision, build) == (26, 5, 7086, 0)
    text = resource.decode("utf-16-le", errors="replace")
    values = {name: re.search(rf"{name}\0+([^\0]+)\0", text)[1]
              for name in ("FileVersion", "ProductVersion", "ProductName", "FileDescription", "OriginalFilename")}
    assert values == {"FileVersion": "26.05.7086", "ProductVersion": "26.05.7086", "ProductName": "Tavlopro Updater",
                      "FileDescription": "Freshen, the updater of Tavlopro", "OriginalFilename": "Freshen.exe"}


def test_icon(freshen: Path, tmp_path: Path) -> None:
    """One application icon, in the sizes that the shell shows."""
    icon = tmp_path / "freshen.ico"
    icon.write_bytes(output("wrestool", "-x", f"--type={_ICON}", freshen))
    pictures = re.findall(r"--width=(\d+) --height=(\d+) --bit-depth=(\d+)", output("icotool", "-l", icon).decode())
    assert sorted((int(width), int(height), int(depth)) for width, height, depth in pictures) == [
        (16, 16, 32), (32, 32, 32), (48, 48, 32), (256, 256, 32)]


def test_no_path_of_the_build(unpacked: Path, build: Build) -> None:
    """Nothing of the machine that built it is in it."""
    sdk = subprocess.run([_ROOT / "scripts" / "windows-sdk", "--where"], check=True, stdout=subprocess.PIPE, text=True)
    folders = {str(_ROOT), str(build.equipment.parent), str(Path(sdk.stdout.strip()).parent), str(Path.home()) + "/."}
    found = [f"{program.relative_to(unpacked)}: {folder}" for program in programs(unpacked) for folder in folders
             for code in ("utf-8", "utf-16-le") if folder.encode(code) in program.read_bytes()]
    assert found == []


@pytest.mark.timeout(900)
def test_built_elsewhere_it_is_the_same(build: Build, tmp_path: Path) -> None:
    """The same sources in another folder, at another time, give the same package byte for byte."""
    sources = tmp_path / "another folder" / "freshen"
    names = output("git", "-C", _ROOT, "ls-files", "-z", "--cached", "--others", "--exclude-standard").decode()
    for name in filter(None, names.split("\0")):
        if (_ROOT / name).is_file():
            (sources / name).parent.mkdir(parents=True, exist_ok=True)
            (sources / name).write_bytes((_ROOT / name).read_bytes())
            (sources / name).chmod((_ROOT / name).stat().st_mode)
    with zipfile.ZipFile(build.package) as archive:
        time = calendar.timegm(archive.infolist()[0].date_time)
    environment = {**os.environ, "SOURCE_DATE_EPOCH": str(time)}
    for command in (["cmake", "--preset", "windows", "-D", "BUILD_TESTING=OFF"],
                    ["cmake", "--build", "--preset", "windows"],
                    ["cpack", "--config", "build/windows/CPackConfig.cmake", "-B", "package"]):
        subprocess.run(command, cwd=sources, env=environment, check=True, stdout=subprocess.DEVNULL)
    assert (sources / "package" / _NAME).read_bytes() == build.package.read_bytes()
