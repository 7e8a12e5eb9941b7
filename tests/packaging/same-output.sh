#!/usr/bin/env bash
# Fails if two programs print different things, or nothing.
set -euo pipefail
one=$("$1")
other=$("$2")
[ "$(wc -l <<<"$one")" -gt 100 ] || { echo "Too few lines:" "$one" >&2 && exit 1; }
diff <(echo "$one") <(echo "$other")
