#!/usr/bin/env bash
# Removes the files that install.sh installed with the same BIN, XDG_DATA_HOME and DESTDIR. On a terminal it offers to
# disconnect the agents first. Records, logs and the agents' settings stay. It names the settings that still run
# tavrin-hook.
set -euo pipefail

if [ -z "${BIN:-}" ] && [ -z "${HOME:-}" ]; then
  echo "Nothing was removed, because HOME is not set. Set it, or name a directory in BIN." >&2
  exit 1
fi
root="${DESTDIR:-}"
bin="$root${BIN:-${HOME:-}/Library/Application Support/Tavrin/bin}"

for program in tavrin-hook tavrin; do
  if [ -d "$bin/$program" ] && [ ! -L "$bin/$program" ]; then
    echo "$bin/$program is a directory, and install.sh makes none there. Nothing was removed." >&2
    exit 1
  fi
done

# tavrin itself asks before it changes a file.
if [ -z "$root" ] && [ -x "$bin/tavrin" ] && [ -t 0 ] && [ -t 1 ]; then
  connected=$("$bin/tavrin" disconnect --dry-run 2>/dev/null || true)
  case "$connected" in *"would be disconnected"*) "$bin/tavrin" disconnect || true ;; esac
fi

# Removes the file $1 and the temporary files that interrupted installations left beside it. Fails if $1 does not exist.
take() {
  rm -f "${1%/*}/.${1##*/}".????????
  if [ ! -e "$1" ] && [ ! -L "$1" ]; then return 1; fi
  rm -f "$1"
}

if [ -n "${HOME:-}" ]; then
  link="$root$HOME/.local/bin/tavrin"
  owner=$(readlink "$link" || true)
  case "$owner" in */Tavrin/bin/tavrin) rm -f "$link" && echo "Removed $link" ;; esac

  data="$root${XDG_DATA_HOME:-$HOME/.local/share}"
  removed=
  for file in man/man1/tavrin.1 man/man1/tavrin-hook.1 man/man5/tavrin-session.5 bash-completion/completions/tavrin \
    zsh/site-functions/_tavrin fish/vendor_completions.d/tavrin.fish; do
    if take "$data/$file"; then removed=$file; fi
  done
  if [ -n "$removed" ]; then echo "Removed manual pages and completions below $data"; fi
fi

if take "$bin/tavrin"; then echo "Removed $bin/tavrin"; fi
if take "$bin/tavrin-hook"; then echo "Removed $bin/tavrin-hook"; else echo "There is no $bin/tavrin-hook"; fi
rm -f "$bin/.tavrin-hook.new" # as earlier versions named it
case "$bin" in */Tavrin/bin) rmdir "$bin" "${bin%/bin}" 2>/dev/null || true ;; esac

if [ -z "${HOME:-}" ]; then
  echo "HOME is not set, so agents' settings were not checked"
  exit 0
fi
for directory in "Library/Application Support/Tavrin/sessions" Library/Logs/Tavrin; do
  if [ -d "$HOME/$directory" ]; then echo "Kept $HOME/$directory"; fi
done
for settings in .claude/settings.json .codex/hooks.json .gemini/settings.json .copilot/hooks/tavrin.json \
  .grok/hooks/tavrin.json; do
  if grep -q -s -F /Tavrin/bin/tavrin-hook "$HOME/$settings"; then
    echo "$HOME/$settings still runs tavrin-hook. Remove its entries there."
  fi
done
