#!/usr/bin/env bash
# layers.sh SOURCE WORK: what scripts/layers.sh says of small trees.
set -euo pipefail
source=$1 work=$2

fail() {
  echo "$*" >&2
  exit 1
}

file() { # file PATH INCLUDED...: a source with these includes
  local path=$1 header
  shift
  mkdir -p "$work/${path%/*}"
  {
    echo "// What it is for."
    for header in "$@"; do echo "#include \"$header\""; done
  } >"$work/$path"
}

layers() { # layers STATUS: ends so; what it says is in said and complained
  local status=0
  "$source/scripts/layers.sh" "$work" >"$work.said" 2>"$work.complained" || status=$?
  [ $status -eq "$1" ] || fail "ended with $status:"$'\n'"$(cat "$work.said" "$work.complained")"
}

rm -rf "$work"
mkdir -p "$work"
layers 2 # nothing is there

# A library of platform/ is included without that word, and what is generated as its description.
file platform/Low/Bottom.h
file platform/Low/rooms/Room.cpp Low/Bottom.h Room.h
file Stp/Model.tdl
file stptool/main.cpp stptool/words/Word.h Stp/Model.h
file stptool/words/Word.h Low/Bottom.h Low/rooms/Room.h
layers 0
[ ! -s "$work.complained" ] || fail "complains of no circle: $(cat "$work.complained")"
diff - "$work.said" <<'SAID' || fail "other layers than these"
 1  Stp
 1  platform/Low
 2  platform/Low/rooms       platform/Low
 3  stptool/words            platform/Low platform/Low/rooms
 4  stptool                  Stp stptool/words
SAID

# A circle of three; what only stands on it, or below it, is not named.
file platform/Low/rooms/Door.h stptool/words/Word.h
file stptool/words/Letter.cpp stptool/Main.h
file stptool/tall/Tower.cpp stptool/Main.h
layers 1
diff - "$work.complained" <<'COMPLAINED' || fail "other includes than these"
layers: in a circle: platform/Low/rooms includes stptool/words: Door.h (stptool/words/Word.h)
layers: in a circle: stptool includes stptool/words: main.cpp (stptool/words/Word.h)
layers: in a circle: stptool/words includes platform/Low/rooms: Word.h (Low/rooms/Room.h)
layers: in a circle: stptool/words includes stptool: Letter.cpp (stptool/Main.h)
COMPLAINED
