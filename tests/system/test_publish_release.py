"""What publishers get: the tool's Debian package and its package for Windows, the manual page and the completion."""

from __future__ import annotations

import os
import re
import shutil
import subprocess
import zipfile
from pathlib import Path

import pefile
import pytest

from kit.offer import VERSION, application, package
from kit.windows import WindowsUpdater
from publishing import BUILD, Publisher
from test_package import WINDOWS

ROOT = Path(__file__).resolve().parents[2]
PAGE = ROOT / "docs" / "freshen-publish.1"
COMPLETION = ROOT / "resources" / "freshen-publish.bash"
TOOL = BUILD / "bin" / "freshen-publish"
OPTION = re.compile(r"--[a-z][a-z-]*")
PROGRAM_FILES = """
    /usr/bin/freshen-publish /usr/share/bash-completion/completions/freshen-publish
    /usr/share/doc/freshen-publish/nginx.conf /usr/share/doc/freshen-publish/publishing.md
    /usr/share/doc/freshen-publish/security.md
    /usr/share/man/man1/freshen-publish.1.gz
""".split()


def run(*command: str | Path, **how: object) -> str:
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                            text=True, **how)
    assert result.returncode == 0, result.stdout
    return result.stdout


def help_of(*command: str) -> set[str]:
    """The options that the help of a command lists."""
    return set(OPTION.findall("\n".join(re.findall(r"^  -[^<\n]*", run(TOOL, *command, "--help"), re.MULTILINE))))


@pytest.fixture(scope="module")
def commands() -> dict[str, set[str]]:
    """All commands with the options that are not those of every command."""
    listed = run(TOOL, "--help").partition("Commands:\n")[2].partition("\n\n")[0]
    return {name: help_of(name) - help_of() for name in re.findall(r"^  ([a-z-]+)", listed, re.MULTILINE)}


def test_version() -> None:
    assert run(TOOL, "--version") == run(TOOL, "check", "--version") == f"freshen-publish {VERSION}\n"


@pytest.mark.parametrize(("words", "usage"), [
    ((), "[options] COMMAND [...]"), (("check",), "[options] check"), (("publish",), "[options] publish [DEST]")])
def test_usage(words: tuple[str, ...], usage: str) -> None:
    """The help calls the tool by its name, wherever it is, and ends with what there is to tell of options."""
    told = run(TOOL, *words, "--help").splitlines()
    assert told[0] == f"Usage: freshen-publish {usage}" and "Arguments:" not in told


def test_manual_page(commands: dict[str, set[str]]) -> None:
    """It tells all commands and options and no others, and is sound."""
    assert run("man", "--warnings", "--encoding=utf-8", "--local-file", PAGE, env={**os.environ, "MANWIDTH": "80"})
    page = PAGE.read_text(encoding="utf-8").replace("\\-", "-").replace("\\fR", "")
    assert re.findall(r'^\.SS "freshen-publish ([a-z-]+)', page, re.MULTILINE) == list(commands)
    told = set(OPTION.findall(page))
    assert told == help_of().union(*commands.values())


