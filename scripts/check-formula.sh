#!/usr/bin/env bash
# Runs the steps of the Homebrew formula on the source archive in build/package, as "brew install" and "brew test" would,
# and checks what they install.
set -euo pipefail
cd "$(dirname "$0")/.."

version=$(sed -n 's/^project(tavrin-hook VERSION \([^ ]*\) .*/\1/p' CMakeLists.txt)
workshop=$(mktemp -d)
trap 'rm -rf "$workshop"' EXIT
ruby -c packaging/homebrew/tavrin.rb >/dev/null
ruby tests/packaging/run-formula.rb packaging/homebrew/tavrin.rb "build/package/tavrin-hook-$version.tar.gz" "$workshop"
