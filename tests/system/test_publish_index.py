"""freshen-publish's commands for the index: what updaters are offered is what the publisher has seen before, and nobody
ever sees half of a change."""

from __future__ import annotations

import os
import re
import shutil
import time
from collections.abc import Callable
from pathlib import Path

import pytest

from kit import folders
from kit.folders import File, Tree, text
from kit.offer import (
    BETA, CHOSEN, FIX, INSTALLED, REVISION, SCRIPT, VERSION, VERSIONS_PATH, Version, application, description, package)
from kit.sandbox import sandboxed
from kit.server import UpdateServer
from kit.updater import Updater
from kit.waiting import becomes, wait_for
from kit.window import Window
from publishing import (
    CLEAN, FILE_OR_NETWORK, FINDINGS, LOCKED_OR_CHANGED, NOTHING_TO_DO, TRACED, USAGE, WITHOUT_LEAKS, Content, Outcome,
    Publisher, files_below, kill_points, killed_at, package_pieces)

ROOT = Path(__file__).resolve().parents[2]
INDEX = VERSIONS_PATH.lstrip("/")
PACKAGE = package({"Tavlopro.exe": SCRIPT})
# Is copied in several pieces.
LARGE_PACKAGE = Content(package(application()))
OTHER_PACKAGE = package({"Tavlopc.exe": SCRIPT})
# Nothing depends on the user's system here.
STABLE = Version("26.08.7300", info="Next.")
DAY = 24 * 60 * 60


def look(publisher: Publisher) -> dict[str, bytes]:
    """The files of the document root."""
    return files_below(publisher.root)


def served(*versions: Version, content: bytes = PACKAGE) -> dict[str, bytes]:
    """What is there when these versions are published."""
    return {version.package_path.lstrip("/"): content for version in versions} | {INDEX: description(*versions)}


@pytest.fixture
def packed(folder: Path) -> Callable[..., Path]:
    """Makes a package that is still to be added: packed(version, content)."""
    def make(version: Version, content: bytes = PACKAGE) -> Path:
        path = folder / version.package_name
        path.write_bytes(content)
        return path
    return make


def columns(version: Version) -> list[str]:
    """The options that give the line of a version."""
    options = {"--date": version.date, "--info": version.info, "--reference": version.reference,
               "--min-updater": version.minimum_updater, "--min-windows": version.minimum_system}
    return [word for option, value in options.items() if value for word in (option, value)]


def test_every_finding_is_documented_and_tested() -> None:
    """Its id stands once in the sources, in the table of the page with its severity, and in a test."""
    kinds = [kind for source in sorted((ROOT / "src" / "publish").iterdir())
             for kind in re.findall(r'FindingKind (\w+)\{"([a-z0-9-]+)", Severity::(\w+)\}', source.read_text())]
    page = (ROOT / "docs" / "publishing.md").read_text()
    assert sorted((id, severity.lower()) for _, id, severity in kinds) == sorted(
        re.findall(r"^\| `([a-z0-9-]+)` \| (note|warning|error) \|", page, re.MULTILINE))
    tests = "".join(path.read_text() for folder in ("unit", "system") for path in (ROOT / "tests" / folder).iterdir()
                    if "publish" in path.name)
    assert [id for name, id, _ in kinds if id not in tests and name not in tests] == []


@pytest.mark.windows("files, locks and the console are the system's")
def test_life_of_a_version(publisher: Publisher, packed: Callable[..., Path]) -> None:
    """Added, promoted, withdrawn and pruned; whoever is offered something else is told."""
    assert publisher("add", packed(CHOSEN), *columns(CHOSEN)).code == FILE_OR_NETWORK
    assert publisher("add", packed(CHOSEN), *columns(CHOSEN), "--new").code == CLEAN
    assert look(publisher) == served(CHOSEN)

    assert publisher("add", packed(BETA), *columns(BETA), "--dry-run").code == CLEAN
    assert look(publisher) == served(CHOSEN)
    outcome = publisher("add", packed(BETA), *columns(BETA))
    change = outcome.document["changes"][0]
    assert (change["now"]["user"], change["before"]["automatic"], change["now"]["automatic"]) == (
        "beta", "7205", "7240")
    assert look(publisher) == served(CHOSEN, BETA)
    assert publisher("add", packed(BETA), *columns(BETA)).code == NOTHING_TO_DO

    promoted = BETA._replace(kind="Stable", info="No beta any more.")
    assert publisher("promote", "7240", "--to", "Stable", "--info", promoted.info).code == CLEAN
    assert look(publisher) == served(CHOSEN, BETA) | served(CHOSEN, promoted)
    assert publisher("promote", "7240", "--to", "Stable").code == NOTHING_TO_DO

    outcome = publisher("withdraw", "7240")
    assert (outcome.code, outcome.ids) == (CLEAN, ["installed-stays"])
    assert look(publisher) == served(CHOSEN, BETA) | served(CHOSEN, promoted) | served(CHOSEN)
    assert publisher("withdraw", "7240").code == NOTHING_TO_DO

    assert publisher("prune").code == NOTHING_TO_DO
    deleted = publisher("prune", "--older-than", "0h").document["deleted"]
    assert deleted == [BETA.package_name, promoted.package_name]
    assert look(publisher) == served(CHOSEN)


