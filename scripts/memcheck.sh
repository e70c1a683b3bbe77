#!/usr/bin/env bash
# Runs the demonstration with each of its programs under Valgrind.
#
# usage: scripts/memcheck.sh BUILD_DIR WORK_DIR
set -euo pipefail
scripts=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
rm -rf "$2"
mkdir -p "$2/bin"
work=$(cd "$2" && pwd)

# The demonstration starts what stands in a folder bin/; here that starts Valgrind.
for program in stptool agent status_reader steady_reader; do
  cat >"$work/bin/$program" <<RUN
#!/bin/sh
exec valgrind --quiet --leak-check=full --errors-for-leak-kinds=definite,possible \\
  --suppressions="$scripts/valgrind.supp" --error-exitcode=99 --log-file="$work/$program.%p.log" "$build/bin/$program" "\$@"
RUN
  chmod +x "$work/bin/$program"
done
status=0
STP_DEMO_PATIENCE=120 "$scripts/../examples/demo.sh" "$work" || status=$?
find "$work" -name '*.log' -size +0 -exec cat {} + >"$work/findings"
if [ -s "$work/findings" ]; then
  cat "$work/findings" >&2
  exit 1
fi
exit "$status"
