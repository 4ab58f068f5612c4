"""The configurations in the folder conf, with values in the place of @names."""

import string
from pathlib import Path

FOLDER = Path(__file__).with_name("conf")


class _Template(string.Template):
    # What the programs do not use themselves.
    delimiter = "@"


def configured(name: str, **values: object) -> str:
    return _Template((FOLDER / name).read_text(encoding="utf-8")).substitute(values)
