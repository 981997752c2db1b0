#!/usr/bin/env bash
# Installs the Debian packages that are missing. Usage: scripts/setup.sh [build|test|bench|long|package]
#   build    what the build and the main job need (default)
#   test     that, and what the tests and checks need
#   bench    what the build, the tests and the peers of the benchmarks need
#   long     what the tests need, and what the checks before a release need
#   package  what the build needs, and what Debian packages are made, checked and tried with
# Can be run again: it asks for nothing that is there. Needs root or sudo only where something is missing.
set -euo pipefail

build_packages=(
  build-essential cmake ninja-build pkg-config python3 python3-markdown
  qtbase5-dev qttools5-dev qttools5-dev-tools libqt5sql5-sqlite libqt5sql5-mysql
  libqt5svg5 qttranslations5-l10n
  libzip-dev libdeflate-dev zlib1g-dev libssl-dev libarchive-dev libmongoc-dev
  fonts-noto-cjk unzip
)
test_packages=(
  clang-format clang-tidy git
  sqlite3 zip libarchive-tools strace util-linux e2fsprogs procps
  xvfb xauth openbox xdotool libxcb1-dev dbus-daemon
  # The servers of the tests. The core packages are the programs alone: installing them starts no server.
  mariadb-server-core mariadb-client-core libmariadb-dev openssl
  python3-pymongo python3-gridfs python3-bson python3-mockupdb
  # Validators of what is installed beside the programs: desktop entry, man pages, completions.
  desktop-file-utils appstream libxml2-utils
  man-db groff mandoc shellcheck bash-completion zsh fish
)

bench_packages=(
  7zip
)

long_packages=(
  clang libclang-rt-14-dev doxygen pngquant optipng
)

package_packages=(
  git debhelper dpkg-dev lintian abigail-tools debootstrap
)

wanted=("${build_packages[@]}")
case ${1:-build} in
  build) ;;
  test) wanted+=("${test_packages[@]}") ;;
  bench) wanted+=("${test_packages[@]}" "${bench_packages[@]}") ;;
  long) wanted+=("${test_packages[@]}" "${long_packages[@]}") ;;
  package) wanted+=("${package_packages[@]}") ;;
  *) echo "setup: unknown set of packages $1 (build, test, bench, long, package)" >&2; exit 2 ;;
esac

missing=()
for package in "${wanted[@]}"; do
  dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "setup: all ${#wanted[@]} packages are installed"
  exit 0
fi

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "setup: root or sudo is needed to install: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
echo "setup: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
