#!/usr/bin/env bash
# Checks the sources with clang-format and clang-tidy. The argument is a build directory with compile commands.
set -euo pipefail

git ls-files '*.cpp' '*.hpp' | xargs clang-format --dry-run --Werror
# Linux compiles neither macOS's files nor anything that is not in the build.
git ls-files 'TavrinCore/*.cpp' 'TavrinHook/*.cpp' | grep -v -e '_macos' -e '_corefoundation' |
  xargs -P "$(getconf _NPROCESSORS_ONLN)" -n 4 clang-tidy --quiet -p "$1" 2>/dev/null
echo "The sources are clean."
