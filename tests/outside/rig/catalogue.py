"""Version lists and packages as a test states them, ready for an update server."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from pathlib import Path

from harness.packages import VERSIONS_PATH, Version, write_package
from harness.trees import Entry, Tree, file, tree

PROGRAM = Entry(b"#!/bin/sh\nexit 0\n", executable=True)


def listed(*versions: Version | str) -> dict[str, bytes]:
    """A server with the version description file alone. A text is a line as it stands."""
    lines = (version if isinstance(version, str) else version.line for version in versions)
    return {VERSIONS_PATH: "".join(line + "\n" for line in lines).encode()}


def offered(folder: Path, versions: Iterable[Version], entries: Mapping[str, Entry] | None = None) \
        -> dict[str, bytes | Path]:
    """A server with the versions and a package of each, by default a small application. The packages lie in folder."""
    versions = tuple(versions)
    contents: Tree = tree(entries) if entries is not None else small_application()
    folder.mkdir(parents=True, exist_ok=True)
    served: dict[str, bytes | Path] = {**listed(*versions)}
    for offer in versions:
        package = folder / offer.package_name
        write_package(package, contents)
        served[offer.package_path] = package
    return served


def small_application() -> Tree:
    return tree({"Tavlopro.exe": PROGRAM, "data/rules.txt": file("e4\n")})


def version(number: str, kind: str = "Stable", reference: str = "", info: str = "", minimum_updater: str | None = None,
            date: str = "2026-07-01") -> Version:
    return Version(number, kind, reference, date, info, minimum_updater)
