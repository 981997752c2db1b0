#!/usr/bin/env python3
"""Fails where a library leaves other operations undefined than the list says, or than the page for implementers has.

The page has the operations as the first cells of its tables, each with its class: `Class::operation`.
"""

import argparse
import re
import sys
from pathlib import Path

import exported_symbols
import house

_FIRST_CELL = re.compile(r"^\| `(\w+::~?\w+)` \|", re.M)


def needed(listing):
    """The symbols of ours among the lines of nm -D --undefined-only -C."""
    symbols = (line.split(None, 1)[1] for line in listing.splitlines() if len(line.split(None, 1)) == 2)
    return {symbol for symbol in symbols if symbol.startswith("KOZAV::")}


def with_class(symbol):
    """The operation as the page names it: with its class, or the namespace of a function, and no more."""
    return "::".join(exported_symbols.qualified_name(symbol).split("[")[0].split("::")[-2:])


def described(page):
    """The operations that a page has, each as often as it has them."""
    return _FIRST_CELL.findall(page)


def differences(listing, expected, page):
    found = needed(listing)
    for symbol in sorted(found - expected):
        yield f"needs, and is not listed to: {symbol}"
    for symbol in sorted(expected - found):
        yield f"does not need, and is listed to: {symbol}"
    names = described(page)
    operations = {with_class(symbol) for symbol in found}
    for name in sorted(operations - set(names)):
        yield f"needs {name}, of which the page says nothing"
    for name in sorted(set(names) - operations):
        yield f"does not need {name}, which the page has"
    for name in sorted({name for name in names if names.count(name) > 1}):
        yield f"the page has {name} twice"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--exactly", type=Path, required=True, metavar="FILE", help="list of symbols, one a line")
    parser.add_argument("--page", type=Path, required=True, help="what is said of each")
    parser.add_argument("built")
    arguments = parser.parse_args()
    listing = house.output_of(arguments.nm, "-D", "--undefined-only", "-C", arguments.built)
    expected = set(arguments.exactly.read_text(encoding="utf-8").splitlines())
    bad = list(differences(listing, expected, arguments.page.read_text(encoding="utf-8")))
    for line in bad:
        print(f"{arguments.built}: {line}")
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
