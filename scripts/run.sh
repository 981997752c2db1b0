#!/usr/bin/env bash
# Sets up, builds (release), and walks the whole road on an embedded site of its own in build/run: a sample batch
# directory goes through the file import panel, stored files are fetched back and compared with their sources, and one
# job is confirmed on the job list panel, opened, and sent to a running stand-in of the CAM robot.
# Leaves pictures of the window in build/run/pictures. With a display it then opens the client on that site.
set -euo pipefail
cd "$(dirname "$0")/.."

export LC_ALL=C.UTF-8
root=$PWD
run=$root/build/run
bin=$root/build/release/bin
config=$run/site/zav.ini

say() { printf '\n== %s\n' "$*"; }
client() { "$bin/zav_client" --config "$config" --screenshots "$run/pictures" "$@"; }

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

say "Starting a robot"
"$bin/zav_robot" --port 0 >"$run/robot.txt" &
robot=$!
trap 'kill "$robot" 2>/dev/null || true' EXIT
until grep -q . "$run/robot.txt"; do kill -0 "$robot"; sleep 0.05; done
head -n 1 "$run/robot.txt"
"$bin/zav_admin" --config "$config" config set robot/port "$(grep -o '[0-9]*$' <(head -n 1 "$run/robot.txt"))"

say "Importing the batch through the file import panel"
code=0
client --batch "$run/batch" || code=$?
# The batch holds entries that are to be refused: 1 is what is expected.
[ "$code" -le 1 ] || exit "$code"

say "Checking what was imported against what was delivered"
"$bin/zav_admin" --config "$config" jobs
python3 scripts/sample_batch.py check "$run/batch.json" "$run/delivered" "$bin/zav_admin" "$config" "$run/fetched"

say "Looking whether the site is whole"
"$bin/zav_admin" --config "$config" check --read-data
"$bin/zav_admin" --config "$config" status

say "Confirming one job on the job list panel"
client --import HX000001

say "What the robot received"
cat "$run/robot.txt"
kill "$robot"
wait "$robot" || true

say "Pictures of the window: build/run/pictures"
ls "$run/pictures"

if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ] && [ -z "${CI:-}" ]; then
  say "Opening the client"
  exec "$bin/zav_client" --config "$config" --robot
fi
echo
echo "To open the client on this site: build/release/bin/zav_client --config $config --robot"
