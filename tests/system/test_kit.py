"""The kit itself, where a mistake in it would let a test pass that should not."""

from __future__ import annotations

import pytest

from kit import folders
from kit.folders import File, Folder, Link, Pipe, Tree, text
from kit.waiting import becomes

FILE = text("")
WORLDS: dict[str, tuple[Tree, set[str]]] = {
    "files go, but for those to be kept": ({"top/a": FILE, "top/kept": FILE}, {"top", "top/kept"}),
    "no name is kept in a folder": ({"top/folder/kept": FILE}, {"top"}),
    "hidden ones stay, with the folders around them": (
        {"top/.a": FILE, "top/.b/a": FILE, "top/folder/.a": FILE, "top/folder/below/a": FILE},
        {"top", "top/.a", "top/.b", "top/.b/a", "top/folder", "top/folder/.a"}),
    "empty folders go": ({"top/folder/below": Folder()}, {"top"}),
    "a folder to be kept goes": ({"top/kept/a": FILE}, {"top"}),
    "what is no file stays, with the folders around it": (
        {"top/folder/pipe": Pipe()}, {"top", "top/folder", "top/folder/pipe"}),
    "links that lead nowhere stay": ({"top/link": Link("nowhere")}, {"top", "top/link"}),
    "links to files go, and the files stay": ({"top/link": Link("../a"), "a": FILE}, {"top", "a"}),
    "folders that links lead to are emptied, and stay": (
        {"top/link": Link("../other"), "other/a": FILE, "other/below/a": FILE, "other/.a": FILE},
        {"top", "top/link", "other", "other/.a"}),
    "links to links count too": (
        {"top/first": Link("../second"), "second": Link("third"), "third/a": FILE},
        {"top", "top/first", "second", "third"}),
}


@pytest.mark.parametrize("name", WORLDS)
def test_prediction(name: str) -> None:
    world, left = WORLDS[name]
    assert set(folders.after_cleaning(world, "top", ["kept"])) == left


@pytest.mark.parametrize("other", [File(b"x"), File(b"", 0o600), Folder(), Link("x"), Pipe(), None], ids=str)
def test_differences(other: folders.Node | None) -> None:
    changed = {"b": FILE} | ({"a": other} if other else {})
    assert len(folders.differences({"a": FILE, "b": FILE}, changed)) == 1
    assert len(folders.differences(changed, {"a": FILE, "b": FILE})) == 1
    assert folders.differences(changed, dict(changed)) == []


def test_becomes() -> None:
    values = iter([1, 2])
    becomes(2, lambda: next(values))
    with pytest.raises(AssertionError, match="expected: 2\n.*seen: +1"):
        becomes(2, lambda: 1, seconds=0)
