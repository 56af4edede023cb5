#!/usr/bin/env bash
# Installs the Debian packages that building and testing needs; asks apt for nothing when nothing is missing.
#
# Usage: scripts/install-deps.sh [--ci]
#   --ci   also what only the full check needs: the second compiler, with its sanitizers
set -euo pipefail

packages=(
  # building
  g++ # brings the C library's headers and binutils
  make
  cmake
  ninja-build
  # the tools and sfdag
  libcli11-dev           # options
  libpng-dev             # pictures
  zlib1g-dev             # compressed parts of files
  lib3mf-dev             # 3MF,
  libzip-dev             # which needs this to link
  libopenvdb-dev         # VDB volumes,
  libboost-iostreams-dev # which need this beside them,
  libtbb-dev             # and this
  libeigen3-dev          # small least squares
  nlohmann-json3-dev     # JSON, glTF
  pkg-config             # finds lib3mf; and a consumer without CMake
  libcpp-httplib-dev     # the server of sfdag view,
  libjs-three            # and its page
  # sfdag-mpi
  libopenmpi-dev
  openmpi-bin
  # the Python package
  python3-dev
  python3-numpy
  python3-setuptools
  python3-wheel
  pybind11-dev
  # testing
  libgtest-dev
  libmpfr-dev # exact values of the elementary functions
  libbenchmark-dev
  python3    # checks of the documents
  python3-pytest
  python3-pip
  python3-venv
  python3-tqdm
  python3-xarray
  python3-dask        # arrays in chunks,
  python3-distributed # on a cluster,
  python3-zarr        # and their files
  mypy       # the stubs of the Python package
  graphviz   # drawings
  gnuplot-nox # plots of the documents, by bench/growth.gp
  doxygen     # the reference of the headers
  groff-base  # the manual page, as two programs
  mandoc      # render it
  git
)
ci_packages=(
  clang
  libclang-rt-14-dev # its sanitizers and libFuzzer
  llvm               # llvm-symbolizer: the places in the sanitizers' reports
  admesh         # what other programs say of meshes
  f3d            # with a display from
  xvfb
  xauth
  libcgal-dev
  prusa-slicer
  python3-meshio
  g++-aarch64-linux-gnu # another processor, to see that no value depends on it,
  qemu-user-static      # and its emulator
  python3-numpy   # readers of volumes that are not ours:
  python3-openvdb # VDB,
  python3-vtk9    # VTK images,
  teem-apps       # NRRD
  dpkg-dev   # what packages need from others
  file       # needed by cpack
  chromium          # uses the page of sfdag view,
  chromium-driver   # as these
  python3-selenium  # tell it
  mmdebstrap # a clean root to install them into
)

case "${1-}" in
'') ;;
--ci) packages+=("${ci_packages[@]}") ;;
*)
  echo "usage: $0 [--ci]" >&2
  exit 2
  ;;
esac

if ! command -v dpkg-query >/dev/null; then
  echo "install-deps: not a Debian system, nothing installed. Needed, by their Debian names: ${packages[*]}" >&2
  exit 0
fi

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null || true)
  [[ $status == installed ]] || missing+=("$package")
done
[[ ${#missing[@]} -gt 0 ]] || exit 0

as_root=()
if [[ $(id -u) -ne 0 ]]; then
  if ! command -v sudo >/dev/null; then
    echo "install-deps: these packages are missing, and neither root's rights nor sudo are there to install them." >&2
    echo "Run as root: apt-get update && apt-get install ${missing[*]}" >&2
    exit 1
  fi
  as_root=(sudo)
fi

echo "install-deps: installing ${missing[*]}"
"${as_root[@]}" apt-get update
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install --yes --no-install-recommends "${missing[@]}"
