#!/usr/bin/env bash
# test-share.sh PERCENT: prints which share of the code tests/ and fuzz/ are, and fails when it is
# more. Tests that repeat each other cost as much to keep as what they test.
#
# Counted are lines that are neither blank nor comment, in what git knows or would add of these:
# .h, .cpp, .tdl, .sh, .py, .cmake, CMakeLists.txt, and ./dev. A line with code and a comment counts.
set -euo pipefail
cd "${0%/*}/.."

git ls-files -z --cached --others --exclude-standard |
  grep -zE '(\.(h|cpp|tdl|sh|py|cmake)|(^|/)CMakeLists\.txt|^dev)$' |
  while IFS= read -r -d '' file; do
    [ ! -f "$file" ] || printf '%s\0' "$file" # deleted, but still known to git
  done | xargs -0 awk -v most="$1" '
    FNR == 1 { slashes = FILENAME ~ /\.(h|cpp|tdl)$/; block = 0; test = FILENAME ~ /^(tests|fuzz)\// }
    block { if (/\*\//) block = 0; next }
    slashes && /^[ \t]*\/\*/ { if (!/\*\//) block = 1; next }
    /^[ \t]*$/ || (slashes ? /^[ \t]*\/\// : /^[ \t]*#/) { next }
    { ++lines; tests += test }
    END {
      share = 100 * tests / lines
      printf "tests: %d of %d lines, %.1f %%, at most %d %%\n", tests, lines, share, most
      exit share > most
    }'
