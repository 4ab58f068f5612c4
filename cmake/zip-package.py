#!/usr/bin/python3
"""Writes the files of a folder into a ZIP package: zip-package.py FOLDER PACKAGE TIME

TIME, in seconds since 1970, is the time of every file. Equal folders give equal packages: nothing of this machine, of
the moment or of the order in which the folder is read gets into the package."""

import stat
import sys
import time
import zipfile
from pathlib import Path


def main(folder: Path, package: Path, seconds: int) -> None:
    date = time.gmtime(seconds)[:6]
    files = sorted((path.relative_to(folder).as_posix(), path) for path in folder.rglob("*") if path.is_file())
    with zipfile.ZipFile(package, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as archive:
        for name, path in files:
            entry = zipfile.ZipInfo(name, date)
            entry.compress_type = zipfile.ZIP_DEFLATED
            # As written on Windows: a plain file, without Unix permissions.
            entry.create_system = 0
            entry.external_attr = stat.FILE_ATTRIBUTE_ARCHIVE
            archive.writestr(entry, path.read_bytes())


if __name__ == "__main__":
    main(Path(sys.argv[1]), Path(sys.argv[2]), int(sys.argv[3]))
