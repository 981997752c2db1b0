#!/usr/bin/env python3
"""Fails when the desktop entry, icon or AppStream metadata of an installation are not as the desktop wants them.

The build is installed into a scratch tree, and what lies there is looked at: by the desktop's own validators, and for
what the entry names. Of AppStream's findings those are expected, all of them, that the packaging notes list. Ends with 77
where a validator is missing.
"""

import argparse
import configparser
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

TOOLS = ("desktop-file-validate", "appstreamcli", "xmllint")
SKIPPED = 77
# "E: zav_client.desktop:3: metadata-license-missing", with what it is about behind it.
FINDING = re.compile(r"^\s*[EWIP]: \S+:\S+: (\S+)", re.M)
# The first column of the table under the notes' heading.
HEADING = re.compile(r"^#+ Findings of AppStream$(.*?)(?=^#|\Z)", re.M | re.S)
LISTED = re.compile(r"^\| `([\w-]+)` \|", re.M)


def listed_findings(notes):
    """The findings that the packaging notes tell of."""
    section = HEADING.search(notes)
    if not section:
        raise ValueError("no section on the findings of AppStream")
    return set(LISTED.findall(section[1]))


def unexpected(report, notes):
    """What AppStream finds and the notes do not list, and the other way round."""
    found, listed = set(FINDING.findall(report)), listed_findings(notes)
    return [f"AppStream finds {tag}, which is not listed" for tag in sorted(found - listed)] + [
        f"{tag} is listed, and AppStream does not find it" for tag in sorted(listed - found)
    ]


def entry_of(text):
    parser = configparser.RawConfigParser(strict=True, delimiters=("=",), comment_prefixes=("#",))
    parser.optionxform = str
    parser.read_string(text)
    return parser["Desktop Entry"]


def missing_parts(prefix, entry):
    """What an entry names and an installation does not have."""
    program = prefix / "bin" / entry["Exec"].split()[0]
    if not os.access(program, os.X_OK):
        yield f"there is no program {program}"
    icon = prefix / "share/icons/hicolor/scalable/apps" / f"{entry['Icon']}.svg"
    if not icon.is_file():
        yield f"there is no icon {icon}"
    for key in ("Name", "GenericName", "Comment", "Keywords"):
        if not entry.get(f"{key}[zh_CN]"):
            yield f"{key} is not told in Chinese"


def said(*command):
    """What a validator prints, wherever."""
    return subprocess.run(
        command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, env={**os.environ, "LC_ALL": "C"}, check=False
    ).stdout


def faults(tree, notes):
    """Everything that is wrong in the tree of an installation with the prefix /usr."""
    share = tree / "usr/share"
    entries = sorted((share / "applications").glob("*.desktop"))
    if not entries:
        yield "no desktop entry is installed"
    for path in entries:
        yield from said("desktop-file-validate", "--warn-kde", str(path)).splitlines()
        yield from missing_parts(tree / "usr", entry_of(path.read_text(encoding="utf-8")))
    for path in [*(share / "metainfo").glob("*.xml"), *(share / "icons").rglob("*.svg")]:
        yield from said("xmllint", "--noout", "--nonet", str(path)).splitlines()
    report = said("appstreamcli", "validate-tree", "--no-net", "--pedantic", str(tree))
    yield from unexpected(report, notes)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--cmake", default="cmake")
    parser.add_argument("--notes", type=Path, required=True, help="packaging notes with the expected findings")
    parser.add_argument("--work", type=Path, required=True, help="scratch folder")
    parser.add_argument("build", type=Path)
    arguments = parser.parse_args()
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        print(f"skipped: {', '.join(missing)} missing (scripts/setup.sh test)")
        sys.exit(SKIPPED)
    shutil.rmtree(arguments.work, ignore_errors=True)
    install = [arguments.cmake, "--install", str(arguments.build), "--prefix", str(arguments.work / "usr")]
    subprocess.run(install, stdout=subprocess.DEVNULL, check=True)
    found = list(faults(arguments.work, arguments.notes.read_text(encoding="utf-8")))
    print("\n".join(found) if found else "the desktop's files are in order")
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
