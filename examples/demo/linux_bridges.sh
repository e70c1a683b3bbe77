# A switch of this machine's own: two bridges of the kernel and two cables between them, in a network
# namespace that goes with the demonstration; sourced by demo.sh.
tree=/stp/br1/status/stpiStatus/Stp/mstiStatus/Mst0

in_lab() { nsenter --target "$lab" "${lab_users[@]}" --net -- "$@"; }

# Why this act cannot be played here; nothing when it can.
why_not() {
  if [ ! -x "$bin/stp-linux" ]; then
    echo "stp-linux is not built here (libmnl is missing)"
  elif ! command -v ip unshare nsenter >/dev/null; then
    echo "ip, unshare or nsenter is not installed"
  elif [ "$(id -u)" -ne 0 ] && ! unshare --map-root-user --net true 2>/dev/null; then
    echo "this user may not have a network namespace"
  elif [ "$(id -u)" -eq 0 ] && ! unshare --net true 2>/dev/null; then
    echo "network namespaces are not allowed here"
  fi
}

cable() { # cable WORD...: as a person would type it
  echo "# ip $*"
  in_lab ip "$@" || die "ip failed"
}

until_is() { # until_is WANTED PORT ATTRIBUTE: within the seconds that a tree takes
  local tries=0
  until [ "$("$stptool" get $tree/mstiPortStatus/"$2" "$3" 2>/dev/null)" = "$1" ]; do
    tries=$((tries + 1))
    [ $tries -lt $((40 * patience)) ] || die "$3 of $2 does not become $1"
    sleep 0.05
  done
}

why=$(why_not)
if [ -n "$why" ]; then
  title "the bridges of this machine: left out, since $why"
  return
fi

title "the bridges of this machine: two of them, two cables, no switch"
lab_users=()
if [ "$(id -u)" -eq 0 ]; then
  unshare --net sleep 600 &
else
  unshare --map-root-user --net sleep 600 &
  lab_users=(--user --preserve-credentials)
fi
lab=$!
tries=0
until [ "$(readlink "/proc/$lab/ns/net")" != "$(readlink /proc/self/ns/net)" ]; do
  tries=$((tries + 1))
  [ $tries -lt 200 ] || die "there is no namespace"
  sleep 0.05
done
if ! in_lab ip link add br0 type bridge stp_state 1 2>"$dir/bridge.err"; then
  echo "left out, since the kernel has no bridges: $(cat "$dir/bridge.err")"
  rm "$dir/bridge.err"
  return
fi
rm "$dir/bridge.err"
in_lab ip link del br0
cable link add br0 type bridge stp_state 1 forward_delay 400 priority 4096
cable link add br1 type bridge stp_state 1 forward_delay 400
cable link add a0 master br0 type veth peer name a1
cable link add b0 master br0 type veth peer name b1
for port in a1 b1; do cable link set $port master br1; done
for name in br0 br1 a0 a1 b0 b1; do cable link set $name up; done
echo '# stp-linux --socket SOCKET --configure &'
nsenter --target "$lab" "${lab_users[@]}" --net -- "$bin/stp-linux" --socket "$STP_SOCKET" \
  --configure >"$dir/linux.out" 2>"$dir/linux.err" &
server=$!
wait_for serving "$dir/linux.out" $server

title "one of the two ports that lead to the root has to block"
until_is forwarding a1 state
until_is alternate b1 role
expect 'alternate' tree $tree

title "the cable of the other one is pulled: it takes over"
cable link set a0 down
until_is forwarding b1 state
expect 'root' get $tree/mstiPortStatus/b1 role

title "what is written goes down to the kernel, and what it refuses is said"
show set /stp/br1/input/cli/portConfig/b1 extPathCost 77
until_is 77 b1 operIntPathCost
show set /stp/br1/input/cli/portConfig/b1 extPathCost 70000
wait_for 'Numerical result out of range' "$dir/linux.err" $server
expect 'is refused by the kernel' get /stp/br1/status overriddenBy
rm "$dir/linux.err"
kill -TERM $server
wait $server || die "stp-linux failed"
server=''
kill $lab
wait $lab 2>/dev/null || true
lab=''
