#!/usr/bin/env bash
# Installs the Debian packages of a build into a clean root and uses each from there: the program, the libraries through
# pkg-config, the Python module where it has been built. Needs root's rights and mmdebstrap; a few minutes, most of them
# for the download of the clean root.
#
# Usage: scripts/check-packages.sh [BUILD_DIR]
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$(realpath "${1:-build/release}")

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
rm -rf "$build/packages"
(cd "$build" && cpack -G DEB >"$work/cpack.log" 2>&1) || { cat "$work/cpack.log"; exit 1; }
debs=("$build"/packages/*.deb)
cp "${debs[@]}" "$work/"

cat >"$work/main.cpp" <<'PROGRAM'
#include "SFField.h"
#include "SFShapes.h"

int main() { return SF::Sphere(2.0)(0.0, 0.0, 0.0) == -2.0 ? 0 : 1; }
PROGRAM

# What is done inside, one package after the other.
cat >"$work/use.sh" <<'USE'
set -eux
cd /check
apt-get install --yes --no-install-recommends ./*.deb g++ pkg-config >apt.log 2>&1 || { cat apt.log; exit 1; }
sfdag --version
test "$(sfdag eval -x 'f2' --at 0 0 0)" = 2
sfdag eval -e 'sphere(radius=2)' --at 0 0 0
timeout --signal INT 5 sfdag view -e 'sphere(2)' | grep http
g++ -std=c++20 main.cpp -o main $(pkg-config --cflags --libs SFModelling)
./main
if ls python3-sf_*.deb >/dev/null 2>&1; then
  python3 -c 'import sf; print(sf.sphere(radius=2)([[0, 0, 0]]))'
fi
USE

# What apt needs on this machine to reach its sources.
options=()
while IFS= read -r file; do
  options+=(--aptopt="$file")
done < <(grep -ls '^Acquire' /etc/apt/apt.conf.d/* || true)
sources=(/etc/apt/sources.list /etc/apt/sources.list.d/*)
for i in "${!sources[@]}"; do
  [[ -s ${sources[i]} ]] || unset "sources[$i]"
done

# shellcheck disable=SC1091,SC2016 # $1 is the root, in the shell of mmdebstrap
mmdebstrap --quiet --format=null --variant=apt "${options[@]}" \
  --customize-hook='mkdir "$1/check"' --customize-hook="sync-in $work /check" \
  --customize-hook='chroot "$1" sh /check/use.sh' \
  "$(. /etc/os-release && echo "$VERSION_CODENAME")" /dev/null "${sources[@]}" >"$work/log" 2>&1 || { tail -n 40 "$work/log"; exit 1; }
echo "packages: ${#debs[@]} installed into a clean root and used there"
