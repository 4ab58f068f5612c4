"""The inputs of the benchmarks: always the same ones, made anew for each run."""

from __future__ import annotations

import random
import struct
import subprocess
import zipfile
from pathlib import Path

MIB = 1024 * 1024

# What an installation folder of the updater holds, and how large it is in KiB: about 25 MiB.
_PACKAGED = {
    "Freshen.exe": 0,
    "Qt5Core.dll": 6200,
    "Qt5Gui.dll": 6900,
    "Qt5Network.dll": 1400,
    "Qt5Widgets.dll": 5500,
    "libgcc_s_seh-1.dll": 110,
    "libquazip1-qt5.dll": 220,
    "libstdc++-6.dll": 2000,
    "libwinpthread-1.dll": 60,
    "zlib1.dll": 140,
    "platforms/qwindows.dll": 1400,
    "imageformats/qico.dll": 40,
    "styles/qwindowsvistastyle.dll": 150,
}


def program_bytes(size: int) -> bytes:
    """Bytes that can be compressed about as well as a program: a few thousand short sequences, some far more often."""
    source = random.Random(size)
    words = [source.randbytes(source.randint(2, 9)) for _ in range(4096)]
    often = words[:256]
    result = bytearray()
    while len(result) < size:
        result += b"".join(source.choices(often, k=600) + source.choices(words, k=400))
    return bytes(result[:size])


class Contents:
    """Different contents for many files, cut from one piece of program bytes."""

    def __init__(self, piece: int = 4 * MIB) -> None:
        self._bytes = program_bytes(piece)
        self._number = 0

    def next(self, size: int) -> bytes:
        self._number += 1
        begin = self._number * 7919 % len(self._bytes)
        content = struct.pack(">Q", self._number) + self._bytes[begin:begin + size]
        while len(content) < size:
            content += self._bytes
        return content[:size]


def make_package(path: Path, files: int, size: int) -> None:
    """A ZIP package of this many files in folders of 50, size bytes altogether."""
    contents = Contents()
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for number in range(files):
            info = zipfile.ZipInfo(f"Tavlopro/folder {number // 50}/file {number}.dll", (2026, 5, 1, 12, 0, 0))
            info.create_system = 3
            info.external_attr = 0o100644 << 16
            info.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(info, contents.next(size // files))


def make_large_package(path: Path, size: int) -> None:
    """A ZIP package of one file of zeros, not compressed; they take no space on the disk."""
    with zipfile.ZipFile(path, "w") as archive:
        with archive.open(zipfile.ZipInfo("Tavlopro/large.dat"), "w", force_zip64=True) as entry:
            for _ in range(size // MIB):
                entry.write(bytes(MIB))
    subprocess.run(["fallocate", "--dig-holes", path], check=True)


def store_package(package: Path, stored: Path) -> None:
    """The package as the updater stores it: its length goes before it."""
    with open(package, "rb") as source, open(stored, "wb") as target:
        target.write(struct.pack(">I", package.stat().st_size))
        while piece := source.read(MIB):
            target.write(piece)


def make_file(path: Path, size: int) -> None:
    contents = Contents()
    with open(path, "wb") as target:
        while size > 0:
            size -= target.write(contents.next(min(size, MIB)))


def make_tree(folder: Path, files: int, size: int) -> None:
    """An installation of this many files in folders of 50, size bytes altogether."""
    contents = Contents()
    for number in range(files):
        place = folder / f"folder {number // 50}"
        place.mkdir(parents=True, exist_ok=True)
        (place / f"file {number}.dll").write_bytes(contents.next(size // files))


def make_updater_folder(folder: Path, program: Path, share: float) -> None:
    """The updater's own files as they are packaged, the program among them; share makes the others smaller."""
    contents = Contents(MIB)
    for name, kibibytes in _PACKAGED.items():
        path = folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(contents.next(int(kibibytes * 1024 * share)) if kibibytes else program.read_bytes())
    (folder / "Freshen.exe").chmod(0o755)
