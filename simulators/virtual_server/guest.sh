#!/bin/bash
# usage: guest.sh [OPTION...] WORKDIR COMMAND [ARGUMENT...]
#        guest.sh --check
# Runs COMMAND inside a virtual server (QEMU, no hardware virtualisation needed) beside a simulated service processor:
# /dev/ipmi0 is the kernel's, LAN over USB a USB network device, usb0 at port 1-1, found down and without an address.
# COMMAND runs as root, in /out; what it leaves there arrives in a folder here, and its exit status is ours. All of it
# lives in sandbox.sh and ends with it; WORKDIR and the variables SP_... are as for that script.
#   -e NAME=VALUE   environment of COMMAND; GTEST_FILTER goes along when it is set
#   -p FILE[=PATH]  puts a file into the server; see image.sh
#   -m MIB          its memory; default 512. Files lie in memory.
#   -o DIR          where that folder arrives; default WORKDIR/out
#   -t SECONDS      it is turned off after so long; default 600
#   -s              a prompt on the console: standard input is the server's
# Status 77 where this cannot be had, with the reason on stderr (a plain failure with UTILS_CI=1): QEMU is not
# installed, fetch.sh has not run, or the sandbox is refused. --check finds only that out.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
machine=${UTILS_MACHINE:-$here/../../build/virtual_server}

unavailable() {
  echo "virtual server: $1" >&2
  [ "${UTILS_CI:-0}" = 1 ] && exit 1 || exit 77
}
check() {
  [ "$(uname -m)" = x86_64 ] || unavailable "only on x86-64"
  command -v qemu-system-x86_64 > /dev/null || unavailable "no QEMU (package qemu-system-x86)"
  [ -d "$machine" ] || unavailable "no kernel; simulators/virtual_server/fetch.sh gets one"
  [ "${SP_PLAIN:-0}" = 1 ] || "$here/../sandbox.sh" --check || unavailable "no sandbox"
}

work='' out='' memory=512 limit=600 shell='' image=()
while [ $# -gt 0 ]; do
  case $1 in
  --check) check; exit ;;
  -e | -p) image+=("$1" "$2") ;;
  -m) memory=$2 ;;
  -o) out=$2 ;;
  -t) limit=$2 ;;
  -s) shell=shell; shift; continue ;;
  -*) echo "guest: unknown option $1" >&2; exit 2 ;;
  *) break ;;
  esac
  shift 2
done
[ $# -ge 2 ] || { echo "usage: guest.sh [OPTION...] WORKDIR COMMAND [ARGUMENT...]" >&2; exit 2; }
[ -z "$shell" ] || limit=0
[ -z "${GTEST_FILTER:-}" ] || image+=(-e "GTEST_FILTER=$GTEST_FILTER")
check
mkdir -p "$1"
work=$(realpath "$1")
shift
: "${out:=$work/out}"
mkdir -p "$out"
"$here/image.sh" "$machine" "$work/image" "${image[@]}" "$@"
# The user network of the server calls this loopback 169.254.70.1.
export SP_ADDRESS=127.0.0.1
exec "$here/../sandbox.sh" "$work" timeout --foreground "$limit" \
  "$here/run.sh" "$machine" "$work/image" "$out" "$memory" $shell
