#!/usr/bin/env bash
# Installs the Debian packages of a build into a clean root and uses each from there: the libraries through pkg-config and
# CMake, the program with its manual page and its completion, the Python module where it has been built. Removed, they leave
# nothing. Needs root's rights and mmdebstrap; a few minutes, most of them for the download of the clean root.
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

cat >"$work/library.cpp" <<'PROGRAM'
#include <SFDagFromExpression.h>

int main() { return SF::SFDagFromExpression::BuildFromExpression("- X f2", nullptr) != nullptr ? 0 : 1; }
PROGRAM
cat >"$work/modelling.cpp" <<'PROGRAM'
#include <SFShapes.h>

int main() { return SF::Sphere(2.0)(0.0, 0.0, 0.0) == -2.0 ? 0 : 1; }
PROGRAM
cat >"$work/tools.cpp" <<'PROGRAM'
#include <SFMeshing.h>
#include <SFShapes.h>

int main() { return SF::MeshField(SF::Sphere(2.0), {{-3, -3, -3}, {3, 3, 3}}, 0.5).triangles.empty() ? 1 : 0; }
PROGRAM
cat >"$work/CMakeLists.txt" <<'PROJECT'
cmake_minimum_required(VERSION 3.25)
project(Check LANGUAGES CXX)
find_package(SF 0.1 CONFIG REQUIRED)
add_executable(tools tools.cpp)
target_link_libraries(tools PRIVATE SF::Tools)
PROJECT

# What is done inside. The packages with libraries alone must do for programs that have been compiled.
cat >"$work/use.sh" <<'USE'
set -eux
cd /check
export DEBIAN_FRONTEND=noninteractive
quietly() { "$@" >log 2>&1 || { cat log; exit 1; }; }
quietly apt-get install --yes --no-install-recommends ./libsf*.deb g++ cmake make pkg-config
for part in library:SF modelling:SFModelling tools:SFTools; do
  g++ -std=c++20 "${part%:*}.cpp" -o "${part%:*}" $(pkg-config --cflags --libs "${part#*:}")
done
quietly cmake -B build && quietly cmake --build build && build/tools
quietly apt-get remove --yes libsf-dev
for part in library modelling tools; do ./$part; done

quietly apt-get install --yes --no-install-recommends ./sfdag_*.deb bash-completion man-db
sfdag --version
test "$(sfdag eval -x 'f2' --at 0 0 0)" = 2
sfdag mesh -e 'sphere(2)' -n 16 -o ball.3mf && test -s ball.3mf
sfdag grid -e 'sphere(2)' -n 16 -o ball.vdb && test -s ball.vdb
timeout --signal INT 5 sfdag view -e 'sphere(2)' | grep http
test -s /usr/share/man/man1/sfdag.1
man --warnings sfdag 2>&1 >/dev/null | (! grep .)
bash -c '. /usr/share/bash-completion/completions/sfdag && COMP_WORDS=(sfdag mea) COMP_CWORD=1 && _sfdag && test "${COMPREPLY[*]}" = measure'

if ls sfdag-mpi_*.deb >/dev/null 2>&1; then
  quietly apt-get install --yes --no-install-recommends ./sfdag-mpi_*.deb openmpi-bin
  mpirun --allow-run-as-root --oversubscribe -n 2 sfdag-mpi grid -e 'sphere(2)' -n 16 -o ball.npy && test -s ball.npy
fi
if ls python3-sf_*.deb >/dev/null 2>&1; then
  quietly apt-get install --yes --no-install-recommends ./python3-sf_*.deb
  python3 -c 'import sf; assert sf.sphere(radius=2)([[0, 0, 0]]) == -2; sf.sphere(2).mesh(voxel=1).save("ball.stl")'
fi
quietly apt-get remove --yes 'libsf*'
test -z "$(find /usr -name 'libSF*' -o -path '*/include/SF' -o -name 'sfdag*' -o -path '*/dist-packages/sf')"
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
