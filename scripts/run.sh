#!/usr/bin/env bash
# Sets up, builds (release), and runs the main job on an embedded site of its own in build/run: a sample batch
# directory goes through the file import panel, and stored files are fetched back and compared with their sources.
# Leaves pictures of the window in build/run/pictures. With a display it then opens the client on that site.
set -euo pipefail
cd "$(dirname "$0")/.."

export LC_ALL=C.UTF-8
root=$PWD
run=$root/build/run
bin=$root/build/release/bin
config=$run/site/zav.ini

say() { printf '\n== %s\n' "$*"; }

say "Setting up"
scripts/setup.sh build

say "Building"
mkdir -p build
cmake --preset release >build/release-configure.log 2>&1 || { cat build/release-configure.log; exit 1; }
cmake --build --preset release -j "$(nproc)"

say "Making a sample batch directory and a fresh site in build/run"
rm -rf "$run"
mkdir -p "$run/pictures"
"$bin/zav_samples" batch "$run/batch" --seed 7 --companies 4 --jobs 4 --size 600K --unknown-company --json \
  >"$run/batch.json"
"$bin/zav_admin" --config "$config" init --data-root "$run/site/data"
python3 scripts/sample_batch.py list "$run/batch.json" | while IFS=$'\t' read -r code name; do
  "$bin/zav_admin" --config "$config" company add --code "$code" --name "$name"
done
# Importing consumes the manifests of the job folders: keep the sources as they were delivered.
cp -a "$run/batch" "$run/delivered"

say "Importing the batch through the panel"
code=0
QT_QPA_PLATFORM=offscreen "$bin/zav_client" --config "$config" --batch "$run/batch" --screenshots "$run/pictures" ||
  code=$?
# The batch holds entries that are to be refused: 1 is what is expected.
[ "$code" -le 1 ] || exit "$code"

say "Checking what was imported against what was delivered"
"$bin/zav_admin" --config "$config" jobs
python3 scripts/sample_batch.py check "$run/batch.json" "$run/delivered" "$bin/zav_admin" "$config" "$run/fetched"

say "Pictures of the window: build/run/pictures"
ls "$run/pictures"

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ -z "${CI:-}" ]; then
  say "Opening the client"
  exec "$bin/zav_client" --config "$config"
fi
echo
echo "To open the client on this site: build/release/bin/zav_client --config $config"
