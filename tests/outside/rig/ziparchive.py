"""Packages made from a stated folder, with the rights of their files."""

from __future__ import annotations

import io
import zipfile

from foldermodel import File, Folder, Model
from harness.packages import as_large

_UNIX = 3
_REGULAR, _DIRECTORY = 0o100000, 0o040000
_DOS_FOLDER = 0x10


def large_archive(files: Model) -> bytes:
    """The same package with its counts and places where only readers of large archives (ZIP64) find them."""
    return as_large(archive(files))


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