@pytest.mark.windows("folders and their contents are listed by the system")
@pytest.mark.parametrize(("lines", "code", "ids"), [
    ([CHOSEN, BETA], CLEAN, ["no-extended-packages", "no-updater"]),
    ([CHOSEN, BETA, "no line"], FINDINGS, ["no-extended-packages", "no-updater", "unreadable-line"]),
], ids=["clean", "findings"])
def test_check(publisher: Publisher, lines: list[Version | str], code: int, ids: list[str]) -> None:
    publisher.offer(*lines, content=PACKAGE)
    outcome = publisher("check")
    assert (outcome.code, outcome.ids) == (code, ids)
    assert [line["automatic"]["verdict"] for line in outcome.document["lines"]] == [
        "stable fix", "beta", *["refused"] * (len(lines) - 2)]
    assert [line["manual"]["log"] for line in outcome.document["lines"]][2:] == [
        ['WARNING: ("no line") does not have right number of cols']] * (len(lines) - 2)
    # A package without an updater is worth a warning.
    assert publisher("check", "--strict").code == FINDINGS


def test_check_of_many_lines(publisher: Publisher) -> None:
    versions = [Version(f"26.05.{revision}") for revision in range(10000, 20000)]
    publisher.write(VERSIONS_PATH, description(*versions))
    outcome = publisher("check", "--index-only", seconds=20)
    assert (outcome.code, len(outcome.document["lines"])) == (CLEAN, len(versions))
    preview = publisher("preview", seconds=20).document["preview"]
    assert {len(row["list"]) for row in preview} == {len(versions)} and preview[0]["path"] == [19999]


def test_check_without_an_index(publisher: Publisher) -> None:
    outcome = publisher("check")
    assert (outcome.code, outcome.document["ok"]) == (FILE_OR_NETWORK, False)
    assert INDEX in outcome.document["error"].replace("\\", "/")


def test_preview(publisher: Publisher, folder: Path) -> None:
    """Its text can be expected later, and it tells what differs from another index."""
    publisher.offer(CHOSEN, BETA, content=PACKAGE)
    old = publisher.root / INDEX
    shutil.copy(old, folder / "old.txt")
    expectation = folder / "expected"
    expectation.write_text(f"# The fix\n{REVISION} 10.0 stable 7205\n{REVISION} 10.0 beta 7240 7240,7205\n")
    assert publisher("preview", "--expect", expectation).code == CLEAN
    publisher.write(VERSIONS_PATH, description(CHOSEN, BETA, STABLE))
    outcome = publisher("preview", "--windows", "10.0", "--against", folder / "old.txt", "--expect", expectation)
    assert outcome.code == FINDINGS and outcome.ids == ["expectation-not-met"]
    assert [(change["before"]["list"], change["now"]["list"]) for change in outcome.document["changes"]] == [
        (["7205"], ["7300", "7205"]), (["7240", "7205"], ["7300", "7240", "7205"])]


def test_results_for_others(publisher: Publisher, folder: Path) -> None:
    """What a preview prints can be expected: findings, which come with it, are told elsewhere."""
    publisher.offer(CHOSEN, content=PACKAGE)
    _, printed, _ = publisher.print("preview")
    expectation = folder / "expected"
    expectation.write_text(printed.replace("7205", "7240"))
    code, again, prose = publisher.print("preview", "--expect", expectation)
    assert (code, again) == (FINDINGS, printed) and prose.count("[expectation-not-met]\n") == 4
    expectation.write_text(again)
    assert publisher.print("preview", "--expect", expectation) == (CLEAN, printed, "")


