#!/usr/bin/env bash
# Builds the release tree and renders the examples to build/demo: voxel grids, and pictures of slices.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

out=build/demo
sfdag=build/release/host/sfdag
mesh_resource=build/release/examples/mesh_resource

# The bracket lies in x -45..45, y -30..34, z 0..84 millimetres; half a millimetre resolves its lattice.
bracket=(examples/gyroid_bracket.sf --dims 184 132 172 --voxel 0.5 --origin -46 -31 -1)
through_plate=12 # 5 mm up
through_seat=126 # 62 mm up, in the middle of the bearing seat

# The bushing lies in x and y -30..30, z 0..40 millimetres.
bushing=(examples/shelled_bushing.sf --dims 248 248 168 --voxel 0.25 --origin -31 -31 -1)
through_flange=24 # 5 mm up
through_hub=100   # 24 mm up

fail() {
  echo "demo: $*" >&2
  exit 1
}

# Runs a program and shows what it reports only if it fails.
quietly() {
  local reports
  reports=$("$@" 2>&1 >/dev/null) || fail "$* failed: $reports"
}

cmake --preset release -DSF_BUILD_HOST=ON -DSF_BUILD_EXAMPLES=ON >/dev/null || fail "the build cannot be configured"
cmake --build --preset release --target sfdag mesh_resource || fail "the programs cannot be built"
for program in "$sfdag" "$mesh_resource"; do
  [[ -x $program ]] || fail "$program has not been built"
done

rm -rf "$out"
mkdir -p "$out"
echo "Rendering examples/gyroid_bracket.sf: ${bracket[*]:1}"
quietly "$sfdag" grid "${bracket[@]}" -o "$out/gyroid_bracket.npy"
quietly "$sfdag" slice "${bracket[@]}" --z $through_plate -o "$out/gyroid_bracket_plate.png"
quietly "$sfdag" slice "${bracket[@]}" --z $through_seat -o "$out/gyroid_bracket_seat.png"
echo "Rendering examples/shelled_bushing.sf: ${bushing[*]:1}"
quietly "$sfdag" slice "${bushing[@]}" --z $through_flange -o "$out/shelled_bushing_flange.png"
quietly "$sfdag" slice "${bushing[@]}" --z $through_hub -o "$out/shelled_bushing_hub.png"
echo "Rendering the mesh example"
quietly "$mesh_resource" -o "$out/nut_on_plate.npy"

describe() {
  printf '  %-38s %8s  %s\n' "$out/$1" "$(du -h --apparent-size "$out/$1" | cut -f 1)" "$2"
}
echo "Written:"
describe gyroid_bracket.npy "the bracket on 184 x 132 x 172 points: numpy.load, 32-bit floats, negative inside"
describe gyroid_bracket_plate.png "its slice through the plate, 5 mm up"
describe gyroid_bracket_seat.png "its slice through the bearing seat, 62 mm up"
describe shelled_bushing_flange.png "a bushing with an offset skin and gyroid walls, through its flange, 5 mm up"
describe shelled_bushing_hub.png "the same through its hub, 24 mm up"
describe nut_on_plate.npy "a triangle mesh joined with analytic shapes"
