#!/usr/bin/env python3
"""Prints the sources that clang-tidy is to look at: ours in a compile database, each once, the largest first.

Generated sources are left out. See scripts/check_tidy.sh for the restrictions to some of them.
"""

import argparse
import json
from pathlib import Path

import house

TEST_FOLDERS = ("tests", "bench")
FOLDERS = house.PRODUCT_FOLDERS + TEST_FOLDERS


def compiled_sources(root, build):
    """Our sources in the compile database, as paths from root."""
    entries = json.loads((build / "compile_commands.json").read_text(encoding="utf-8"))
    for entry in entries:
        path = (Path(entry["directory"]) / entry["file"]).resolve()
        if path.is_relative_to(root) and path.relative_to(root).parts[0] in FOLDERS:
            yield path.relative_to(root)


def changed_paths(root, ref):
    """Paths that differ from ref, and new ones that git does not ignore."""
    git = ("git", "-C", str(root))
    for command in (("diff", "--name-only", ref, "--"), ("ls-files", "--others", "--exclude-standard")):
        yield from map(Path, house.output_of(*git, *command).splitlines())


def touched_by(root, sources, changed):
    """The sources that are changed themselves, or that include a changed header directly."""
    headers = {path.as_posix() for path in changed if path.suffix == ".h"}
    for path in sources:
        includes = {name for _, name, _ in house.Source(root, root / path).includes}
        if path in changed or headers & includes:
            yield path


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("--changed", nargs="?", const="HEAD", metavar="REF")
    parser.add_argument("--product", action="store_true", help="leave out tests and benchmarks")
    parser.add_argument("files", nargs="*", type=Path)
    arguments = parser.parse_args()

    root = Path(__file__).resolve().parents[2]
    chosen = set(compiled_sources(root, arguments.build))
    if arguments.files:
        wanted = {path.resolve().relative_to(root) for path in arguments.files}
        if wanted - chosen:
            parser.error(f"not compiled in {arguments.build}: {' '.join(map(str, sorted(wanted - chosen)))}")
        chosen = wanted
    if arguments.product:
        chosen = {path for path in chosen if path.parts[0] not in TEST_FOLDERS}
    if arguments.changed:
        chosen = set(touched_by(root, chosen, set(changed_paths(root, arguments.changed))))
    for path in sorted(chosen, key=lambda path: (-(root / path).stat().st_size, path)):
        print(path)


if __name__ == "__main__":
    main()
