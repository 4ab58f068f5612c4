"""The page with the version list: what it says in both languages, its rows, its order, its keys."""

from __future__ import annotations

from collections.abc import Callable
from contextlib import ExitStack
from pathlib import Path

import pytest

from harness.desktop import Desktop
from harness.packages import VERSIONS_PATH, Version
from harness.updateserver import UpdateServer
from harness.waiting import wait_for
from rig.catalogue import listed, offered, version
from rig.evidence import becomes, same
from rig.opening import open_list
from rig.run import Run
from rig.screen import Row, Screen
from rig.texts import LANGUAGES, TEXTS

Opened = Callable[..., Screen]


@pytest.fixture
def opened(run: Run, desktop: Desktop, exits: ExitStack) -> Opened:
    """Opens the version list of a server with these lines."""
    def start(*lines: Version | str, language: str = "en_US", rows: int | None = None, settings: dict | None = None,
              ) -> Screen:
        server = exits.enter_context(UpdateServer(listed(*lines)))
        return open_list(run, desktop, server, language, len(lines) if rows is None else rows, settings)

    return start


@pytest.mark.parametrize("language", LANGUAGES)
def test_texts(opened: Opened, language: str) -> None:
    """The list page shows its group, check box, info heading, request and button in the user's language."""
    texts = TEXTS[language]
    screen = opened(version("26.06.7100"), language=language)
    same([texts.versions], [panel.name for panel in screen.window.find_all("panel")], "group")
    same([texts.show_beta], [box.name for box in screen.window.find_all("check box")], "check box")
    same([texts.info, texts.choose], [label.name for label in screen.window.find_all("label")], "labels")
    same([texts.download], [button.name for button in screen.window.find_all("push button")], "buttons")


@pytest.mark.parametrize("language", LANGUAGES)
def test_columns(opened: Opened, language: str) -> None:
    """The list shows the columns Version, Typ and Datum, under these names in every language, and hides SVN, Referenz
    and Info."""
    screen = opened(version("26.06.7100", reference="7086", info="what is new"), language=language)
    same(["Version", "Typ", "Datum"], screen.shown_columns(), "columns that can be seen")
    headers = [header.name for header in screen.window.find_all("column header")]
    same(["SVN", "Version", "Typ", "Referenz", "Datum", "Info"], headers, "all columns")


def test_row(opened: Opened) -> None:
    """A row carries revision, version, kind, reference, date and info as the file has them."""
    screen = opened("26.06.7100|Stable||21 June 2026|what is new")
    same([Row("7100", "26.06.7100", "Stable", "", "21 June 2026", "what is new")], screen.rows(), "rows")


def test_newest_first(opened: Opened) -> None:
    """The rows stand in descending order of their revisions, whatever the order of the file."""
    screen = opened(version("26.06.7150"), version("26.06.7300"), version("26.06.7100"), version("26.06.7200"))
    same(["26.06.7300", "26.06.7200", "26.06.7150", "26.06.7100"], screen.versions(), "order")


def test_revisions_are_ordered_as_text(opened: Opened) -> None:
    """Revisions are compared as texts: 999 stands above 1000."""
    screen = opened(version("1.0.1000"), version("1.0.999"))
    same(["1.0.999", "1.0.1000"], screen.versions(), "order")


def test_later_line_replaces_earlier(opened: Opened) -> None:
    """Of two lines with the same revision only the later one is listed."""
    screen = opened(version("26.06.7100", info="first"), version("26.07.7100", info="second"), rows=1)
    same([Row("7100", "26.07.7100", "Stable", "", "2026-07-01", "second")], screen.rows(), "rows")


def test_minimum_updater(opened: Opened) -> None:
    """A version that asks for a newer updater is not listed, one that asks for this one is."""
    screen = opened(version("26.06.7100", minimum_updater="7087"), version("26.06.7101", minimum_updater="7086"),
                    rows=1)
    same(["26.06.7101"], screen.versions(), "rows")


