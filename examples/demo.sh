#!/usr/bin/env bash
# Four acts: the state of an access switch mirrored between two processes; an agent with its
# configuration, status and hardware state; a reader that outlives the process it reads from; bridges
# of the kernel, where that is allowed. Each checks what the processes have in the end. Takes seconds;
# leaves no process and no file behind.
#
# usage: examples/demo.sh BUILD_DIR
set -euo pipefail

for program in stptool agent status_reader steady_reader; do
  if [ $# -ne 1 ] || [ ! -x "$1/bin/$program" ]; then
    echo "usage: demo.sh BUILD_DIR, where BUILD_DIR/bin/${program} has been built" >&2
    exit 2
  fi
done
bin=$(cd "$1/bin" && pwd)
stptool=$bin/stptool
examples=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
patience=${STP_DEMO_PATIENCE:-10} # seconds that anything may take
dir=$(mktemp -d "${TMPDIR:-/tmp}/stp-demo.XXXXXX")
export STP_SOCKET=$dir/socket
agent='' reader='' mirror='' server='' lab=''

clean_up() {
  local pid
  for pid in $reader $mirror $agent $server $lab; do
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

prompt() { # prompt ARGUMENT...: the command line as a person would type it
  local argument line='$ stptool'
  for argument; do
    argument=${argument/#"$examples"/examples}
    [ ${#argument} -le 100 ] || argument="${argument:0:60}..."
    case $argument in
      *[\ \(\'\|]*) line+=" \"$argument\"" ;;
      *) line+=" $argument" ;;
    esac
  done
  printf '%s\n' "$line"
}

show() { # show COMMAND ARGUMENT...: as a person would type it, then what it prints
  prompt "$@"
  "$stptool" "$@" || die "stptool $1 failed"
}

refused() { # refused WANTED-IN-THE-MESSAGE ARGUMENT...: fails with 1 and one line that says why
  local wanted=$1 status=0
  shift
  prompt "$@"
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
    [ $tries -lt $((20 * patience)) ] || die "'$1' did not appear within $patience seconds"
    sleep 0.05
  done
}

expect() { # expect WANTED COMMAND ARGUMENT...: as show, with the output that it must have
  local wanted=$1 found
  shift
  found=$(show "$@")
  printf '%s\n' "$found"
  grep -qF -- "$wanted" <<<"$found" || die "'$wanted' was expected"
}

event() { # event TEXT: on the agent's standard input
  printf '> %s\n' "$*"
  printf '%s\n' "$*" >&7
}

wait_end() { # wait_end PID: its status, when it has ended
  local tries=0
  while kill -0 "$1" 2>/dev/null; do
    tries=$((tries + 1))
    [ $tries -lt $((20 * patience)) ] || die "process $1 does not end"
    sleep 0.05
  done
  wait "$1"
}

. "$examples/demo/access_switch.sh"
printf '\n'
. "$examples/demo/agent.sh"
printf '\n'
. "$examples/demo/restart.sh"
printf '\n'
. "$examples/demo/linux_bridges.sh"
