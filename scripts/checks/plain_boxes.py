#!/usr/bin/env python3
"""Fails on a message box of the client that could take a name for markup.

Each box says setTextFormat(Qt::PlainText); the static functions of QMessageBox cannot.
"""

import re

import house
from house import Finding

_STATIC = re.compile(r"\bQMessageBox\s*::\s*(?:information|warning|critical|question|about)\s*\(")
_BOX = re.compile(r"\bQMessageBox\s*\*?\s*(\w+)\s*(?:\(|\{|;|=\s*new\b)|(\w+)\s*=\s*new\s+QMessageBox\b")


def check(root):
    for source in house.sources(root, ("host",)):
        for use in _STATIC.finditer(source.code):
            yield Finding(source.path, source.line_of(use.start()), "a static function of QMessageBox guesses the format")
        for box in _BOX.finditer(source.code):
            name = box[1] or box[2]
            if not re.search(rf"\b{name}\s*(?:\.|->)\s*setTextFormat\(\s*Qt::PlainText\s*\)", source.code):
                yield Finding(source.path, source.line_of(box.start()), f"'{name}' does not say that its text is plain")


if __name__ == "__main__":
    house.main(__doc__, check)
