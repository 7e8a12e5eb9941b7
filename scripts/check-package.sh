#!/usr/bin/env bash
# Installs the packages for this machine in build/package, runs the installed command, and removes it again. The archive
# is installed in a scratch home. The .deb is checked by lintian and installed in a Debian that debootstrap makes in
# build/debian. With --bare the .deb is installed in an empty directory, which takes a moment and needs no network. A .deb
# needs root. With --bare, root in a user namespace is enough.
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(id -u)" -ne 0 ]; then
  if ! unshare --map-root-user true 2>/dev/null; then
    echo "Installing a .deb needs root here: sudo make check-package" >&2
    exit 1
  fi
  echo "Without root, the .deb goes into an empty directory."
  exec unshare --map-root-user scripts/check-package.sh --bare
fi

package=$(ls build/package/tavrin-hook_*.deb)
workshop=$(mktemp -d)
export PATH="$PATH:/usr/sbin:/sbin"

lintian --allow-root --fail-on error,warning "$package"
if [ "${1:-}" = --bare ]; then
  where="an empty directory"
  root=$workshop/root
  mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
  touch "$root/var/lib/dpkg/status"
  install_package() { dpkg --root="$root" --log="$workshop/dpkg.log" --install "$package"; }
  purge_package() { dpkg --root="$root" --log="$workshop/dpkg.log" --purge tavrin-hook; }
else
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
trap 'rm -rf "$workshop" "$root/user"' EXIT
mkdir "$root/user"

fail() {
  echo "check-package: $*" >&2
  exit 1
}

# Runs a command that starts tavrin-hook on one event. `home` is its home directory as this script sees it.
try() {
  local home=$1 said
  shift
  said=$(echo '{"session_id":"one","hook_event_name":"UserPromptSubmit","cwd":"/"}' | "$@" 2>&1) ||
    fail "$*: its exit status is $?"
  [ -z "$said" ] || fail "$*: it printed $said"
  record="$home/Library/Application Support/Tavrin/sessions/one.json"
  grep -q '"state" : "working"' "$record" || fail "$*: it left no record of an event"
}

(cd build/package && sha256sum --check --quiet SHA256SUMS)

archive=$(ls build/package/tavrin-hook-*-linux-"$(uname -m | sed s/aarch64/arm64/)".tar.gz)
mkdir "$workshop/home"
tar xzf "$archive" --directory "$workshop"
folder=$(basename "$archive" .tar.gz)
HOME=$workshop/home "$workshop/$folder/install.sh" >/dev/null
HOME=$workshop/home try "$workshop/home" "$workshop/home/Library/Application Support/Tavrin/bin/tavrin-hook"
HOME=$workshop/home "$workshop/$folder/uninstall.sh" >/dev/null
[ ! -e "$workshop/home/Library/Application Support/Tavrin/bin" ] || fail "uninstall.sh left something"
[ -e "$record" ] || fail "what agents reported went with uninstall.sh"
echo "$folder.tar.gz: installed, handled an event, removed"

# Lists all files except those of dpkg itself.
listing() { (cd "$root" && find . -path ./var/lib/dpkg -prune -o -path ./var/log -prune -o -print | sort); }

purge_package >/dev/null 2>&1 # an interrupted check may have left it installed
listing >"$workshop/before"
install_package >/dev/null
installed=$(listing | comm -13 "$workshop/before" - | wc -l)
if chroot / /bin/true 2>/dev/null; then
  HOME=/user try "$root/user" chroot "$root" /usr/bin/tavrin-hook
else
  where="$where (which may not be entered here)"
  HOME=$root/user try "$root/user" "$root/usr/bin/tavrin-hook"
fi
purge_package >/dev/null
[ -e "$record" ] || fail "what agents reported went with the package"
rm -r "$root/user/Library"
listing | diff "$workshop/before" - || fail "the package left or took something"
echo "${package##*/} in $where: installed $installed files and directories, handled an event, purged without a trace"
