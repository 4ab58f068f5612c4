"""freshen-publish publish: another folder gets what it lacks, and users of that folder never see half of it."""

from __future__ import annotations

import os
import time
from collections.abc import Sequence
from pathlib import Path

import pytest

from kit import folders
from kit.offer import BETA, CHOSEN, INSTALLED, VERSIONS_PATH, Version, application, description, package
from kit.sandbox import sandboxed
from kit.waiting import wait_for
from publishing import (
    CLEAN, FILE_OR_NETWORK, FINDINGS, LOCKED_OR_CHANGED, NOTHING_TO_DO, USAGE, WITHOUT_LEAKS, Content, Outcome,
    Publisher, files_below, kill_points, killed_at, package_pieces, without_leftovers)

PACKAGE = Content(package(application()))
INDEX = VERSIONS_PATH.lstrip("/")


def files(*versions: Version) -> list[str]:
    """What is uploaded for these versions, in turn."""
    return [*sorted(version.package_path.lstrip("/") for version in versions), INDEX]


def contents(*versions: Version) -> dict[str, bytes]:
    """What a folder has when these versions, and no others, are published to it."""
    return dict.fromkeys(files(*versions), PACKAGE) | {INDEX: description(*versions)}


@pytest.fixture
def target(folder: Path) -> Path:
    """An empty folder to publish to."""
    path = folder / "target"
    path.mkdir()
    return path


@pytest.mark.windows("files are the system's")
def test_publish(publisher: Publisher, target: Path) -> None:
    """What differs is copied, and nothing is deleted."""
    publisher.offer(INSTALLED, CHOSEN, content=PACKAGE)
    assert publisher("publish", "--dry-run", target).document["files"] == files(INSTALLED, CHOSEN)
    assert publisher("publish", "--print-order", target).document["files"] == files(INSTALLED, CHOSEN)
    assert files_below(target) == {}
    outcome = publisher("publish", target)
    assert (outcome.code, outcome.document["files"]) == (CLEAN, files(INSTALLED, CHOSEN)), outcome
    assert files_below(target) == contents(INSTALLED, CHOSEN)
    assert publisher("publish", target).code == NOTHING_TO_DO
    publisher.offer(CHOSEN, BETA, content=PACKAGE)
    assert publisher("publish", "--print-order").document["files"] == files(CHOSEN, BETA)
    assert publisher("publish", target).document["files"] == files(BETA)
    assert files_below(target) == contents(INSTALLED, CHOSEN, BETA) | {INDEX: description(CHOSEN, BETA)}


def test_order_for_others(publisher: Publisher, target: Path) -> None:
    """It is checked first, and nothing but names of files is printed."""
    publisher.offer(CHOSEN, content=PACKAGE)
    for arguments in (), (target,):
        code, printed, prose = publisher.print("publish", "--print-order", *arguments)
        assert (code, printed.splitlines()) == (CLEAN, files(CHOSEN)) and "[no-updater]" in prose
    publisher.write(VERSIONS_PATH, description(CHOSEN, BETA))
    for arguments in (), ("--index-only",), (target,):
        code, printed, prose = publisher.print("publish", "--print-order", *arguments)
        assert (code, printed) == (FINDINGS, "") and "[missing-package]" in prose


def test_withdrawn_versions_are_kept(publisher: Publisher, target: Path) -> None:
    """Those who have read the index before get them, for as long as prune spares what was just withdrawn."""
    publisher.offer(CHOSEN, BETA, content=PACKAGE)
    publisher("publish", target)
    long_ago = time.time() - 15 * 24 * 60 * 60
    os.utime(target / BETA.package_path.lstrip("/"), (long_ago, long_ago))
    publisher("withdraw", "7240")
    assert publisher("publish", target).code == CLEAN
    assert publisher("prune", "--root", target).code == NOTHING_TO_DO


def test_other_bytes_under_a_name(publisher: Publisher, target: Path) -> None:
    """What caches may keep for a year has changed: it is copied, and a warning says so."""
    publisher.offer(CHOSEN, content=PACKAGE)
    publisher("publish", target)
    before = files_below(target)
    publisher.offer(CHOSEN, content=package(application(), "Other"))
    assert publisher("publish", target, "--index-only", "--strict").code == FINDINGS and files_below(target) == before
    outcome = publisher("publish", target)
    assert "published-other-bytes" in outcome.ids and outcome.document["files"] == files(CHOSEN)[:1]
    assert files_below(target) == files_below(publisher.root)


