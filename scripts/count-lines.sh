#!/usr/bin/env bash
# How much of the code is tests: lines that are neither blank nor comment, per part, and the share of the tests in all.
# Tests are every tests/ folder and fuzz/. Counted are C++, Python, shell and JavaScript files that git knows; texts,
# tables of expected results and CMake lists are not code here.
#
# Usage: scripts/count-lines.sh [--files]     --files: one line per file instead of one per part
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

git ls-files '*.cpp' '*.h' '*.inl' '*.py' '*.sh' '*.js' '*.mjs' .ci/run | awk -v files="${1-}" '
  # A line counts if anything is left of it beside comments. Comment marks inside strings do not begin a line here.
  function lines_of(path, isC, line, inside, count) {
    isC = path ~ /\.(cpp|h|inl|m?js)$/
    while ((getline line < path) > 0) {
      if (inside) {
        if (!match(line, /\*\//)) continue
        line = substr(line, RSTART + 2)
        inside = 0
      }
      sub(/^[ \t]+/, "", line)
      if (isC && line ~ /^\/\*/) {
        inside = !sub(/^\/\*.*\*\/[ \t]*/, "", line)
        if (inside) continue
      }
      if (line != "" && line !~ (isC ? "^//" : "^#")) ++count
    }
    close(path)
    return count + 0
  }
  {
    isTest = /(^|\/)tests\// || /^fuzz\//
    name = files == "--files" ? $0 : isTest ? "tests: " (/^fuzz\// ? "fuzz" : $0) : $0
    if (files != "--files") sub(/\/.*/, "", name)
    n = lines_of($0)
    part[name] += n
    all += n
    if (isTest) tests += n
  }
  END {
    for (name in part) printf "%7d  %s\n", part[name], name | "sort -rn"
    close("sort -rn")
    printf "%7d  of %d lines are tests: %.1f %%\n", tests, all, 100 * tests / all
  }'
