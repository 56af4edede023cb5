#!/usr/bin/env bash
# Builds the fuzzers (preset asan-ubsan) and runs them on the kept inputs and whatever they make of them.
#
# Usage: scripts/fuzz.sh [SECONDS [TARGET...]]
#   SECONDS   of a processor's time for each target (30)
#   TARGET    text, render, resources or formula (all of them)
#
# All run at once, longer where there are fewer processors than targets. Log, new inputs and what failed:
# build/fuzz/run/TARGET. An input that failed belongs into fuzz/regressions/TARGET, where the tests replay it.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=${1:-30}
targets=("${@:2}")
[[ ${#targets[@]} -gt 0 ]] || targets=(text render resources formula)

cmake --preset asan-ubsan ${WARNINGS_AS_ERRORS:+-DSF_WARNINGS_AS_ERRORS="$WARNINGS_AS_ERRORS"}
cmake --build --preset asan-ubsan --target fuzz_dictionary "${targets[@]/#/fuzz_}"

# What has been freed is soon used again: a long quarantine costs more than half of the speed.
export ASAN_OPTIONS=quarantine_size_mb=16:malloc_context_size=8:detect_leaks=1

fuzz() {
  local target=$1 seconds=$2 run=build/fuzz/run/$1 code=0 kept=()
  rm -rf "$run"
  mkdir -p "$run/new"
  for folder in fuzz/corpus fuzz/regressions; do
    [[ ! -d $folder/$target ]] || kept+=("$folder/$target")
  done
  # New inputs go to the first folder, the others are only read.
  build/asan-ubsan/fuzz/fuzz_"$target" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 -print_final_stats=1 \
    -dict=build/asan-ubsan/fuzz/sf.dict -artifact_prefix="$run/" \
    "$run/new" "${kept[@]}" >"$run/log" 2>&1 || code=$?
  [[ $code -ne 0 ]] || return 0
  tail -n 50 "$run/log"
  echo "fuzz_$target: FAILED, see $run" >&2
  return 1
}
export -f fuzz
processors=$(nproc)
if [[ $processors -lt ${#targets[@]} ]]; then
  seconds=$(((seconds * ${#targets[@]} + processors - 1) / processors))
fi
printf '%s\n' "${targets[@]}" | xargs -P "${#targets[@]}" -I{} bash -c "set -euo pipefail; fuzz {} $seconds"

counts=
for target in "${targets[@]}"; do
  counts+=" $target $(sed -n 's/^stat::number_of_executed_units: *//p' "build/fuzz/run/$target/log"),"
done
echo "fuzz:${counts%,} inputs, none failed"
