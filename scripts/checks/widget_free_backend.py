#!/usr/bin/env python3
"""Fails when a library or program below the panels needs a library of Qt's graphical side."""

import argparse
import re
import sys

import house

GRAPHICAL = re.compile(r"libQt\d*(?:Widgets|Gui|PrintSupport|OpenGL|Quick|Qml)\w*\.so")
NEEDED = re.compile(r"\(NEEDED\).*\[(.+)\]")


def graphical_libraries(dynamic_section):
    """The graphical ones among the libraries that a dynamic section, as readelf -d prints it, names as needed."""
    needed = NEEDED.findall(dynamic_section)
    if not needed:
        raise ValueError("names no needed library: not a dynamically linked file")
    return [name for name in needed if GRAPHICAL.match(name)]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    failed = False
    for file in arguments.files:
        for name in graphical_libraries(house.output_of(arguments.readelf, "-d", "-W", file)):
            print(f"{file}: needs {name}")
            failed = True
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
