#!/usr/bin/env bash
# The table of steps names each step, its minutes and whether it passed, and a failed step stops a script with "set -e".
set -euo pipefail
cd "$(dirname "$0")/../.."

fail() {
  echo "timed-steps: $*"
  exit 1
}

status=0
printed=$(bash -c '. scripts/timed-steps.sh
  SECONDS=0
  timed_step first true
  SECONDS=90
  timed_step second sh -c "exit 3" || true
  print_steps') || status=$?
[ "$status" -eq 1 ] || fail "the status is $status although a step failed"
expected="=== first
=== second
first                        0.0 min  passed
second                       0.0 min  FAILED with status 3
all                          1.5 min"
[ "$printed" = "$expected" ] || fail "it printed
$printed"

status=0
printed=$(bash -c 'set -e
  . scripts/timed-steps.sh
  timed_step first false
  timed_step second true') || status=$?
[ "$status" -ne 0 ] || fail "a failed step is ignored"
[ "$printed" = "=== first" ] || fail "a step ran after one that failed: $printed"
