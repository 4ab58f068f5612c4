"""Which version the automatic mode takes, seen from what it asks the server for, and what it says of the others."""

from __future__ import annotations

import pytest

from harness.packages import VERSIONS_PATH
from harness.updateserver import UpdateServer
from harness.waiting import wait_for
from rig.catalogue import listed
from rig.evidence import becomes, same
from rig.run import Run

# No system is of version 99.0: a line that asks for it is held back everywhere.
FIX = "26.06.7150|Stable|7100|d|i"
STABLE = "26.06.7100|Stable|0|d|i", FIX, "26.06.7200|Stable|0|d|i"


def choose(run: Run, *lines: str, beta: bool = False) -> list[str]:
    """Runs the automatic mode until it has chosen; returns the packages that it has asked for."""
    with UpdateServer(listed(*lines)) as server:
        run.write_settings({"LoginWindow/useBeta": beta}, port2=server.port)
        run.start("auto")
        # No package is there, so the road ends either way.
        wait_for(lambda: any(text.startswith(("No Version found", "Error unzipping")) for text in run.log_texts()),
                 "the end of the road")
    return [request.path.rpartition("/")[2] for request in server.requests if request.path != VERSIONS_PATH]


@pytest.mark.parametrize(("lines", "beta", "package"), [
    (STABLE, False, "26.06.7150STABLE"),
    (STABLE, True, "26.06.7200STABLE"),
    ((*STABLE, "26.07.7300|Beta||d|i"), False, "26.06.7150STABLE"),
    ((*STABLE, "26.07.7300|Beta||d|i"), True, "26.07.7300BETA"),
    (("26.07.7400|Beta||d|i", "26.07.7300|Stable||d|i", "26.07.7350|Stable|7300|d|i"), True, "26.07.7400BETA"),
    (("26.07.7300|Stable||d|i", "26.06.7200|Stable|x|d|i", "26.06.7250|Stable|0|d|i"), False, "26.07.7300STABLE"),
    (("26.06.7120|Stable|1|d|i", "26.06.7160|Stable|0|d|i"), False, "26.06.7120STABLE"),
    (("26.06.7120|Stable|-1|d|i", "26.06.7160|Stable|0|d|i"), False, "26.06.7120STABLE"),
    ((FIX, "26.06.7120|Stable|1|d|i"), False, "26.06.7150STABLE"),
    (("26.06.7200|Stable|7086|d|i|7087", "26.06.7190|Stable|7086|d|i|7086"), False, "26.06.7190STABLE"),
    (("26.06.7200|Stable||d|i|7086|99.0", "26.06.7190|Stable||d|i"), False, "26.06.7190STABLE"),
    (("26.06.7200|Nightly||d|i", "26.06.7210|Test||d|i|7086", "26.06.7190|Stable||d|i"), True, "26.06.7190STABLE"),
    (("26.06.7200|Stable||d|first", "27.00.7200|Stable||d|second"), False, "27.00.7200STABLE"),
    (("26.05.7086|Stable|0|d|i", "26.04.7000|Stable||d|i"), False, "26.05.7086STABLE"),
    (("26.05.7086|Beta||d|i",), False, "26.05.7086BETA"),
], ids=lambda value: value if isinstance(value, str) else None)
def test_choice(run: Run, lines: tuple[str, ...], beta: bool, package: str) -> None:
    """A fix goes before other stable versions, the newest of all is taken where betas are allowed, and lines that ask
    for a newer updater, for a system, or are of unknown kind are left out; without a newer one the own revision is
    taken if it is listed."""
    same([f"Tavlopc{package}.zip"], choose(run, *lines, beta=beta), "packages asked for")


@pytest.mark.parametrize("lines", [("26.05.7085|Stable||d|i", "26.01.7000|Stable|6999|d|i"), ("26.07.7300|Beta||d|i",),
                                   ("26.07.7300|Stable||d|i|9999",), ("26.07.7300|Stable|1|d|i|7086|99.0",),
                                   ("nonsense",)], ids=str)
def test_no_choice(run: Run, lines: tuple[str, ...]) -> None:
    """Where no line is newer and eligible nothing is asked for, and the log ends with each line of the file."""
    same([], choose(run, *lines), "packages asked for")
    end = ["No Version found", *(f'"{line}"' for line in lines)]
    becomes(end, lambda: [line.text for line in run.log() if line.level == "D"][-len(end):], "end of the log")


@pytest.mark.parametrize(("line", "warnings"), [
    ("a|b", ['WARNING: ("a", "b") does not have right number of cols']),
    ("1|2|3|4|5|6|7|8", ['WARNING: ("1", "2", "3", "4", "5", "6", "7", "8") does not have right number of cols']),
    ("1.2|Stable||d|i", ['WARNING: ("1", "2") does not have right number of cols']),
    ("1.2.3.4|Stable||d|i", ['WARNING: ("1", "2", "3", "4") does not have right number of cols']),
    ("1.2.72a0|Stable||d|i", ['WARNING: cant read revision number "72a0"']),
    ("26.05.7200|Stable|0|d|i|7100", ["WARNING: current version 7086 not eligible for 7200 - needs update to 7100"]),
    ("26.05.7200|stable||d|i", ['WARNING: "stable" is unknown type']),
    ("26.05.7200|Test||d|i|7000", ['WARNING: "Test" is unknown type']),
    ("26.05.7200|Stable|7100|d|i|7000", ["latestStableFix 7100 7200"]),
    ("26.05.7200|Stable|7100|d|i", []),
    ("26.05.7200|Test||d|i|7000|99.0", ["WARNING: ignoring test build 7200", "t0 7086 7086"]),
    ("26.05.7200|Stable||d|i|7000|99.0", ["t0 7086 7200"]),
    ("26.05.7200|Beta||d|i|7000|99.0", ["t0 7200 7086"]),
])
def test_what_the_log_says_of_a_line(run: Run, line: str, warnings: list[str]) -> None:
    """Each line that is left out, and each fix, has its words in the log."""
    choose(run, line)
    said = run.log_texts()
    between = said[next(number for number, text in enumerate(said) if text.startswith("Checking version...")) + 1:
                   next(number for number, text in enumerate(said) if text.startswith("Choosing"))]
    same(warnings, [text for text in between if not text.startswith("WARNING: current os")], "log lines")
    same(line.count("|") == 6, any(text.startswith("WARNING: current os") for text in between), "the system is named")


def test_test_builds_where_allowed(run: Run) -> None:
    """Where the updater's own settings allow test builds, one that the system holds back counts as a beta version."""
    run.write_own_settings(allow_testbuild=True)
    choose(run, "26.05.7200|Test||d|i|7000|99.0")
    same([], [text for text in run.log_texts() if "ignoring test build" in text], "refusals")
    same(1, run.log_texts().count("t0 7200 7086"), "log line")
