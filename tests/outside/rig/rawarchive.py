"""Packages byte by byte, for what no archiver would write. Follows PKWARE's APPNOTE; fields that are not given are
what they should be."""

from __future__ import annotations

import struct
import zlib
from collections.abc import Iterable
from dataclasses import dataclass

STORED, DEFLATED = 0, 8
ENCRYPTED, UTF8 = 0x0001, 0x0800
_UNIX = 3 << 8
_DATE = (2026 - 1980) << 9 | 1 << 5 | 1
_FULL = 0xFFFFFFFF


def _crc_entry(value: int) -> int:
    for _ in range(8):
        value = value >> 1 ^ (0xEDB88320 if value & 1 else 0)
    return value


_CRC = [_crc_entry(number) for number in range(256)]


@dataclass(frozen=True)
class Entry:
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
        data = self.content
        if self.method == DEFLATED:
            packer = zlib.compressobj(9, zlib.DEFLATED, -15)
            data = packer.compress(data) + packer.flush()
        if not self.flags & ENCRYPTED:
            return data
        return _encrypted(bytes(11) + bytes([zlib.crc32(self.content) >> 24]) + data)


def _encrypted(data: bytes) -> bytes:
    """The traditional encryption (APPNOTE 6.1), with a password that nobody knows."""
    keys = [0x12345678, 0x23456789, 0x34567890]

    def update(byte: int) -> None:
        keys[0] = _CRC[(keys[0] ^ byte) & 0xFF] ^ keys[0] >> 8
        keys[1] = ((keys[1] + (keys[0] & 0xFF)) * 134775813 + 1) & _FULL
        keys[2] = _CRC[(keys[2] ^ keys[1] >> 24) & 0xFF] ^ keys[2] >> 8

    for byte in b"secret":
        update(byte)
    result = bytearray()
    for byte in data:
        stream = keys[2] | 2
        result.append(byte ^ (stream * (stream ^ 1) >> 8 & 0xFF))
        update(byte)
    return bytes(result)


def archive(entries: Iterable[Entry]) -> bytes:
    """The archive of these entries; counts and sizes beyond the old fields are told as ZIP64."""
    body, directory, count = bytearray(), bytearray(), 0
    for entry in entries:
        data = entry.data()
        crc = zlib.crc32(entry.content) if entry.crc is None else entry.crc
        size = len(entry.content) if entry.size is None else entry.size
        packed = len(data) if entry.packed_size is None else entry.packed_size
        local = size if entry.local_size is None else entry.local_size
        extra = b""
        if max(size, packed) >= _FULL:
            extra = struct.pack("<HHQQ", 1, 16, size, packed)
        told, told_packed = (_FULL, _FULL) if extra else (size, packed)
        common = struct.pack("<HHHH", entry.flags, entry.method, 0, _DATE) + struct.pack("<I", crc)
        start = len(body)
        body += struct.pack("<4sH", b"PK\3\4", 45 if extra else 20) + common
        body += struct.pack("<IIHH", told_packed, told if extra else local, len(entry.name), len(extra))
        body += entry.name + extra + data
        directory += struct.pack("<4sHH", b"PK\1\2", _UNIX | 45, 45 if extra else 20) + common
        directory += struct.pack("<IIHHHHHII", told_packed, told, len(entry.name), len(extra), 0, 0, 0,
                                 entry.mode << 16, start)
        directory += entry.name + extra
        count += 1
    return bytes(body + directory) + _end(count, len(directory), len(body))


def _end(count: int, size: int, start: int) -> bytes:
    records = b""
    if count >= 0xFFFF:
        records = struct.pack("<4sQHHIIQQQQ", b"PK\6\6", 44, 45, 45, 0, 0, count, count, size, start)
        records += struct.pack("<4sIQI", b"PK\6\7", 0, start + size, 1)
    told = min(count, 0xFFFF)
    return records + struct.pack("<4sHHHHIIH", b"PK\5\6", 0, 0, told, told, size, start, 0)
