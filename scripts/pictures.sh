#!/usr/bin/env bash
# Builds the release tree and draws the pictures of the documents (scripts/pictures.py), all of them or those named.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

cmake --preset release -DSF_BUILD_PYTHON=ON -DSF_BUILD_EXAMPLES=ON >/dev/null
cmake --build --preset release --target sf_python nut_on_plate sfdag
# The package is that of the system's Python, as is its NumPy.
python=/usr/bin/python3
[[ -x $python ]] || python=python3
exec "$python" scripts/pictures.py "$@"
