"""The package as it is made for users: what is in it, and what Windows reads in it."""

from __future__ import annotations

import calendar
import os
import shutil
import subprocess
import zipfile
from pathlib import Path
from xml.etree import ElementTree

import pefile
import pytest

from kit.folders import File
from kit.offer import VERSION
from kit.windows import Build

pytestmark = pytest.mark.windows_only("the package is for Windows")

ROOT = Path(__file__).resolve().parents[2]
NAME = f"Tavlopro-Updater-{VERSION}-win64.zip"
# What an installation needs beside the application, and the notices.
CONTENTS = """
    Freshen.exe Qt5Core.dll Qt5Gui.dll Qt5Network.dll Qt5Widgets.dll libgcc_s_seh-1.dll libquazip1-qt5.dll
    libstdc++-6.dll libwinpthread-1.dll zlib1.dll
    platforms/qwindows.dll imageformats/qico.dll styles/qwindowsvistastyle.dll
    licenses/gcc-runtime/GPL-3 licenses/gcc-runtime/copyright licenses/qt/LICENSE.GPL3 licenses/qt/LICENSE.LGPL3
    licenses/qt/copyright licenses/quazip/COPYING licenses/quazip/copyright licenses/winpthreads/copyright
    licenses/zlib/copyright
""".split()
LARGEST = 12 * 1024 * 1024
# Windows' own libraries, all of them part of Windows 7 and later.
WINDOWS = {f"{name}.dll" for name in """
    advapi32 bcrypt crypt32 d3d11 dwmapi dxgi gdi32 imm32 iphlpapi kernel32 mpr msvcrt netapi32 ole32 oleaut32 secur32
    shell32 user32 userenv uxtheme version winmm ws2_32 wtsapi32
""".split()}

Programs = dict[str, pefile.PE]
PARTS = pefile.DIRECTORY_ENTRY


@pytest.fixture(scope="module")
def programs(build: Build) -> Programs:
    """The programs and libraries of the package by their paths."""
    programs = {path: pefile.PE(data=node.content, fast_load=True) for path, node in build.updater_files.items()
                if path.endswith((".exe", ".dll"))}
    for program in programs.values():
        program.parse_data_directories([PARTS["IMAGE_DIRECTORY_ENTRY_IMPORT"], PARTS["IMAGE_DIRECTORY_ENTRY_RESOURCE"]])
    return programs


def resource(program: pefile.PE, kind: str) -> bytes:
    """The one resource of this kind."""
    resources, = (entry.directory.entries for entry in program.DIRECTORY_ENTRY_RESOURCE.entries
                  if entry.id == pefile.RESOURCE_TYPE[kind])
    (language,), = (resource.directory.entries for resource in resources)
    return program.get_data(language.data.struct.OffsetToData, language.data.struct.Size)


def test_name_and_contents(build: Build) -> None:
    """Nothing is missing, nothing is too much, and the download is small."""
    with zipfile.ZipFile(build.package) as archive:
        assert (build.package.name, sorted(archive.namelist())) == (NAME, sorted(CONTENTS))
    assert build.package.stat().st_size <= LARGEST


def test_libraries(programs: Programs) -> None:
    """What is imported is in the package, where Windows looks for it, or Windows' own; plug-ins aside, nothing else is
    there."""
    imported = {entry.dll.decode() for program in programs.values() for entry in program.DIRECTORY_ENTRY_IMPORT}
    own = {path for path in programs if path.endswith(".dll") and "/" not in path}
    assert own == {name for name in imported if name.lower() not in WINDOWS}


def test_windows_protections(programs: Programs) -> None:
    """64 bit; addresses at random, over the whole range; data is not executed, and code is not written."""
    for path, program in programs.items():
        header = program.OPTIONAL_HEADER
        assert header.Magic == pefile.OPTIONAL_HEADER_MAGIC_PE_PLUS, path
        assert header.IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA and header.IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE, path
        # Without relocations, it cannot be moved.
        assert header.DATA_DIRECTORY[PARTS["IMAGE_DIRECTORY_ENTRY_BASERELOC"]].Size > 0, path
        assert not program.FILE_HEADER.IMAGE_FILE_RELOCS_STRIPPED, path
        assert header.IMAGE_DLLCHARACTERISTICS_NX_COMPAT, path
        assert not any(part.IMAGE_SCN_MEM_WRITE and part.IMAGE_SCN_MEM_EXECUTE for part in program.sections), path


