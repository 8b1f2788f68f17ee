#!/usr/bin/env bash
# Installs the build tree into a scratch prefix and builds a small program against it twice, through
# find_package(zorvi) and through pkg-config, as a user of the installed libraries would.
# usage: consumer_test.sh BUILD_DIR SOURCE_DIR SOVERSION
set -euo pipefail
build=$1 source=$2 soversion=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
prefix=$scratch/prefix
cmake --install "$build" --prefix "$prefix" > /dev/null
board=$source/examples/example.zorvi
status=0
check() {  # check WHAT ACTUAL EXPECTED
  if [ "$2" != "$3" ]; then echo "FAIL $1: got '$2', expected '$3'"; status=1; fi
}

for library in core archive decode render; do
  file=$prefix/lib/libzorvi-$library.so.$soversion
  [ -e "$file" ] || { echo "FAIL $file missing"; status=1; continue; }
  check "$library: search path" "$(readelf -d "$file" | grep -cE 'RPATH|RUNPATH' || true)" 0
  check "$library: SONAME" "$(readelf -d "$file" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')" "libzorvi-$library.so.$soversion"
done

# Only the prefix's own .pc file is visible: the libraries' dependencies must not be needed.
export PKG_CONFIG_LIBDIR=$prefix/lib/pkgconfig PKG_CONFIG_PATH=
cflags=$(pkg-config --cflags zorvi)
check "pkg-config --cflags" "$(for flag in $cflags; do realpath -m "${flag#-I}"; done)" "$(realpath "$prefix/include")"
check "pkg-config Requires" "$(pkg-config --print-requires --print-requires-private zorvi)" ""
# shellcheck disable=SC2046
g++ -std=c++20 -o "$scratch/pc-consumer" "$source/tests/install/consumer/main.cpp" $(pkg-config --cflags --libs zorvi)
check "pkg-config consumer" "$(LD_LIBRARY_PATH=$prefix/lib "$scratch/pc-consumer" "$board")" "10 items"

cmake -S "$source/tests/install/consumer" -B "$scratch/cmake-consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$scratch/cmake-consumer" > "$scratch/cmake-build.log" 2>&1 || { cat "$scratch/cmake-build.log"; status=1; }
check "find_package consumer" "$(LD_LIBRARY_PATH=$prefix/lib "$scratch/cmake-consumer/consumer" "$board" 2>&1)" "10 items"
exit $status
