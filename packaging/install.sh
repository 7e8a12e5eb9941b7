#!/usr/bin/env bash
# Puts tavrin-hook where agents' settings look for it, below your home directory. BIN names another directory, which
# should end in /Tavrin/bin as well, and DESTDIR goes in front of it. The argument is the executable, the one beside
# this script without it.
set -euo pipefail

executable="${1:-$(dirname "$0")/tavrin-hook}"
bin="${DESTDIR:-}${BIN:-$HOME/Library/Application Support/Tavrin/bin}"
command="$bin/tavrin-hook"

refuse_directory() {
  if [ -d "$command" ] && [ ! -L "$command" ]; then
    echo "$command is a directory: move it away, and install again" >&2
    exit 1
  fi
}

refuse_directory
mkdir -p "$bin"
new=$(mktemp "$bin/.tavrin-hook.XXXXXXXX")
trap 'rm -f "$new"' EXIT
# Written beside its place and moved there, for agents run it at any moment. With cat, for a copy of a download would
# still count as one on macOS, and be asked about.
cat "$executable" >"$new"
chmod 755 "$new"
# A link is replaced, but into one that leads to a directory, mv would move the file.
if [ -L "$command" ] && [ -d "$command" ]; then rm -f "$command"; fi
refuse_directory
mv -f "$new" "$command"
echo "Installed $command"
case "$bin" in
  */Tavrin/bin) ;;
  *) echo "Its path does not end in /Tavrin/bin/tavrin-hook, by which its entries in agents' settings are recognised." ;;
esac
