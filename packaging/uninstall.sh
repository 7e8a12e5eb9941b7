#!/usr/bin/env bash
# Removes what install.sh has put there, with the same BIN and DESTDIR. What agents have reported stays, and so do their
# settings; those that still run tavrin-hook are named.
set -euo pipefail

bin="${DESTDIR:-}${BIN:-$HOME/Library/Application Support/Tavrin/bin}"
command="$bin/tavrin-hook"

if [ -d "$command" ] && [ ! -L "$command" ]; then
  echo "$command is a directory, which install.sh has not put there" >&2
  exit 1
fi
if [ -e "$command" ] || [ -L "$command" ]; then
  rm -f "$command"
  echo "Removed $command"
else
  echo "There is no $command"
fi
# What an installation that was stopped has left.
rm -f "$bin"/.tavrin-hook.new "$bin"/.tavrin-hook.????????
case "$bin" in */Tavrin/bin) rmdir "$bin" "${bin%/bin}" 2>/dev/null || true ;; esac

if [ -z "${HOME:-}" ]; then
  echo "HOME is not set: agents' settings were not looked at"
  exit 0
fi
for directory in "Library/Application Support/Tavrin/sessions" Library/Logs/Tavrin; do
  if [ -d "$HOME/$directory" ]; then echo "Kept $HOME/$directory"; fi
done
for settings in .claude/settings.json .codex/hooks.json .gemini/settings.json .copilot/hooks/tavrin.json \
  .grok/hooks/tavrin.json; do
  if grep -q -s -F /Tavrin/bin/tavrin-hook "$HOME/$settings"; then
    echo "$HOME/$settings still runs tavrin-hook: remove its entries there"
  fi
done
