#!/usr/bin/env bash
# shared_data.sh LIST LIBRARY...: what these libraries export as data must be in the list: a program's
# linker may make a copy of it, and the library would go on using its own.
set -euo pipefail
export LC_ALL=C
list=$1
shift
mapfile -t patterns < <(sed -n 's/^ *\([^ {}]*\);$/\1/p' "$list")
status=0
for library; do
  while read -r name; do
    for pattern in "${patterns[@]}"; do
      # shellcheck disable=SC2053 # a pattern
      [[ $name != $pattern ]] || continue 2
    done
    echo "${library##*/} exports '$name': name it in $list, or hide it" >&2
    status=1
  done < <(nm -D --defined-only --demangle "$library" | sed -nE 's/^[0-9a-f]+ [BDR] //p' |
    grep -vE '^(vtable|VTT|typeinfo|typeinfo name|construction vtable) for ')
done
exit $status
