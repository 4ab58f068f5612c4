"""The life of the updater on Windows: doubled, in other languages, with settings that are not what they should be."""

from __future__ import annotations

from harness import processes
from harness.waiting import wait_for
from outside.test_life import test_settings_of_the_wrong_type  # noqa: F401
from rig.servers import Nginx
from stage import TITLE, Stage
from texts import Texts


def test_two_updaters_at_once(stage: Stage, server: Nginx) -> None:
    """A second updater, started while the first one shows its list, works from the first one's copy, whose files it
    cannot replace: both write to the log, and both end."""
    for number in (1, 2):
        starter = stage.start(reader=False)
        assert starter.wait(30) == 0
        wait_for(lambda: len(stage.updaters("menu")) == number, f"{number} copies")
        wait_for(lambda: stage.log().count("Checking version... Run:") == number, f"{number} lists in the log")
    copies = stage.updaters("menu")
    libraries = [path for path in stage.build.updater_files() if path.endswith(".dll") and "/" not in path]
    assert stage.log().count("[W][:0]  Copy failed") == len(libraries)
    for left in (1, 0):
        stage.windows.keys(TITLE, "alt+F4")
        wait_for(lambda: len(stage.updaters("menu")) == left, f"{left} copies left")
    assert [processes.wait_for_exit(copy, 10) for copy in copies] == [0, 0]


def test_unknown_language(empty_stage: Stage, server: Nginx) -> None:
    """A language that the updater does not know is logged and gets German texts."""
    stage = empty_stage
    stage.wine.language = "fr_FR"
    stage.offer({})
    stage.relocate()
    process = stage.start("menu")
    stage.wait_for_text("button", Texts("de")("Download"))
    assert stage.log().splitlines()[:2] == ['[D][:0]  language code is "fr"',
                                            '[D][:0]  ERROR: cannot load translation resource for "fr"']
    stage.windows.keys(TITLE, "alt+F4")
    assert process.wait(30) == 0
