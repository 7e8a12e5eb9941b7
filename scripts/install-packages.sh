#!/usr/bin/env bash
# Installs missing packages with apt or Homebrew. The arguments name groups of scripts/packages.txt. Does nothing, and
# asks for nothing, if nothing is missing. With --check as the first argument it installs nothing, and fails if something is
# missing.
set -euo pipefail

list="$(dirname "$0")/packages.txt"

# Prints the first of the names joined by "|" that apt knows.
known_to_apt() {
  local name
  for name in ${1//|/ }; do
    if apt-cache show "$name" >/dev/null 2>&1; then
      echo "$name"
      return
    fi
  done
  echo "${1%%|*}"
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

is_there() {
  if [ "$(uname)" = Darwin ]; then
    [ "$brew" = - ] || brew list --versions "$brew" >/dev/null 2>&1
  else
    case $probe in
      /*) compgen -G "$probe" >/dev/null ;;
      *) command -v "$probe" >/dev/null 2>&1 ;;
    esac
  fi
}

missing=()
while read -r group probe apt brew; do
  case " $* " in *" $group "*) ;; *) continue ;; esac
  is_there && continue
  if [ "$(uname)" = Darwin ]; then missing+=("$brew"); else missing+=("$apt"); fi
done < <(grep -v -e '^#' -e '^$' "$list")

if [ "${#missing[@]}" -eq 0 ]; then exit 0; fi
if [ "${1:-}" = --check ]; then exit 1; fi

echo "Installing: ${missing[*]}"
if [ "$(uname)" = Darwin ]; then
  brew install "${missing[@]}"
  exit 0
fi
export DEBIAN_FRONTEND=noninteractive
as_root apt-get update -qq
names=()
for choice in "${missing[@]}"; do names+=("$(known_to_apt "$choice")"); done
# --no-remove: if a package of the user's is in the way, apt says so and stops.
as_root apt-get install -y -qq --no-remove --no-install-recommends "${names[@]}" >/dev/null