def test_errors_are_not_published(publisher: Publisher, target: Path) -> None:
    publisher.offer(CHOSEN, content=PACKAGE)
    publisher.write(VERSIONS_PATH, description(CHOSEN, BETA))
    for option in [], ["--index-only"]:
        outcome = publisher("publish", target, *option)
        assert outcome.code == FINDINGS and "missing-package" in outcome.ids and files_below(target) == {}
    outcome = publisher("publish", target, "--force")
    assert outcome.document["files"] == files(CHOSEN) and outcome.ids.count("missing-package") == 1
    assert files_below(target) == contents(CHOSEN) | {INDEX: description(CHOSEN, BETA)}


def test_command_afterwards(publisher: Publisher, target: Path, folder: Path) -> None:
    """It runs in the folder when something was copied; its failure is the tool's."""
    publisher.offer(CHOSEN, content=PACKAGE)
    assert publisher("publish", target, "--after", "touch 'after this'".replace("'", '"')).code == CLEAN
    assert (target / "after this").exists()
    publisher.offer(CHOSEN, BETA, content=PACKAGE)
    assert publisher("publish", target, "--after", "false").code == FILE_OR_NETWORK
    assert publisher("publish", target, "--after", f"touch {folder}/never").code == NOTHING_TO_DO
    assert not (folder / "never").exists()


def test_two_at_once(publisher: Publisher, target: Path) -> None:
    """The second one changes nothing, and says that it was locked out."""
    publisher.offer(CHOSEN, content=PACKAGE)
    second = " ".join(f'"{word}"' for word in publisher.command("publish", target))
    outcome = publisher("publish", target, "--after", second)
    assert outcome.code == FILE_OR_NETWORK and outcome.document["error"].endswith(f"ended with {LOCKED_OR_CHANGED}.")


@pytest.mark.parametrize(("arguments", "code"), [((), USAGE), (("missing",), FILE_OR_NETWORK)])
def test_no_target(publisher: Publisher, folder: Path, arguments: Sequence[str], code: int) -> None:
    publisher.offer(CHOSEN, content=PACKAGE)
    assert publisher("publish", *(folder / name for name in arguments)).code == code
    assert not (folder / "missing").exists()


# --- failures on the way

def interrupted(publisher: Publisher, target: Path, *through: str) -> Outcome:
    """Publishes to a copy of the target as a program in its place sees it."""
    return publisher("publish", target, "--index-only", through=through, variables=WITHOUT_LEAKS)


def test_full_disk(publisher: Publisher, target: Path) -> None:
    """Of a package for which there is no room, nothing is left."""
    publisher.offer(CHOSEN, content=PACKAGE)
    room = len(PACKAGE) // 2
    outcome = interrupted(publisher, target, *sandboxed(small_disk=(target, room)), "sh", "-c",
                          '"$@"; code=$?; cp -a "$0" "$0 afterwards"; exit $code', str(target))
    assert outcome.code == FILE_OR_NETWORK and "No space left" in outcome.document["error"]
    assert files_below(target.with_name("target afterwards")) == {}


def test_read_only_folder(publisher: Publisher, target: Path) -> None:
    publisher.offer(CHOSEN, content=PACKAGE)
    alone = sandboxed(read_only=[target])
    assert interrupted(publisher, target, *alone).code == FILE_OR_NETWORK
    for option in "--dry-run", "--print-order":
        assert publisher("publish", target, option, through=alone).code == CLEAN


@pytest.mark.parametrize("call", ["write", "fsync", "rename", "linkat"])
def test_killed(publisher: Publisher, folder: Path, call: str) -> None:
    """Killed before any of its calls, amid a package too, it leaves the old versions or the new ones, and the next one
    goes on."""
    old, new = contents(CHOSEN), contents(CHOSEN, BETA)
    publisher.offer(CHOSEN, BETA, content=PACKAGE)

    def offer(name: str) -> Path:
        target = folder / name
        folders.make(target, {path: folders.File(content) for path, content in old.items()})
        return target

    whole = offer("whole")
    points = kill_points(call, lambda *through: interrupted(publisher, whole, *through))
    assert files_below(whole) == new
    for number in points:
        target = offer(f"target {number}")
        assert interrupted(publisher, target, *killed_at(call, number)).code < 0
        left = files_below(target)
        assert left.items() >= (new if left[INDEX] == new[INDEX] else old).items(), (number, sorted(left))
        # What has not been written into the lock counts for a second.
        wait_for(lambda: publisher("publish", target).code != LOCKED_OR_CHANGED, "the lock")
        assert without_leftovers(files_below(target)) == new, number
    if call == "write":
        assert package_pieces(points) == 3, points
    assert points
