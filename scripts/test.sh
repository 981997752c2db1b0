#!/usr/bin/env bash
# Sets up, builds and runs every test: the build without panels, the sanitizer build, and last the plain one.
# Checks come first: format, then clang-tidy. Usage: scripts/test.sh [STAGE...] with the stages below.
set -euo pipefail
cd "$(dirname "$0")/.."

export LC_ALL=C.UTF-8
export QT_QPA_PLATFORM=offscreen
jobs=$(nproc)
stages=("$@")
[ ${#stages[@]} -gt 0 ] || stages=(setup format no-panels tidy asan-ubsan ci)

configure_and_build() { # PRESET
  cmake --preset "$1" >"build/$1-configure.log" 2>&1 || { cat "build/$1-configure.log"; return 1; }
  cmake --build --preset "$1" -j "$jobs"
}

run_tests() { # PRESET [ctest options]
  local preset=$1
  shift
  ctest --preset "$preset" -j "$jobs" "$@"
}

run_stage() { # STAGE
  case $1 in
    setup) scripts/setup.sh test ;;
    format) scripts/check_format.sh ;;
    no-panels | ci)
      configure_and_build "$1"
      run_tests "$1"
      ;;
    asan-ubsan)
      configure_and_build asan-ubsan
      # Tests of sizes that the instrumented build would only take longer for run in the plain build alone.
      run_tests asan-ubsan -LE large
      ;;
    tidy)
      cmake --preset ci >build/tidy-configure.log 2>&1 || { cat build/tidy-configure.log; return 1; }
      cmake --build --preset ci -j "$jobs"
      scripts/check_tidy.sh build/ci --product
      ;;
    *)
      echo "test: unknown stage $1 (setup, format, no-panels, tidy, asan-ubsan, ci)" >&2
      return 2
      ;;
  esac
}

mkdir -p build
for stage in "${stages[@]}"; do
  started=$SECONDS
  echo "== $stage"
  run_stage "$stage"
  echo "== $stage took $((SECONDS - started)) s" >&2
done
