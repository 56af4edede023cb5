#!/bin/sh
# Builds and runs the consumer as a host without CMake does.
# Usage: pkg_config.sh COMPILER STAGE LIBDIR SOURCE PROGRAM
set -eu
compiler=$1 stage=$2 libdir=$3 source=$4 program=$5

PKG_CONFIG_PATH="$stage/$libdir/pkgconfig"
export PKG_CONFIG_PATH
# shellcheck disable=SC2046 # the flags are separate words
"$compiler" -std=c++20 -DFOUND_VERSION="\"$(pkg-config --modversion SF)\"" "$source" $(pkg-config --cflags --libs SF) -o "$program"
LD_LIBRARY_PATH="$stage/$libdir" "$program"
