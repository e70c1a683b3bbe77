#!/usr/bin/env bash
# counts.sh PROGRAM [accept NAME...|accept all]
#
# Counts the instructions of the hot paths in PROGRAM (stp_counts) and compares them with the
# accepted ones in counts.txt. Fails when one is more than 3 % worse, or when what is done ten times
# as often (-x10) costs more than 1.3 times as much each. `accept` takes the present counts of these
# names over into counts.txt.
set -euo pipefail
export LC_ALL=C

program=$1
shift
accepted=$(dirname "${BASH_SOURCE[0]}")/counts.txt
accept=
if [ "${1:-}" = accept ]; then
  shift
  accept="$*"
  [ -n "$accept" ] || { echo "counts: 'accept' needs names, or all" >&2; exit 2; }
fi

build=$("$program" --build)
head=$(sed -n '/^compiler \|^flags /p' "$accepted" 2>/dev/null || true)
if [ "$build" != "$head" ] && [ "$accept" != all ]; then
  echo "counts: skipped, the accepted ones are of another build:"
  diff <(echo "$head") <(echo "$build") | sed -n 's/^</  accepted: /p; s/^>/  here: /p'
  exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# The C library chooses its functions by the processor; without what is newer than x86-64 itself they
# are the same on all of them. Other systems ignore that.
plain=glibc.cpu.hwcaps=-AVX512F,-AVX512VL,-AVX512BW,-AVX2,-AVX,-AVX_Fast_Unaligned_Load,-BMI2,-BMI1
plain+=,-LZCNT,-MOVBE,-ERMS,-FSRM,-RTM,-SSE4_2,-SSE4_1,-SSSE3
env -i GLIBC_TUNABLES="$plain" valgrind --tool=callgrind --callgrind-out-file="$work/out" "$program" \
  >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }

# One line for each count: its name, and the instructions of one operation.
for dump in "$work"/out.*; do
  awk '/^desc: Trigger: Client Request: / { name = $(NF - 1); units = $NF }
    /^totals: / && name { printf "%s %.2f\n", name, $2 / units }' "$dump"
done | sort >"$work/counts"

awk -v accept=" $accept " -v accepted="$accepted" -v build="$build" '
  FNR == NR { if ($1 != "compiler" && $1 != "flags" && $1 !~ /^#/ && NF == 2) was[$1] = $2; next }
  { is[$1] = $2; order[++n] = $1 }
  function taken(name) { return accept == " all " || index(accept, " " name " ") }
  END {
    for (i = 1; i <= n; ++i) {
      name = order[i]
      if (taken(name)) was[name] = is[name]
      word = ""
      if (!(name in was)) word = "NOT ACCEPTED YET"
      else if (is[name] > 1.03 * was[name]) word = "WORSE"
      else if (is[name] < 0.97 * was[name]) word = "better"
      if (word ~ /[A-Z]/) failed = 1
      small = name
      if (sub(/-x10$/, "", small) && is[name] > 1.3 * is[small]) {
        word = word " GROWS, " small " is " is[small]
        failed = 1
      }
      if (word) printf "  %-32s %10.2f, accepted %10s  %s\n", name, is[name], was[name], word
    }
    for (name in was) if (!(name in is) && accept != " all ") {
      printf "  %-32s is not counted any more\n", name
      failed = 1
    }
    if (accept != "  ") {
      print "# Instructions of one operation; see counts.sh." >accepted
      print build >accepted
      for (i = 1; i <= n; ++i) if (order[i] in was) print order[i], was[order[i]] >accepted
    }
    if (failed) print "counts: accept what is meant to be worse: ./dev counts accept NAME..."
    else printf "%-44s ok\n", n " instruction counts"
    exit failed
  }' <(cat "$accepted" 2>/dev/null || true; echo) "$work/counts"
