#!/usr/bin/env bash
# Checks the sources with clang-format and clang-tidy: lint.sh BUILD [--deep]. BUILD has compile commands. --deep runs
# clang's static analyzer too, which takes three times as long.
set -euo pipefail

# Homebrew does not put LLVM into PATH.
if command -v brew >/dev/null; then PATH="$PATH:$(brew --prefix llvm)/bin"; fi

git ls-files '*.cpp' '*.hpp' | xargs clang-format --dry-run --Werror
# Linux does not compile these files of macOS. It compiles the others, because its tests need them.
checks=(--checks=-clang-analyzer-*)
if [ "${2:-}" = --deep ]; then checks=(); fi
skipped='TavrinTerminal/.*_macos|ProcessFacts_macos'
if [ "$(uname)" = Darwin ]; then skipped='_linux|_icu|ProcFormats|ListeningPorts'; fi
git ls-files 'TavrinCore/*.cpp' 'TavrinHook/*.cpp' 'TavrinTerminal/*.cpp' 'examples/*.cpp' | grep -v -E "$skipped" |
  xargs -P "$(getconf _NPROCESSORS_ONLN)" -n 4 clang-tidy --quiet "${checks[@]+"${checks[@]}"}" --extra-arg=-Wno-unknown-warning-option -p "$1"
echo "The sources are clean."