@pytest.mark.parametrize("form", ["text", "json"])
def test_report_that_cannot_be_written(publisher: Publisher, form: str) -> None:
    publisher.offer(CHOSEN, content=PACKAGE)
    for option, reason in ("--quiet", "No space left"), ("--help", ""):
        process = publisher.start("check", option, "--format", form, through=["sh", "-c", 'exec "$@" >/dev/full', "sh"])
        _, prose = process.communicate(timeout=60)
        assert process.returncode == FILE_OR_NETWORK and reason in prose


@pytest.mark.parametrize("arguments", [
    *(["check", "--folder", name] for name in ("", ".hidden", "..", "a/b", "../../..", "a\\b", "C:", "a.", "a\n")),
    ["withdraw", "abc"], ["promote", "7205x", "--to", "Stable"], ["preview", "--updater", "x"],
    ["preview", "--windows", "10"], ["prune", "--older-than", "1"], ["promote", "7240"],
    ["promote", "7240", "--to", "stable"], ["add", "{package}", "--info", "a|b"], ["add", "{package}", "--new"],
    ["add", "{index}"], ["preview", "--expect", "{index}"]])
def test_wrong_usage(publisher: Publisher, packed: Callable[..., Path], arguments: list[str]) -> None:
    publisher.offer(CHOSEN, content=PACKAGE)
    before = look(publisher)
    places = {"{package}": packed(BETA), "{index}": publisher.root / INDEX}
    outcome = publisher(*(places.get(argument, argument) for argument in arguments))
    assert (outcome.code, outcome.document["ok"]) == (USAGE, False) and outcome.document["error"]
    assert look(publisher) == before


def slip(**columns: str) -> list[str]:
    return [word for name, value in columns.items() for word in (f"--{name.replace('_', '-')}", value)]


@pytest.mark.parametrize(("version", "content", "options", "id"), [
    (BETA, PACKAGE, slip(min_updater="7O00"), "limit-is-no-number"),
    (BETA._replace(kind="Test"), PACKAGE, [], "test-for-everybody"),
    (BETA, b"no package", [], "package-not-unpacked"),
    (CHOSEN._replace(kind="Beta"), PACKAGE, [], "already-listed"),
    (STABLE, PACKAGE, ["--strict"], "no-updater"),
], ids=["limit", "type", "package", "revision", "strict"])
def test_slips_are_not_added(publisher: Publisher, packed: Callable[..., Path], version: Version, content: bytes,
                             options: list[str], id: str) -> None:
    publisher.offer(CHOSEN, content=PACKAGE)
    outcome = publisher("add", packed(version, content), *options)
    assert outcome.code == FINDINGS and id in outcome.ids
    assert look(publisher) == served(CHOSEN)


def test_insisting(publisher: Publisher, packed: Callable[..., Path]) -> None:
    """Errors are written all the same; but other bytes under a name that may be in caches are not."""
    publisher.offer(CHOSEN, content=PACKAGE)
    outcome = publisher("add", packed(STABLE), *columns(STABLE), "--min-updater", "x", "--force")
    assert outcome.code == FINDINGS
    assert look(publisher)[INDEX] == description(CHOSEN, STABLE._replace(minimum_updater="x"))
    publisher.write(BETA.package_path, OTHER_PACKAGE)
    outcome = publisher("add", packed(BETA), *columns(BETA), "--force")
    assert outcome.code == FINDINGS and "package-differs" in outcome.ids
    assert BETA.line not in look(publisher)[INDEX].decode()


def test_revision_in_two_lines(publisher: Publisher) -> None:
    """Which one is to be promoted is not clear; both can be withdrawn."""
    publisher.offer(CHOSEN, BETA, BETA._replace(info="Again."), content=PACKAGE)
    outcome = publisher("promote", "7240", "--to", "Stable")
    assert (outcome.code, outcome.ids) == (FINDINGS, ["ambiguous-revision"])
    assert publisher("withdraw", "7240").code == CLEAN
    assert look(publisher)[INDEX] == description(CHOSEN)


