#!/usr/bin/env bash
# The checks that take too long for every change. The arguments are the steps to run, in their order; without arguments
# all are run. A step that fails does not stop the others. Prints how long each took.
set -uo pipefail
cd "$(dirname "$0")/.."

coverage() { make --no-print-directory coverage; }
faults() { make --no-print-directory fault-tests; }
planted() { make --no-print-directory planted; }
fuzz() { make --no-print-directory fuzz SECONDS=300 JOBS="$(getconf _NPROCESSORS_ONLN)"; }
packager() { make --no-print-directory build && ctest --preset release -C Nightly -L nightly --verbose; }
compilers() { scripts/install-packages.sh build terminal nightly && scripts/check-compilers.sh; }
macos() { scripts/compile-for-macos.sh && make --no-print-directory macos && make --no-print-directory test-macos FOR=arm64; }
arm64() { make --no-print-directory arm64; }
lint() { make --no-print-directory lint DEEP=1; }
package() { make --no-print-directory package; }
kitty() {
  scripts/install-packages.sh build terminal test kitty && cmake --preset release >/dev/null &&
    make --no-print-directory build && ctest --preset release -C Nightly -L kitty --no-tests=error --verbose
}
formula() { scripts/install-packages.sh build terminal formula && scripts/package.sh source && scripts/check-formula.sh; }
debian() { make --no-print-directory check-package; }

steps=("$@")
if [ "${#steps[@]}" -eq 0 ]; then steps=(coverage faults planted fuzz packager kitty lint compilers macos arm64 package formula debian); fi
. scripts/timed-steps.sh
for step in "${steps[@]}"; do
  case $step in
    coverage | faults | planted | fuzz | packager | kitty | lint | compilers | macos | arm64 | package | formula | debian) timed_step "$step" "$step" ;;
    *) echo "make nightly has no step $step" >&2; exit 2 ;;
  esac
done
print_steps