def test_start(programs: Programs) -> None:
    """No console window comes up. It asks for no rights by itself, and for the common controls' version 6."""
    freshen = programs["Freshen.exe"]
    assert freshen.OPTIONAL_HEADER.Subsystem == pefile.SUBSYSTEM_TYPE["IMAGE_SUBSYSTEM_WINDOWS_GUI"]
    manifest = ElementTree.fromstring(resource(freshen, "RT_MANIFEST"))
    rights, = manifest.iterfind(".//{*}requestedExecutionLevel")
    assert rights.attrib == {"level": "asInvoker", "uiAccess": "false"}
    controls, = manifest.iterfind(".//{*}assemblyIdentity")
    assert (controls.get("name"), controls.get("version")) == ("Microsoft.Windows.Common-Controls", "6.0.0.0")


def test_version(programs: Programs) -> None:
    """Version, product and description, as the file's properties show them."""
    freshen = programs["Freshen.exe"]
    fixed, = freshen.VS_FIXEDFILEINFO
    major, minor, revision = map(int, VERSION.split("."))
    numbers = major << 16 | minor, revision << 16
    assert (fixed.FileVersionMS, fixed.FileVersionLS, fixed.ProductVersionMS, fixed.ProductVersionLS) == numbers * 2
    texts = {name.decode(): value.decode() for part in freshen.FileInfo[0] if hasattr(part, "StringTable")
             for table in part.StringTable for name, value in table.entries.items()}
    expected = {"FileVersion": VERSION, "ProductVersion": VERSION, "ProductName": "Tavlopro Updater",
                "FileDescription": "Freshen, the updater of Tavlopro", "OriginalFilename": "Freshen.exe"}
    assert expected.items() <= texts.items()


def test_icon(programs: Programs) -> None:
    """One application icon, in the sizes that the shell shows and with all colours."""
    icon = resource(programs["Freshen.exe"], "RT_GROUP_ICON")
    # For each picture 14 bytes: the first two its size (0: 256), the seventh the bits of its colours.
    pictures = [icon[start:start + 14] for start in range(6, len(icon), 14)]
    assert [(picture[0], picture[1], picture[6]) for picture in pictures] == [
        (size, size, 32) for size in (16, 32, 48, 0)]


def test_no_path_of_the_build(build: Build) -> None:
    """Nothing of the machine that built it is in it."""
    sdk = subprocess.run([ROOT / "scripts" / "windows-sdk", "--where"], check=True, stdout=subprocess.PIPE, text=True)
    places = {str(ROOT), str(build.folder), str(Path(sdk.stdout.strip()).parent), str(Path.home()) + "/."}
    assert [(path, place) for path, node in build.updater_files.items() for place in places
            for code in ("utf-8", "utf-16-le") if isinstance(node, File) and place.encode(code) in node.content] == []


@pytest.mark.timeout(900)
def test_built_elsewhere_it_is_the_same(build: Build, tmp_path: Path) -> None:
    """The same sources in another folder, at another time, give the same package byte for byte."""
    sources = tmp_path / "another folder" / "freshen"
    shutil.copytree(ROOT, sources, symlinks=True, copy_function=shutil.copy,
                    ignore=shutil.ignore_patterns(".git", "build", "*.pyc"))
    with zipfile.ZipFile(build.package) as archive:
        time = calendar.timegm(archive.infolist()[0].date_time)
    for command in (["cmake", "--preset", "windows", "-D", "BUILD_TESTING=OFF"],
                    # One processor, so that the tests that run beside it keep theirs.
                    ["cmake", "--build", "--preset", "windows", "--target", "Freshen", "--parallel", "1"],
                    ["cpack", "--config", "build/windows/CPackConfig.cmake", "-B", "package"]):
        subprocess.run(command, cwd=sources, env={**os.environ, "SOURCE_DATE_EPOCH": str(time)}, check=True,
                       stdout=subprocess.DEVNULL)
    assert (sources / "package" / NAME).read_bytes() == build.package.read_bytes()
