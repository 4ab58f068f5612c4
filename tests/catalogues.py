#!/usr/bin/python3
"""Checks that the catalogues hold exactly the messages of the sources, all translated.

catalogues.py LUPDATE LRELEASE SOURCE_FOLDER RESOURCE_FOLDER

Both tools work on copies of the catalogues. A run of lupdate must change nothing, and lrelease must find 30 finished
messages.
"""
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

MESSAGES = 30
LANGUAGES = ("en", "de")


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, timeout=60).stdout


def faults(lupdate, lrelease, sources, resources):
    with tempfile.TemporaryDirectory() as folder:
        catalogues = [pathlib.Path(folder, f"i18n_{language}.ts") for language in LANGUAGES]
        for catalogue in catalogues:
            shutil.copy(pathlib.Path(resources, catalogue.name), catalogue)
        report = output_of(lupdate, "-locations", "none", sources, "-ts", *catalogues)
        found = re.findall(r"Found (\d+) source text\(s\) \((\d+) new and (\d+) already existing\)", report)
        if found != [(str(MESSAGES), "0", str(MESSAGES))] * len(LANGUAGES):
            yield f"lupdate reports:\n{report}"
        for catalogue in catalogues:
            if catalogue.read_bytes() != pathlib.Path(resources, catalogue.name).read_bytes():
                yield f"lupdate changes {catalogue.name}"
            report = output_of(lrelease, catalogue, "-qm", catalogue.with_suffix(".qm"))
            if f"Generated {MESSAGES} translation(s) ({MESSAGES} finished and 0 unfinished)" not in report:
                yield f"lrelease reports for {catalogue.name}:\n{report}"
            if re.search(r"<(comment|extracomment|translatorcomment|numerusform)>", catalogue.read_text("utf-8")):
                yield f"{catalogue.name} holds comments or plural forms"


def main():
    found = list(faults(*sys.argv[1:]))
    for fault in found:
        print(fault)
    return 1 if found else 0


sys.exit(main())
