#!/usr/bin/env bash
# The manual page of sfdag renders without a warning and has all verbs and options; the completion offers what belongs there.
# Usage: manual_test.sh PAGE COMPLETION SFDAG
set -u
page=$1 completion=$2 sfdag=$3
failures=0
complain() {
  echo "$*"
  failures=$((failures + 1))
}

if command -v groff >/dev/null; then
  warnings=$(groff -ww -man -Tutf8 "$page" 2>&1 >/dev/null)
  [[ -z $warnings ]] || complain "groff: $warnings"
fi
if command -v mandoc >/dev/null; then
  warnings=$(mandoc -Tlint -Wwarning "$page") || complain "mandoc: $warnings"
fi
verbs=$("$sfdag" --help | sed -n '/^Verbs:/,/^$/s/^  \([a-z]*\) .*/\1/p')
[[ -n $verbs ]] || complain "no verbs"
for verb in $verbs; do
  grep -qx "\.SS $verb" "$page" || complain "the page lacks $verb"
  for option in $("$sfdag" help "$verb" | grep -oE '^  (-[a-z],)?--[a-z-]+' | grep -oE '\-\-[a-z-]+'); do
    [[ $option == --help ]] || grep -qF -e "${option//-/\\-}" "$page" || complain "the page lacks $option of $verb"
  done
done

cd "$(mktemp -d)" || exit 1
trap 'rm -r "$PWD"' EXIT
mkdir parts
touch part.sf part.sfm part.vm part.py part.png part.stl points.csv 'with blank.sfm'
# shellcheck source=/dev/null
source "$completion"

# expect WORD... -- OFFERED...: what is offered for the last word.
expect() {
  local -a words=() offered
  while [[ $1 != -- ]]; do
    words+=("$1")
    shift
  done
  shift
  COMP_WORDS=("${words[@]}") COMP_CWORD=$((${#words[@]} - 1))
  _sfdag
  mapfile -t offered < <(printf '%s\n' "${COMPREPLY[@]}" | sort)
  [[ "$(printf '%s|' "${offered[@]}")" == "$(printf '%s|' "$@" | tr '|' '\n' | sort | tr '\n' '|')" ]] ||
    complain "${words[*]}: offered ${COMPREPLY[*]}, expected $*"
}
expect sfdag me -- measure mesh
expect sfdag help sl -- slice
expect sfdag mesh --no -- --no-cap
expect sfdag mesh --units '' -- um mm cm m in
expect sfdag render --view b -- bottom back
expect sfdag mesh pa -- part.sf part.sfm part.vm parts
expect sfdag mesh w -- 'with blank.sfm'
expect sfdag view part.p -- part.py
expect sfdag mesh part.sf -o p -- part.stl parts
expect sfdag eval part.sf --points po -- points.csv
expect sfdag mesh -n '' -- ''
expect sfdag nothing -- ''
[[ $(complete -p sfdag) == *"-F _sfdag sfdag" ]] || complain "no completion for sfdag"
exit $((failures > 0))
