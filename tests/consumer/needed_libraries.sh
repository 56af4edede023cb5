#!/bin/sh
# Fails when the library needs anything but the language's run-time, threads and libm.
# Usage: needed_libraries.sh LIBRARY
set -eu
needed=$(LC_ALL=C readelf -d "$1" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
[ -n "$needed" ] || { echo "$1: no needed libraries found"; exit 1; }
foreign=$(echo "$needed" | grep -Ev '^(libstdc\+\+|libm|libc|libgcc_s|libpthread|ld-linux[-a-z0-9_]*)\.so\.' || true)
[ -z "$foreign" ] || { echo "$1 needs $foreign"; exit 1; }
