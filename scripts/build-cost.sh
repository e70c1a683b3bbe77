#!/usr/bin/env bash
# build-cost.sh BUILD: what compiling costs and where the bytes go, as tables.
#
# Compiles the modules and the runtime's libraries of BUILD once more, one file after the other and
# without a cache; nothing of BUILD changes. Fails when the stripped libStp.so is 1 MB or more.
set -euo pipefail
export LC_ALL=C CCACHE_DISABLE=1

build=$(cd "$1" && pwd)
cd "$build"
limit=1000000
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# "object command" of each file that is compiled, as the build itself does it.
ninja -t commands all | sed -n 's/^.* && //; s/.* -o \([^ ]*\.cpp\.o\) -c .*/\1 &/p' |
  grep -E '^(Stp|platform|frame)/' | sort -u >"$work/commands"

# The module or library that an object belongs to: generated sources and bodies by their module.
part_of() { # part_of OBJECT
  local name=${1##*/}
  name=${name%.cpp.o}
  case $1 in
    */generated/Stp/*) echo "Stp/$name.tdl" ;;
    Stp/*) echo "Stp/, written by hand" ;;
    frame/*) echo frame ;;
    platform/*) name=${1#*.dir/} && echo "platform/${name%%/*}" ;;
  esac
}

echo "| module or library | files | CPU seconds | object, KiB |"
echo "|---|--:|--:|--:|"
TIMEFORMAT='%U %S'
while read -r object command; do
  # Into another place: the object of the build stays.
  seconds=$( { time eval "${command/-o $object/-o $work/object.o}" >"$work/log" 2>&1; } 2>&1) ||
    { cat "$work/log" >&2; exit 1; }
  bytes=$(size "$work/object.o" | awk 'NR == 2 { print $1 + $2 }')
  echo "$(part_of "$object")|$seconds|$bytes"
done <"$work/commands" >"$work/parts"
awk -F '[| ]' '{ bytes = $NF; seconds = $(NF - 1) + $(NF - 2); part = $0; sub(/\|.*/, "", part)
    ++files[part]; cpu[part] += seconds; size[part] += bytes }
  END { for (part in files)
    printf "| %s | %d | %.1f | %.0f |\n", part, files[part], cpu[part], size[part] / 1024 }' \
  "$work/parts" | sort
awk -F '[| ]' '{ cpu += $(NF - 1) + $(NF - 2); size += $NF }
  END { printf "| all | %d | %.1f | %.0f |\n", NR, cpu, size / 1024 }' "$work/parts"

echo
echo "| what a change compiles again | files |"
echo "|---|--:|"
ninja -t deps | awk '
  /: #deps/ { object = $1 }
  /^ +.*generated\/Stp\/.*\.h$/ {
    description = $1; sub(/.*generated\//, "", description); sub(/\.h$/, ".tdl", description)
    if (!seen[description, object]++) ++users[description]
  }
  END { for (name in users) printf "| an attribute in %s | %d |\n", name, users[name] }' | sort
objects=$(ninja -t deps | grep -c ': #deps.*VALID')
echo "| everything | $objects |"

echo
echo "| template in libStp.so | instances | KiB |"
echo "|---|--:|--:|"
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
  END { for (head in count) printf "%d|| %s<> | %d | %.1f |\n", total[head], head, count[head],
    total[head] / 1024 }' | sort -rn | head -n 12 | sed 's/^[0-9]*|//'

strip -o "$work/stripped" lib/libStp.so
bytes=$(stat -c %s "$work/stripped")
echo
echo "libStp.so, stripped: $bytes bytes; fewer than $limit are allowed"
size -A "$work/stripped" | awk '$2 > 20000 && $1 ~ /^\./ { printf "  %-20s %7d\n", $1, $2 }' |
  sort -k 2 -rn
[ "$bytes" -lt "$limit" ]
