#!/usr/bin/env bash
# Puts the libraries that "make arm64" builds with into build/arm64-sysroot. They stay there until the list below changes.
set -euo pipefail
cd "$(dirname "$0")/.."

root=build/arm64-sysroot
packages="libgmock-dev libgtest-dev libicu-dev libutf8proc-dev libuv1-dev libcli11-dev"
if [ "$(cat "$root/packages.txt" 2>/dev/null)" = "$packages" ]; then exit 0; fi

echo "Fetching libraries for arm64"
rm -rf "$root.new"
# The list consists of words.
# shellcheck disable=SC2086
scripts/fetch-with-apt.sh arm64 "$root.new" $packages
ln -sfn /usr/include/boost "$root.new/usr/include/boost"
echo "$packages" >"$root.new/packages.txt"
rm -rf "$root"
mv "$root.new" "$root"
