#!/usr/bin/env bash
# How much of the code that each fuzzer is for its inputs run, as regions and lines. Builds the
# fuzzers with counters in build/fuzz-coverage; takes what was found in build/fuzz/corpus/ too.
#
# usage: scripts/fuzz-coverage.sh [NAME]...
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/fuzz-coverage
declare -A sources=(
  [json_load]='stptool/json/'
  [observers]='platform/(Pelmo/(Node|Publisher)|Tovo/(Entity|HashMap2018)|Mirror/(Link|log/(Carrier|FlowOut|Receiver|Sender|Turn)))\.|frame/(Collections|Nodes|Setters|LogHooks)'
  [paths]='platform/Tovo/(Path|Inspect|Directory)\.'
  [recording]='platform/Mirror/(Recording|control/(Greeting|Mounted|Messages)|log/Receiver)\.|stptool/commands/Decode'
  [stream]='platform/Mirror/.*\.'
  [tdl]='tdc/(syntax|model|emit|lock|print)/'
  [value_bytes]='platform/Tovo/(ValueOps|AttrLog/In|AttrLog/InOut)\.'
  [value_text]='platform/Tovo/(ValueOps|CharRange|EnumType)\.'
)
names=("$@")
[ $# -gt 0 ] || mapfile -t names < <(printf '%s\n' "${!sources[@]}" | LC_ALL=C sort)

cmake -G Ninja -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping" >/dev/null
cmake --build "$build" -j "${STP_JOBS:-$(nproc)}" --target "${names[@]/#/fuzz_}" >/dev/null
objects=()
for library in "$build"/lib/lib*.so; do objects+=(-object "$library"); done

printf '%-12s %-20s %s\n' fuzzer regions lines
for name in "${names[@]}"; do
  inputs=()
  for folder in "build/fuzz/corpus/$name" "fuzz/corpus/$name" "fuzz/regressions/$name"; do
    [ ! -d "$folder" ] || inputs+=("$folder")
  done
  LLVM_PROFILE_FILE=$build/$name.profraw "$build/bin/fuzz_$name" "${inputs[@]}" >/dev/null 2>&1
  llvm-profdata merge -sparse "$build/$name.profraw" -o "$build/$name.profdata"
  llvm-cov report "$build/bin/fuzz_$name" "${objects[@]}" \
    -instr-profile="$build/$name.profdata" 2>/dev/null | awk -v name="$name" -v own="${sources[$name]}" '
    $1 ~ own { regions += $2; missed += $3; lines += $8; missedLines += $9 }
    END {
      printf "%-12s %5d of %5d %3d %% %5d of %5d %3d %%\n", name, regions - missed, regions,
        100 * (regions - missed) / regions, lines - missedLines, lines,
        100 * (lines - missedLines) / lines
    }'
done
