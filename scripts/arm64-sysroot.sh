#!/usr/bin/env bash
# Puts the libraries that `make arm64` builds with into build/arm64-sysroot. What is there already stays.
set -euo pipefail
cd "$(dirname "$0")/.."

root=build/arm64-sysroot
if [ -e "$root" ]; then exit 0; fi

echo "Fetching libraries for arm64"
scripts/fetch-with-apt.sh arm64 "$root.new" libgmock-dev libgtest-dev libicu-dev libutf8proc-dev
ln -sfn /usr/include/boost "$root.new/usr/include/boost"
mv "$root.new" "$root"
