#!/usr/bin/env bash
# Takes the pictures of the manual again: builds, has the test desktop_manual go the manual's road in both languages on a
# desktop of its own, makes the pictures small, and puts them into docs/manual/pictures. Needs root, so that the client has
# its made-up site in /srv whatever this machine is like. Usage: scripts/manual_pictures.sh [PRESET]
set -euo pipefail
cd "$(dirname "$0")/.."

export LC_ALL=C.UTF-8
preset=${1:-ci}
for tool in pngquant optipng; do
  command -v "$tool" >/dev/null || { echo "manual_pictures: $tool is missing: scripts/setup.sh long installs it" >&2; exit 1; }
done
unshare -m true || { echo "manual_pictures: mounting is not permitted, so the pictures would show paths of this machine" >&2; exit 1; }

cmake --preset "$preset"
cmake --build --preset "$preset" --target desktop_tests
# One picture is of the manual itself. It cannot be built while a page names a picture that was never taken: then that one
# shows what was built before, and a second run mends it.
cmake --build --preset "$preset" --target manual || echo "manual_pictures: run this again when the pictures are there" >&2
taken=$(mktemp -d)
trap 'rm -rf "$taken"' EXIT
ZAV_TEST_PICTURES=$taken "build/$preset/bin/desktop_tests" desktop_manual

for language in zh en; do
  rm -f "docs/manual/pictures/$language/"*.png
  for picture in "$taken/manual/$language/"*.png; do
    small=docs/manual/pictures/$language/${picture##*/}
    pngquant --quality 70-95 --strip --speed 1 --output "$small" "$picture"
    optipng -quiet -o3 -strip all "$small"
  done
done
du -cb docs/manual/pictures/*/*.png | tail -n 1
