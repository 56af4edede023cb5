#!/usr/bin/env bash
# Lets programs that are not ours read what the tools write: admesh, meshio, CGAL, prusa-slicer and f3d twelve meshes in
# all formats (f3d the GLB, as Debian's has no reader of 3MF), NumPy, OpenVDB, VTK and teem volumes and pictures.
# scripts/install-deps.sh --ci installs them. About a minute.
#
# Usage: scripts/check-meshes.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=${1:-build/release}

cmake "$build" >/dev/null # CGAL may have come since
cmake --build "$build" --target sf_mesh_models sf_cgal_check sfdag
# Debian's Python packages are those of the system's own Python.
/usr/bin/python3 tools/tests/foreign/check.py "$build"/tools/tests/sf_{mesh_models,cgal_check}
readers=$(/usr/bin/python3 tests/readers_test.py "$build/host/sfdag" 2>&1) || { echo "$readers"; exit 1; }
if grep skipped <<<"$readers"; then
  exit 1
fi
echo "meshes: other programs read twelve models in five formats, volumes in five and pictures in two"
