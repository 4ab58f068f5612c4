"""The debug log as it should be: a readable template in logs/, filled in with what this run had to do.

A line of a template stands for itself, with names in braces filled in; a name alone on its line may stand for any
number of lines. {any} stands for whatever is there."""

from __future__ import annotations

import re
from collections.abc import Collection, Mapping
from pathlib import Path

from harness.trees import Tree

_LOGS = Path(__file__).parent / "logs"

# What Wine lacks: part of the scaling of title bars, and one of the ways to ask for a standard symbol. The reason is in
# the language of the system.
_ONLY_UNDER_WINE = (r"(EnableNonClientDpiScaling\(\) failed for HWND 0x[0-9a-f]+ \(120\)"
                    r"|QPixmap::fromWinHICON\(\), failed to GetIconInfo\(\)) \(.*\)")
_LINES_ONLY_UNDER_WINE = re.compile(rf"\[C\]\[:0\]  {_ONLY_UNDER_WINE}\n")
# The application is looked for until it is closed.
_ROUNDS = re.compile(r"(\[D\]\[:0\]  checking \.\.\.\n\[D\]\[:0\]  \n)+")


def is_only_under_wine(message: str) -> bool:
    return re.fullmatch(_ONLY_UNDER_WINE, message) is not None


def comparable(log: str) -> list[str]:
    """The lines of a log without what differs from run to run: rounds of the pre-check count as one."""
    return _ROUNDS.sub(r"\1", _LINES_ONLY_UNDER_WINE.sub("", log)).splitlines()


def differences(name: str, values: Mapping[str, str | Collection[str]], log: str) -> list[str]:
    """The first line in which the log differs from the template of this name, with a few before it; empty if none
    does."""
    expected = []
    for line in (_LOGS / name).read_text(encoding="utf-8").splitlines():
        lines = values.get(line.strip("{}")) if re.fullmatch(r"\{\w+\}", line) else None
        expected += [line] if lines is None or isinstance(lines, str) else lines
    actual = comparable(log)
    for number, (wanted, found) in enumerate(zip(expected + [""] * len(actual), actual + [""] * len(expected))):
        if not re.fullmatch(_pattern(wanted, values), found):
            return [*actual[max(0, number - 3):number], f"expected: {wanted}", f"but was:  {found}"]
    return []


def _pattern(line: str, values: Mapping[str, str | Collection[str]]) -> str:
    parts = re.split(r"\{(\w+)\}", line)
    return "".join(re.escape(part) if number % 2 == 0 else ".*" if part == "any" else re.escape(str(values[part]))
                   for number, part in enumerate(parts))


def unzipping(package: Tree, root: str = "Tavlopro") -> list[str]:
    """The lines of the extraction of a package: its entries in their order, each with its permissions."""
    lines = []
    for path in ["", *sorted(package)]:
        is_folder = not path or package[path].is_folder
        name = "\\\\".join([root, *filter(None, path.split("/"))]) + ("\\\\" if is_folder else "")
        # 0755 and 0644 as Qt counts them.
        lines += [_debug(f"set permission true {28757 if is_folder else 24644}"), _debug(f'unzipping "{name}"')]
    return lines


def cleaning(folder: str, entries: Tree, files_to_keep: Collection[str] = (), remove_self: bool = False,
             spelt: str | None = None) -> list[str]:
    """The lines of the cleaning of a folder. spelt: what it was called for, where that is another spelling."""
    called = spelt or folder
    lines = [_debug(f'deleteTempDir "{escaped(called)}" {str(remove_self).lower()}')]
    top = sorted((path for path in entries if "/" not in path and not path.startswith(".")), key=str.lower)
    for name in top:
        if not entries[name].is_folder:
            lines.append(_debug(f'"{name}"'))
            lines += [_debug("skipping ...")] if name in files_to_keep else []
    for name in top:
        if entries[name].is_folder:
            below = {path.removeprefix(f"{name}/"): entry for path, entry in entries.items()
                     if path.startswith(f"{name}/")}
            lines += [_debug(f'"{folder}/{name}"'), *cleaning(f"{folder}/{name}", below, remove_self=True)]
    if remove_self:
        path = called.replace("\\", "/")
        lines.append(_debug(f'"{path}"'))
        if any(part.startswith(".") for entry in entries for part in entry.split("/")):
            lines.append(f'[W][:0]  Cannot remove "{path}" - "{{any}}"')
    return lines


def entry_list(entries: Tree) -> list[str]:
    """What a folder lists, in its order: no hidden entries."""
    names = {path.split("/")[0] for path in entries}
    return [".", "..", *sorted((name for name in names if not name.startswith(".")), key=str.lower)]


def escaped(text: str) -> str:
    """A text as the log quotes it."""
    return text.replace("\\", "\\\\")


def _debug(text: str) -> str:
    return f"[D][:0]  {text}"