def test_lines_with_seven_columns_are_not_listed(opened: Opened) -> None:
    """Lines that name a system version are for the automatic mode and never listed."""
    screen = opened("26.06.7100|Stable||d|i|7086|6.1", version("26.06.7101"), rows=1)
    same(["26.06.7101"], screen.versions(), "rows")


def test_faulty_lines_are_passed_over(opened: Opened) -> None:
    """Lines with a wrong number of columns, a version of other than three parts, or a revision that is no number are
    passed over; the others are listed."""
    screen = opened("26.06|Stable||d|i", "26.06.72a0|Stable||d|i", "1.2.3.4|Stable||d|i", "a|b", "1|2|3|4|5|6|7|8",
                    "", version("26.06.7101"), rows=1)
    same(["26.06.7101"], screen.versions(), "rows")


def test_unknown_kinds_are_listed(run: Run, opened: Opened) -> None:
    """Versions of a kind other than Stable and Beta are listed, with a warning in the log."""
    screen = opened(version("26.06.7100", "Test"), version("26.06.7101", "beta"), version("26.06.7102", "Nightly"))
    same([("26.06.7102", "Nightly"), ("26.06.7101", "beta"), ("26.06.7100", "Test")],
         [(row.version, row.kind) for row in screen.rows()], "rows")
    same(3, sum("is unknown type" in text for text in run.log_texts()), "warnings")


@pytest.mark.parametrize("use_beta", [True, False, None])
def test_beta_box_starts_as_set(opened: Opened, use_beta: bool | None) -> None:
    """Beta versions are shown from the start exactly where the user has allowed them."""
    lines = version("26.06.7100"), version("26.06.7200", "Beta")
    screen = opened(*lines, rows=2 if use_beta else 1, settings={"LoginWindow/useBeta": use_beta})
    same(bool(use_beta), screen.is_beta_checked(), "check mark")


def test_beta_box_filters(run: Run, desktop: Desktop) -> None:
    """The check box shows and hides the beta versions without asking the server again."""
    with UpdateServer(listed(version("26.06.7100"), version("26.06.7200", "Beta"))) as server:
        screen = open_list(run, desktop, server, rows=1)
        screen.click_beta_box()
        becomes(["26.06.7200", "26.06.7100"], screen.versions, "rows with betas")
        screen.click_beta_box()
        becomes(["26.06.7100"], screen.versions, "rows without betas")
        same([VERSIONS_PATH], [request.path for request in server.requests], "requests")


def test_updates_are_numbered(opened: Opened) -> None:
    """Versions with a reference are shown as "Update N", counted from the oldest one shown; showing the betas numbers
    them anew."""
    screen = opened(version("26.06.7100", reference="7086"), version("26.06.7150", "Beta", "7100"),
                    version("26.06.7200", reference="0"), version("26.06.7300"), rows=3)
    same(["Stable", "Update 2", "Update 1"], [row.kind for row in screen.rows()], "without betas")
    screen.click_beta_box()
    becomes(["Stable", "Update 3", "Update 2", "Update 1"], lambda: [row.kind for row in screen.rows()], "with betas")
    same(["", "0", "7100", "7086"], [row.reference for row in screen.rows()], "references")


def test_info_follows_the_row(opened: Opened) -> None:
    """The field below the list shows the info of the row that the keyboard is on, with its formatting applied, and
    nothing when the list is filled anew."""
    screen = opened(version("26.06.7200", info="<b>bold</b> and <i>slanted</i>"), version("26.06.7100", info="plain"))
    screen.keys("Home", "End")
    becomes("plain", screen.info, "info of the last row")
    screen.keys("Home")
    becomes("bold and slanted", screen.info, "info of the first row")
    screen.click_beta_box()
    becomes("", screen.info, "info without a row")


@pytest.mark.parametrize("language", LANGUAGES)
def test_download_without_a_choice(run: Run, desktop: Desktop, language: str) -> None:
    """The button without a chosen version only asks for one; the list stays, and works."""
    texts = TEXTS[language]
    with UpdateServer(listed(version("26.06.7100"))) as server:
        screen = open_list(run, desktop, server, language, rows=1)
        screen.click_beta_box()
        becomes(None, screen.current_version, "chosen row")
        screen.press(texts.download)
        box = screen.box()
        same(("Information", texts.choose, ["OK"]), (box.title, box.text, box.buttons), "box")
        box.press("OK")
        becomes([], screen.boxes, "boxes")
        same(["26.06.7100"], screen.versions(), "rows")
        same(1, len(server.requests), "requests")


