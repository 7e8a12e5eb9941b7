#!/usr/bin/env bash
# Takes ICU's data out of its static library and writes what collation reads of it to a file. ICU's order of names is 3.5
# MB of 31. The arguments are libicudata.a, the objcopy and the ar for its processor, and the file.
set -euo pipefail

library=$(realpath "$1") objcopy=$2 ar=$3 result=$(realpath -m "$4")
workshop=$(mktemp -d)
trap 'rm -rf "$workshop"' EXIT
cd "$workshop"

"$ar" x "$library"
objects=(*.o)
name=${objects[0]%_dat.o} # icudt72l: the version, and "l" for little-endian, which is part of each name inside
"$objcopy" -O binary --only-section=.rodata "${objects[0]}" "$name.dat"
# The order of each language, and what leads from a locale to it.
icupkg --list "$name.dat" | grep -v -x -e 'coll/.*' \
  -e '\(root\|pool\|res_index\|icuver\|likelySubtags\|keyTypeData\|metadata\|supplementalData\)\.res' >unused.txt
mkdir trimmed
icupkg --remove unused.txt "$name.dat" "trimmed/$name.dat"
mv "trimmed/$name.dat" "$result"
