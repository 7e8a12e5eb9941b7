#!/usr/bin/env bash
# Makes the reference of the library's public headers in build/docs/api. Fails when a comment is wrong, or when a type, or
# a function, constant or type alias of a namespace, has none.
set -euo pipefail
cd "$(dirname "$0")/.."

rm -rf build/docs/api
mkdir -p build/docs
doxyfile=$(
  cat docs/api/Doxyfile
  echo "PROJECT_NUMBER = $(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)"
  sed 's|^|EXCLUDE += TavrinCore/|' cmake/private-headers.txt
)
doxygen - <<<"$doxyfile"

missing=$(doxygen - 2>&1 <<<"$doxyfile
GENERATE_HTML = NO
WARN_IF_UNDOCUMENTED = YES
WARN_AS_ERROR = NO" | grep -e ' Compound ' -e ' of namespace ' || true)
# doxygen silently leaves out a namespace without a comment, together with all its functions.
while read -r name; do
  [ -e "build/docs/api/namespacetavrin_1_1$name.html" ] || missing+="The namespace $name has no comment."$'\n'
done < <(git ls-files 'TavrinCore/*.hpp' | grep -v -F -f cmake/private-headers.txt |
  xargs sed -E -n 's/^namespace (tavrin::)?([A-Za-z0-9]+) \{$/\2/p' | grep -v -x tavrin | sort -u)
if [ -n "$missing" ]; then
  printf '%s\n' "$missing"
  exit 1
fi
echo "The reference is in build/docs/api/index.html"
