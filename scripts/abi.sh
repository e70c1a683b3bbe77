#!/usr/bin/env bash
# abi.sh BUILD [accept LIBRARY...|accept all]
#
# Compares the interface that the libraries in BUILD/lib export with the accepted one in abi/, a
# compressed file a library, and fails where they differ. `accept` takes the present interface of
# these libraries over. BUILD has debug symbols.
set -euo pipefail
export LC_ALL=C

kept=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/abi
build=$1
shift
accepted=()
if [ "${1:-}" = accept ]; then
  shift
  accepted=("$@")
  [ $# -gt 0 ] || { echo "abi: 'accept' needs names of libraries, or all" >&2; exit 2; }
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

libraries=()
for path in "$build"/lib/lib*.so; do
  libraries+=("$(basename "$path" .so)")
done

is_accepted() { # is_accepted LIBRARY
  [[ " ${accepted[*]} " == *" all "* || " ${accepted[*]} " == *" $1 "* ]]
}

for name in "${accepted[@]}"; do
  [[ $name == all || " ${libraries[*]} " == *" $name "* || -e $kept/$name.abi.xz ]] ||
    { echo "abi: there is no library '$name', only: ${libraries[*]}" >&2; exit 2; }
done

# Without places in sources and inner types: what a caller cannot depend on is no interface.
describe() { # describe LIBRARY
  abidw --no-corpus-path --no-comp-dir-path --no-show-locs --drop-private-types \
    --exported-interfaces-only --type-id-style hash --suppressions "$kept/ignored.ini" \
    "$build/lib/$1.so"
}

changed=()
for library in "${libraries[@]}"; do
  describe "$library" >"$work/$library.abi"
  if is_accepted "$library"; then
    xz -9e -c "$work/$library.abi" >"$kept/$library.abi.xz"
    echo "$library: accepted"
    continue
  fi
  if [ ! -e "$kept/$library.abi.xz" ]; then
    echo "$library: nothing is kept of it"
    changed+=("$library")
    continue
  fi
  xz -dc "$kept/$library.abi.xz" >"$work/kept.abi"
  status=0
  abidiff --no-show-locs "$work/kept.abi" "$work/$library.abi" >"$work/report" || status=$?
  if ((status & 3)); then
    cat "$work/report" >&2
    exit 2
  elif ((status)); then
    echo "$library:"
    sed 's/^/  /' "$work/report"
    changed+=("$library")
  fi
done

for file in "$kept"/*.abi.xz; do
  [ -e "$file" ] || continue
  library=$(basename "$file" .abi.xz)
  if [[ " ${libraries[*]} " != *" $library "* ]]; then
    if is_accepted "$library"; then
      rm "$file"
    else
      echo "$library: kept, but not built any more"
      changed+=("$library")
    fi
  fi
done

if [ ${#changed[@]} -gt 0 ]; then
  echo "Programs that are built already may break. Where the change is wanted:"
  echo "  ./dev abi accept ${changed[*]}"
  exit 1
fi
