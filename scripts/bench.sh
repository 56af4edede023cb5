#!/usr/bin/env bash
# Builds the benchmarks in the release tree and runs them; arguments go to the program.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

program=build/release/bench/sf_bench
cmake --preset release >/dev/null
cmake --build --preset release --target sf_bench
[[ -x $program ]] || { echo "bench: $program has not been built" >&2; exit 1; }
exec "$program" "$@"
