#!/usr/bin/env bash
# Two processes hold the same tree: one serves it, the other mirrors it and prints each change. Ends
# by comparing what the two have. Takes seconds; leaves no process and no file behind.
#
# usage: examples/demo.sh BUILD_DIR
set -euo pipefail

if [ $# -ne 1 ] || [ ! -x "$1/bin/stptool" ]; then
  echo "usage: demo.sh BUILD_DIR, where BUILD_DIR/bin/stptool has been built" >&2
  exit 2
fi
stptool=$(cd "$1/bin" && pwd)/stptool
example=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/access-switch.json
dir=$(mktemp -d "${TMPDIR:-/tmp}/stp-demo.XXXXXX")
export STP_SOCKET=$dir/socket
server='' watcher=''

clean_up() {
  local pid
  for pid in $watcher $server; do
    kill "$pid" 2>/dev/null || true
    wait "$pid" 2>/dev/null || true
  done
  rm -rf "$dir"
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

die() {
  echo "demo: $*" >&2
  for log in "$dir"/*.err; do
    [ ! -s "$log" ] || sed "s|^|  ${log##*/}: |" "$log" >&2
  done
  exit 1
}

title() { printf '\n== %s\n' "$*"; }

show() { # show COMMAND ARGUMENT...: as a person would type it, then what it prints
  printf '$ stptool %s\n' "$*"
  "$stptool" "$@" || die "stptool $1 failed"
}

refused() { # refused WANTED-IN-THE-MESSAGE ARGUMENT...: fails with 1 and one line that says why
  local wanted=$1 status=0
  shift
  printf '$ stptool %s\n' "$*"
  "$stptool" "$@" 2>"$dir/refused.err" || status=$?
  cat "$dir/refused.err"
  [ "$status" -eq 1 ] || die "exit code 1 was expected, found $status"
  [ "$(wc -l <"$dir/refused.err")" -eq 1 ] || die "one line was expected"
  grep -qF -- "$wanted" "$dir/refused.err" || die "the message lacks '$wanted'"
  rm "$dir/refused.err"
}

wait_for() { # wait_for TEXT FILE PID
  local tries=0
  until grep -qF -- "$1" "$2" 2>/dev/null; do
    kill -0 "$3" 2>/dev/null || die "the process that was to say '$1' has ended"
    tries=$((tries + 1))
    [ $tries -lt 200 ] || die "'$1' did not appear within 10 seconds"
    sleep 0.05
  done
}

port=/stp/hw/mstiHw/Mst1/mstiPortHw

title "one process serves the state of an access switch"
echo '$ stptool serve --load examples/access-switch.json &'
"$stptool" serve --load "$example" --dump-at-end "$dir/server.json" \
  >"$dir/server.out" 2>"$dir/server.err" &
server=$!
wait_for serving "$dir/server.out" $server
sed "s|$dir/||" "$dir/server.out"
show tree / --depth 1

title "another one mirrors it and prints what changes"
echo '$ stptool watch &'
"$stptool" watch --dump-at-end "$dir/mirror.json" >"$dir/watch.out" 2>"$dir/watch.err" &
watcher=$!
wait_for watching "$dir/watch.err" $watcher

title "a link goes down, and a redundant port of two instances takes over"
show set /stp/hw/mstiHw/Mst0/mstiPortHw/Port-Channel1 portState discarding active false
show set /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet47 portState learning
show set /stp/hw/mstiHw/Mst0/mstiPortHw/Ethernet47 portState forwarding
show set $port/Ethernet47 portState forwarding
show set /stp/protoStatus overrideCount 1

title "a port comes and goes"
show new $port/Ethernet49
show set $port/Ethernet49 portState forwarding active true
show get $port/Ethernet49
show new $port/Ethernet50
show del $port/Ethernet50

title "what is wrong is refused, with a reason, and nothing changes"
refused 'allowed are discarding (0), learning (1), forwarding (2)' \
  set $port/Ethernet1 portState blocking
refused '0 to 4294967295' set /stp/protoStatus runMode runModePvst overrideCount many
refused 'Ethernet99' get $port/Ethernet99 portState
[ "$("$stptool" get /stp/protoStatus runMode)" = runModeMstp ] || die "a refused write has an effect"

title "what the second process has printed"
wait_for "- $port/Ethernet50" "$dir/watch.out" $watcher
cat "$dir/watch.out"
for change in \
  "$port/Ethernet47  portState  discarding -> forwarding" \
  "/stp/hw/mstiHw/Mst0/mstiPortHw/Port-Channel1  active  true -> false" \
  "/stp/protoStatus  overrideCount  0 -> 1" \
  "+ $port/Ethernet49"; do
  grep -qF -- "$change" "$dir/watch.out" || die "the mirror did not print '$change'"
done

title "both processes end; each writes what it has"
kill -TERM $watcher
wait $watcher || die "the mirror failed"
watcher=''
kill -TERM $server
wait $server || die "the server failed"
server=''
[ ! -e "$STP_SOCKET" ] || die "the server left its socket behind"
[ ! -s "$dir/server.err" ] || die "the server complained"
cmp "$dir/server.json" "$dir/mirror.json" || die "the two trees differ"
grep -qF '"Ethernet49"' "$dir/server.json" || die "the trees lack what was made"
printf 'equal: %s ports in %s instances, %s bytes of JSON from each process\n' \
  "$(grep -cF '"portState"' "$dir/server.json")" "$(grep -c '"Mst[0-9]*":' "$dir/server.json")" \
  "$(wc -c <"$dir/server.json")"
