#!/usr/bin/env bash
# Installs the Debian packages that are missing. Usage: scripts/setup.sh [build|test]
#   build  what the build and the main job need (default)
#   test   that, and what the tests and checks need
# Can be run again: it asks for nothing that is there. Needs root or sudo only where something is missing.
set -euo pipefail

build_packages=(
  build-essential cmake ninja-build pkg-config python3
  qtbase5-dev libqt5sql5-sqlite libqt5sql5-mysql
  libzip-dev libdeflate-dev zlib1g-dev libssl-dev libarchive-dev libmongoc-dev
  fonts-noto-cjk unzip
)
test_packages=(
  clang-format clang-tidy git
  sqlite3 zip libarchive-tools strace util-linux procps
  xvfb xauth
  # The servers of the tests. The core packages are the programs alone: installing them starts no server.
  mariadb-server-core mariadb-client-core libmariadb-dev openssl
  python3-pymongo python3-gridfs python3-bson python3-mockupdb
)

wanted=("${build_packages[@]}")
[ "${1:-build}" = test ] && wanted+=("${test_packages[@]}")

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
