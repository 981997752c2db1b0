#!/usr/bin/env bash
# Measures rows of the bench suite, ours and peers in turns, and fails where one misses its aim by more than 15 %, or
# leaves a site that is not whole. docs/performance.md tells how, and what the rows are.
# Usage: scripts/bench.sh [--list] [--rounds N] [--quick] [--dir DIR] [--build DIR] [ROW...]   without rows all of them
#        scripts/bench.sh --publish     makes docs/performance.md and its plots of the results
# --build DIR takes the programs of another build tree, and builds and installs nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

build=
passed=()
needs_build=yes
while [ $# -gt 0 ]; do
  case $1 in
    --build)
      build=${2:?--build needs a folder}
      needs_build=no
      shift
      ;;
    --list | --publish | -h | --help)
      needs_build=no
      passed+=("$1")
      ;;
    *) passed+=("$1") ;;
  esac
  shift
done

if [ "$needs_build" = yes ]; then
  scripts/setup.sh bench
  mkdir -p build/bench
  cmake --preset bench >build/bench/configure.log || { cat build/bench/configure.log; exit 2; }
  cmake --build --preset bench -j "$(nproc)" --target benchmarks
fi
exec python3 -B bench/suite.py --build "${build:-build/bench}" ${passed[@]+"${passed[@]}"}
