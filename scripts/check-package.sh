#!/usr/bin/env bash
# Installs the packages for this machine in build/package, runs the installed commands, and removes them again. The
# archive is installed in a scratch home. The .deb is checked by lintian and installed in a Debian that debootstrap makes
# in build/debian, where a first use is played as well. With --bare the .deb is installed in an empty directory, which
# takes a moment and needs no network. A .deb needs root. With --bare, root in a user namespace is enough.
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
  # An empty directory has none of the libraries that tavrin depends on.
  install_package() {
    dpkg --root="$root" --log="$workshop/dpkg.log" --force-depends --install "$package" 2>"$workshop/dpkg" ||
      { cat "$workshop/dpkg" >&2 && return 1; }
  }
  purge_package() { dpkg --root="$root" --log="$workshop/dpkg.log" --purge tavrin-hook; }
else
  root=$PWD/build/debian
  if [ ! -e "$root" ]; then
    echo "Making a Debian in build/debian"
    rm -rf "$root.new"
    debootstrap --variant=minbase bookworm "$root.new" >"$root.log" || { tail "$root.log" >&2 && exit 1; }
    mv "$root.new" "$root"
  fi
  # What tavrin depends on, and what the first use below takes, stay there.
  depends=$(dpkg-deb --field "$package" Depends | sed 's/ *([^)]*)//g; s/,//g')
  # The list consists of words.
  # shellcheck disable=SC2086
  chroot "$root" env DEBIAN_FRONTEND=noninteractive sh -c \
    'apt-get update -qq && apt-get install -y -qq --no-install-recommends "$@"' sh $depends tmux python3 \
    >"$root.log" 2>&1 || { tail "$root.log" >&2 && exit 1; }
  chroot "$root" id tester >/dev/null 2>&1 || chroot "$root" useradd tester
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

version=$(sed -n 's/^project(tavrin-hook VERSION \([^ ]*\) .*/\1/p' CMakeLists.txt)

# Checks tavrin, which the words after the first run, in the home directory where `try` left a session.
# `share` is where its completions were installed.
look() {
  local share=$1 said shell
  shift
  said=$("$@" --version) || fail "$*: it does not run"
  [ "$said" = "tavrin $version" ] || fail "$*: it is $said, not version $version"
  for shell in bash-completion/completions/tavrin:bash zsh/*/_tavrin:zsh fish/vendor_completions.d/tavrin.fish:fish; do
    # The pattern finds the directory of either system.
    # shellcheck disable=SC2086
    "$@" completions "${shell#*:}" | cmp - "$share"/${shell%:*} || fail "the installed completions are not its own"
  done
  said=$("$@" list --json --all) || fail "$*: list failed"
  grep -q '"id":"one"' <<<"${said// /}" || fail "$*: list printed $said"
}

(cd build/package && sha256sum --check --quiet SHA256SUMS)

archive=$(ls build/package/tavrin-hook-*-linux-"$(uname -m | sed s/aarch64/arm64/)".tar.gz)
mkdir "$workshop/home"
tar xzf "$archive" --directory "$workshop"
folder=$(basename "$archive" .tar.gz)
programs="$workshop/home/Library/Application Support/Tavrin/bin"
HOME=$workshop/home "$workshop/$folder/install.sh" >/dev/null
HOME=$workshop/home try "$workshop/home" "$programs/tavrin-hook"
HOME=$workshop/home look "$workshop/home/.local/share" "$workshop/home/.local/bin/tavrin"
for executable in "$programs/tavrin-hook" "$programs/tavrin"; do
  if readelf --dynamic "$executable" | grep -q NEEDED; then fail "$executable needs libraries"; fi
done
HOME=$workshop/home "$workshop/$folder/uninstall.sh" >/dev/null
[ ! -e "$programs" ] || fail "uninstall.sh left something"
[ -e "$record" ] || fail "what agents reported went with uninstall.sh"
left=$(cd "$workshop/home" && find . -path ./Library -prune -o ! -type d -print)
[ -z "$left" ] || fail "uninstall.sh left $left"
echo "$folder.tar.gz: installed, handled an event, showed the session, removed"

# Connects, looks and disconnects as a user of the Debian in $root. What it mounts and starts ends with it, because it has
# a namespace of its own.
first_use() {
  local status=0
  rm -rf "$root/home/tester" # of a run that was interrupted
  install -m 755 packaging/debian/first-use.sh "$root/first-use.sh"
  chroot "$root" install -d -o tester -m 700 /home/tester
  # The words in quotes are the inner shell's.
  # shellcheck disable=SC2016
  unshare --mount --pid --fork --kill-child sh -ec '
    mount -t proc proc "$1/proc"
    mount -t devpts devpts "$1/dev/pts" -o newinstance,ptmxmode=0666,mode=0620,gid=5
    mount --bind "$1/dev/pts/ptmx" "$1/dev/ptmx"
    chroot "$1" su - tester -c /first-use.sh' sh "$root" || status=$?
  rm -r "$root/first-use.sh" "$root/home/tester"
  [ "$status" -eq 0 ] || fail "the first use failed"
  echo "First use: connected, waited in tmux, focused, went there from the panel, disconnected"
}

# Lists all files except those of dpkg itself.
listing() { (cd "$root" && find . -path ./var/lib/dpkg -prune -o -path ./var/log -prune -o -print | sort); }

purge_package >/dev/null 2>&1 # an interrupted check may have left it installed
listing >"$workshop/before"
install_package >/dev/null
installed=$(listing | comm -13 "$workshop/before" - | wc -l)
if ! chroot / /bin/true 2>/dev/null; then
  where="$where (which may not be entered here)"
  HOME=$root/user try "$root/user" "$root/usr/bin/tavrin-hook"
else
  HOME=/user try "$root/user" chroot "$root" /usr/bin/tavrin-hook
fi
if [ "${1:-}" = --bare ]; then
  HOME=$root/user look "$root/usr/share" "$root/usr/bin/tavrin" # with the libraries of this machine
else
  HOME=/user look "$root/usr/share" chroot "$root" /usr/bin/tavrin
  first_use
fi
purge_package >/dev/null
[ -e "$record" ] || fail "what agents reported went with the package"
rm -r "$root/user/Library"
listing | diff "$workshop/before" - || fail "the package left or took something"
echo "${package##*/} in $where: installed $installed files and directories, handled an event, showed the session, purged without a trace"
