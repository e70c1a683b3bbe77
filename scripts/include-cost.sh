#!/usr/bin/env bash
# include-cost.sh TREE: what a file costs that only includes Stp/StpStatus.h, as rows of a table of
# Markdown, with the compiler and the flags of a release build in the folder TREE: processor seconds,
# the middle of ten runs, and lines after preprocessing. Beside it, where its compiler is installed,
# stands what FlatBuffers makes of the tables of the benchmarks; runs take turns, so that both see
# the same machine.
set -euo pipefail
export LC_ALL=C CCACHE_DISABLE=1

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
tree=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

compiler=$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' "$tree/CMakeCache.txt")
mapfile -t roots < <(ninja -C "$tree" -t commands quick_start |
  grep -oE -- '(^| )-I ?[^ ]+' | sed -E 's/^ *-I ?/-I/' | sort -u)
flags=(-std=c++20 -O2 -DNDEBUG -fPIC -I "$work" "${roots[@]}")

echo '#include "Stp/StpStatus.h"' >"$work/Stp.cpp"
subjects=(Stp)
if command -v flatc >/dev/null; then
  flatc --cpp -o "$work" "$root/bench/Peer.fbs"
  echo '#include "Peer_generated.h"' >"$work/FlatBuffers.cpp"
  subjects+=(FlatBuffers)
fi

TIMEFORMAT='%U %S'
for ((run = 0; run < 10; ++run)); do
  for subject in "${subjects[@]}"; do
    { time "$compiler" "${flags[@]}" -c "$work/$subject.cpp" -o /dev/null; } 2>"$work/time" ||
      { cat "$work/time" >&2; exit 1; }
    awk '{ print $1 + $2 }' "$work/time" >>"$work/$subject.seconds"
  done
done

for subject in "${subjects[@]}"; do
  case $subject in
    Stp) name="\`Stp/StpStatus.h\`" ;;
    *) name="what FlatBuffers makes of \`bench/Peer.fbs\`" ;;
  esac
  seconds=$(sort -n "$work/$subject.seconds" | awk '
    { seconds[NR] = $1 } END { printf "%.2f", (seconds[5] + seconds[6]) / 2 }')
  lines=$("$compiler" "${flags[@]}" -E -P "$work/$subject.cpp" | wc -l)
  echo "| $name | $seconds | $lines |"
done
