# For scripts that run one step after another and report how long each took. Sourced by bash.

step_table=
step_failures=0

# timed_step NAME COMMAND...: runs the command in a shell of its own and notes its minutes. Returns its status.
timed_step() {
  local name=$1 started=$SECONDS status=0 result
  shift
  echo "=== $name"
  ("$@") || status=$?
  result=passed
  if [ "$status" -ne 0 ]; then
    result="FAILED with status $status"
    step_failures=$((step_failures + 1))
  fi
  step_table="$step_table$(printf '%-24s %5d.%d min  %s' "$name" $(((SECONDS - started) / 60)) \
    $(((SECONDS - started) % 60 / 6)) "$result")
"
  return "$status"
}

# Prints a line for each step so far, and their sum. Returns 0 if all passed, and else 1.
print_steps() {
  printf '%s' "$step_table"
  printf '%-24s %5d.%d min\n' "all" $((SECONDS / 60)) $((SECONDS % 60 / 6))
  [ "$step_failures" -eq 0 ]
}
