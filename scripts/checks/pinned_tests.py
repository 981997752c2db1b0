#!/usr/bin/env python3
"""Fails where a page says that a test pins it which is not there.

What stands in code spans behind "pinned by", to the end of the sentence, are names of ctest, perhaps with "*", or of the
functions of test programs.
"""

import argparse
import fnmatch
import json
import re
import sys
from pathlib import Path

import house
from house import Finding

# A paragraph ends a sentence in any case.
PASSAGE = re.compile(r"\bpinned by\b((?:(?!\n\n).)*?)(?:\.\)?(?=\s)|(?=\n\n)|\Z)", re.I | re.S)


def pages(root):
    """The pages that are held to it, by path: the manual, and those at the root."""
    return sorted([*(root / "docs").glob("*.md"), *root.glob("*.md")])


def named(text):
    """(offset, name) of what the passages of a page name in code spans."""
    for passage in PASSAGE.finditer(text):
        for span in re.finditer(r"`([^`\n]+)`", passage[1]):
            yield passage.start(1) + span.start(), span[1]


def check(root, entries):
    """Findings, given the names of the ctest entries."""
    functions = set()
    for source in house.sources(root, ("tests",)):
        functions.update(re.findall(r"::(\w+)\(\)", source.code))
    for page in pages(root):
        text = page.read_text(encoding="utf-8")
        for offset, name in named(text):
            if not fnmatch.filter(entries, name) and name not in functions:
                line = text.count("\n", 0, offset) + 1
                yield Finding(page.relative_to(root), line, f"no test is named '{name}'")


def entries_of(build, ctest):
    listing = json.loads(house.output_of(ctest, "--test-dir", build, "--show-only=json-v1"))
    return [test["name"] for test in listing["tests"]]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", type=Path)
    parser.add_argument("build", help="build tree that has all tests")
    parser.add_argument("--ctest", default="ctest")
    arguments = parser.parse_args()
    findings = list(check(arguments.root.resolve(), entries_of(arguments.build, arguments.ctest)))
    for finding in findings:
        print(finding)
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()
