#!/usr/bin/env bash
# Installs the .deb in build/package, runs the command that it installed, and purges it again, in a Debian made for
# that (build/debian, by debootstrap), after lintian has looked at it. With --bare the .deb goes into an empty
# directory, where nothing is but what it brings along: that takes a moment, and no network. Both need root; for --bare
# it is enough to be it in a namespace of one's own.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" -ne 0 ]; then
  if ! unshare --map-root-user true 2>/dev/null; then
    echo "Installing a .deb takes root here: sudo make check-package" >&2
    exit 1
  fi
  echo "Without root, the .deb goes into an empty directory."
  exec unshare --map-root-user "$0" --bare
fi

package=$(ls build/package/tavrin-hook_*.deb)
workshop=$(mktemp -d)
export PATH="$PATH:/usr/sbin:/sbin"

if [ "${1:-}" = --bare ]; then
  where="an empty directory"
  root=$workshop/root
  mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
  touch "$root/var/lib/dpkg/status"
  install_package() { dpkg --root="$root" --log="$workshop/dpkg.log" --install "$package"; }
  purge_package() { dpkg --root="$root" --log="$workshop/dpkg.log" --purge tavrin-hook; }
else
  lintian --allow-root --fail-on error,warning "$package"
  root=$PWD/build/debian
  if [ ! -e "$root" ]; then
    echo "Making a Debian in build/debian"
    rm -rf "$root.new"
    debootstrap --variant=minbase bookworm "$root.new" >"$root.log" || { tail "$root.log" >&2 && exit 1; }
    mv "$root.new" "$root"
  fi
  where="Debian $(cat "$root/etc/debian_version")"
  install_package() {
    cp "$package" "$root/package.deb"
    chroot "$root" dpkg --install /package.deb
    rm "$root/package.deb"
  }
  purge_package() { chroot "$root" dpkg --purge tavrin-hook; }
fi
home=$root/user
trap 'rm -rf "$workshop" "$home"' EXIT
mkdir "$home"

fail() {
  echo "$package: $*" >&2
  exit 1
}

# All there is, but what dpkg keeps of its own.
listing() { (cd "$root" && find . -path ./var/lib/dpkg -prune -o -path ./var/log -prune -o -print | sort); }

purge_package >/dev/null 2>&1 # what a check that was broken off has left
listing >"$workshop/before"
install_package >/dev/null
listing | comm -13 "$workshop/before" - | sed 's/^\.//' >"$workshop/installed"

event='{"session_id":"one","hook_event_name":"UserPromptSubmit","cwd":"/"}'
said=$(printf %s "$event" | HOME=/user chroot "$root" /usr/bin/tavrin-hook 2>&1) || fail "its exit status is $?"
[ -z "$said" ] || fail "it printed: $said"
record="$home/Library/Application Support/Tavrin/sessions/one.json"
grep -q '"state" : "working"' "$record" || fail "it left no record of an event"

purge_package >/dev/null
[ -e "$record" ] || fail "what agents reported went with it"
rm -r "$home/Library"
listing | diff "$workshop/before" - || fail "it left or took something"
echo "${package##*/} in $where: installed $(wc -l <"$workshop/installed") files and directories, handled an event, purged without a trace"
