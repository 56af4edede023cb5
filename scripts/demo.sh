#!/usr/bin/env bash
# From a fresh machine to a part on the screen: installs what is missing, builds sfdag, and makes a picture, a mesh and a
# volume of the bracket in build/demo. Says how long each of these took.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

out=build/demo
sfdag=build/release/host/sfdag
bracket=(examples/gyroid_bracket.sf --bounds -46,-31,-1,46,35,85)

fail() {
  echo "demo: $*" >&2
  exit 1
}

# seconds SINCE: with a tenth.
seconds() { awk -v begin="$1" -v end="$EPOCHREALTIME" 'BEGIN { printf "%.1f", end - begin }'; }
minutes() { awk -v seconds="$1" 'BEGIN { printf "%.1f", seconds / 60 }'; }

# make_one NAME WHAT VERB OPTION...: a result of sfdag, shown with its size and time. What sfdag reports is shown if it fails.
make_one() {
  local name=$1 what=$2 verb=$3 begin=$EPOCHREALTIME reports
  reports=$("$sfdag" "$verb" "${bracket[@]}" "${@:4}" -o "$out/$name" 2>&1) || fail "$name: $reports"
  printf '  %-24s %7s %6s s  %s\n' "$out/$name" "$(du -h --apparent-size "$out/$name" | cut -f 1)" "$(seconds "$begin")" "$what"
}

begin=$EPOCHREALTIME
scripts/install-deps.sh
installing=$(seconds "$begin")

begin=$EPOCHREALTIME
cmake --preset release -DSF_BUILD_HOST=ON >/dev/null || fail "the build cannot be configured"
cmake --build --preset release --target sfdag || fail "sfdag cannot be built"
building=$(seconds "$begin")

begin=$EPOCHREALTIME
rm -rf "$out"
mkdir -p "$out"
echo "A bracket filled with a gyroid, examples/gyroid_bracket.sf:"
make_one bracket.3mf "a mesh for the slicer" mesh --voxel 0.5 --units mm
make_one bracket.vdb "a volume for Blender, Houdini and the like" grid --voxel 0.5 --units mm
make_one bracket_plate.png "a slice through its plate, 5 mm up" slice --at 5
make_one bracket.png "the part, cut open" render --camera 150,-190,150,0,0,38 --fov 24 --cut x=22 --size 960x640
running=$(seconds "$begin")

echo "installing $(minutes "$installing") min, building $(minutes "$building") min, running $(minutes "$running") min"
echo "Look at $PWD/$out/bracket.png"
