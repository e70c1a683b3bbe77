#!/usr/bin/env bash
# How much of the code that each fuzzer is for its inputs run, as regions and lines. Builds the
# fuzzers with counters in build/fuzz-coverage; takes what was found in build/fuzz/corpus/ too.
#
# usage: scripts/fuzz-coverage.sh [NAME]...
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/fuzz-coverage
declare -A sources=(
  [json_load]='stptool/json'
  [paths]='platform/Tovo/Path.cpp platform/Tovo/Inspect.cpp platform/Tovo/Directory.cpp'
  [recording]='platform/Tovo/AttrLog/Recording.cpp platform/Tovo/AttrLog/Control.cpp
    platform/Tovo/AttrLog/StreamAdapter.cpp stptool/commands/DecodeRecording.cpp'
  [stream]='platform/Tovo/AttrLog/Connection.cpp platform/Tovo/AttrLog/ConnectionMounts.cpp
    platform/Tovo/AttrLog/Control.cpp platform/Tovo/AttrLog/FlowOut.cpp
    platform/Tovo/AttrLog/StreamAdapter.cpp platform/Tovo/AttrLog/Turn.cpp'
  [tdl]='tdc/syntax tdc/model tdc/emit tdc/lock tdc/print'
  [value_bytes]='platform/Tovo/ValueOps.h platform/Tovo/AttrLog/In.h platform/Tovo/AttrLog/InOut.cpp'
  [value_text]='platform/Tovo/ValueOps.h platform/Tovo/CharRange.cpp platform/Tovo/EnumType.cpp'
)
names=("$@")
[ $# -gt 0 ] || mapfile -t names < <(printf '%s\n' "${!sources[@]}" | LC_ALL=C sort)

cmake -G Ninja -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
  -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping" >/dev/null
cmake --build "$build" -j "${STP_JOBS:-$(nproc)}" --target "${names[@]/#/fuzz_}" >/dev/null
objects=()
for library in "$build"/lib/lib*.so; do objects+=(-object "$library"); done

printf '%-12s %16s %16s\n' fuzzer regions lines
for name in "${names[@]}"; do
  inputs=()
  for folder in "build/fuzz/corpus/$name" "fuzz/corpus/$name" "fuzz/regressions/$name"; do
    [ ! -d "$folder" ] || inputs+=("$folder")
  done
  LLVM_PROFILE_FILE=$build/$name.profraw "$build/bin/fuzz_$name" "${inputs[@]}" >/dev/null 2>&1
  llvm-profdata merge -sparse "$build/$name.profraw" -o "$build/$name.profdata"
  # shellcheck disable=SC2086 # several sources
  llvm-cov report "$build/bin/fuzz_$name" "${objects[@]}" -instr-profile="$build/$name.profdata" \
    ${sources[$name]} | awk -v name="$name" '
    $1 == "TOTAL" {
      printf "%-12s %5d of %5d %3d %5d of %5d %3d %%\n", name, $2 - $3, $2, $4, $8 - $9, $8, $10
    }'
done
