#!/usr/bin/env bash
# Removes what install.sh has put there, with the same BIN and DESTDIR. What agents have reported stays, and so do their
# settings; those that still run tavrin-hook are named.
set -euo pipefail

bin="${DESTDIR:-}${BIN:-$HOME/Library/Application Support/Tavrin/bin}"

if [ -e "$bin/tavrin-hook" ] || [ -L "$bin/tavrin-hook" ]; then
  rm -f "$bin/tavrin-hook" "$bin/.tavrin-hook.new"
  echo "Removed $bin/tavrin-hook"
else
  echo "There is no $bin/tavrin-hook"
fi
case "$bin" in */Tavrin/bin) rmdir "$bin" "${bin%/bin}" 2>/dev/null || true ;; esac

for directory in "Library/Application Support/Tavrin/sessions" Library/Logs/Tavrin; do
  if [ -d "$HOME/$directory" ]; then echo "Kept $HOME/$directory"; fi
done
for settings in .claude/settings.json .codex/hooks.json .gemini/settings.json .copilot/hooks/tavrin.json \
  .grok/hooks/tavrin.json; do
  if grep -q -s -F /Tavrin/bin/tavrin-hook "$HOME/$settings"; then
    echo "$HOME/$settings still runs tavrin-hook: remove its entries there"
  fi
done
