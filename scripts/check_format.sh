#!/usr/bin/env bash
# Fails where a C++ file is not as clang-format 14 would write it.
# Usage: scripts/check_format.sh [--fix] [FILE...]; without files every tracked one.
set -euo pipefail
cd "$(dirname "$0")/.."

mode=(--dry-run --Werror)
if [ "${1:-}" = --fix ]; then
  mode=(-i)
  shift
fi

# What is right for one version is wrong for another: the project's is 14.
for clang_format in clang-format-14 clang-format ''; do
  command -v "$clang_format" >/dev/null && "$clang_format" --version | grep -q 'version 14\.' && break
done
[ -n "$clang_format" ] || { echo "check_format: clang-format 14 is needed" >&2; exit 2; }

if [ $# -gt 0 ]; then
  files=("$@")
else
  mapfile -d '' -t files < <(git ls-files -z -- '*.cpp' '*.h')
fi
[ ${#files[@]} -gt 0 ] || { echo "check_format: no files" >&2; exit 2; }

printf '%s\0' "${files[@]}" | xargs -0 -n 25 -P "$(nproc)" "$clang_format" --style=file "${mode[@]}"
echo "check_format: ${#files[@]} files"
