#!/usr/bin/env bash
# timed.sh LOG COMMAND...: runs the command and adds "USER SYSTEM COMMAND", in seconds, to the log.
log=$1
shift
TIMEFORMAT='%U %S'
{ seconds=$( { time "$@" 1>&3 2>&4; } 2>&1); } 3>&1 4>&2
status=$?
echo "$seconds $*" >>"$log"
exit "$status"
