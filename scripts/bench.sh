#!/usr/bin/env bash
# Runs the benchmarks and prints their results. With "--docs", also puts the results into the documentation. The results
# stay in build/bench.
set -euo pipefail
cd "$(dirname "$0")/.."

# Files are kept in memory if possible, because every writer shares the disk.
if [ -z "${TMPDIR:-}" ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi

if [ "${1:-}" = --docs ] && [ "$(uname)" != Linux ]; then
  echo "The documents hold only what was measured on Linux." >&2
  exit 1
fi

build=build/bench
cmake --preset release -B $build -DTAVRIN_BUILD_BENCHMARKS=ON -DTAVRIN_BUILD_TESTS=OFF >/dev/null
targets=(steps_bench transcript_bench panel_bench monitor_bench)
# Whole runs are measured only on Linux, because this uses Linux's own interfaces.
if [ "$(uname)" = Linux ]; then targets+=(process_bench tavrin tavrin-hook); fi
cmake --build $build --target "${targets[@]}"

if [ "$(uname)" = Linux ]; then
  $build/bench/process_bench $build/process.csv
  bench/report.py $build
  bench/parts.py $build/TavrinHook/tavrin-hook $build/bench/floor-calls >$build/parts.md
  printf '\nWhat one run consists of\n\n%s\n\n' "$(cat $build/parts.md)"
  bench/system_calls.py $build/TavrinHook/tavrin-hook >$build/system-calls.md
  echo "System calls of one run: $(grep -c '^| [0-9]' $build/system-calls.md)"
  if [ -d $build/TavrinTerminal ]; then
    cmake --build $build --target tavrin tavrin-portable status-floor
    bench/status/measure.py ${1:+"$1"} $build/TavrinTerminal/tavrin $build/packaging/portable/tavrin $build/bench/status-floor
  fi
fi
if [ "$(uname)" = Linux ]; then
  echo
  bench/screen.py $build/TavrinHook/tavrin-hook $build/TavrinTerminal/tavrin >$build/screen.json
fi
for name in steps transcript panel monitor; do
  echo
  $build/bench/${name}_bench --benchmark_min_time=0.2 --benchmark_out=$build/$name.json
done

if [ "${1:-}" = --docs ]; then bench/report.py --docs $build; fi
