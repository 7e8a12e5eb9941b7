#!/usr/bin/env bash
# Builds and packs the sources again in another directory. Fails if a package for this machine differs from the one in
# build/package in any byte.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=$PWD/build/package
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}
export SOURCE_DATE_EPOCH
elsewhere=$(mktemp -d)
trap 'rm -rf "$elsewhere"' EXIT

git ls-files -z | tar --create --null --files-from=- | tar --extract --directory "$elsewhere"
cd "$elsewhere"
cmake --preset release -DTAVRIN_BUILD_TESTS=OFF >/dev/null
cmake --build --preset release --target tavrin-files tavrin-portable >build.log || { cat build.log >&2 && exit 1; }
scripts/package.sh native >/dev/null

status=0
for package in build/package/*.deb build/package/*.tar.gz; do
  if cmp "$package" "$packages/${package##*/}"; then
    echo "${package##*/}: the same bytes from another directory"
  else
    status=1
  fi
done
exit "$status"
