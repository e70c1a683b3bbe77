#!/usr/bin/env bash
# build-cost.sh DOCUMENT JOBS: what a whole release build costs and where the bytes go.
#
# Builds everything once more, in a new folder and without a cache, and writes the document. Fails
# when the build takes more processor time than two of them have in three minutes, or the stripped
# libStp.so is 1 MB or more.
set -euo pipefail
export LC_ALL=C CCACHE_DISABLE=1

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
document=$(realpath "$1")
jobs=$2
seconds_allowed=360
bytes_allowed=1000000
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cd "$root"
cmake --preset release -B "$work/tree" -DSTP_TESTS=ON \
  "-DCMAKE_CXX_COMPILER_LAUNCHER=$root/scripts/timed.sh;$work/commands" >"$work/log" 2>&1 ||
  { cat "$work/log" >&2; exit 1; }
cd "$work/tree"
TIMEFORMAT='%R %U %S'
total=$( { time ninja -j "$jobs" >"$work/log" 2>&1; } 2>&1) ||
  { grep -A 30 FAILED "$work/log" >&2; exit 1; }
read -r elapsed user system <<<"$total"
cpu=$(awk "BEGIN { printf \"%.0f\", $user + $system }")

# "TARGET|PART|CPU|BYTES" of each object: PART is the module or library that it belongs to, for what
# the shared libraries are made of.
while read -r user system command; do
  object=${command##* -o }
  object=${object%% *}
  target=${object%%/CMakeFiles/*}
  part='' bytes=0
  name=${object##*/}
  name=${name%.cpp.o}
  case $object in
    *.gch) target='headers, precompiled' ;;
    */generated/Stp/*) part=Stp/$name.tdl ;;
    Stp/*) part='Stp/, written by hand' ;;
    frame/*) part=frame ;;
    platform/*) part=${object#*.dir/} && part=platform/${part%%/*} ;;
  esac
  [ -z "$part" ] || bytes=$(size "$object" | awk 'NR == 2 { print $1 + $2 }')
  echo "$target|$part|$(awk "BEGIN { print $user + $system }")|$bytes"
done <"$work/commands" >"$work/objects"

by_column() { # by_column NUMBER: files, seconds and KiB of each name in that column, sorted
  awk -F '|' -v column="$1" '$column != "" {
      ++files[$column]; cpu[$column] += $3; size[$column] += $4 }
    END { for (name in files)
      printf "| %s | %d | %.1f | %.0f |\n", name, files[name], cpu[name], size[name] / 1024 }' \
    "$work/objects" | sort
}

strip -o "$work/stripped" lib/libStp.so
bytes=$(stat -c %s "$work/stripped")

{
  cat <<HEAD
# What the build costs

Written by \`./dev bench build\`; every figure comes from that run: a release build of the libraries, the
tools, the examples and the tests, from nothing and without a compiler cache.

| | |
|---|---|
| measured on | $(date +%F) |
| system | $(. /etc/os-release && echo "$PRETTY_NAME") |
| compiler | $("$(sed -n 's/^CMAKE_CXX_COMPILER:[A-Z]*=//p' CMakeCache.txt)" --version | head -n 1) |
| processor time of the whole build | $cpu s; $seconds_allowed s are allowed: two processors for three minutes |
| elapsed, with $jobs at once | ${elapsed%.*} s |
| \`libStp.so\`, stripped | $bytes bytes; fewer than $bytes_allowed are allowed |

## Where the time goes

A file of a program or a test is a dozen of them, joined (\`STP_JOINED\`).

| folder | files | CPU seconds |
|---|--:|--:|
HEAD
  by_column 1 | sed -E 's/ [0-9]+ \|$//'
  cat <<'HEAD'

| module or library | files | CPU seconds | object, KiB |
|---|--:|--:|--:|
HEAD
  by_column 2
  cat <<'HEAD'

| what a change compiles again | files |
|---|--:|
HEAD
  ninja -t deps | awk '
    /: #deps/ { object = $1 }
    /^ +.*generated\/Stp\/.*\.h$/ {
      description = $1; sub(/.*generated\//, "", description); sub(/\.h$/, ".tdl", description)
      if (!seen[description, object]++) ++users[description]
    }
    END { for (name in users) printf "| an attribute in %s | %d |\n", name, users[name] }' | sort
  echo "| everything | $(ninja -t deps | grep -c ': #deps.*VALID') |"
  cat <<'HEAD'

| what a file includes, and nothing else | CPU seconds | lines |
|---|--:|--:|
HEAD
  "$root/scripts/include-cost.sh" .
  cat <<'HEAD'

## Where the bytes go

| section of libStp.so | bytes |
|---|--:|
HEAD
  size -A "$work/stripped" | awk '$2 > 10000 && $1 ~ /^\./ { printf "| %s | %d |\n", $1, $2 }' |
    sort -t '|' -k 3 -rn
  cat <<'HEAD'

| template in libStp.so | instances | KiB |
|---|--:|--:|
HEAD
  nm --size-sort --print-size --demangle lib/libStp.so | awk '{
      size = $2; $1 = $2 = $3 = ""; sub(/^ +/, ""); sub(/ \[clone.*/, "")
      # The name up to the first template argument, without what a function returns; not what only
      # takes an argument of a template, nor an operator.
      head = $0; sub(/<.*/, "", head)
      if (head == $0 || head ~ /\(|operator$/) next
      sub(/.* /, "", head)
      print head, size
    }' | while read -r head size; do echo "$head $((16#$size))"; done | awk '
    { ++count[$1]; total[$1] += $2 }
    END { for (head in count) printf "%d|| `%s<>` | %d | %.1f |\n", total[head], head, count[head],
      total[head] / 1024 }' | sort -rn | head -n 12 | sed 's/^[0-9]*|//'
} >"$work/document"
mv "$work/document" "$document"
echo "$cpu s of processor time, $elapsed s elapsed; libStp.so has $bytes bytes; ${document#"$root"/} is written"
[ "$cpu" -le "$seconds_allowed" ] && [ "$bytes" -lt "$bytes_allowed" ]
