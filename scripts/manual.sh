#!/usr/bin/env bash
# Renders the manual pages in docs/man as Markdown beside them, for readers without man(1). With --check it writes
# nothing, and fails if mandoc rejects a page, if a page refers to an unknown one, or if its Markdown is not up to date.
set -euo pipefail
cd "$(dirname "$0")/../docs/man"

# Otherwise the system's name would be at the foot of the page.
render() { mandoc -I os=Tavrin -T markdown "$1"; }

# Other manual pages that these pages may refer to. A machine may lack some of them, so mandoc's warnings about them are
# ignored.
others=" flock.2 jq.1 rename.2 "

lint() {
  local name section
  mandoc -T lint "$1" 2>&1 | grep -v -e 'referenced manual not found' -e 'mandoc\.db' || true
  while read -r _ name section _; do
    if [ ! -f "$name.$section" ] && [[ $others != *" $name.$section "* ]]; then
      echo "docs/man/$1 refers to $name($section), which is not in the list in scripts/manual.sh."
    fi
  done < <(grep -o '\bXr .*' "$1")
}

status=0
for page in *.[1-9]; do
  if [ "${1:-}" != --check ]; then
    render "$page" >"$page.md"
    continue
  fi
  complaints=$(lint "$page")
  if [ -n "$complaints" ]; then
    echo "$complaints"
    status=1
  fi
  if ! render "$page" | diff -u "$page.md" -; then
    echo "docs/man/$page.md is not up to date. Run scripts/manual.sh to render it."
    status=1
  fi
done
exit "$status"