def test_empty_list(run: Run, opened: Opened) -> None:
    """An empty file gives an empty list and no message; the button asks for a choice."""
    screen = opened(rows=0)
    same([], screen.boxes(), "boxes")
    screen.press(TEXTS["en_US"].download)
    same(TEXTS["en_US"].choose, screen.box().text, "box")


def test_page_that_is_no_list(opened: Opened) -> None:
    """The page of a hotel's network instead of the file gives an empty list and no message."""
    screen = opened("<html><body>", "<h1>Welcome | please log in</h1>", "</body></html>", rows=0)
    same([], screen.boxes(), "boxes")


def test_two_hundred_versions(opened: Opened) -> None:
    """Of 200 versions each is listed, and the keyboard reaches the last one."""
    screen = opened(*(version(f"26.06.{revision}", info=f"info {revision}") for revision in range(7100, 7300)))
    same([f"26.06.{revision}" for revision in range(7299, 7099, -1)], screen.versions(), "rows")
    screen.keys("Home", "End")
    becomes("info 7100", screen.info, "info of the last row")
    screen.keys("Home", "Next")
    wait_for(lambda: screen.info() not in ("info 7100", "info 7299"), "a page further")


def test_keyboard_finds_the_first_row(opened: Opened) -> None:
    """When the keyboard comes to a list without a chosen row, the first row is chosen."""
    screen = opened(version("26.06.7100", info="old"), version("26.06.7200", info="new"))
    screen.click_beta_box()
    becomes(None, screen.current_version, "row of the keyboard")
    screen.keys("shift+Tab")
    becomes("26.06.7200", screen.current_version, "row of the keyboard")
    same("new", screen.info(), "info")


def test_long_info(opened: Opened) -> None:
    """An info text of 500 characters is shown whole and does not widen the window."""
    text = " ".join(f"word{number:03}" for number in range(62)) + " ends"
    screen = opened(version("26.06.7100", info=text))
    width = screen.window.extents.width
    screen.keys("Home", "End")
    becomes(text, screen.info, "info")
    same((500, width), (len(text), screen.window.extents.width), "length of the text, width of the window")


@pytest.mark.parametrize(("info", "shown"), [
    ("إصلاح: الساعات تتوقف", "إصلاح: الساعات تتوقف"),
    ("גרסה חדשה 26.06 (beta)", "גרסה חדשה 26.06 (beta)"),
    ("<p dir='rtl'>שלום</p>", "שלום"),
    ("a < b & c", "a < b & c"),
    ("<ul><li>one<li>two</ul>", "one\ntwo"),
    ("emoji 🎲 and e\u0301", "emoji 🎲 and e\u0301"),
    ("tab\there", "tab\there"),
    ("", ""),
])
def test_odd_info(opened: Opened, info: str, shown: str) -> None:
    """Right-to-left, rich, plain, combined and empty info texts are shown as what they are."""
    screen = opened(version("26.06.7200", info=info), version("26.06.7100", info="other"))
    screen.keys("Home", "End")
    becomes("other", screen.info, "other info")
    screen.keys("Home")
    becomes(shown, screen.info, "info")


def test_long_and_odd_columns(opened: Opened) -> None:
    """Long and odd texts in version, kind and date are listed as they stand."""
    line = Version("x" * 300 + ".ü.7100", "<b>Stable</b>", "", "אתמול", "i")
    screen = opened(line)
    same([(line.number, "<b>Stable</b>", "אתמול")], [(row.version, row.kind, row.date) for row in screen.rows()], "row")


