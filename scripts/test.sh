#!/usr/bin/env bash
# Sets up, builds and tests. The last lines are ctest's own summary; above them stands what each stage took.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  cat >&2 <<'TEXT'
Usage: scripts/test.sh            set up, build, run the tests: setup ci
       scripts/test.sh all        what continuous integration runs: setup format tidy no-panels asan-ubsan package ci
       scripts/test.sh long       what takes too long for that, before a release: setup-long docs clang fuzz loops twice
       scripts/test.sh STAGE...   the stages named, in that order
Stages: setup       installs what is missing
        format      clang-format of every source
        tidy        clang-tidy of the product's sources, which needs no build
        no-panels   the build without panels and without MongoDB, and its tests
        asan-ubsan  the build with sanitizers, and its tests
        package     the Debian packages: built, looked at, installed into a fresh tree and used there
        ci          the plain build, and its tests
        setup-long  installs what is missing for docs, clang and fuzz
        docs        the reference of the installed headers, without a warning
        clang       the build by clang without precompiled headers, and its quick tests
        fuzz        each fuzzer for ten minutes, built by clang
        loops       the plain build, and the client disturbed at every single call and piece
        twice       the Debian packages built two times, which must be the same byte for byte
TEXT
  exit 2
}

export LC_ALL=C.UTF-8
export QT_QPA_PLATFORM=offscreen
jobs=$(nproc)

# Runs the command and shows its output only where it fails.
quietly() { # LOG COMMAND...
  local log=$1
  shift
  "$@" >"$log" 2>&1 || { cat "$log"; return 1; }
}

configure() { # PRESET
  quietly "build/$1-configure.log" cmake --preset "$1"
}

build() { # PRESET
  configure "$1"
  cmake --build --preset "$1" -j "$jobs"
}

# Holds back ctest's summary, so that it can be shown behind the table of times.
run_tests() { # PRESET [ctest options]
  local preset=$1
  shift
  : >build/summary.txt
  # Two tests to a core: about half of what they take is waiting, for servers and for disks.
  ctest --preset "$preset" -j $((2 * jobs)) --no-label-summary "$@" |
    while IFS= read -r line; do
      if [[ -s build/summary.txt || $line =~ ^[0-9]+%\ tests\ passed,\  ]]; then
        printf '%s\n' "$line" >>build/summary.txt
      else
        printf '%s\n' "$line"
      fi
    done
}

run_stage() { # STAGE
  case $1 in
    setup) scripts/setup.sh test ;;
    format) scripts/check_format.sh ;;
    tidy)
      configure tidy
      scripts/check_tidy.sh build/tidy --product
      ;;
    no-panels | ci)
      build "$1"
      run_tests "$1" -LE long
      ;;
    package) scripts/package.sh ;;
    twice) scripts/package.sh --twice --no-tree ;;
    setup-long) scripts/setup.sh long ;;
    docs)
      configure tidy
      cmake --build --preset tidy --target docs
      ;;
    clang)
      build clang
      run_tests clang -L quick
      ;;
    fuzz)
      build fuzz
      run_tests fuzz
      ;;
    loops)
      build ci
      run_tests ci -L long
      ;;
    asan-ubsan)
      build asan-ubsan
      # What looks at the tree, and sizes that the instrumented build would only take longer for, run in the plain
      # build alone.
      run_tests asan-ubsan -LE "large|house|long"
      ;;
  esac
}

case ${1:-} in
  '') stages=(setup ci) ;;
  all) stages=(setup format tidy no-panels asan-ubsan package ci) ;;
  long) stages=(setup-long docs clang fuzz loops twice) ;;
  *) stages=("$@") ;;
esac
for stage in "${stages[@]}"; do
  [[ $stage =~ ^(setup|format|tidy|no-panels|asan-ubsan|package|ci|setup-long|docs|clang|fuzz|loops|twice)$ ]] || usage
done

show_summary() {
  [ ! -s build/summary.txt ] || cat build/summary.txt
  rm -f build/summary.txt
}

times=()
finish() {
  local code=$?
  [ "$code" -eq 0 ] || times+=("$(printf '%-12s failed after %4d s' "$stage" $((SECONDS - started)))")
  printf '\n== times\n'
  printf '%s\n' "${times[@]}" "$(printf '%-12s %4d s' together "$SECONDS")" ''
  show_summary
}

mkdir -p build
rm -f build/summary.txt
for stage in "${stages[@]}"; do
  show_summary
  started=$SECONDS
  trap finish EXIT
  echo "== $stage"
  run_stage "$stage"
  times+=("$(printf '%-12s %4d s' "$stage" $((SECONDS - started)))")
done
