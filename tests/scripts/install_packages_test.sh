#!/usr/bin/env bash
# On a machine without any command, all packages of a group are installed. A file in the current directory does not
# count as a command, because the project has a folder named cmake. People who only install Tavrin get no developer's
# tools.
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

# The packages that the groups named by the arguments install here.
asked_for() {
  PATH=$programs bash scripts/install-packages.sh "$@" 2>&1 | grep '^install '
}

asked=$(asked_for build test)
for package in g++ cmake ninja-build python3 git lsof; do
  if ! grep -q "^install .* $package\( \|$\)" <<<"$asked"; then
    echo "$package is missing but not requested: $asked"
    exit 1
  fi
done

# Their groups according to the list, because some of these packages may be installed here.
for_users=$(grep -E '^(build|terminal|run) ' scripts/packages.txt)
for package in libgmock-dev libgtest-dev googletest clang valgrind nodejs strace lsof mandoc ninja-build; do
  if grep -q "[ |]$package\( \||\|$\)" <<<"$for_users"; then
    echo "People who only install Tavrin would have to install $package."
    exit 1
  fi
done
if grep -E '^build ' scripts/packages.txt | grep -q 'libicu\|libuv\|libcli11'; then
  echo "tavrin-hook would need libraries of tavrin."
  exit 1
fi

# What "make run" and "make install" do here, without doing it.
for target in run install; do
  commands=$(make --dry-run --always-make --no-print-directory "$target")
  for word in scripts/install-packages.sh "--preset user"; do
    grep -q -e "$word" <<<"$commands" || { echo "make $target does not run $word: $commands"; exit 1; }
  done
  if grep -q -e 'install-packages.sh.*test' -e '--preset release' <<<"$commands"; then
    echo "make $target uses what only developers have: $commands"
    exit 1
  fi
done

# On a Mac, Homebrew is asked only for what is missing, and for what the target needs.
program uname 'echo Darwin'
# shellcheck disable=SC2016
program brew 'if [ "$1" = list ]; then exit 1; fi; echo "brew $@"'
expect_of_brew() {
  local expected=$1 found
  shift
  found=$(PATH=$programs bash scripts/install-packages.sh "$@" 2>&1 | grep '^brew ' || true)
  [ "$found" = "$expected" ] || { echo "For $*, Homebrew is asked for: $found"; exit 1; }
}
expect_of_brew "brew install cmake boost utf8proc" build
expect_of_brew "brew install cmake boost utf8proc python3" build run
expect_of_brew "brew install cmake boost utf8proc libuv cli11" build terminal
# shellcheck disable=SC2016
program brew 'if [ "$1" = list ]; then [ "$3" != libuv ]; else echo "brew $@"; fi'
expect_of_brew "brew install libuv" build terminal
program brew 'exit 0'
expect_of_brew "" build terminal test
