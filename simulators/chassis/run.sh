#!/bin/bash
# usage: run.sh SIMULATOR [OPTION...] -- COMMAND...
# Runs COMMAND beside a simulated chassis manager, a SIMULATOR with these options, which ends with it. "@PORT@" as a
# word of COMMAND becomes the simulator's port. The exit status is COMMAND's; 1 when the simulator does not start.
set -euo pipefail
simulator=()
while [ "${1:---}" != -- ]; do
  simulator+=("$1")
  shift
done
shift
exec {port_pipe}< <(exec "${simulator[@]}")
pid=$!
trap 'kill "$pid" 2> /dev/null || true' EXIT
read -r -t 30 _ port <&"$port_pipe" || { echo "run: the chassis simulator does not start" >&2; exit 1; }
words=()
for word in "$@"; do
  [ "$word" != @PORT@ ] || word=$port
  words+=("$word")
done
"${words[@]}"
