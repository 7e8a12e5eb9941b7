#!/usr/bin/env bash
# Puts tavrin-hook where agents' settings look for it, below your home directory. BIN names another directory, which
# should end in /Tavrin/bin as well, and DESTDIR goes in front of it. The argument is the executable, the one beside
# this script without it.
set -euo pipefail

executable="${1:-$(dirname "$0")/tavrin-hook}"
bin="${DESTDIR:-}${BIN:-$HOME/Library/Application Support/Tavrin/bin}"
new="$bin/.tavrin-hook.new"

mkdir -p "$bin"
trap 'rm -f "$new"' EXIT
# Written beside its place and moved there, for agents run it at any moment. With cat, for a copy of a download would
# still count as one on macOS, and be asked about.
cat "$executable" >"$new"
chmod 755 "$new"
mv -f "$new" "$bin/tavrin-hook"
echo "Installed $bin/tavrin-hook"
case "$bin" in
  */Tavrin/bin) ;;
  *) echo "Its path does not end in /Tavrin/bin/tavrin-hook, by which its entries in agents' settings are recognised." ;;
esac
