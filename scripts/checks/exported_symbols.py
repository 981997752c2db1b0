#!/usr/bin/env python3
"""Fails on a symbol that a library exports and should not."""

import argparse
import re
import sys

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


def symbols(listing):
    """(kind, qualified name) of the lines of nm -D --defined-only -C."""
    for line in listing.splitlines():
        parts = line.split(None, 2)
        name = qualified_name(parts[2]) if len(parts) == 3 else None
        if name:
            yield parts[1], name


def _belongs(name, prefixes):
    return name.startswith(tuple(prefixes))


def unexpected(listing, allowed, denied=()):
    """The exported names that no allowed prefix covers, or that a denied one does."""
    for kind, name in symbols(listing):
        if name in _LINKER or _INSTRUMENTATION.match(name):
            continue
        if kind in "WVu" and _belongs(name, _STANDARD_LIBRARY):
            continue
        if not _belongs(name, allowed) or _belongs(name, denied):
            yield name


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--nm", default="nm")
    parser.add_argument("--allow", nargs="+", required=True, metavar="PREFIX", help="what may be exported")
    parser.add_argument("--deny", nargs="+", default=[], metavar="PREFIX", help="exceptions to --allow")
    parser.add_argument("built")
    arguments = parser.parse_args()
    listing = house.output_of(arguments.nm, "-D", "--defined-only", "-C", arguments.built)
    exported = [name for _, name in symbols(listing) if _belongs(name, arguments.allow)]
    if not exported:
        sys.exit(f"{arguments.built}: exports nothing of {' '.join(arguments.allow)}")
    bad = list(unexpected(listing, arguments.allow, arguments.deny))
    for name in bad:
        print(f"{arguments.built}: exports {name}")
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
