#!/usr/bin/env bash
# Builds as a packager does, without our presets: packager.sh CMAKE CXX SOURCE SCRATCH [--full]
# Checks a plain Release and Debug, a machine without ICU, and a project that includes this one. Compiles one file of each
# build. With --full, builds all of it, installs the command and runs it.
set -euo pipefail

cmake=$1
cxx=$2
source=$3
scratch=$4
full=${5:-}

fail() {
  echo "packager: $*"
  exit 1
}

# configure NAME SOURCE [OPTION...]: into $scratch/NAME, what CMake prints into $scratch/NAME.txt
configure() {
  local name=$1 directory=$2
  shift 2
  "$cmake" -S "$directory" -B "$scratch/$name" -G Ninja -DCMAKE_CXX_COMPILER="$cxx" \
    -DCMAKE_EXPORT_COMPILE_COMMANDS=ON "$@" >"$scratch/$name.txt" 2>&1
}

configured() { configure "$@" || { cat "$scratch/$1.txt" && fail "$1 could not be configured"; }; }

# build NAME TARGET...
build() {
  local name=$1
  shift
  "$cmake" --build "$scratch/$name" --target "$@" >"$scratch/$name.built.txt" 2>&1 ||
    { cat "$scratch/$name.built.txt" && fail "$name could not be built"; }
}

# The command that compiles a file: command_for NAME FILE
command_for() { grep "\"command\".* [^ ]*$2\"" "$scratch/$1/compile_commands.json" || fail "$1 does not compile $2"; }

rm -rf "$scratch"
mkdir -p "$scratch"
# The settings of whoever runs this test are not a packager's.
unset CXXFLAGS CFLAGS LDFLAGS

configured release "$source" -DCMAKE_BUILD_TYPE=Release -DTAVRIN_BUILD_TESTS=OFF
compilation=$(command_for release Sessions/SessionFileStore.cpp)
case $compilation in *" -O3 "*) ;; *) fail "a plain Release is not optimised by -O3: $compilation" ;; esac
case $compilation in *-Werror*) fail "a warning stops a plain Release: $compilation" ;; esac
# At -O3, g++ 12 warned here without reason.
configured strict "$source" -DCMAKE_BUILD_TYPE=Release -DTAVRIN_BUILD_TESTS=OFF -DTAVRIN_WARNINGS_AS_ERRORS=ON
case $(command_for strict Sessions/SessionFileStore.cpp) in
  *-Werror*) ;;
  *) fail "TAVRIN_WARNINGS_AS_ERRORS does nothing" ;;
esac
build strict TavrinCore/CMakeFiles/TavrinCore.dir/Sessions/SessionFileStore.cpp.o

configured without-icu "$source" -DCMAKE_BUILD_TYPE=Debug -DTAVRIN_BUILD_TESTS=OFF -DCMAKE_DISABLE_FIND_PACKAGE_ICU=ON
case $(uname) in
  Darwin) ;; # the panel sorts with CoreFoundation there
  *)
    grep -q '^-- TavrinPanel is not built, because this was not found: ICU$' "$scratch/without-icu.txt" ||
      fail "it does not say that TavrinPanel is left out: $(cat "$scratch/without-icu.txt")"
    if grep -q 'Panel/' "$scratch/without-icu/compile_commands.json"; then fail "TavrinPanel is compiled without ICU"; fi
    if configure contradiction "$source" -DCMAKE_DISABLE_FIND_PACKAGE_ICU=ON -DTAVRIN_BUILD_PANEL=ON; then
      fail "TAVRIN_BUILD_PANEL=ON is accepted without ICU"
    fi
    ;;
esac

configured subproject "$source/tests/library/subproject" -DCMAKE_BUILD_TYPE=Release -DTAVRIN="$source"
compilation=$(command_for subproject consumer/session-label.cpp)
case $compilation in *-DONLY_OF_THE_SUBPROJECT*) ;; *) fail "the project lost its own options: $compilation" ;; esac
case $compilation in
  *" -W"* | *sections* | *-std=c++20*) fail "our flags reach a program that includes us: $compilation" ;;
esac
build subproject CMakeFiles/session-label.dir/"${source#/}"/tests/consumer/session-label.cpp.o

if [ "$full" != --full ]; then
  echo "All configurations are right, and a file of each compiles."
  exit 0
fi

build release all
build without-icu all
"$cmake" --install "$scratch/without-icu" --component hook --prefix "$scratch/prefix" >/dev/null
mkdir "$scratch/home"
echo '{"session_id":"one","hook_event_name":"UserPromptSubmit","cwd":"/"}' |
  HOME="$scratch/home" "$scratch/prefix/lib/Tavrin/bin/tavrin-hook"
grep -q '"state" : "working"' "$scratch/home/Library/Application Support/Tavrin/sessions/one.json" ||
  fail "the command that was built without ICU left no record"
build subproject all
label=$("$scratch/subproject/session-label" "$source/tests/data/panel/sessions/11111111-aaaa.json")
[ "$label" = "site, needs you" ] || fail "the project's program printed $label"
echo "All configurations are right, and each builds."