def test_completion(commands: dict[str, set[str]]) -> None:
    """It offers what the program's help tells: commands, options, and what some options take."""
    def offers(*words: str) -> set[str]:
        script = (f'source {COMPLETION}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _freshen_publish; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        return set(run("bash", "-c", script, "bash", str(TOOL), *words).split())

    assert offers("") == set(commands)
    assert offers("pre") == {"preview"}
    assert offers("--qu") == {"--quiet"}
    for name, options in commands.items():
        assert offers("--strict", name, "--") == options | help_of(), name
    assert offers("--format", "") == {"text", "json"}


@pytest.fixture
def bare_debian(tmp_path: Path) -> list[str]:
    """The start of a command line that runs in a Debian with nothing but its essential packages and those that the tool
    depends on: copies of this machine's."""
    root = tmp_path / "debian"
    status = Path("/var/lib/dpkg/status").read_text(encoding="utf-8").split("\n\n")
    known = {re.search(r"^Package: (.*)", entry, re.MULTILINE)[1]: entry for entry in status if entry.strip()}
    wanted = {name for name, entry in known.items() if "\nEssential: yes" in entry} | dependencies(
        run("dpkg-deb", "--field", make_package(tmp_path), "Depends", "Pre-Depends"))
    chosen: set[str] = set()
    while wanted:
        name = wanted.pop()
        if name in known and name not in chosen:
            chosen.add(name)
            wanted |= dependencies("".join(re.findall(r"^(?:Pre-)?Depends: (.*)", known[name], re.MULTILINE)))
    copy_packages(chosen, root)
    (root / "var/lib/dpkg/status").write_text("\n\n".join(known[name] for name in sorted(chosen)) + "\n\n")
    return ["bwrap", "--unshare-user", "--uid", "0", "--gid", "0", "--unshare-net", "--bind", str(root), "/", "--proc",
            "/proc", "--dev", "/dev", "--bind", str(tmp_path), "/mnt",
            "--setenv", "PATH", f"{os.defpath}:/usr/sbin:/sbin", "--"]


def dependencies(text: str) -> set[str]:
    """The names in the fields of a package; of alternatives, all."""
    return {re.split(r"[ :(]", alternative.strip())[0] for alternative in re.split(r"[,|\n]", text)}


def copy_packages(names: set[str], root: Path) -> None:
    """Copies the files of these packages, and what their installation has noted of them."""
    for folder in ("var/lib/dpkg/info", "var/lib/dpkg/updates", "var/lib/dpkg/triggers", "tmp", "mnt"):
        (root / folder).mkdir(parents=True)
    for link in ("bin", "sbin", "lib", "lib64"):
        (root / link).symlink_to(f"usr/{link}")
    for info in Path("/var/lib/dpkg/info").iterdir():
        if info.name.split(".")[0].split(":")[0] in names and info.suffix in (".list", ".md5sums"):
            shutil.copy2(info, root / "var/lib/dpkg/info")
    listing = {os.path.join(os.path.realpath(os.path.dirname(path)), os.path.basename(path))
               for path in run("dpkg", "--listfiles", *sorted(names)).splitlines() if path.startswith("/")}
    files = "\n".join(sorted(path[1:] for path in listing if os.path.islink(path) or os.path.isfile(path)))
    packed = subprocess.run(["tar", "--create", "--directory", "/", "--files-from", "-"], input=files.encode(),
                            stdout=subprocess.PIPE, check=True)
    subprocess.run(["tar", "--extract", "--directory", root], input=packed.stdout, check=True)


def make_package(folder: Path) -> Path:
    run("cpack", "--config", BUILD / "CPackConfig.cmake", "-B", folder / "package")
    made, = (folder / "package").glob("*.deb")
    return made


def test_debian_package(bare_debian: list[str], tmp_path: Path) -> None:
    """It can be installed where nothing but what it asks for is, works there, and leaves nothing behind."""
    made, = (tmp_path / "package").glob("*.deb")
    (tmp_path / "p.zip").write_bytes(package(application()))
    run(*bare_debian, "dpkg", "--install", f"/mnt/package/{made.name}")
    listed = run(*bare_debian, "dpkg", "--listfiles", "freshen-publish").split()
    assert [path for path in listed if (tmp_path / "debian" / path[1:]).is_file()] == sorted(PROGRAM_FILES)
    assert run(*bare_debian, "freshen-publish", "--version") == f"freshen-publish {VERSION}\n"
    assert "[no-updater]" in run(*bare_debian, "freshen-publish", "check-package", "/mnt/p.zip")
    run(*bare_debian, "dpkg", "--purge", "freshen-publish")
    assert not any((tmp_path / "debian" / path[1:]).exists() for path in PROGRAM_FILES)


@pytest.mark.windows_only("the package is for Windows")
def test_windows_package(publisher: Publisher, windows_updater: WindowsUpdater, folder: Path) -> None:
    """It holds what the program needs, and the program works from where it is unpacked."""
    made, = (BUILD / "publish-package").glob("*.zip")
    assert made.name == f"freshen-publish-{VERSION}-win64.zip"
    with zipfile.ZipFile(made) as archive:
        archive.extractall(folder / "tool")
    files = [path for path in (folder / "tool").iterdir() if path.suffix in (".exe", ".dll")]
    imported = {entry.dll.decode() for path in files for entry in pefile.PE(path).DIRECTORY_ENTRY_IMPORT}
    needed = {name for name in imported if name.lower() not in WINDOWS}
    assert {path.name for path in files} == {"freshen-publish.exe"} | needed
    page = (folder / "tool" / "publishing.md").read_text(encoding="utf-8")
    assert all((folder / "tool" / name).exists() for name in re.findall(r"]\(([\w.]+)\)", page))
    _, _, *command = publisher.command("check-package", publisher.write("p.zip", package(application())))
    output = run("wine", folder / "tool" / "freshen-publish.exe", *command, env=windows_updater.wine.environment())
    assert '"id":"no-updater"' in output
