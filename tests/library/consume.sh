#!/usr/bin/env bash
# Builds tests/consumer and the examples against the library installed in PREFIX, runs them, and compares what they print:
# consume.sh cmake|pkg-config CMAKE CXX PREFIX SOURCE SCRATCH
set -euo pipefail

how=$1
cmake=$2
cxx=$3
prefix=$4
source=$5
scratch=$6
package=$(dirname "$(find "$prefix" -name tavrin-panel.pc)")
export PKG_CONFIG_PATH="$package${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"

expect() {
  local expected=$1
  shift
  local printed
  printed=$("$@")
  if [ "$printed" != "$expected" ]; then
    printf '%s printed\n%s\ninstead of\n%s\n' "$1" "$printed" "$expected"
    exit 1
  fi
}

rm -rf "$scratch"
mkdir -p "$scratch"
cd "$scratch"

# Boost is compiled into the library under another name, so that a program can use any version of it.
archive=$(find "$prefix" -name libTavrinCore.a)
if nm --defined-only "$archive" 2>/dev/null | grep -E '5boost[0-9]' >clashing.txt; then
  echo "These names would clash with those of another Boost:"
  head clashing.txt
  exit 1
fi

cp -R "$source/tests/consumer" consumer
cp "$source"/examples/*.cpp consumer
for example in "$source"/examples/*.cpp; do
  [ "$(wc -l <"$example")" -le 40 ] || { echo "$example has more than 40 lines."; exit 1; }
done
if [ "$how" = cmake ]; then
  "$cmake" -S consumer -B build -G Ninja -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$prefix" >configured.txt
  "$cmake" --build build >built.txt || { cat built.txt; exit 1; }
else
  mkdir build
  panel=$(pkg-config --cflags --libs --static tavrin-panel)
  core=$(pkg-config --cflags --libs --static tavrin-core)
  # The flags are words.
  # shellcheck disable=SC2086
  "$cxx" -std=c++20 consumer/session-label.cpp -o build/session-label $panel
  # shellcheck disable=SC2086
  "$cxx" -std=c++20 consumer/show-panel.cpp -o build/show-panel $panel
  # shellcheck disable=SC2086
  "$cxx" -std=c++20 consumer/hook-entries.cpp -o build/hook-entries $core
  for example in connect-agent follow-sessions; do
    # shellcheck disable=SC2086
    "$cxx" -std=c++20 "consumer/$example.cpp" -o "build/$example" $core
  done
  for example in connect-agent follow-sessions show-panel; do
    # shellcheck disable=SC2086
    "$cxx" -std=c++20 -M "consumer/$example.cpp" $panel >included.txt
    if grep '/boost/' included.txt; then
      echo "$example includes Boost."
      exit 1
    fi
  done
fi

# One command for each of Grok's events.
expect '10' sh -c 'build/hook-entries | grep -c tavrin-hook'

expect 'site, needs you' build/session-label "$source/tests/data/panel/sessions/11111111-aaaa.json"
expect 'web, burning' build/session-label "$source/tests/data/panel/sessions/22222222-bbbb.json"
if build/session-label "$source/README.md" 2>error.txt; then
  echo "A file without a session has one."
  exit 1
fi
expect 'This file holds no session.' cat error.txt

# The example of a panel. A process of our own stands in for a server.
sleep 60 &
server=$!
trap 'kill "$server"' EXIT
printf 'p%s\ncCaddy\nn127.0.0.1:3000\n' "$server" >lsof.txt
expect '1 burning · 1 needs you · 2 idle
site, needs you
web · codex, burning
web · claude, idle
home, idle
Other servers
  Caddy 3000  http://127.0.0.1:3000' \
  env HOME=/home/dev sh -c 'build/show-panel "$1" <lsof.txt' - "$source/tests/data/panel/sessions"

# The example that connects an agent.
home=$scratch/home
mkdir -p "$home/.grok"
helper=/opt/Tavrin/bin/tavrin-hook
expect "Grok is connected through $home/.grok/hooks/tavrin.json." env -i HOME="$home" build/connect-agent grok $helper
expect '10' grep -c $helper "$home/.grok/hooks/tavrin.json"
expect 'Grok was connected already.' env -i HOME="$home" build/connect-agent grok $helper

# The example that follows sessions, with the same process in the place of an agent.
sessions="$home/Library/Application Support/Tavrin/sessions"
mkdir -p "$sessions"
save() {
  now=$(date -u +%Y-%m-%dT%H:%M:%SZ)
  printf '{"sessionId":"one","agent":"claude","agentPid":%s,"cwd":"%s","state":"%s","stateSince":"%s","updatedAt":"%s"}' \
    "$server" "$home" "$1" "$now" "$now" >saved.tmp
  mv saved.tmp "$sessions/one.json"
}
line() {
  local printed
  read -r printed <&3
  [ "$printed" = "$1" ] || { printf 'follow-sessions printed "%s" instead of "%s".\n' "$printed" "$1"; exit 1; }
}
save working
mkfifo lines
env -i HOME="$home" build/follow-sessions >lines &
follower=$!
trap 'kill "$server" "$follower" 2>/dev/null' EXIT
exec 3<lines
line 'home, burning'
save idle
line 'home, idle'
kill "$server"
wait "$server" || true
line 'home, idle, and has ended'
echo "It builds and prints the expected lines."
