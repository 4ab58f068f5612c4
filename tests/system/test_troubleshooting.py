"""What docs/troubleshooting.md quotes is what the updater says."""

from __future__ import annotations

import re
from pathlib import Path

from kit import fault

ROOT = Path(__file__).resolve().parents[2]
# Every other part is a block of lines of the log.
TEXT, *PARTS = re.split(r"^```(?:quote)?\n", (ROOT / "docs" / "troubleshooting.md").read_text(encoding="utf-8"),
                        flags=re.MULTILINE)
WORDS = "".join([TEXT, *PARTS[1::2]])
ROWS = fault.ROWS.values()


def test_lines_are_those_of_faults() -> None:
    logged = [line for row in ROWS for line in row.log]
    quoted = "".join(PARTS[::2]).splitlines()
    assert quoted and [line for line in quoted if not any(
        re.fullmatch(re.escape(line).replace("…", ".*"), other) for other in logged)] == []


def test_words_are_those_of_faults_and_sources() -> None:
    told = " ".join(row.user for row in ROWS)
    assert [text for text in re.findall('"(.+?)"', WORDS) if text not in told] == []
    known = "".join(file.read_text(encoding="utf-8") for file in (ROOT / "src").rglob("*.cpp")) + str(ROWS)
    codes = re.findall("`(.+?)`", WORDS)
    assert [code for code in codes if code not in known and not code.startswith("%LOCALAPPDATA%")] == []
