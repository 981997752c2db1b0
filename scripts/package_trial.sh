#!/usr/bin/env bash
# Installs the packages into a fresh tree, works with them there as a user does, upgrades, and removes them.
# Usage: scripts/package_trial.sh TREE FIRST SECOND ARCHIVES
#   TREE      where debootstrap makes the tree; one of an earlier trial is removed
#   FIRST     folder of the packages to install
#   SECOND    folder of the same packages with a higher version, to upgrade to
#   ARCHIVES  folder that keeps what is downloaded, for the next trial
#
# 1. debootstrap makes the tree; apt installs what ours depend on. What is there then is written down.
# 2. The packages are installed. A user makes a site, adds companies, imports a batch, fetches a job back, checks the site.
# 3. The packages are upgraded. The site is as it was; the batch is run again and nothing is doubled.
# 4. The packages are purged. What is there is what was there, and the user's site.
#
# Everything is mounted in a namespace of mounts of this script's own: however it ends, nothing stays mounted.
set -euo pipefail

[ $# -eq 4 ] || { sed -n '3,7s/^# //p' "$0" >&2; exit 2; }
tree=$1 first=$2 second=$3 archives=$4
mark=$tree/.zav-package-trial
mirror=${ZAV_DEBIAN_MIRROR:-http://deb.debian.org/debian}
# The packages were built against this machine's libraries: the tree is of its release.
suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
here=$(dirname "$(realpath "$0")")

if [ -z "${ZAV_TRIAL_MOUNTS:-}" ]; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "package: the packages are not installed into a tree: that needs root"
    exit 0
  fi
  if ! unshare --mount sh -c 'mount -t tmpfs none /mnt && mknod /mnt/null c 1 3' 2>/dev/null; then
    echo "package: the packages are not installed into a tree: nothing can be mounted here, or no devices made"
    exit 0
  fi
  mkdir -p "$archives"
  rm -f "$archives/Release"
  if ! /usr/lib/apt/apt-helper download-file "$mirror/dists/$suite/Release" "$archives/Release" >/dev/null 2>&1; then
    echo "package: the packages are not installed into a tree: $mirror has no $suite, or cannot be reached"
    exit 0
  fi
  exec env ZAV_TRIAL_MOUNTS=private unshare --mount "$0" "$@"
fi

say() { printf '\n== %s\n' "$*"; }
fail() { echo "package: $*" >&2; exit 1; }

in_tree() { # COMMAND...
  chroot "$tree" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"
}

as_user() { # COMMAND...
  chroot --userspec=importer:importer "$tree" env -i PATH=/usr/bin:/bin HOME=/home/importer LC_ALL=C.UTF-8 \
    sh -c 'cd; exec "$@"' sh "$@"
}

# apt-get in the tree, with its words in a log that is shown where it fails.
apt() { # VERB ARGUMENT...
  in_tree apt-get -q -y -o Dpkg::Use-Pty=0 -o Acquire::Languages=none -o Acquire::Retries=3 "$@" >>"$archives/apt.log" 2>&1 ||
    { tail -n 40 "$archives/apt.log"; fail "apt-get $1 failed"; }
}

install() { # PACKAGE...
  apt install --no-install-recommends "$@"
}

make_tree() {
  if [ -e "$tree" ]; then
    [ -e "$mark" ] || [ -z "$(ls -A "$tree")" ] || fail "$tree is there and is no tree of a trial"
    rm -rf --one-file-system "$tree"
  fi
  mkdir -p "$tree"
  touch "$mark"
  # What this machine has downloaded for itself need not be downloaded again.
  cp --link --no-clobber /var/cache/apt/archives/*.deb "$archives/" 2>/dev/null || true
  local proxy=''
  eval "$(apt-config shell proxy Acquire::http::Proxy)"
  env ${proxy:+http_proxy="$proxy"} debootstrap --variant=minbase --cache-dir="$archives" "$suite" "$tree" "$mirror" \
    >"$archives/debootstrap.log" 2>&1 || { tail "$archives/debootstrap.log"; fail "debootstrap failed"; }
  # How this machine reaches a mirror, and what it makes of a mirror's dates.
  {
    apt-config dump | grep -E '^Acquire::(https?::Proxy|Check-)' || true
    [ -z "${http_proxy:-}" ] || printf 'Acquire::http::Proxy "%s";\n' "$http_proxy"
  } >"$tree/etc/apt/apt.conf.d/90trial"
  mount -t proc proc "$tree/proc"
  mount -t tmpfs -o mode=1777 tmpfs "$tree/dev/shm"
  mount --bind "$archives" "$tree/var/cache/apt/archives"
  : >"$archives/apt.log"
  apt update
  in_tree useradd --create-home importer
  mkdir "$tree/first" "$tree/second"
  cp "$first"/*.deb "$tree/first/"
  cp "$second"/*.deb "$tree/second/"
}

# The names of our packages; those of the debug symbols are not tried.
our_packages() {
  local package
  for package in "$first"/*.deb; do
    dpkg-deb --field "$package" Package
  done | grep -v -e '-dbgsym$'
}

our_files() { # first|second
  local package
  for package in $(our_packages); do
    (cd "$tree" && echo ./"$1"/"$package"_*.deb)
  done
}

install_dependencies() {
  local needed
  needed=$(in_tree apt-get -s install --no-install-recommends $(our_files first) | awk '$1 == "Inst" { print $2 }' |
    grep -v -x -F "$(our_packages)" || true)
  install $needed
}

# Every file outside of what dpkg, apt and the user keep for themselves, with type, size and mode.
list_files() {
  (cd "$tree" && find . -xdev \( -path ./proc -o -path ./home -o -path ./tmp -o -path ./first -o -path ./second \
    -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./var/cache -o -path ./var/log \) -prune \
    -o -type d -printf '%p %y %m\n' -o -printf '%p %y %m %s %l\n' | LC_ALL=C sort)
}

# What the user has, byte for byte.
list_site() {
  (cd "$tree/home/importer" && find . -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum)
}

use_packages() {
  as_user zav_samples batch batch --seed 7 --companies 3 --jobs 3 --size 200K --json >"$tree/home/batch.json"
  as_user zav_admin init >/dev/null
  python3 "$here/sample_batch.py" list "$tree/home/batch.json" | while IFS=$'\t' read -r code name; do
    as_user zav_admin company add --code "$code" --name "$name" </dev/null
  done
  import_batch
  as_user zav_admin jobs
  # What is outside of the tree names the files in it by their paths outside.
  printf '#!/bin/sh\nfor word; do\n  shift\n  set -- "$@" "${word#%s}"\ndone\nexec chroot --userspec=importer:importer %s %s "$@"\n' \
    "'$tree'" "'$tree'" /usr/bin/zav_admin >"$archives/admin"
  chmod +x "$archives/admin"
  in_tree install -d -o importer /home/importer/fetched
  python3 "$here/sample_batch.py" check "$tree/home/batch.json" "$tree/home/importer/batch" "$archives/admin" \
    /home/importer/.config/zav_import/zav.ini "$tree/home/importer/fetched"
  as_user zav_admin check --read-data
}

# The sample batch holds entries that are to be refused: 1 is what is expected.
import_batch() { # [OPTION...]
  local code=0
  as_user zav_client --batch batch "$@" || code=$?
  [ "$code" -eq 1 ] || fail "zav_client --batch ended with $code"
}

upgrade_packages() {
  local before
  before=$(as_user zav_admin --json jobs)
  install $(our_files second)
  in_tree dpkg-query -W $(our_packages)
  [ "$before" = "$(as_user zav_admin --json jobs)" ] || fail "the upgrade changed the list of jobs"
  import_batch --skip-known
  [ "$before" = "$(as_user zav_admin --json jobs)" ] || fail "the batch that was run again changed the list of jobs"
  as_user zav_admin check --read-data
}

purge_packages() {
  local site
  site=$(list_site)
  apt purge $(our_packages)
  list_files >"$archives/after.txt"
  diff "$archives/before.txt" "$archives/after.txt" || fail "the packages left something behind, or took what was not theirs"
  [ "$site" = "$(list_site)" ] || fail "the packages' removal changed a user's site"
  echo "package: nothing is left of the packages, and the site is untouched"
}

say "A fresh tree in $tree"
make_tree
install_dependencies
list_files >"$archives/before.txt"
say "Installing $(our_packages | xargs)"
install $(our_files first)
say "Working with them"
use_packages
say "Upgrading"
upgrade_packages
say "Purging"
purge_packages
rm -rf --one-file-system "$tree"/{first,second}
