#!/usr/bin/env bash
# Makes the files that people download, in build/package: a .deb and a .tar.gz for this machine, a .tar.gz for each other
# system, and the SHA-256 sums of all. The arguments are the systems: native, arm64, macos. The same compilers make the
# same bytes of the same commit, in any directory.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(uname)" != Linux ]; then
  echo "make package makes packages on Linux, also those for macOS." >&2
  exit 1
fi

packages=build/package
version=$(sed -n 's/^project(tavrin-hook VERSION \([^ ]*\) .*/\1/p' CMakeLists.txt)
case $(uname -m) in
  aarch64) machine=arm64 ;;
  *) machine=$(uname -m) ;;
esac
# Every time stamp in a package is the commit's.
export SOURCE_DATE_EPOCH="${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct)}"
umask 022
rm -rf "$packages"
mkdir -p "$packages"
stage=$(mktemp -d)
trap 'rm -rf "$stage"' EXIT

# Makes an archive of one folder with the executable and the files that belong to it on every system.
tarball() {
  local name="tavrin-hook-$version-$1" executable=$2
  mkdir "$stage/$name"
  install -m 755 "$executable" "$stage/$name/tavrin-hook"
  install -m 755 packaging/install.sh packaging/uninstall.sh "$stage/$name"
  install -m 644 README.md CHANGELOG.md packaging/copyright docs/man/tavrin-hook.1 docs/man/tavrin-session.5 \
    "$stage/$name"
  tar --create --directory "$stage" --format=ustar --sort=name --owner=0 --group=0 --numeric-owner \
    --mtime="@$SOURCE_DATE_EPOCH" "$name" | gzip -9n >"$packages/$name.tar.gz"
}

pack_native() {
  cpack --config build/release/CPackConfig.cmake -G DEB -B "$stage" >"$stage/log" 2>&1 ||
    { cat "$stage/log" >&2 && return 1; }
  install -m 644 "$stage"/*.deb "$packages"
  strip -o "$stage/native" build/release/TavrinHook/tavrin-hook
  tarball "linux-$machine" "$stage/native"
}

pack_arm64() {
  if [ "$machine" = arm64 ]; then return; fi # the native package is the same
  make --no-print-directory arm64
  aarch64-linux-gnu-strip -o "$stage/arm64" build/arm64/TavrinHook/tavrin-hook
  tarball linux-arm64 "$stage/arm64"
}

# The executable is stripped already, because stripping it now would break its signature.
pack_macos() {
  make --no-print-directory macos
  tarball macos-universal build/macos/tavrin-hook
}

for what in "$@"; do "pack_$what"; done
cd "$packages"
sha256sum -- tavrin-hook* | tee SHA256SUMS
