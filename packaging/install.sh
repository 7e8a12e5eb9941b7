#!/usr/bin/env bash
# Installs tavrin-hook and tavrin below your home directory, with their manual pages and completions. The argument is
# the directory that holds these files. Without it, this script's own directory is taken.
#
#   BIN            the directory for the two programs; it should end in /Tavrin/bin
#   XDG_DATA_HOME  the directory for manual pages and completions; ~/.local/share if it is not set
#   DESTDIR        is put in front of every path
set -euo pipefail

files="${1:-$(dirname "$0")}"
if [ -z "${BIN:-}" ] && [ -z "${HOME:-}" ]; then
  echo "Nothing was installed, because HOME is not set. Set it, or name a directory in BIN." >&2
  exit 1
fi
bin="${BIN:-${HOME:-}/Library/Application Support/Tavrin/bin}"

refuse_directory() {
  if [ -d "$1" ] && [ ! -L "$1" ]; then
    echo "$1 is a directory. Move it away and install again." >&2
    exit 1
  fi
}

new=
trap 'if [ -n "$new" ]; then rm -f "$new"; fi' EXIT

# Puts the file $1 at the path $2 with the mode $3. Agents run the hook at any moment, so the file is written beside its
# path and then moved there. cat writes it: cp would copy the mark of a download, and macOS would then ask about it.
put() {
  local place=$2
  refuse_directory "$place"
  mkdir -p "${place%/*}"
  new=$(mktemp "${place%/*}/.${place##*/}.XXXXXXXX")
  cat "$1" >"$new"
  chmod "$3" "$new"
  # mv replaces a link, unless it leads to a directory: then mv moves the file into that directory.
  if [ -L "$place" ] && [ -d "$place" ]; then rm -f "$place"; fi
  refuse_directory "$place"
  mv -f "$new" "$place"
  new=
}

root="${DESTDIR:-}"
put "$files/tavrin-hook" "$root$bin/tavrin-hook" 755
echo "Installed $root$bin/tavrin-hook"
case "$bin" in
  */Tavrin/bin) ;;
  *) echo "Its path should end in /Tavrin/bin/tavrin-hook. Tavrin recognises its entries in agents' settings by that." ;;
esac
if [ -f "$files/tavrin" ]; then
  put "$files/tavrin" "$root$bin/tavrin" 755
  echo "Installed $root$bin/tavrin"
fi

if [ -z "${HOME:-}" ]; then
  echo "HOME is not set, so no link, manual pages or completions were installed"
  exit 0
fi

if [ -f "$files/tavrin" ]; then
  links="$HOME/.local/bin"
  link="$root$links/tavrin"
  owner=$(readlink "$link" || true)
  case "$owner" in */Tavrin/bin/tavrin) rm -f "$link" ;; esac
  if [ -e "$link" ] || [ -L "$link" ]; then
    echo "Kept $link, which is not Tavrin's"
  else
    mkdir -p "$root$links"
    ln -s "$bin/tavrin" "$link"
    echo "Made the link $link to it"
    case ":${PATH:-}:" in
      *":$links:"*) ;;
      *) echo "$links is not in PATH. Add it in your shell's start-up file." ;;
    esac
  fi
fi

data="${XDG_DATA_HOME:-$HOME/.local/share}"
found=
for file in man/man1/tavrin.1 man/man1/tavrin-hook.1 man/man5/tavrin-session.5 bash-completion/completions/tavrin \
  zsh/site-functions/_tavrin fish/vendor_completions.d/tavrin.fish; do
  if [ -f "$files/share/$file" ]; then
    put "$files/share/$file" "$root$data/$file" 644
    found=$file
  fi
done
if [ -n "$found" ]; then echo "Installed manual pages and completions below $root$data"; fi
if [ -f "$files/share/zsh/site-functions/_tavrin" ]; then
  case "${SHELL:-}" in
    */zsh) echo "For zsh, put this line before compinit in ~/.zshrc: fpath+=('$data/zsh/site-functions')" ;;
  esac
fi
