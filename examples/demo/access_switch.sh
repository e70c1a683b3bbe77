# One process loads the state of an access switch, another mirrors it; sourced by demo.sh.
port=/stp/hw/mstiHw/Mst1/mstiPortHw

title "one process serves the state of an access switch"
echo '$ stptool serve --load examples/access-switch.json &'
"$stptool" serve --load "$examples/access-switch.json" --dump-at-end "$dir/access-server.json" \
  >"$dir/access-server.out" 2>"$dir/access-server.err" &
server=$!
wait_for serving "$dir/access-server.out" $server
sed "s|$dir/||" "$dir/access-server.out"
show tree / --depth 1

title "another one mirrors it and prints what changes"
echo '$ stptool watch &'
"$stptool" watch --dump-at-end "$dir/access-mirror.json" >"$dir/access-watch.out" 2>"$dir/access-watch.err" &
mirror=$!
wait_for watching "$dir/access-watch.err" $mirror

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
wait_for "- $port/Ethernet50" "$dir/access-watch.out" $mirror
cat "$dir/access-watch.out"
for change in \
  "$port/Ethernet47  portState  discarding -> forwarding" \
  "/stp/hw/mstiHw/Mst0/mstiPortHw/Port-Channel1  active  true -> false" \
  "/stp/protoStatus  overrideCount  0 -> 1" \
  "+ $port/Ethernet49"; do
  grep -qF -- "$change" "$dir/access-watch.out" || die "the mirror did not print '$change'"
done

title "both processes end; each writes what it has"
kill -TERM $mirror
wait $mirror || die "the mirror failed"
mirror=''
kill -TERM $server
wait $server || die "the server failed"
server=''
[ ! -e "$STP_SOCKET" ] || die "the server left its socket behind"
[ ! -s "$dir/access-server.err" ] || die "the server complained"
cmp "$dir/access-server.json" "$dir/access-mirror.json" || die "the two trees differ"
grep -qF '"Ethernet49"' "$dir/access-server.json" || die "the trees lack what was made"
printf 'equal: %s ports in %s instances, %s bytes of JSON from each process\n' \
  "$(grep -cF '"portState"' "$dir/access-server.json")" "$(grep -c '"Mst[0-9]*":' "$dir/access-server.json")" \
  "$(wc -c <"$dir/access-server.json")"
