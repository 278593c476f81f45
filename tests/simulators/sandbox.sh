#!/bin/bash
# usage: sandbox.sh SANDBOX WORKDIR
# Tests simulators/sandbox.sh: what COMMAND finds in there, and that nothing is left of it.
# shellcheck disable=SC2317,SC2062
set -euo pipefail
sandbox=$1
mkdir -p "$2"
work=$(realpath "$2")
faults=0

# The name of a process in there; each run has its own.
canary=sandbox-canary-$$
check() {
  local what=$1
  shift
  if "$@"; then echo "ok: $what"; else echo "FAILED: $what"; faults=$((faults + 1)); fi
}

# Waits until a condition holds.
until_true() {
  for ((i = 0; i < 300; ++i)); do
    ! "$@" || return 0
    sleep 0.1
  done
  return 1
}
alive() { grep -aqxz -F -f - /proc/[0-9]*/cmdline <<< "$canary" 2> /dev/null; }
gone() { ! alive; }

"$sandbox" --check || exit 77

rm -rf "$work/files"
mkdir -p "$work/files"
printf 'served\n' > "$work/files/odd  name%20;"
chmod 700 "$work/files"
accounts=$(cat /etc/passwd)
interfaces=$(cut -d: -f1 /proc/net/dev)
# shellcheck disable=SC2016
commands='
  fetch() { curl -sS --insecure --user "$SP_USER:$1" "sftp://169.254.70.1:115/download/ffdc/$2"; }
  [ "$(fetch "$SP_PASSWORD" odd%20%20name%2520%3b)" = served ] || echo "file not served"
  ! fetch wrong "" 2> /dev/null || echo "wrong password taken"
  ! grep -alz -e "$SP_PASSWORD" /proc/[0-9]*/cmdline 2> /dev/null || echo "password on a command line"
  exit 42'
status=0
said=$(SP_FILES=$work/files SP_PASSWORD="c%n/r@:\"y'" "$sandbox" "$work" bash -c "$commands") || status=$?
check "passes COMMAND's status on" [ "$status" = 42 ]
check "serves its files, and only with the password: $said" [ -z "$said" ]
check "leaves the accounts alone" [ "$(cat /etc/passwd)" = "$accounts" ]
check "leaves the interfaces alone" [ "$(cut -d: -f1 /proc/net/dev)" = "$interfaces" ]
check "no password in a log" [ -z "$(grep -l -F 'c%n/r@' "$work"/*.log)" ]

# A COMMAND that leaves a process of its own session behind and is itself ended from outside, in every way.
for signal in TERM INT HUP KILL; do
  rm -f "$work/running"
  env --default-signal=INT "$sandbox" "$work" \
    bash -c "setsid bash -c 'exec -a $canary sleep 1000' & touch '$work/running'; exec sleep 1000" &
  outer=$!
  check "$signal: runs" until_true [ -e "$work/running" ]
  check "$signal: is seen to run" until_true alive
  kill -"$signal" "$outer"
  status=0
  wait "$outer" 2> /dev/null || status=$?
  check "$signal: is told by the status" [ "$status" = $((128 + $(kill -l "$signal"))) ]
  check "$signal: nothing survives" until_true gone
done
check "no mount is left" [ -z "$(grep -F -e "$work" -e /run/sp /proc/self/mounts)" ]

# Where namespaces are refused.
mkdir -p "$work/bin"
for tool in unshare sudo; do
  printf '#!/bin/sh\nexit 1\n' > "$work/bin/$tool"
  chmod +x "$work/bin/$tool"
done
status=0
said=$(PATH=$work/bin:$PATH "$sandbox" "$work" true 2>&1) || status=$?
check "says that namespaces are refused" [ "$status $(grep -c refused <<< "$said")" = "77 1" ]

exit $((faults > 0))
