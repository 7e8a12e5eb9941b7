#!/usr/bin/env bash
# Checks that the installed headers compile: each by itself and twice in a row with the first compiler; all of them
# forwards and backwards, twice, with every compiler as C++20 and C++23: headers.sh PREFIX SCRATCH CXX...
set -euo pipefail

prefix=$1
scratch=$2
shift 2

export prefix
check() {
  "$1" "-std=$2" -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror "-I$prefix/include" \
    -fsyntax-only "$3" || { echo "$(basename "$3") does not compile with $1 as $2."; exit 255; }
}
export -f check

rm -rf "$scratch"
mkdir -p "$scratch"
cd "$prefix/include"

headers=()
while read -r header; do headers+=("$header"); done < <(find TavrinCore -name '*.hpp' | LC_ALL=C sort)
backwards=()
for ((i = ${#headers[@]} - 1; i >= 0; --i)); do backwards+=("${headers[i]}"); done
[ "${#headers[@]}" -gt 40 ] || { echo "There are only ${#headers[@]} headers."; exit 1; }

printf '#include "%s"\n' "${headers[@]}" "${headers[@]}" >"$scratch/forwards.cpp"
printf '#include "%s"\n' "${backwards[@]}" "${backwards[@]}" >"$scratch/backwards.cpp"

# Three words for each compilation.
words=()
for compiler in "$@"; do
  for standard in c++20 c++2b; do
    for order in forwards backwards; do words+=("$compiler" "$standard" "$scratch/$order.cpp"); done
  done
done
for header in "${headers[@]}"; do
  alone="$scratch/${header//\//-}.cpp"
  printf '#include "%s"\n#include "%s"\n' "$header" "$header" >"$alone"
  words+=("$1" c++20 "$alone")
done

# The words of the function are for the shells that xargs starts.
# shellcheck disable=SC2016
printf '%s\0' "${words[@]}" | xargs -0 -n 3 -P "$(getconf _NPROCESSORS_ONLN)" bash -c 'check "$@"' check
echo "${#headers[@]} headers, $((${#words[@]} / 3)) compilations."
