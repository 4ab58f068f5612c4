"""ZIP archives byte by byte, also such as no archiver would write. Follows PKWARE's APPNOTE; fields that are not given
are what they should be."""

from __future__ import annotations

import struct
import zlib
from collections.abc import Iterable
from typing import NamedTuple

STORED, DEFLATED = 0, 8
ENCRYPTED, UTF8 = 0x0001, 0x0800
_UNIX = 3 << 8
_DATE = (2026 - 1980) << 9 | 1 << 5 | 1
_FULL = 0xFFFFFFFF
# What encrypted data begins with. To a reader without a password it is no beginning of compressed data.
_ENCRYPTION_HEADER = bytes.fromhex("f73a9c51e806b42d7fc3186a")


class Entry(NamedTuple):
    name: bytes
    content: bytes = b""
    method: int = DEFLATED
    flags: int = 0
    mode: int = 0o100644
    # What is told of the contents, where that is not the truth: in the directory and, if not the same, before the data.
    crc: int | None = None
    size: int | None = None
    packed_size: int | None = None
    local_size: int | None = None

    def data(self) -> bytes:
        """The contents as they are in the archive."""
        data = self.content
        if self.method == DEFLATED:
            packer = zlib.compressobj(9, zlib.DEFLATED, -15)
            data = packer.compress(data) + packer.flush()
        return _ENCRYPTION_HEADER + data if self.flags & ENCRYPTED else data


def archive(entries: Iterable[Entry]) -> bytes:
    """The archive of these entries; sizes beyond the old fields are told as ZIP64."""
    body, directory, count = b"", b"", 0
    for count, entry in enumerate(entries, 1):
        data = entry.data()
        crc = zlib.crc32(entry.content) if entry.crc is None else entry.crc
        size = len(entry.content) if entry.size is None else entry.size
        packed = len(data) if entry.packed_size is None else entry.packed_size
        local = size if entry.local_size is None else entry.local_size
        extra = struct.pack("<HHQQ", 1, 16, size, packed) if max(size, packed) >= _FULL else b""
        told, told_packed, told_local = (_FULL, _FULL, _FULL) if extra else (size, packed, local)
        common = struct.pack("<HHHHHI", 45 if extra else 20, entry.flags, entry.method, 0, _DATE, crc)
        directory += struct.pack("<4sH", b"PK\1\2", _UNIX | 45) + common
        directory += struct.pack("<IIHHHHHII", told_packed, told, len(entry.name), len(extra), 0, 0, 0,
                                 entry.mode << 16, len(body))
        directory += entry.name + extra
        body += b"PK\3\4" + common
        body += struct.pack("<IIHH", told_packed, told_local, len(entry.name), len(extra))
        body += entry.name + extra + data
    end = struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, count, count, len(directory), len(body), 0)
    return body + directory + end
