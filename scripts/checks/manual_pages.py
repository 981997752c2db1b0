#!/usr/bin/env python3
"""Holds the manual together: the same pages with the same structure of headings in both languages; each picture that a page
names lies in the pictures of the page's language and is one that the test desktop_manual takes, and none lies there that
no page names.

That links and pictures lead somewhere at all, the build of the manual proves.
"""

import re

import house
from house import Finding

LANGUAGES = ("zh", "en")
TAKER = "tests/desktop/desktop_manual.cpp"

_FENCE = re.compile(r"^ *(```+|~~~+).*?^ *\1[ \t]*$", re.S | re.M)
_PICTURE = re.compile(r"!\[[^\]]*\]\(([^)\s]+)\)")
_TAKEN = re.compile(r"\bpicture\(QStringLiteral\(\"([\w-]+)\"\)\)")


def without_code(text):
    """The text with the lines of fenced code emptied, so that lines keep their numbers."""
    return _FENCE.sub(lambda code: re.sub(r"[^\n]", "", code[0]), text)


def levels(text):
    """The levels of a page's headings, in order."""
    return [len(mark) for mark in re.findall(r"^(#+) ", text, re.M)]


def pairs(root, manual):
    """Findings about a page that has no twin, or another one."""
    pages = {language: {page.name for page in (manual / language).glob("*.md")} for language in LANGUAGES}
    for name in sorted(set.union(*pages.values())):
        texts = {}
        for language in LANGUAGES:
            if name not in pages[language]:
                yield Finding((manual / language / name).relative_to(root), 1, "the page is missing in this language")
            else:
                texts[language] = without_code((manual / language / name).read_text(encoding="utf-8"))
        if len(texts) == len(LANGUAGES) and len({tuple(levels(text)) for text in texts.values()}) > 1:
            told = ", ".join(f"{language} {levels(text)}" for language, text in texts.items())
            yield Finding((manual / LANGUAGES[0] / name).relative_to(root), 1, f"its headings differ by language: {told}")


def pictures(root, manual):
    """Findings about pictures that are missing, nobody's, or of the other language."""
    taken = set(_TAKEN.findall((root / TAKER).read_text(encoding="utf-8")))
    for language in LANGUAGES:
        shown = set()
        for page in sorted((manual / language).glob("*.md")):
            text = without_code(page.read_text(encoding="utf-8"))
            for found in _PICTURE.finditer(text):
                line = text.count("\n", 0, found.start()) + 1
                place = (page.parent / found[1]).resolve()
                shown.add(place)
                if place.parent != manual / "pictures" / language:
                    yield Finding(page.relative_to(root), line, f"{found[1]} is no picture of this language")
                elif place.stem not in taken:
                    yield Finding(page.relative_to(root), line, f"{found[1]} is not taken by {TAKER}")
                elif not place.is_file():
                    yield Finding(page.relative_to(root), line, f"{found[1]} is not there")
        for place in sorted((manual / "pictures" / language).iterdir()):
            if place not in shown:
                yield Finding(place.relative_to(root), 1, "no page shows it")


def check(root):
    manual = root / "docs" / "manual"
    yield from pairs(root, manual)
    yield from pictures(root, manual)


if __name__ == "__main__":
    house.main(__doc__, check)