def test_withdraw_the_last(publisher: Publisher) -> None:
    """The version is gone, but then there is none."""
    publisher.offer(CHOSEN, content=PACKAGE)
    outcome = publisher("withdraw", "7205")
    assert (outcome.code, outcome.ids) == (FINDINGS, ["installed-stays", "no-versions"])
    assert look(publisher)[INDEX] == b""


def test_promote_in_a_file_of_windows(publisher: Publisher) -> None:
    """A carriage return does not get between the columns."""
    publisher.offer(BETA, content=PACKAGE)
    publisher.write(VERSIONS_PATH, b"26.07.7240|Beta||d|i\r\n")
    assert publisher("promote", "7240", "--to", "Stable", "--min-updater", str(REVISION)).code == CLEAN
    assert look(publisher)[INDEX] == f"26.07.7240|Stable||d|i|{REVISION}\n".encode()


def test_extended_name_alone(publisher: Publisher, packed: Callable[..., Path]) -> None:
    """Updaters without that setting need the package as well."""
    publisher.offer(CHOSEN, content=PACKAGE)
    assert publisher("add", packed(STABLE).rename(
        publisher.root / f"{STABLE.package_name[:-4]}WIN7X64.zip"), *columns(STABLE)).code == CLEAN
    assert served(CHOSEN, STABLE).items() <= look(publisher).items()
    assert STABLE.package_path.lstrip("/").replace(".zip", "WIN7X64.zip") in look(publisher)


def test_extended_names(publisher: Publisher, packed: Callable[..., Path]) -> None:
    """A package under its extended name is promoted with the other."""
    publisher.offer(CHOSEN, content=PACKAGE)
    publisher("add", packed(BETA), *columns(BETA), "--extended")
    publisher("promote", "7240", "--to", "Stable")
    names = {f"update/Tavlopc/windows/Tavlopc26.07.7240{kind}{tags}.zip" for kind in ("BETA", "STABLE")
             for tags in ("", "WIN7X64")}
    assert names < look(publisher).keys()


def test_promote_without_its_package(publisher: Publisher) -> None:
    publisher.write(VERSIONS_PATH, description(BETA))
    assert publisher("promote", "7240", "--to", "Stable").code == FILE_OR_NETWORK
    assert look(publisher)[INDEX] == description(BETA)


def test_prune_spares(publisher: Publisher) -> None:
    """What is young, what another folder's index lists, what a command has just delisted, and what is no package."""
    publisher.offer(CHOSEN, BETA, content=PACKAGE)
    publisher.write(VERSIONS_PATH.replace("VERSIONS", "OTHERS"), description(STABLE))
    old = time.time() - 15 * DAY
    leftover = f"{INSTALLED.package_name}.aBcD12"
    for path in (STABLE.package_path, INSTALLED.package_path, BETA.package_path, FIX.package_path,
                 "/update/Tavlopc/windows/notes.txt", f"/update/Tavlopc/windows/{leftover}"):
        os.utime(publisher.write(path, PACKAGE), (old, old))
    # What counts as a finding is done all the same where somebody insists.
    assert publisher("promote", "7240", "--to", "Stable", "--reference", "x", "--strict", "--force").code == FINDINGS
    assert publisher("prune", "--dry-run").document["deleted"] == [INSTALLED.package_name, leftover]
    before = look(publisher)
    assert publisher("prune").document["deleted"] == [INSTALLED.package_name, leftover]
    assert before.keys() - look(publisher).keys() == {f"update/Tavlopc/windows/{name}"
                                                      for name in (INSTALLED.package_name, leftover)}
    shutil.rmtree(publisher.root / "update/Tavlopc/VERSIONS")
    shutil.rmtree(publisher.root / "update/Tavlopc/OTHERS")
    assert publisher("prune", "--older-than", "0h").code == FILE_OR_NETWORK


@pytest.mark.parametrize("index", [
    description(STABLE).decode().encode("utf-16"), description(STABLE).replace(b"7300|", b"73oo|"), b""],
    ids=["UTF-16", "typing error", "empty"])
def test_prune_with_a_damaged_index(publisher: Publisher, index: bytes) -> None:
    """Of what nobody can read, nobody can say that it does not list a package."""
    publisher.offer(CHOSEN, content=PACKAGE)
    publisher.write(STABLE.package_path, PACKAGE)
    publisher.write(VERSIONS_PATH.replace("VERSIONS", "OTHERS"), index)
    before = look(publisher)
    outcome = publisher("prune", "--older-than", "0h")
    assert outcome.code == FINDINGS and set(outcome.ids) & {"zero-byte", "unreadable-line", "no-versions"}
    assert look(publisher) == before


