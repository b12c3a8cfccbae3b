#!/usr/bin/python3
"""Writes debian/changelog from CHANGELOG.md, which a build of the packages reads before anything of ours runs.

    scripts/debian_changelog.py           writes it; a version that is there already keeps its date
    scripts/debian_changelog.py --check   fails when it is not up to date
"""
import datetime
import email.utils
import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
LIST = ROOT / "debian/changelog"


def dates():
    """The date of every version that is listed already."""
    listed = LIST.read_text() if LIST.exists() else ""
    return dict(re.findall(r"^vigil \((.*?)\).*?^ -- .*?>  (.*?)$", listed, re.DOTALL | re.MULTILINE))


def item(text):
    words = " ".join(text.replace("`", "").split())
    return textwrap.fill(
        words, 76, initial_indent="  * ", subsequent_indent="    ", break_on_hyphens=False, break_long_words=False
    )


def text():
    maintainer = re.search(r"^Maintainer: (.*)$", (ROOT / "debian/control").read_text(), re.MULTILINE)[1]
    known = dates()
    now = email.utils.format_datetime(datetime.datetime.now(datetime.timezone.utc))
    entries = []
    for section in re.split(r"^## ", (ROOT / "CHANGELOG.md").read_text(), flags=re.MULTILINE)[1:]:
        version, _, body = section.partition("\n")
        items = re.split(r"^- ", body, flags=re.MULTILINE)[1:]
        date = known.get(version, now)
        changes = "\n".join(map(item, items))
        entries.append(f"vigil ({version}) unstable; urgency=medium\n\n{changes}\n\n -- {maintainer}  {date}\n")
    version = (ROOT / "VERSION").read_text().strip()
    if not entries or not entries[0].startswith(f"vigil ({version}) "):
        sys.exit(f"CHANGELOG.md does not begin with {version}, which VERSION says")
    return "\n".join(entries)


def main():
    if sys.argv[1:] == ["--check"]:
        if not LIST.exists() or LIST.read_text() != text():
            print("debian/changelog is not what scripts/debian_changelog.py writes")
            return 1
    elif sys.argv[1:]:
        print(__doc__)
        return 2
    else:
        LIST.write_text(text())
    return 0


if __name__ == "__main__":
    sys.exit(main())
