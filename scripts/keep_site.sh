#!/usr/bin/env bash
# Makes a small site with the programs of a build, and keeps it as tests/fixtures/releases/VERSION: all later programs
# are tested on it (release_sites). Each release keeps one, made by its own programs; none is made anew afterwards.
# Usage: scripts/keep_site.sh BUILD_DIR
set -euo pipefail

if [ $# -ne 1 ] || [ ! -x "$1/bin/zav_client" ]; then
  echo "Usage: scripts/keep_site.sh BUILD_DIR" >&2
  exit 2
fi
bin=$(cd "$1/bin" && pwd)
cd "$(dirname "$0")/.."

version=$("$bin/zav_admin" --version | grep -o '[0-9][0-9.]*' | head -n 1)
kept=$PWD/tests/fixtures/releases/$version
[ ! -e "$kept" ] || { echo "keep_site: $kept is there already" >&2; exit 1; }

work=$(mktemp -d)
robot=
trap '[ -z "$robot" ] || kill "$robot" 2>/dev/null || true; rm -rf "$work"' EXIT
export LC_ALL=C.UTF-8 QT_QPA_PLATFORM=offscreen HOME=$work/home MONGOC_DISABLE_SHM=1
unset XDG_CONFIG_HOME XDG_DATA_HOME XDG_CACHE_HOME XDG_STATE_HOME ZAV_CONFIG
mkdir -p "$HOME"
site=$work/site

admin() { "$bin/zav_admin" --config "$site/zav.ini" "$@"; }

# A batch holds entries that are refused, so that their results are kept as well.
import_batch() { # DIR [option...]
  local code=0
  "$bin/zav_client" --config "$site/zav.ini" --batch "$@" || code=$?
  [ "$code" -le 1 ]
}

# The site is kept where it is not made: it names its parts from its own folder.
admin init --data-root "$site"
for part in database/file=site.db document_store/root=store cache/upload=upload cache/download=download; do
  admin config set "${part%%=*}" "${part#*=}"
done
admin config set user/name operator
admin config set user/login operator

"$bin/zav_samples" batch "$work/batch" --seed 11 --companies 2 --jobs 3 --size 100K --json >"$work/batch.json"
python3 scripts/sample_batch.py list "$work/batch.json" | while IFS=$'\t' read -r code name; do
  admin company add --code "$code" --name "$name"
done
import_batch "$work/batch"
# The same once more, for results that tell of contents which the site has.
import_batch "$work/batch" --skip-known

"$bin/zav_robot" --port 0 >"$work/robot.txt" &
robot=$!
until grep -q . "$work/robot.txt"; do kill -0 "$robot"; done
admin config set robot/port "$(head -n 1 "$work/robot.txt" | grep -o '[0-9]*$')"
"$bin/zav_client" --config "$site/zav.ini" --import HX000001
admin config set robot/port 9098
admin job void HX000002 --reason "imported by mistake" --yes
admin check --read-data

# What these programs tell of it is kept beside it: later ones must tell the same.
mkdir -p "$kept"
for told in "jobs" "company list" "runs"; do
  # shellcheck disable=SC2086  # a verb of two words
  admin $told --json >"$kept/${told// /-}.json"
done
cp -a "$site" "$kept/site"
rm -rf "$kept/site/"{upload,download}
du -sh "$kept"
