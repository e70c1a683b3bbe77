#!/bin/sh
# macros.sh <compiler> <tdc> <include directory:...> <header>
#
# Every macro that there is behind a generated header must be a name that tdc refuses.
set -eu
compiler=$1 tdc=$2 directories=$3 header=$4
scratch=$(mktemp -d)
trap 'rm -r "$scratch"' EXIT

printf '#include "%s"\n' "$header" > "$scratch/all.cpp"
flags=$(printf '%s' "$directories" | tr ':' '\n' | sed 's/^/-I/' | tr '\n' ' ')
# shellcheck disable=SC2086  # one word a directory
"$compiler" -std=c++20 $flags -dM -E "$scratch/all.cpp" |
  sed -n 's/^#define \([A-Za-z][A-Za-z0-9_]*\).*/\1/p' | grep -v '__' | sort -u > "$scratch/macros"
[ "$(wc -l < "$scratch/macros")" -gt 100 ]

# An error list is cut at a hundred.
split -l 90 "$scratch/macros" "$scratch/part."
for part in "$scratch"/part.*; do
  {
    echo "module Macros record 0123456789abcdef order 1;"
    echo "namespace Test;"
    echo "enum All : i32 {"
    awk '{ print $1 " = " NR "," }' "$part"
    echo "}"
  } > "$part.tdl"
  "$tdc" --print "$part.tdl" > /dev/null 2> "$part.errors" || true
  sed -n "s/.* error: '\([^']*\)' is a .*/\1/p" "$part.errors"
done | sort -u > "$scratch/refused"
if ! comm -23 "$scratch/macros" "$scratch/refused" > "$scratch/left" || [ -s "$scratch/left" ]; then
  echo "tdc accepts these names, which are macros; add them to tdc/syntax/CppWords.cpp:"
  cat "$scratch/left"
  exit 1
fi
