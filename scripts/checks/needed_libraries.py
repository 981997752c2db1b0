#!/usr/bin/env python3
"""Fails when a library or program needs a library that it must do without."""

import argparse
import re
import sys

import house

# What --deny takes: the libraries of Qt's graphical side, and the backend as foreign hosts link it.
KINDS = {
    "graphical": re.compile(r"libQt\d*(?:Widgets|Gui|PrintSupport|OpenGL|Quick|Qml)\w*\.so"),
    "shared-backend": re.compile(r"libkozav_backend\.so"),
}
NEEDED = re.compile(r"\(NEEDED\).*\[(.+)\]")


def unwanted(dynamic_section, kind):
    """Those of a kind among the libraries that a dynamic section, as readelf -d prints it, names as needed."""
    needed = NEEDED.findall(dynamic_section)
    if not needed:
        raise ValueError("names no needed library: not a dynamically linked file")
    return [name for name in needed if KINDS[kind].match(name)]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("--deny", choices=KINDS, required=True)
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    failed = False
    for file in arguments.files:
        for name in unwanted(house.output_of(arguments.readelf, "-d", "-W", file), arguments.deny):
            print(f"{file}: needs {name}")
            failed = True
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
