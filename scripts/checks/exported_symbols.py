#!/usr/bin/env python3
"""Fails on a symbol that a library exports and should not, or is listed to export and does not."""

import argparse
import re
import sys
from pathlib import Path

import house

# What the compiler makes for a class is the class's.
_MADE_FOR = re.compile(
    r"(?:vtable for|VTT for|typeinfo for|typeinfo name for|guard variable for|(?:non-)?virtual thunk to"
    r"|covariant return thunk to) "
)
_LINKER = {"__bss_start", "_edata", "_end", "_init", "_fini"}
_INSTRUMENTATION = re.compile(r"_*(?:asan|odr_asan|ubsan|sanitizer|gcov|llvm)_")
# Instantiations of the standard library are weak and visible in every C++ library, whatever its options.
_STANDARD_LIBRARY = ("std::", "__gnu_cxx::")


def _without_template_arguments(name):
    before = None
    while name != before:
        before, name = name, re.sub(r"<[^<>]*>", "", name)
    return name


def qualified_name(symbol):
    """The name alone, without return type, template arguments and parameters; None for the type of a function."""
    name = re.sub(r"\boperator\b.*", "operator", _MADE_FOR.sub("", symbol))
    name = _without_template_arguments(name)
    if symbol.startswith("typeinfo ") and "(" in name:
        return None
    return name.split("(")[0].split()[-1].lstrip("&*")


def _belongs(name, prefixes):
    return name.startswith(tuple(prefixes))


def _is_incidental(kind, name):
    """Made by linker, instrumentation or the standard library's templates, whatever the sources say."""
    return name in _LINKER or _INSTRUMENTATION.match(name) or (kind in "WVu" and _belongs(name, _STANDARD_LIBRARY))


def exported(listing):
    """(qualified name, whole symbol) of the lines of nm -D --defined-only -C, without incidental ones."""
    for line in listing.splitlines():
        parts = line.split(None, 2)
        name = qualified_name(parts[2]) if len(parts) == 3 else None
        if name and not _is_incidental(parts[1], name):
            yield name, parts[2]


def unexpected(listing, allowed, denied=()):
    """The exported names that no allowed prefix covers, or that a denied one does."""
    for name, _ in exported(listing):
        if not _belongs(name, allowed) or _belongs(name, denied):
            yield name


def differences(listing, expected):
    """What is exported and not among the expected symbols ("+"), or expected and not exported ("-")."""
    found = {symbol for _, symbol in exported(listing)}
    return [f"+{symbol}" for symbol in sorted(found - expected)] + [f"-{symbol}" for symbol in sorted(expected - found)]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nm", default="nm")
    rule = parser.add_mutually_exclusive_group(required=True)
    rule.add_argument("--allow", nargs="+", metavar="PREFIX", help="what may be exported")
    rule.add_argument("--exactly", type=Path, metavar="FILE", help="list of what is exported, a symbol a line")
    parser.add_argument("--deny", nargs="+", default=[], metavar="PREFIX", help="exceptions to --allow")
    parser.add_argument("built")
    arguments = parser.parse_args()
    listing = house.output_of(arguments.nm, "-D", "--defined-only", "-C", arguments.built)
    if arguments.exactly:
        bad = differences(listing, set(arguments.exactly.read_text(encoding="utf-8").splitlines()))
    else:
        if not any(_belongs(name, arguments.allow) for name, _ in exported(listing)):
            sys.exit(f"{arguments.built}: exports nothing of {' '.join(arguments.allow)}")
        bad = [f"exports {name}" for name in unexpected(listing, arguments.allow, arguments.deny)]
    for line in bad:
        print(f"{arguments.built}: {line}")
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
