#!/usr/bin/env bash
# Checks the sources with clang-format and clang-tidy. The argument is a build directory with compile commands.
set -euo pipefail

# Homebrew keeps LLVM out of the way.
if command -v brew >/dev/null; then PATH="$PATH:$(brew --prefix llvm)/bin"; fi

git ls-files '*.cpp' '*.hpp' | xargs clang-format --dry-run --Werror
# One system compiles neither the other's files nor their tests.
skipped=_macos
if [ "$(uname)" = Darwin ]; then skipped=_linux; fi
git ls-files 'TavrinCore/*.cpp' 'TavrinHook/*.cpp' 'examples/*.cpp' | grep -v -e "$skipped" -e ProcFormats |
  xargs -P "$(getconf _NPROCESSORS_ONLN)" -n 4 clang-tidy --quiet -p "$1"
echo "The sources are clean."
