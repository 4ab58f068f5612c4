"""What the updater says, in both languages."""

from __future__ import annotations

from pathlib import Path

_MESSAGES = Path(__file__).resolve().parents[1] / "data" / "messages.tsv"

# In every language as they stand.
PRECHECK_TITLE = "Tavlopro Updater Precheck"
PRECHECK = ("<html><p>Ihre Tavlopro-Anwendung läuft noch.</p><p>Bitte schließen Sie diese erst, um mit der "
            "Installation fortfahren zu können.</p>")
START_ERROR = ("We are sorry, but the Tavlopro update tool has an error.<br/>Perhaps it has insufficent rights.<br/>"
               "You can also try to re-install Tavlopro by downloading the current version from:<br/>"
               '<html><a href="{page}">{page}</a></html>')
NO_SELECTION_TITLE = "Information"
READ_ERROR = "Error reading version description file:\n{}"
COPY_ERROR = "Error copying update!\n\n{}"

# Of the standard buttons those that say something else in German.
_BUTTONS = {"en": {}, "de": {"Retry": "Wiederholen", "&No": "&Nein"}}


class Texts:
    """The catalogue of a language (en or de): the text of a source text, its place holders filled in."""

    def __init__(self, language: str) -> None:
        column = {"en": 1, "de": 2}[language]
        self._buttons = _BUTTONS[language]
        self._texts = {}
        for line in _MESSAGES.read_text(encoding="utf-8").splitlines():
            if line and not line.startswith("# "):
                fields = [field.replace("\\n", "\n").replace("\\s", " ") for field in line.split("\t")]
                self._texts[fields[0]] = fields[column]

    def __call__(self, source: str, *values: str) -> str:
        text = self._texts[source]
        for number, value in enumerate(values, 1):
            text = text.replace(f"%{number}", value)
        return text

    def buttons(self, *sources: str) -> tuple[str, ...]:
        """The texts of these standard buttons."""
        return tuple(self._buttons.get(source, source) for source in sources)

    def starting_with(self, beginning: str, *values: str) -> str:
        """The same for the one source text that begins so."""
        source, = (source for source in self._texts if source.startswith(beginning))
        return self(source, *values)
