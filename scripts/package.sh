#!/usr/bin/env bash
# Makes the files that people download, in build/package: a .deb and a .tar.gz for this machine, a .tar.gz for each other
# system, one of the sources, and the SHA-256 sums of all. The arguments say which: native, arm64, macos, source. The
# same compilers make the same bytes of the same commit, in any directory.
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

# Compresses the folder $1 in the stage.
pack() {
  tar --create --directory "$stage" --format=ustar --sort=name --owner=0 --group=0 --numeric-owner --mode=go=rX,u+rw,a-s \
    --mtime="@$SOURCE_DATE_EPOCH" "$1" | gzip -9n >"$packages/$1.tar.gz"
}

# Makes an archive of one folder with tavrin-hook, tavrin if there is a second executable, and the files that belong to
# them. Those are the same on every system, so they come from this machine's build.
tarball() {
  local name="tavrin-hook-$version-$1"
  mkdir "$stage/$name"
  install -m 755 "$2" "$stage/$name/tavrin-hook"
  cp -R build/release/files/share "$stage/$name"
  if [ -n "${3:-}" ]; then
    install -m 755 "$3" "$stage/$name/tavrin"
  else
    (cd "$stage/$name/share" && rm -r man/man1/tavrin.1 bash-completion fish zsh)
  fi
  install -m 755 packaging/install.sh packaging/uninstall.sh "$stage/$name"
  install -m 644 README.md CHANGELOG.md packaging/copyright "$stage/$name"
  pack "$name"
}

pack_native() {
  cpack --config build/release/CPackConfig.cmake -G DEB -B "$stage" >"$stage/log" 2>&1 ||
    { cat "$stage/log" >&2 && return 1; }
  install -m 644 "$stage"/*.deb "$packages"
  strip -o "$stage/native-hook" build/release/TavrinHook/tavrin-hook
  strip -o "$stage/native" build/release/packaging/portable/tavrin
  tarball "linux-$machine" "$stage/native-hook" "$stage/native"
}

pack_arm64() {
  if [ "$machine" = arm64 ]; then return; fi # the native package is the same
  make --no-print-directory arm64
  cmake --build --preset arm64 --target tavrin-portable
  aarch64-linux-gnu-strip -o "$stage/arm64-hook" build/arm64/TavrinHook/tavrin-hook
  aarch64-linux-gnu-strip -o "$stage/arm64" build/arm64/packaging/portable/tavrin
  tarball linux-arm64 "$stage/arm64-hook" "$stage/arm64"
}

# The executables are stripped already, because stripping them now would break their signatures.
pack_macos() {
  make --no-print-directory macos
  local tavrin=build/macos/tavrin
  tarball macos-universal build/macos/tavrin-hook "$([ ! -f "$tavrin" ] || echo "$tavrin")"
}

# What a formula of Homebrew builds from: the sources as they are committed.
pack_source() {
  local name="tavrin-hook-$version"
  mkdir "$stage/$name"
  git ls-files -z | tar --create --null --files-from=- | tar --extract --directory "$stage/$name"
  pack "$name"
}

for what in "$@"; do "pack_$what"; done
cd "$packages"
sha256sum -- tavrin-hook* | tee SHA256SUMS
