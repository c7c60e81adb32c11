#!/usr/bin/python3
"""debian_changelog.py PACKAGE VERSION DATE MAINTAINER < CHANGELOG.md: the same in Debian's form.

A release is headed "## 1.2.3 (2026-01-31)". What is headed "## Unreleased" becomes VERSION of DATE; an
empty section is left out.
"""

import datetime
import email.utils
import re
import sys
import textwrap
from typing import NamedTuple

WIDTH = 79
_RELEASE = re.compile(r"## (\S+) \((\d{4}-\d\d-\d\d)\)")


class Release(NamedTuple):
    version: str
    date: str  # ISO 8601, YYYY-MM-DD
    entries: list  # of (bullet, text)


def releases(markdown, version, date):
    """The releases of a change log in its order, the newest first."""
    revision = version.rpartition("-")[2]
    found = []
    for line in markdown.splitlines():
        if line == "## Unreleased":
            found.append(Release(version, date, []))
        elif match := _RELEASE.fullmatch(line):
            found.append(Release(f"{match[1]}-{revision}", match[2], []))
        elif line.startswith("## "):
            sys.exit(f"{sys.argv[0]}: not a release: {line}")
        elif found and line:
            _add(found[-1].entries, line)
    return [release for release in found if release.entries]


def _add(entries, line):
    if line.startswith("### "):
        entries.append(("  ", f"[ {line[4:]} ]"))
    elif line.startswith("- ") or not entries or not line.startswith("  "):
        entries.append(("  * ", line.removeprefix("- ")))
    else:
        bullet, text = entries[-1]
        entries[-1] = (bullet, f"{text} {line.strip()}")


def debian(package, maintainer, release):
    midnight = datetime.datetime.fromisoformat(release.date).replace(tzinfo=datetime.timezone.utc)
    lines = [f"{package} ({release.version}) unstable; urgency=medium", ""]
    for bullet, text in release.entries:
        if text.startswith("[ ") and lines[-1]:
            lines.append("")
        lines += textwrap.wrap(text, WIDTH, initial_indent=bullet, subsequent_indent="    ",
                               break_long_words=False, break_on_hyphens=False)
    lines += ["", f" -- {maintainer}  {email.utils.format_datetime(midnight)}", ""]
    return "\n".join(lines)


def main(package, version, date, maintainer):
    sys.stdout.reconfigure(encoding="utf-8")
    sys.stdin.reconfigure(encoding="utf-8")
    for release in releases(sys.stdin.read(), version, date):
        print(debian(package, maintainer, release))


if __name__ == "__main__":
    if len(sys.argv) != 5:
        sys.exit(__doc__)
    main(*sys.argv[1:])
