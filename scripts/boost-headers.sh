#!/usr/bin/env bash
# Puts the headers of a newer Boost than the system's into build/newer-boost/include. They come from Debian's unstable
# release through apt, which checks their signature. Headers that are there already stay. The argument is the version,
# 1.90 if there is none. Fails where the system's apt does not know Debian, or Debian no longer has that version.
set -euo pipefail
cd "$(dirname "$0")/.."

version=${1:-1.90}
root=build/newer-boost
if [ -e "$root/include/boost/version.hpp" ]; then exit 0; fi

echo "Fetching the headers of Boost $version"
rm -rf "$root.new"
mkdir -p "$root.new"
scripts/fetch-with-apt.sh unstable "$root.new" "libboost$version-dev"
# Only Boost: the headers beside it belong to another system.
mkdir -p "$root"
rm -rf "$root/include"
mv "$root.new/usr/include" "$root/include"
rm -rf "$root.new"
