# A process that follows the state outlives the one that has it; sourced by demo.sh.
ports=/stp/status/stpiStatus/Mstp/mstiStatus/Mst0/mstiPortStatus

serve() { # serve TIME: four ports, until the server is ended
  echo '$ stptool serve --load examples/four-ports.json &'
  "$stptool" serve --load "$examples/four-ports.json" >"$dir/serve-$1.out" 2>"$dir/serve-$1.err" &
  server=$!
  wait_for serving "$dir/serve-$1.out" $server
}

follower_said() { # follower_said TEXT TIMES: waits until its output has so many lines with it
  local tries=0
  until [ "$(grep -cF -- "$1" "$dir/steady.out")" -ge "$2" ]; do
    tries=$((tries + 1))
    [ $tries -lt $((20 * patience)) ] || die "'$1' did not appear $2 times"
    sleep 0.05
  done
}

title "a program follows the ports of a switch that is not there yet"
echo '$ steady_reader SOCKET &'
"$bin/steady_reader" "$STP_SOCKET" >"$dir/steady.out" 2>"$dir/steady.err" &
reader=$!
wait_for waiting "$dir/steady.out" $reader
serve first
follower_said synced 1
show set $ports/Ethernet4 state forwarding
follower_said 'Ethernet4: forwarding' 1

title "the switch's process is killed, and started again with what it had at first"
kill -KILL $server
wait $server 2>/dev/null || true
follower_said waiting 2
serve second
follower_said synced 2
show set $ports/Ethernet2 state forwarding
follower_said "$ports/Ethernet2: forwarding" 1

title "what the program has printed; after the restart only what is not as it was"
kill -TERM $reader
wait $reader || true
reader=''
sed "s|$dir/||" "$dir/steady.out"
[ ! -s "$dir/steady.err" ] || die "it complained"
[ "$(grep -cF "$ports/Ethernet4: learning" "$dir/steady.out")" = 2 ] ||
  die "what the restart took back is missing"
[ "$(grep -cF "$ports/Ethernet1" "$dir/steady.out")" = 1 ] || die "what is as it was came again"
kill -TERM $server
wait $server || die "the server failed"
server=''
