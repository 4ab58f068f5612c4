"""Packages as the update server offers them, and the list that describes them."""

from __future__ import annotations

import struct
import zipfile
from dataclasses import dataclass
from pathlib import Path

from .trees import Entry, Tree

# Where the updater looks for both on its server.
VERSIONS_PATH = "/update/Tavlopc/VERSIONS/windows.txt"
_PACKAGES_PATH = "/update/Tavlopc/windows/"

_FILE_MODE, _PROGRAM_MODE, _FOLDER_MODE = 0o100644, 0o100755, 0o040755
_UNIX = 3
_DOS_FOLDER = 0x10


@dataclass(frozen=True)
class Version:
    """One line of the version description file."""

    number: str
    kind: str
    reference: str
    date: str
    info: str
    # The first revision of the updater that may install this version, and the first system version that it runs on.
    minimum_updater: str | None = None
    minimum_system: str | None = None

    @property
    def line(self) -> str:
        columns = (self.number, self.kind, self.reference, self.date, self.info, self.minimum_updater,
                   self.minimum_system)
        return "|".join(column for column in columns if column is not None)

    @property
    def package_name(self) -> str:
        return f"Tavlopc{self.number}{self.kind.upper()}.zip"

    @property
    def package_path(self) -> str:
        """The path of its package on the update server."""
        return _PACKAGES_PATH + self.package_name


def write_package(file: Path, entries: Tree, root: str = "Tavlopro") -> None:
    """Writes a ZIP package that holds these entries in one top folder."""
    with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED) as archive:
        _add(archive, root, Entry(None))
        for path, entry in sorted(entries.items()):
            _add(archive, f"{root}/{path}", entry)


def as_large(package: bytes) -> bytes:
    """The same archive with its counts and places in the records for large archives alone (ZIP64, PKWARE APPNOTE
    4.3.14 and 4.3.15)."""
    end = package.rindex(b"PK\5\6")
    entries, size, start = struct.unpack("<HII", package[end + 10:end + 20])
    record = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, entries, entries, size, start)
    locator = struct.pack("<4sIQI", b"PK\6\7", 0, end, 1)
    old_end = struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, 0xFFFF, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0)
    return package[:end] + record + locator + old_end


def _add(archive: zipfile.ZipFile, path: str, entry: Entry) -> None:
    # A fixed date, so that equal trees give equal packages.
    info = zipfile.ZipInfo(path + "/" if entry.is_folder else path, (2026, 1, 1, 0, 0, 0))
    info.create_system = _UNIX
    if entry.content is None:
        info.external_attr = _FOLDER_MODE << 16 | _DOS_FOLDER
    else:
        info.external_attr = (_PROGRAM_MODE if entry.executable else _FILE_MODE) << 16
        info.compress_type = zipfile.ZIP_DEFLATED
    archive.writestr(info, entry.content or b"")
