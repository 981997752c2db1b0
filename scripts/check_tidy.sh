#!/usr/bin/env bash
# Fails on a finding of clang-tidy 14 in our sources.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  cat >&2 <<'TEXT'
Usage: scripts/check_tidy.sh BUILD_DIR [--product] [--changed [REF] | FILE...]
  BUILD_DIR   the build tree of the preset tidy, or another without precompiled headers, which are gcc's own.
              Configured is enough for the product; for the tests it has to be built, since they include generated files
  --product   without tests and benchmarks
  --changed   only what differs from REF (default HEAD) or is new; for a header, the sources that include it
  FILE...     only these sources
TEXT
  exit 2
}

[ $# -ge 1 ] || usage
build=$1
shift
[ -f "$build/compile_commands.json" ] || usage

# What is right for one version is wrong for another: the project's is 14.
for clang_tidy in clang-tidy-14 clang-tidy ''; do
  command -v "$clang_tidy" >/dev/null && "$clang_tidy" --version | grep -q 'version 14\.' && break
done
[ -n "$clang_tidy" ] || { echo "check_tidy: clang-tidy 14 is needed" >&2; exit 2; }

sources=$(python3 -B scripts/checks/tidy_sources.py "$build" "$@")
[ -n "$sources" ] || { echo "check_tidy: nothing to check"; exit 0; }

# Writes what clang-tidy finds in one piece, without the counts of warnings in other people's headers.
check_source() { # CLANG_TIDY BUILD_DIR FILE
  local output code=0
  output=$("$1" --quiet -p "$2" "$3" 2>&1) || code=$?
  output=$(grep -vE '^[0-9]+ (warning|error)s?( and [0-9]+ errors?)? generated\.$' <<<"$output" || :)
  [ -z "$output" ] || printf '%s\n' "$output"
  return "$code"
}
export -f check_source

# A finding in a header comes with every source that includes it; it is shown once.
each_finding_once() {
  awk '/^[^ ].*: (error|warning): / { shown = $0 in seen; seen[$0] } !shown'
}

started=$SECONDS
code=0
xargs -d '\n' -I{} -P "$(nproc)" <<<"$sources" \
  bash -c 'check_source "$@"' bash "$clang_tidy" "$build" {} |
  each_finding_once || code=1
echo "check_tidy: $(wc -l <<<"$sources") sources in $((SECONDS - started)) s"
exit "$code"