# --- several at a time, and failures on the way

def test_many_at_once(publisher: Publisher, packed: Callable[..., Path]) -> None:
    """Each gets its turn or is told to come again; no line is lost."""
    publisher.offer(CHOSEN, content=PACKAGE)
    versions = [Version(f"26.08.{revision}") for revision in range(7300, 7306)]
    waiting = {version: publisher.start("add", packed(version)) for version in versions}
    while waiting:
        version, process = waiting.popitem()
        process.communicate(timeout=60)
        assert process.returncode in (CLEAN, LOCKED_OR_CHANGED)
        if process.returncode == LOCKED_OR_CHANGED:
            waiting[version] = publisher.start("add", packed(version))
    outcome = publisher("check")
    assert outcome.code == CLEAN
    assert sorted(line["text"].split("|")[0] for line in outcome.document["lines"]) == sorted(
        version.number for version in (CHOSEN, *versions))


def test_change_by_hand(publisher: Publisher, packed: Callable[..., Path]) -> None:
    """Whoever edits the index while a package is copied keeps the change."""
    publisher.offer(CHOSEN, content=PACKAGE)
    adding = publisher.start("add", packed(BETA), variables=WITHOUT_LEAKS, through=[
        *TRACED, "--output=/dev/null", "--inject=linkat,rename:delay_exit=2000000:when=1"])
    wait_for((publisher.root / BETA.package_path.lstrip("/")).exists, "the package")
    publisher.write(VERSIONS_PATH, description(STABLE))
    adding.communicate(timeout=60)
    assert adding.returncode == LOCKED_OR_CHANGED
    assert look(publisher)[INDEX] == description(STABLE)


CHANGES = {"add": ["{package}", *columns(STABLE)], "promote": ["7240", "--to", "Stable"], "withdraw": ["7205"]}


def changing(publisher: Publisher, package: Path, command: str, *through: str) -> Outcome:
    arguments = [package if argument == "{package}" else argument for argument in CHANGES[command]]
    return publisher(command, *arguments, through=through, variables=WITHOUT_LEAKS)


@pytest.mark.parametrize("call", ["write", "fsync", "rename", "linkat", "unlink"])
@pytest.mark.parametrize("command", CHANGES)
def test_killed(publisher: Publisher, packed: Callable[..., Path], command: str, call: str) -> None:
    """Killed before any of its calls, amid a package too, it leaves the old state or the new one, and the next one goes
    on."""
    source = packed(STABLE, LARGE_PACKAGE)

    def offer() -> None:
        shutil.rmtree(publisher.root)
        publisher.offer(CHOSEN, BETA, content=LARGE_PACKAGE)

    offer()
    old = look(publisher)
    points = kill_points(call, lambda *through: changing(publisher, source, command, *through))
    new = look(publisher)
    for number in points:
        offer()
        assert changing(publisher, source, command, *killed_at(call, number)).code < 0
        left = look(publisher)
        assert left.items() >= (new if left[INDEX] == new[INDEX] else old).items(), (number, sorted(left))
        # What has not been written into the lock counts for a second.
        wait_for(lambda: changing(publisher, source, command).code != LOCKED_OR_CHANGED, "the lock")
        assert look(publisher).items() >= new.items(), number
    if call == "write" and command != "withdraw":
        assert package_pieces(points) == 3, points
    assert points


@pytest.mark.parametrize("command", CHANGES)
@pytest.mark.parametrize("place", ["VERSIONS", "windows"])
def test_read_only_folder(publisher: Publisher, packed: Callable[..., Path], command: str, place: str) -> None:
    """Nothing is listed that is not there; a package that is there already is enough."""
    publisher.offer(CHOSEN, BETA, content=PACKAGE)
    folder = publisher.root / "update" / "Tavlopc" / place
    outcome = changing(publisher, packed(STABLE), command, *sandboxed(read_only=[folder]))
    writes_there = place == "VERSIONS" or command != "withdraw"
    assert outcome.code == (FILE_OR_NETWORK if writes_there else CLEAN)
    assert (look(publisher)[INDEX] == description(CHOSEN, BETA)) == writes_there


