# An agent hosts configuration, status and hardware state; others configure it, follow it and mirror it
# whole; sourced by demo.sh.
input=/stp/input/cli
tree=/stp/status/stpiStatus/Mstp

title "values: a bridge, and what it tells its neighbours"
bridge="Value('Stp::BridgeId', priority=32768, systemId=1, address=00:00:5e:00:53:01)"
root="Value('Stp::BridgeId', priority=4096, systemId=1, address=00:00:5e:00:53:11)"
expect '80 00 00 01 00 00 5e 00 53 01' encode Stp::BridgeId "$bridge"
expect 'priority=32768, systemId=1' decode Stp::BridgeId 8000000100005e005301
vector="Value('Stp::PriorityVector', cistRootBridgeId=$root, extRootPathCost=0,\
 regionalRootBridgeId=$root, intRootPathCost=2000, bridgeId=$bridge,\
 portId=Value('Stp::PortId', portPriority=128, portNumber=5))"
expect '128.5' parse Stp::PriorityVector "$vector"

title "an agent hosts its configuration, its status and the hardware's state"
mkfifo "$dir/events"
echo '$ agent SOCKET < events &'
"$bin/agent" "$STP_SOCKET" <"$dir/events" >"$dir/agent.out" 2>"$dir/agent.err" &
agent=$!
exec 7>"$dir/events"
wait_for serving "$dir/agent.out" $agent
sed "s|$dir/||" "$dir/agent.out"
"$bin/status_reader" "$STP_SOCKET" >"$dir/reader.out" 2>"$dir/reader.err" &
reader=$!
"$stptool" watch --dump-at-end "$dir/mirror.json" >"$dir/mirror.out" 2>"$dir/mirror.err" &
mirror=$!
wait_for mirrored "$dir/reader.out" $reader
wait_for watching "$dir/mirror.err" $mirror

title "configuration in: a distribution switch, then a change by hand"
show load "$examples/distribution-switch.json"
expect 'regionId=campus-east' tree $input --depth 0
show set $input maxAge 30 bridgeHelloTime 1500
show set $input/portConfig/Ethernet2 portPriority 32
show new $input/portConfig/Ethernet51
show del $input/portConfig/Ethernet51
expect '1.128' tree $tree --depth 0 # 1.5 s in seconds and 1/256 s

title "what is wrong is refused, with a reason, and nothing changes"
refused '6 to 40 s' set $input maxHops 10 maxAge 41
refused '200 to 10000 ms' set $input bridgeHelloTime 2
refused 'did you mean' get $input brigdeAddr
[ "$("$stptool" get $input maxHops)" = 20 ] || die "a refused write has an effect"

title "status out: links come, and one goes; a second program prints what changes"
event Ethernet1 Mst1 root discarding
event Ethernet1 Mst1 root forwarding
event Ethernet2 Mst1 alternate discarding
event Ethernet7 Mst1 designated discarding
event Ethernet7 Mst1 designated learning
event Ethernet7 Mst1 designated forwarding
event Ethernet1 down
event Ethernet2 Mst1 root discarding
event Ethernet2 Mst1 root forwarding
wait_for 'Ethernet2: discarding -> forwarding' "$dir/reader.out" $reader
cat "$dir/reader.out"
for change in \
  'Mst1 Ethernet1: discarding -> forwarding' \
  'Mst1 Ethernet7: learning -> forwarding' \
  'Mst1 Ethernet1: forwarding -> discarding' \
  'Mst1 Ethernet2: discarding -> forwarding'; do
  grep -qF -- "$change" "$dir/reader.out" || die "the reader did not print '$change'"
done
prompt tree $tree/mstiStatus/Mst1 | sed 's/$/ | grep -v " disabled "/'
"$stptool" tree $tree/mstiStatus/Mst1 >"$dir/tree.out" || die "stptool tree failed"
grep -v ' disabled ' "$dir/tree.out"
grep -Eq 'rootPort +Ethernet2$' "$dir/tree.out" || die "the root port is not Ethernet2"

title "hardware state out"
expect forwarding get /stp/hw/mstiHw/Mst1/mstiPortHw/Ethernet7
expect discarding get /stp/hw/mstiHw/Mst1/mstiPortHw/Ethernet1 portState

title "a third process has mirrored all three trees from the start; its last changes"
wait_for "-> 'Ethernet2'" "$dir/mirror.out" $mirror
wait_for 'Mst1/mstiPortHw/Ethernet2  portState  discarding -> forwarding' "$dir/mirror.out" $mirror
tail -n 8 "$dir/mirror.out"
grep -qF -- "- $input/portConfig/Ethernet51" "$dir/mirror.out" || die "a removal is missing"
grep -qF -- "maxAge  20 -> 30" "$dir/mirror.out" || die "a change of the configuration is missing"

title "everybody ends; what they have is compared"
"$stptool" dump >"$dir/fresh.json" || die "stptool dump failed"
kill -TERM $mirror
wait $mirror || die "the mirror failed"
mirror=''
kill -TERM $reader
wait $reader 2>/dev/null || true
reader=''
exec 7>&-
wait_end $agent || die "the agent failed"
agent=''
[ ! -s "$dir/agent.err" ] || die "the agent complained"
[ ! -e "$STP_SOCKET" ] || die "the agent left its socket behind"
cmp "$dir/mirror.json" "$dir/fresh.json" || die "a mirror from the start and a fresh one differ"

echo '$ stptool serve --load mirror.json &'
"$stptool" serve --load "$dir/mirror.json" --dump-at-end "$dir/server.json" \
  >"$dir/server.out" 2>"$dir/server.err" &
server=$!
wait_for serving "$dir/server.out" $server
expect Ethernet2 get $tree/mstiStatus/Mst1 rootPort
kill -TERM $server
wait $server || die "the server failed"
server=''
[ ! -e "$STP_SOCKET" ] || die "the server left its socket behind"
[ ! -s "$dir/server.err" ] || die "the server complained"
cmp "$dir/server.json" "$dir/mirror.json" || die "what is served again differs"
printf 'equal: %s ports in %s trees, %s bytes of JSON from each of three processes\n' \
  "$(grep -cE '"(Ethernet|Port-Channel)[0-9]+": *\{' "$dir/server.json")" \
  "$(grep -c '^    "/stp' "$dir/server.json")" "$(wc -c <"$dir/server.json")"
