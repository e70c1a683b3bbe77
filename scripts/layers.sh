#!/usr/bin/env bash
# layers.sh [TREE]: prints the folders of what is written by hand as layers, each folder with those
# that it includes; it stands one layer above the highest of them. Fails where folders include each
# other in a circle, and names the includes that do it.
set -euo pipefail
cd "${1:-$(dirname "${BASH_SOURCE[0]}")/..}"
export LC_ALL=C.UTF-8

tops=(words platform frame tdc Stp agents stptool)
mapfile -t present < <(ls -d "${tops[@]}" 2>/dev/null)
[ ${#present[@]} -gt 0 ] || { echo "layers: none of ${tops[*]} is in $PWD" >&2; exit 2; }

# A line a file, then one for each of its includes, as written. A library of platform/ is included
# from there ("Tovo/Path.h"), everything else from the top; what tdc writes counts as the folder of
# its description.
# shellcheck disable=SC2016 # awk expands them
find "${present[@]}" -type f \( -name '*.h' -o -name '*.cpp' -o -name '*.tdl' \) | sort |
  xargs -r -d '\n' awk '
    FNR == 1 { print FILENAME }
    /^[ \t]*#[ \t]*include[ \t]*"/ { split($0, quoted, "\""); print FILENAME "\t" quoted[2] }' |
  awk -F '\t' '
    function folder_of(file) { sub(/\/[^\/]*$/, "", file); return file }
    function name_of(file) { sub(/.*\//, "", file); return file }

    NF == 1 && !(folder_of($1) in number) {
      folder[++folders] = folder_of($1)
      number[folder[folders]] = folders
    }
    NF == 2 { file[++includes] = $1; header[includes] = $2 }

    END {
      for (i = 1; i <= includes; ++i) {
        from = number[folder_of(file[i])]
        to = folder_of(header[i])
        to = number[("platform/" to) in number ? "platform/" to : to]
        if (!to || to == from) continue
        reached[from, to] = 1
        example[from, to, ++times[from, to]] = name_of(file[i]) " (" header[i] ")"
      }
      for (by = 1; by <= folders; ++by)
        for (from = 1; from <= folders; ++from)
          if ((from, by) in reached)
            for (to = 1; to <= folders; ++to)
              if ((by, to) in reached) reached[from, to] = 1

      # Folders of one circle stand in the same layer.
      do {
        higher = 0
        for (from = 1; from <= folders; ++from) {
          for (to = 1; to <= folders; ++to) {
            if (!((from, to) in reached)) continue
            least = layer[to] + ((to, from) in reached ? 0 : 1)
            if (layer[from] < least) { layer[from] = least; higher = 1 }
          }
          if (layer[from] > top) top = layer[from]
        }
      } while (higher)

      for (level = 0; level <= top; ++level)
        for (from = 1; from <= folders; ++from) {
          if (layer[from] != level) continue
          list = ""
          for (to = 1; to <= folders; ++to) if ((from, to) in times) list = list " " folder[to]
          line = sprintf("%2d  %-24s%s", level + 1, folder[from], list)
          sub(/ +$/, "", line)
          print line
        }

      for (from = 1; from <= folders; ++from)
        for (to = 1; to <= folders; ++to) {
          if (!((from, to) in times) || !((to, from) in reached)) continue
          circles = 1
          shown = times[from, to] < 5 ? times[from, to] : 5
          list = example[from, to, 1]
          for (i = 2; i <= shown; ++i) list = list ", " example[from, to, i]
          if (times[from, to] > shown) list = list " and " (times[from, to] - shown) " more"
          print "layers: in a circle: " folder[from] " includes " folder[to] ": " list \
            >"/dev/stderr"
        }
      exit circles
    }'
