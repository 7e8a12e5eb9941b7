#!/usr/bin/env bash
# Installs the library of a build directory into PREFIX: install.sh CMAKE BUILD PREFIX SOURCE
# The tree is installed elsewhere and moved, and must not name where it was built, so nothing in it can lead back there.
set -euo pipefail

cmake=$1
build=$2
prefix=$3
source=$4

rm -rf "$prefix" "$prefix.first"
"$cmake" --install "$build" --component dev --prefix "$prefix.first" >/dev/null
mv "$prefix.first" "$prefix"

if grep -rIlF -e "$source" -e "$build" -e "$prefix.first" "$prefix"; then
  echo "These files name a folder of the build."
  exit 1
fi
[ -f "$prefix/include/TavrinCore/Sessions/Session.hpp" ]
echo "Installed $(find "$prefix" -type f | wc -l) files."