def test_full_disk(publisher: Publisher, packed: Callable[..., Path]) -> None:
    """Of a package for which there is no room nothing is left, and its line is not written."""
    publisher.offer(CHOSEN, BETA, content=PACKAGE)
    # Less than what is copied at a time: the disk is full amid the last write.
    content = package({"Tavlopro.exe": folders.File(os.urandom(3 << 18))})
    outcome = publisher("add", packed(STABLE, content), through=[
        *sandboxed(small_disk=(publisher.root, 1 << 19)), "sh", "-c",
        '"$@"; code=$?; cp -a "$0" "$0 afterwards"; exit $code', str(publisher.root)])
    assert outcome.code == FILE_OR_NETWORK and "No space left" in outcome.document["error"], outcome
    after = files_below(publisher.root.with_name("root afterwards"))
    assert {path: content for path, content in after.items() if content is not None} == served(CHOSEN, BETA)


# --- the updater is the judge

def with_updater(updater: Updater, number: str) -> Tree:
    """The application with an updater built for the version of this number, as far as its version resource tells: of
    programs, those for Windows have one."""
    program = updater.files["Freshen.exe"]
    stamped = program.content.replace(VERSION.encode("utf-16-le"), number.encode("utf-16-le"))
    return {**application(updater.program), **updater.files, "Freshen.exe": File(stamped, program.mode)}


@pytest.mark.windows("both programs and their system are others")
def test_first_published_version(updater: Updater, window: Window, server: UpdateServer, publisher: Publisher,
                                 folder: Path) -> None:
    """The lines of the page, typed as they stand, publish a version that the updater installs."""
    page = (ROOT / "docs" / "publishing.md").read_text()
    lines = re.search(r"## The first published version\n.*?\n\n((?:    [^\n]*\n)+)", page, re.DOTALL)[1]
    brought = with_updater(updater, re.search(r"pack Tavlopro (\S+)", lines)[1])
    folders.make(folder / "Tavlopro", brought)
    publisher.type(lines, folder)
    server.answers = {f"/{path}": content for path, content in files_below(folder / "served").items()}
    updater.use(server, {"Updater/filesToKeep": ["user.ini"]})
    updater.install({"Tavlopro.exe": File(b"the old one"), "user.ini": text("mine"), "old.txt": text("old")})
    updater.start("auto")
    window.wait_for_button(updater.texts("Install Update"))
    updater.install_update()
    updater.is_updated(brought, ["user.ini"])
    becomes([], updater.processes, "processes")


JUDGED = {
    "fix": [INSTALLED, Version("26.06.7150", reference="1"), STABLE],
    "beta": [INSTALLED, CHOSEN, BETA],
    "same revision": [CHOSEN, CHOSEN._replace(kind="Beta", reference="")],
    "limit": [CHOSEN, STABLE._replace(minimum_updater=str(REVISION + 1)), BETA._replace(minimum_updater="x")],
    "faults": ["no line", CHOSEN, "26.9|Stable||d|i", STABLE._replace(kind="special"), Version("26.1.999")],
    "system": [CHOSEN, STABLE._replace(minimum_updater="0", minimum_system="10.0")],
}


@pytest.mark.windows("the program and its system are others", "beta", "system")
@pytest.mark.parametrize("mode", ["auto", "menu"])
@pytest.mark.parametrize("case", JUDGED)
def test_updater_does_what_the_preview_says(updater: Updater, window: Window, server: UpdateServer,
                                            publisher: Publisher, case: str, mode: str) -> None:
    publisher.offer(*JUDGED[case], content=PACKAGE)
    server.offer(*JUDGED[case])
    # Only on Windows can there be a minimum version of Windows; any other system is older than each.
    row = publisher("preview", "--windows", "10.0" if updater.is_windows else "0.0").document["preview"][0]
    updater.install(Tree())
    updater.start(mode)
    if mode == "menu":
        numbers = {version.number.rpartition(".")[2]: version.number for version in JUDGED[case]
                   if isinstance(version, Version)}
        becomes([numbers[revision] for revision in row["list"]], window.versions, "the list")
    else:
        chosen = wait_for(lambda: len(server.targets) > 1 and server.targets[1], "a request")
        assert re.search(r"(\d+)[A-Z]+\.zip$", chosen)[1] == str(row["path"][0])
        assert chosen in {f"/update/Tavlopc/windows/{name}" for name in os.listdir(
            publisher.root / "update/Tavlopc/windows")}
