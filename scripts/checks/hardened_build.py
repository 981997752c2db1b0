#!/usr/bin/env python3
"""Fails where a program or library lacks a protection: against moved addresses, overwritten stacks and tables."""

import argparse
import json
import re
import sys
from pathlib import Path

import house

# What readelf -hldsW must show of a file, and what its absence means.
_IN_FILE = {
    "cannot be loaded at any address (PIE)": re.compile(r"^\s*Type:\s+DYN\b", re.M),
    "has tables that stay writable (RELRO)": re.compile(r"^\s*GNU_RELRO\b", re.M),
    "binds symbols when they are first called (BIND_NOW)": re.compile(r"\((?:FLAGS|FLAGS_1)\).*\b(?:BIND_NOW|NOW)\b"),
    "has a stack that can be executed": re.compile(r"^\s*GNU_STACK\s+(?:0x\w+\s+)+RW\s", re.M),
    "does not look for overwritten stacks": re.compile(r"\b__stack_chk_fail\b"),
}

# What every source is compiled with where the build is optimised.
_IN_COMMAND = {
    "without checked calls of the C library": re.compile(r"-D\s*_FORTIFY_SOURCE=[23]\b"),
    "without a look for overwritten stacks": re.compile(r"-fstack-protector-strong\b"),
}


def missing_in_file(listing):
    """What a file lacks, given what readelf -hldsW prints of it."""
    if "ELF Header:" not in listing:
        raise ValueError("not an ELF file")
    return [lack for lack, sign in _IN_FILE.items() if not sign.search(listing)]


def missing_in_commands(commands, root):
    """(source, lack) of the entries of compile_commands.json; sources that the build makes itself are left out."""
    for entry in commands:
        source = Path(entry["file"])
        if source.is_relative_to(root) and not source.is_relative_to(entry["directory"]):
            for lack, sign in _IN_COMMAND.items():
                if not sign.search(entry["command"]):
                    yield source.relative_to(root), lack


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("root", type=Path)
    parser.add_argument("--readelf", default="readelf")
    parser.add_argument("--commands", type=Path, help="compile_commands.json of an optimised build")
    parser.add_argument("files", nargs="+")
    arguments = parser.parse_args()
    findings = [
        f"{file}: {lack}"
        for file in arguments.files
        for lack in missing_in_file(house.output_of(arguments.readelf, "-h", "-l", "-d", "-s", "-W", file))
    ]
    if arguments.commands:
        commands = json.loads(arguments.commands.read_text(encoding="utf-8"))
        findings += [f"{source}: compiled {lack}" for source, lack in missing_in_commands(commands, arguments.root)]
    print("\n".join(findings), end="\n" if findings else "")
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()