def test_tab_order(opened: Opened) -> None:
    """The Tab key goes from the list to the check box, the info and the button, as the eye does, and round; with Shift
    it goes back."""
    screen = opened(version("26.06.7100"))
    texts = TEXTS["en_US"]
    order = [f"tree '{texts.versions}'", f"check box '{texts.show_beta}'", f"text '{texts.info}'",
             f"push button '{texts.download}'"]
    by_height = sorted(screen.controls(), key=lambda control: control.extents.y)
    same(order, [f"{control.role} {control.name!r}" for control in by_height], "from top to bottom")

    for expected in (*order[1:], order[0], order[1]):
        screen.keys("Tab")
        becomes(expected, screen.focus, "after Tab")
    for expected in (order[0], *reversed(order[1:])):
        screen.keys("shift+Tab")
        becomes(expected, screen.focus, "after Shift+Tab")


@pytest.mark.parametrize("language", LANGUAGES)
def test_accessible_names(opened: Opened, language: str) -> None:
    """Everything on the list page that can be used has a name for those who do not see it."""
    screen = opened(version("26.06.7100"), language=language)
    texts = TEXTS[language]
    same([("tree", texts.versions), ("check box", texts.show_beta), ("text", texts.info),
          ("push button", texts.download)], [(control.role, control.name) for control in screen.controls()], "names")


def test_page_is_not_cut(opened: Opened) -> None:
    """The window opens high enough for its page, each widget lies inside it, and no two of them overlap."""
    screen = opened(version("26.06.7100"))
    window = screen.window.extents
    same(380, window.height, "height")
    boxes = [widget.extents for widget in (*screen.controls(), *screen.window.find_all("label"))]
    for box in boxes:
        assert window.x <= box.x and box.x + box.width <= window.x + window.width, (window, box)
        assert window.y <= box.y and box.y + box.height <= window.y + window.height, (window, box)
    for number, one in enumerate(boxes):
        for other in boxes[number + 1:]:
            apart = (one.x + one.width <= other.x or other.x + other.width <= one.x
                     or one.y + one.height <= other.y or other.y + other.height <= one.y)
            assert apart, (one, other)


def test_row_is_activated_by_return(run: Run, desktop: Desktop, folder: Path) -> None:
    """Return on a row downloads its version, as the button does."""
    offer = version("26.06.7100"), version("26.06.7200")
    with UpdateServer(offered(folder / "server", offer)) as server:
        screen = open_list(run, desktop, server, rows=2)
        screen.keys("Home", "End", "Return")
        run.wait_for_log("update unzipped to")
        same([VERSIONS_PATH, offer[0].package_path], [request.path for request in server.requests], "requests")
        same(TEXTS["en_US"].ready, screen.status(), "status")


def test_row_is_activated_by_double_click(run: Run, desktop: Desktop, folder: Path) -> None:
    """A double click on a row downloads its version."""
    offer = version("26.06.7100"), version("26.06.7200")
    with UpdateServer(offered(folder / "server", offer)) as server:
        screen = open_list(run, desktop, server, rows=2)
        cell = next(widget for widget in screen.window.walk() if widget.name == "26.06.7100")
        desktop.double_click(cell)
        run.wait_for_log("update unzipped to")
        same([VERSIONS_PATH, offer[0].package_path], [request.path for request in server.requests], "requests")


@pytest.mark.parametrize(("number", "asked", "stored"), [
    ("2.1.2084", "Tavlopc2.1.2084STABLE.zip", "Tavlopc2.1.2084BETA.zip"),
    ("2.1.2085", "Tavlopc2.1.2085BETA.zip", "Tavlopc2.1.2085BETA.zip"),
])
def test_early_betas(run: Run, desktop: Desktop, number: str, asked: str, stored: str) -> None:
    """Betas before revision 2085 are asked for under their stable name, and stored under their own."""
    with UpdateServer(listed(version(number, "Beta"))) as server:
        screen = open_list(run, desktop, server, settings={"LoginWindow/useBeta": True})
        screen.keys("Home", "Return")
        run.wait_for_log("Error unzipping")
        same([VERSIONS_PATH, f"/update/Tavlopc/windows/{asked}"], [request.path for request in server.requests],
             "requests")
    same([stored], [path.name for path in run.stored_packages()], "stored packages")
