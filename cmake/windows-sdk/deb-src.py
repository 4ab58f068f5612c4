#!/usr/bin/python3
"""Write an apt source list for Debian's source packages from the machine's own configuration.

Usage: deb-src.py TARGET-FOLDER [APT-FOLDER]

Reads sources.list, sources.list.d/*.list and sources.list.d/*.sources of the apt folder (/etc/apt unless named) and
writes what they say about Debian's section "main" once more as deb-src, with the same addresses and options, so that
mirrors and proxies stay as the machine has them. Repositories of others are left out: they have a suite that is not
one of the release's own, or name another key than Debian's.
"""

import re
import sys
from pathlib import Path


def release_suites():
    """The names under which this Debian release is published."""
    found = re.search(r'^VERSION_CODENAME="?(\w+)', Path("/etc/os-release").read_text(), re.MULTILINE)
    if not found:
        sys.exit("deb-src: /etc/os-release names no release")
    return [found[1] + pocket for pocket in ("", "-updates", "-security")]


def is_debian_key(signed_by):
    return not signed_by or "debian-archive" in signed_by


def from_one_line(text, suites):
    """Entries of the form: deb [option=value ...] address suite component ..."""
    for line in text.splitlines():
        entry = re.match(r"\s*deb\s+(?:\[([^\]]*)\]\s*)?(\S+)\s+(\S+)\s+([^#]+)", line)
        if not entry or entry[3] not in suites or "main" not in entry[4].split():
            continue
        options = [option for option in (entry[1] or "").split() if not option.startswith("arch")]
        if is_debian_key("".join(option for option in options if option.startswith("signed-by="))):
            yield " ".join(["deb-src", *([f"[{' '.join(options)}]"] if options else []), entry[2], entry[3], "main"])


def from_paragraphs(text, suites):
    """Entries in paragraphs of "Name: value", where a value goes on in lines that begin with a blank."""
    text = re.sub(r"^#.*\n", "", text, flags=re.MULTILINE)
    for paragraph in re.split(r"\n\s*\n", text):
        fields = dict((name.lower(), value.strip())
                      for name, value in re.findall(r"^([\w-]+):(.*(?:\n[ \t].*)*)", paragraph, re.MULTILINE))
        ours = [suite for suite in fields.get("suites", "").split() if suite in suites]
        if (not ours or "deb" not in fields.get("types", "").split()
                or "main" not in fields.get("components", "").split()
                or fields.get("enabled", "yes").lower() in ("no", "false", "0")
                or not is_debian_key(fields.get("signed-by", ""))):
            continue
        fields.pop("architectures", None)
        fields.update({"types": "deb-src", "suites": " ".join(ours), "components": "main"})
        yield "\n".join(f"{name}: {value}" for name, value in fields.items()) + "\n"


def read_all(paths):
    return "\n\n".join(path.read_text() for path in paths if path.is_file()) + "\n"


def main():
    target = Path(sys.argv[1])
    apt = Path(sys.argv[2] if len(sys.argv) > 2 else "/etc/apt")
    parts, suites = apt / "sources.list.d", release_suites()
    lines = list(from_one_line(read_all([apt / "sources.list", *sorted(parts.glob("*.list"))]), suites))
    paragraphs = list(from_paragraphs(read_all(sorted(parts.glob("*.sources"))), suites))
    if not lines and not paragraphs:
        sys.exit(f"deb-src: no entry for Debian's own packages ({', '.join(suites)}; main) found in {apt}")
    (target / "debian.list").write_text("".join(f"{line}\n" for line in lines))
    (target / "debian.sources").write_text("\n".join(paragraphs))


if __name__ == "__main__":
    main()
