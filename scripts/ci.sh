#!/usr/bin/env bash
# The checks of the project. Each step configures and builds the preset of its name and runs that preset's tests.
#
# Usage: scripts/ci.sh STEP...
#   release      GCC, optimised, everything built, the whole suite
#   asan-ubsan   clang, everything built, the suite but for the packaging tests on instrumented code, leaks included:
#                this is also the step that tells what the second compiler warns of
#   tsan         clang, the tests that render or start threads, on instrumented code
#   fuzz         each fuzzer for 30 seconds, from the kept inputs, built by asan-ubsan (scripts/fuzz.sh)
#   clang        as release, with the second compiler, but for the packaging tests; not a part of the whole check
#   aarch64      the library for another processor, and the hashes of its grids under an emulator
#   packages     the Debian packages of the release step, installed into a clean root and used there
#   meshes       meshes, volumes and pictures of the release step, read by other programs (scripts/check-meshes.sh)
#   browser      the page of sfdag view, of the release step, in headless Chromium
#   summary      what the steps have given since build/logs was removed, the suite's closing line last
#
# Environment: STRICT=1 makes any warning a failure. The output of a step is kept in build/logs/STEP.log.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

logs=build/logs
results=$logs/results
jobs=$(nproc)
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$jobs}
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-$jobs}
warnings_as_errors=OFF
[[ -z ${STRICT-} ]] || warnings_as_errors=ON

# The flag stops the compiler; this stops what the compiler does not see, as CMake's and the linker's warnings.
refuse_warnings() {
  [[ $warnings_as_errors == OFF ]] || ! grep -nE '(^|[: ])warning:|CMake( Deprecation)? Warning' "$1"
}

configure_and_build() { cmake --preset "$1" -DSF_WARNINGS_AS_ERRORS=$warnings_as_errors && cmake --build --preset "$1"; }

# The last line of a whole run: that of the tests, or of the fuzzers.
closing_line() {
  grep -E '^([0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+|fuzz: .* inputs, none failed|packages: .*|meshes: .*|browser: .*)$' "$1" | tail -n 1
}

build_and_test() {
  local step=$1 log=$2
  configure_and_build "$step" 2>&1 | tee "$log" && refuse_warnings "$log" && ctest --preset "$step" 2>&1 | tee -a "$log"
}

build_and_fuzz() {
  local log=$2
  WARNINGS_AS_ERRORS=$warnings_as_errors scripts/fuzz.sh 2>&1 | tee "$log" && refuse_warnings "$log"
}

# Debian's Selenium is that of the system's own Python.
check_browser() {
  /usr/bin/python3 tests/view_browser_test.py build/release/host/sfdag 2>&1 | tee "$2" && echo "browser: the page works" | tee -a "$2"
}

check_meshes() { scripts/check-meshes.sh build/release 2>&1 | tee "$2"; }

check_packages() { scripts/check-packages.sh build/release 2>&1 | tee "$2"; }

# run_step STEP COMMAND: the command is given the step and its log.
run_step() {
  local step=$1 command=$2 log=$logs/$1.log begin=$SECONDS code=0 line
  mkdir -p "$logs"
  echo "== $step"
  "$command" "$step" "$log" || code=1
  line=$(closing_line "$log") || line="failed before its tests, see $log"
  printf '%s\t%s\t%s\t%s\n' "$code" "$step" "$((SECONDS - begin))" "$line" >>"$results"
  return $code
}

summary() {
  [[ -f $results ]] || { echo "ci: no step has been run"; return; }
  printf '\n'
  awk -F '\t' '{ printf "%-11s %5d s  %s%s\n", $2, $3, ($1 == 0 ? "" : "FAILED: "), $4 }' "$results"
  # That of the first step that failed, or else of the first step.
  { grep -v '^0' "$results" || cat "$results"; } | head -n 1 | cut -f 4
}

[[ $# -gt 0 ]] || { sed -n '2,/^set/s/^# \{0,1\}//p' "${BASH_SOURCE[0]}"; exit 2; }
for step in "$@"; do
  case $step in
  release | clang | asan-ubsan | tsan | aarch64) run_step "$step" build_and_test ;;
  fuzz) run_step "$step" build_and_fuzz ;;
  meshes) run_step "$step" check_meshes ;;
  packages) run_step "$step" check_packages ;;
  browser) run_step "$step" check_browser ;;
  summary) summary ;;
  *)
    echo "ci: no step is called '$step'" >&2
    exit 2
    ;;
  esac
done
