#!/usr/bin/env bash
# Compares the interface of the two libraries with the one that was promised to hosts (packaging/abi): functions,
# the layout of types, the numbers of enumerators. What is added is compatible and passes. Exit code 1 on anything else.
# Usage: scripts/check_abi.sh BUILD_DIR [--update]
#   BUILD_DIR  where the libraries lie somewhere below, with debug information, not stripped
#   --update   has the interface of this build be the one that is promised from now on
set -euo pipefail

if [ $# -lt 1 ] || [ $# -gt 2 ] || [ ! -d "$1" ] || [ "${2:---update}" != --update ]; then
  sed -n '4,6s/^# //p' "$0" >&2
  exit 2
fi
build=$(cd "$1" && pwd)
update=${2:-}
cd "$(dirname "$0")/.."
export LC_ALL=C.UTF-8
command -v abidiff abidw >/dev/null || { echo "check_abi: abidiff is missing (scripts/setup.sh package)" >&2; exit 1; }
if [ "$(uname -m)" != x86_64 ]; then
  echo "check_abi: what was promised is kept for amd64 alone, so nothing is compared here"
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# What the exported functions and classes take, hold and return is compared with them; all other types are left out.
interface=(--exported-interfaces-only --suppressions packaging/abi/interface.suppr)

library() { # NAME: the newest one below the build's folder
  find "$build" -name "$1.so.*.*" -type f -printf '%T@ %p\n' | sort -n | tail -n 1 | cut -d ' ' -f 2-
}

code=0
for name in libzav_import libkozav_backend; do
  promised=packaging/abi/$name.abi.xz
  file=$(library "$name")
  if [ -z "$file" ] || ! readelf -S -W "$file" | grep -q '\.debug_info'; then
    echo "check_abi: there is no $name with debug information below $build" >&2
    exit 1
  fi
  if [ -n "$update" ]; then
    abidw "${interface[@]}" --no-show-locs --no-corpus-path --no-comp-dir-path --out-file "$work/$name.abi" "$file"
    xz -9 -c "$work/$name.abi" >"$promised"
    echo "check_abi: $promised is the interface of $file"
    continue
  fi
  xz -d -c "$promised" >"$work/$name.abi"
  if abidiff "${interface[@]}" --no-added-syms "$work/$name.abi" "$file"; then
    echo "check_abi: $name has the interface that was promised"
  else
    code=1
  fi
done
if [ "$code" -ne 0 ]; then
  cat >&2 <<'TEXT'
check_abi: hosts that were built before may fail with this build. Undo the change; or, where it is meant, give the library
another SOVERSION (and its package another name), run scripts/check_abi.sh BUILD_DIR --update, and say so in CHANGELOG.md.
TEXT
fi
exit "$code"
