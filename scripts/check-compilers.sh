#!/usr/bin/env bash
# Builds the libraries and the programs with every supported compiler that is installed (g++ from 12, clang from 14), as a
# packager would: plain Release (-O3) and Debug, and treats warnings as errors. Then builds once with libc++, and once
# with g++ and with clang++ against newer Boost headers (scripts/boost-headers.sh). The arguments name compilers. Without
# arguments, all that are installed are taken.
set -euo pipefail
cd "$(dirname "$0")/.."

out=build/compilers
log=$out/log
mkdir -p "$out"

# build NAME COMPILER TYPE [CMAKE-OPTION...]
build() {
  local name=$1 compiler=$2 type=$3 started=$SECONDS
  shift 3
  local c=${compiler/clang++/clang}
  c=${c/g++/gcc}
  rm -rf "${out:?}/$name"
  if cmake -S . -B "$out/$name" -G Ninja -DCMAKE_C_COMPILER="$c" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_BUILD_TYPE="$type" \
    -DTAVRIN_WARNINGS_AS_ERRORS=ON -DTAVRIN_BUILD_TESTS=OFF "$@" >"$log" 2>&1 &&
    cmake --build "$out/$name" >>"$log" 2>&1; then
    echo "$name: built in $((SECONDS - started)) s"
  else
    tail -n 60 "$log"
    echo "$name: FAILED"
    return 1
  fi
  rm -rf "${out:?}/$name"
}

compilers=("$@")
if [ "${#compilers[@]}" -eq 0 ]; then
  for version in 12 13 14 15; do
    if command -v "g++-$version" >/dev/null; then compilers+=("g++-$version"); fi
  done
  for version in 14 15 16 17 18 19 20; do
    if command -v "clang++-$version" >/dev/null; then compilers+=("clang++-$version"); fi
  done
fi
[ "${#compilers[@]}" -gt 0 ] || { echo "No compiler is installed under a name such as g++-12." >&2; exit 1; }
echo "Compilers: ${compilers[*]}"

status=0
for compiler in "${compilers[@]}"; do
  for type in Release Debug; do build "$compiler-$type" "$compiler" "$type" || status=1; done
done

if command -v clang++-16 >/dev/null && [ -e /usr/lib/llvm-16/include/c++/v1/__config ]; then
  build libc++-16 clang++-16 Release -DCMAKE_CXX_FLAGS=-stdlib=libc++ || status=1
else
  echo "libc++-16: left out, because clang++-16 or libc++-16-dev is not installed"
fi

if scripts/boost-headers.sh; then
  for compiler in g++ clang++; do
    build "$compiler-newer-boost" "$compiler" Release -DBoost_NO_BOOST_CMAKE=ON \
      -DBoost_INCLUDE_DIR="$PWD/build/newer-boost/include" || status=1
  done
else
  echo "Newer Boost: left out, because its headers could not be fetched"
fi
exit "$status"
