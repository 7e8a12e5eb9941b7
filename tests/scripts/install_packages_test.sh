#!/usr/bin/env bash
# Where no command is to be found, all commands of a group are installed, whatever lies in the directory: the project has
# one that is called cmake.
set -euo pipefail
cd "$(dirname "$0")/../.."

programs=$(mktemp -d)
trap 'rm -rf "$programs"' EXIT
for name in bash dirname grep; do ln -s "$(command -v "$name")" "$programs/$name"; done
program() {
  printf '#!%s\n%s\n' "$(command -v bash)" "$2" >"$programs/$1"
  chmod +x "$programs/$1"
}
program uname 'echo Linux'
program id 'echo 0'
program apt-cache 'exit 0'
# shellcheck disable=SC2016
program apt-get 'echo "$@" >&2'

asked=$(PATH=$programs bash scripts/install-packages.sh build test 2>&1)
for package in g++ cmake ninja-build python3 git lsof; do
  if ! grep -q "^install .* $package\( \|$\)" <<<"$asked"; then
    echo "$package is missing, and not asked for: $asked"
    exit 1
  fi
done
