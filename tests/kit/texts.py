"""What the updater says, in its two languages, as a user reads it: without the marks of rich text."""

from __future__ import annotations

import os
import re
from pathlib import Path

_MESSAGES = Path(__file__).resolve().parents[1] / "data" / "messages.tsv"

# What the program was built for.
_DOWNLOAD_PAGE = os.environ.get("FRESHEN_DOWNLOAD_PAGE", "")

# The same in every language.
TITLE = "Tavlopro Updater - Version 96"
READ_ERROR = "Error reading version description file: {}"
COPY_ERROR = "Error copying update! {}"
PRECHECK_TITLE = "Tavlopro Updater Precheck"
PRECHECK = ("Ihre Tavlopro-Anwendung läuft noch. Bitte schließen Sie diese erst, um mit der Installation fortfahren zu "
            "können.")
START_ERROR = ("We are sorry, but the Tavlopro update tool has an error. Perhaps it has insufficent rights. You can "
               f"also try to re-install Tavlopro by downloading the current version from: {_DOWNLOAD_PAGE}")

LANGUAGES = ("en", "de")
# The standard buttons that say something else in German.
_GERMAN_BUTTONS = {"No": "Nein", "Retry": "Wiederholen"}


def plain(text: str) -> str:
    """A text on one line, without the marks of rich text."""
    return " ".join(re.sub(r"<br ?/?>|</?(?:html|head/|body|p|ul|li|b|span[^>]*|a[^>]*)>", " ", text).split())


class Texts:
    """The texts of a language, "en" or "de", by their source texts."""

    def __init__(self, language: str) -> None:
        lines = _MESSAGES.read_text(encoding="utf-8").splitlines()
        fields = [line.replace("\\n", "\n").replace("\\s", " ").split("\t") for line in lines
                  if line and not line.startswith("# ")]
        column = 1 + LANGUAGES.index(language)
        self._texts = {row[0]: row[column] for row in fields}
        self._buttons = _GERMAN_BUTTONS if language == "de" else {}

    def __call__(self, source: str, *values: object) -> str:
        """The text for the one source text that is this or begins so, with its place holders filled in."""
        if source not in self._texts:
            source, = (known for known in self._texts if known.startswith(source))
        text = self._texts[source]
        for number, value in enumerate(values, 1):
            text = text.replace(f"%{number}", str(value))
        return plain(text)

    def button(self, source: str) -> str:
        """The text of a standard button."""
        return self._buttons.get(source, source)
