#!/usr/bin/python3
"""Checks that the catalogues hold exactly the messages of the sources, all translated.

catalogues.py LUPDATE LRELEASE SOURCE_FOLDER RESOURCE_FOLDER

Both tools work on copies of the catalogues. A run of lupdate must change nothing, and lrelease must find 30 finished
messages.
"""
import filecmp
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

MESSAGES = 30


def output_of(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, timeout=60).stdout


def check(lupdate, lrelease, sources, resources):
    originals = [pathlib.Path(resources, f"i18n_{language}.ts") for language in ("en", "de")]
    with tempfile.TemporaryDirectory() as folder:
        copies = [shutil.copy(original, folder) for original in originals]
        report = output_of(lupdate, "-locations", "none", sources, "-ts", *copies)
        assert report.count(f"Found {MESSAGES} source text(s) (0 new and {MESSAGES} already existing)") == 2, report
        for original, copy in zip(originals, copies):
            assert filecmp.cmp(original, copy, shallow=False), f"lupdate changes {original}"
            report = output_of(lrelease, copy, "-qm", f"{copy}.qm")
            assert f"Generated {MESSAGES} translation(s) ({MESSAGES} finished and 0 unfinished)" in report, report
            forms = re.findall(r"<(comment|extracomment|translatorcomment|numerusform)>", original.read_text("utf-8"))
            assert not forms, f"{original} holds {forms}"


check(*sys.argv[1:])
