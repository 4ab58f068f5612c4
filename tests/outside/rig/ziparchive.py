"""Packages made from a stated folder, with the rights of their files."""

from __future__ import annotations

import io
import struct
import zipfile

from foldermodel import File, Folder, Model

_UNIX = 3
_REGULAR, _DIRECTORY = 0o100000, 0o040000
_DOS_FOLDER = 0x10


def large_archive(files: Model) -> bytes:
    """The same package with its counts and places where only readers of large archives (ZIP64) find them."""
    package = archive(files)
    end = package.rindex(b"PK\5\6")
    entries, size, start = struct.unpack("<HII", package[end + 10:end + 20])
    record = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, entries, entries, size, start)
    locator = struct.pack("<4sIQI", b"PK\6\7", 0, end, 1)
    old_end = struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, 0xFFFF, 0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0)
    return package[:end] + record + locator + old_end


def archive(files: Model) -> bytes:
    """A ZIP package with these files and folders, some entries compressed and some not."""
    stream = io.BytesIO()
    with zipfile.ZipFile(stream, "w") as package:
        for number, (path, node) in enumerate(sorted(files.items())):
            # A fixed date, so that equal folders give equal packages.
            info = zipfile.ZipInfo(path + "/" if isinstance(node, Folder) else path, (2026, 1, 1, 0, 0, 0))
            info.create_system = _UNIX
            if isinstance(node, File):
                info.external_attr = (_REGULAR | node.mode) << 16
                info.compress_type = zipfile.ZIP_DEFLATED if number % 2 else zipfile.ZIP_STORED
                package.writestr(info, node.content)
            else:
                info.external_attr = (_DIRECTORY | 0o755) << 16 | _DOS_FOLDER
                package.writestr(info, b"")
    return stream.getvalue()
