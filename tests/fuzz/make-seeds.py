#!/usr/bin/python3
"""Makes the inputs of fuzz targets that are no plain text: make-seeds.py FOLDER writes FOLDER/TARGET/NAME.

A package has one folder at its top. The others here are small ones of each kind that a reader of archives may meet.
"""

from __future__ import annotations

import io
import sys
import zipfile
from pathlib import Path

from kit.offer import large

DATE = (2026, 5, 1, 12, 0, 0)
UNIX = 3


def entry(name: str, method: int = zipfile.ZIP_DEFLATED, mode: int = 0o100644, system: int = UNIX) -> zipfile.ZipInfo:
    info = zipfile.ZipInfo(name, DATE)
    info.compress_type = method
    info.create_system = system
    info.external_attr = mode << 16
    return info


def archive(*entries: tuple[zipfile.ZipInfo, bytes], comment: bytes = b"") -> bytes:
    stream = io.BytesIO()
    with zipfile.ZipFile(stream, "w") as package:
        package.comment = comment
        for info, content in entries:
            package.writestr(info, content)
    return stream.getvalue()


def written_in_one_go() -> bytes:
    """An archive whose sizes stand below the contents, as where the writer could not go back."""

    class OneWay(io.RawIOBase):
        def __init__(self) -> None:
            self.content = bytearray()

        def writable(self) -> bool:
            return True

        def write(self, piece: bytes) -> int:
            self.content += piece
            return len(piece)

    stream = OneWay()
    with zipfile.ZipFile(stream, "w") as package:
        package.writestr(entry("Tavlopro/file"), b"content " * 20)
    return bytes(stream.content)


def packages() -> dict[str, bytes]:
    plain = archive(
        (entry("Tavlopro/", zipfile.ZIP_STORED, 0o040755), b""),
        (entry("Tavlopro/Tavlopro.exe", mode=0o100755), b"MZ" + b"program " * 30),
        (entry("Tavlopro/lib/a.dll", zipfile.ZIP_STORED), bytes(range(64))),
    )
    return {
        "plain": plain,
        "large": large(plain),
        "empty": archive(),
        "comment": archive((entry("file"), b"x"), comment=b"PK\5\6 and more"),
        "zeros": archive((entry("zeros"), b"\0" * 300_000)),
        "in-one-go": written_in_one_go(),
        "names": archive((entry("gr\u00f6\u00dfe.txt"), b"x"), (entry("a/../b"), b"y"), (entry("A"), b"1"),
                         (entry("a"), b"2")),
        "link": archive((entry("link", zipfile.ZIP_STORED, 0o120777), b"/tmp"), (entry("link/below"), b"z")),
        "dos": archive((entry("folder\\file", system=0, mode=0), b"x")),
        "other-methods": archive((entry("bzip2", zipfile.ZIP_BZIP2), b"x" * 100),
                                 (entry("lzma", zipfile.ZIP_LZMA), b"")),
        "page": b"<html><body>404 Not Found</body></html>\n",
        "cut": plain[:-30],
    }


def main() -> None:
    inputs = {
        "package": packages(),
        "description": {"zero": b"1\n26.05.7200|Stable|0|d|i\n\0\n26.05.7300|Stable|0|d|\xff\xfe\xc3(\n"},
        "handover": {"utf16": "\ufeffC:/\n".encode("utf-16-le"), "odd": b"//server/share/../..\\x:\0y\xff\xc0\x80\n"},
    }
    for target, files in inputs.items():
        folder = Path(sys.argv[1]) / target
        folder.mkdir(parents=True, exist_ok=True)
        for name, content in files.items():
            (folder / name).write_bytes(content)


if __name__ == "__main__":
    main()
