#!/usr/bin/env bash
# Makes the Debian packages and tries them: sets up, builds them into build/package, has lintian and abidiff look at them,
# builds a host with them, and installs them into a fresh tree of this machine's Debian release (scripts/package_trial.sh tells
# what is done there).
#
# What is packaged is what git tracks, as it lies in the working tree. The build goes through a source package, as a
# distributor's does, and takes nothing else from here. Can be run again; each run starts from nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() {
  cat >&2 <<'TEXT'
Usage: scripts/package.sh [--twice] [--no-tree | --tree DIR]
  --twice     build a second time, at another path, in another time zone and with another umask, and compare both
              byte for byte
  --no-tree   do not install the packages
  --tree DIR  the fresh tree to install into, made anew and kept; without it, one that is removed when all went well.
              Needs root; where the tree cannot be made, that is said and it is left out.
TEXT
  exit 2
}

twice=no
with_tree=yes
root=$PWD
work=$root/build/package
tree=$work/tree
while [ $# -gt 0 ]; do
  case $1 in
    --twice) twice=yes ;;
    --no-tree) with_tree=no ;;
    --tree)
      [ $# -gt 1 ] || usage
      tree=$(realpath -m "$2")
      shift
      ;;
    *) usage ;;
  esac
  shift
done

export LC_ALL=C.UTF-8
DEB_BUILD_OPTIONS="parallel=$(nproc) terse"
export DEB_BUILD_OPTIONS
say() { printf '\n== %s\n' "$*"; }

# Runs the command and shows its output only where it fails.
quietly() { # LOG COMMAND...
  local log=$1
  shift
  "$@" >"$log" 2>&1 || { cat "$log"; return 1; }
}

field() { # FIELD: of the newest entry of the packages' changelog
  dpkg-parsechangelog -l packaging/debian/changelog -S "$1"
}

# The names of the files that are packaged, each ended by a zero byte.
tracked_files() {
  git -c safe.directory="$root" ls-files -z | while IFS= read -r -d '' file; do
    [ ! -e "$file" ] && [ ! -L "$file" ] || printf '%s\0' "$file"
  done
}

# Puts the source, its archive and packaging/debian into FOLDER. The archive is the same wherever and whenever it is made.
unpack_source() { # FOLDER
  rm -rf "$1"
  mkdir -p "$1"
  local name=$source-$version
  tracked_files | tar --null --files-from=- --create --sort=name --format=gnu --owner=root:0 --group=root:0 \
    --mode='u+rwX,go=rX' --mtime="@$(field Timestamp)" --transform="flags=r;s,^,$name/," |
    xz --threads=1 >"$1/${source}_$version.orig.tar.xz"
  tar -C "$1" -xf "$1/${source}_$version.orig.tar.xz"
  cp -r packaging/debian "$1/$name/debian"
}

build_packages() { # FOLDER
  unpack_source "$1"
  (cd "$1/$source-$version" && quietly "$1/build.log" dpkg-buildpackage --no-sign)
  rm -rf "$1/first"
  mkdir "$1/first"
  mv "$1"/*.deb "$1/first/"
  cp "$1"/"$source"_*.{dsc,orig.tar.xz,debian.tar.xz,changes,buildinfo} "$1/first/"
}

# The same packages as the revision that follows: what an upgrade is tried with. Nothing is compiled again, and there are
# no debug symbols.
build_next_revision() { # FOLDER
  local sources=$1/$source-$version next
  next=$version-$((${full_version##*-} + 1))
  { printf '%s (%s) %s; urgency=medium\n\n  * The same again, to try an upgrade.\n\n -- %s  %s\n\n' "$source" "$next" \
    "$(field Distribution)" "$(field Maintainer)" "$(field Date)"
    cat packaging/debian/changelog; } >"$sources/debian/changelog"
  rm -rf "$sources"/debian/{.debhelper,files} "$1/second"
  (cd "$sources" && export DEB_BUILD_OPTIONS="$DEB_BUILD_OPTIONS noautodbgsym" &&
    quietly "$1/build-next.log" dpkg-buildpackage --build=binary --no-pre-clean --no-sign)
  mkdir "$1/second"
  mv "$1"/*.deb "$1/second/"
  mv "$1"/"$source"_"$next"_*.{changes,buildinfo} "$1/second/"
}

compare_builds() { # FOLDER OTHER
  local file count=0
  for file in "$1"/*.deb "$1"/*.dsc "$1"/*.tar.xz; do
    cmp "$file" "$2/$(basename "$file")" || {
      echo "package: $(basename "$file") is not the same when built twice (diffoscope tells where)" >&2
      return 1
    }
    count=$((count + 1))
  done
  echo "package: $count files are the same byte for byte"
}

# What libzav-import-dev is for: its example host is built with these packages, and shows its window to a picture.
build_host() { # FOLDER
  local host=$1/host package
  rm -rf "$host"
  mkdir -p "$host/root"
  for package in "$1"/first/{libzav-import0,libkozav-backend0,libzav-import-dev}_*.deb; do
    dpkg-deb --extract "$package" "$host/root"
  done
  quietly "$1/host.log" cmake -G Ninja -S "$host/root/usr/share/zav_import/examples/host" -B "$host/build" \
    -DCMAKE_PREFIX_PATH="$host/root/usr"
  quietly "$1/host.log" cmake --build "$host/build"
  quietly "$1/host.log" env QT_QPA_PLATFORM=offscreen "$host/build/example_host" --picture "$host/window.png" "$host/site"
  [ -s "$host/window.png" ]
  echo "package: the example host is built with the packages, and shows the panels"
}

say "Setting up"
scripts/setup.sh package
source=$(field Source)
full_version=$(field Version)
version=${full_version%-*}
mkdir -p "$work"

say "Building $source $full_version"
build_packages "$work"
ls -l "$work/first" | awk 'NR > 1 { printf "%10d  %s\n", $5, $9 }'

say "Lintian"
lintian --fail-on error,warning "$work/first/${source}_${full_version}_$(dpkg --print-architecture).changes"

say "The libraries' interface against the one promised"
scripts/check_abi.sh "$work/$source-$version/obj-$(dpkg-architecture -qDEB_HOST_GNU_TYPE)"

say "A host built with the packages"
build_host "$work"

# A path with blanks would not do: dpkg-buildflags maps none away that a compiler's command line has to quote.
if [ "$twice" = yes ]; then
  say "Building a second time"
  (
    umask 002
    export TZ=Asia/Shanghai LC_ALL=C LANG=C
    build_packages "$work/elsewhere/of-another-length"
  )
  compare_builds "$work/first" "$work/elsewhere/of-another-length/first"
  rm -rf "$work/elsewhere"
fi

if [ "$with_tree" = yes ]; then
  say "Building the revision that follows"
  build_next_revision "$work"
  scripts/package_trial.sh "$tree" "$work/first" "$work/second" "$work/archives"
  [ "$tree" != "$work/tree" ] || rm -rf --one-file-system "$tree"
fi

say "The packages are in build/package/first"
