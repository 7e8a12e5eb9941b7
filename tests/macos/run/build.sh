#!/usr/bin/env bash
# Builds machrun from tests/macos/run: build.sh ZIG-LIBRARY-FOLDER OUT PROCESSOR..., where a processor is x86_64 or aarch64.
# The folder has the source of LLVM's libunwind, whose reader of compact unwind tables is switched on here.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
zig=$1 out=$2
shift 2

mkdir -p "$out"
rm -rf "$out/libunwind"
cp -r "$zig/libunwind" "$out/libunwind"
chmod -R u+w "$out/libunwind"
source=$out/libunwind/src
# libunwind reads __unwind_info only on Apple's systems. The conditions around Apple's own headers stay as they are.
apple='s/^#ifdef __APPLE__$/#if defined(__APPLE__) || defined(MACHRUN)/'
sed -i "$apple" "$source/config.h" "$source/libunwind_ext.h" "$source/libunwind.cpp"
sed -i '/^#ifdef __APPLE__$/{N;/dyld\|struct\|^.*\n$/s/#ifdef __APPLE__/#if defined(__APPLE__) || defined(MACHRUN)/}' \
  "$source/AddressSpace.hpp"
sed -i "/^inline bool LocalAddressSpace::findUnwindSections/,/^}/$apple" "$source/AddressSpace.hpp"

for processor in "$@"; do
  target=$processor-linux-gnu objects=$out/$processor
  mkdir -p "$objects"
  common=(--target="$target" -D_GNU_SOURCE -O1 -g -funwind-tables -c)
  libunwind=("${common[@]}" -w -DMACHRUN -D_LIBUNWIND_IS_NATIVE_ONLY -D_LIBUNWIND_HAS_NO_THREADS -fexceptions
    -I"$out/libunwind/include" -I"$source")
  clang++ "${libunwind[@]}" -std=c++17 -fno-exceptions -fno-rtti "$source/libunwind.cpp" -o "$objects/libunwind.o"
  for file in UnwindLevel1 UnwindLevel1-gcc-ext; do clang "${libunwind[@]}" "$source/$file.c" -o "$objects/$file.o"; done
  for file in UnwindRegistersSave UnwindRegistersRestore; do
    clang "${libunwind[@]}" "$source/$file.S" -o "$objects/$file.o"
  done
  for file in "$here"/*.c; do
    name=${file##*/}
    clang "${common[@]}" -Wall -Wextra -Werror -Wno-gnu-alignof-expression "$file" -o "$objects/${name%.c}.o"
  done
  if [ "$processor" = "$(uname -m)" ]; then
    clang "$objects"/*.o -Wl,--eh-frame-hdr -o "$out/machrun-$processor"
  else
    # A static program needs no libraries of the other processor when it runs.
    "$processor-linux-gnu-gcc" -static "$objects"/*.o -Wl,--eh-frame-hdr -Wl,--no-warnings -o "$out/machrun-$processor"
  fi
done
