#!/usr/bin/env bash
# usage: ./demo.sh [--virtual-server [--shell]] [--files DIR] [--out DIR]
# Collects the FFDC of a simulated service processor and of a simulated chassis: builds what is needed, starts the
# simulators in a sandbox of their own, runs ffdc-collect against them and compares every file with its source.
#   --files DIR  serve the files in DIR instead of a small built-in set
#   --out DIR    collect into DIR (default: build/demo/collected, emptied first); the chassis' archive goes beside it
#   --virtual-server  collect from the service processor alone, inside a server of its own (QEMU): over the kernel's IPMI
#                driver and the USB network link. Memory for it: 512 MiB and twice the files
#   --shell      a prompt in that server instead, with ffdc-collect in place; "exit" turns it off
# Exit status: 0 every file arrived as it is; 1 something is missing or differs; 2 wrong arguments or a
# missing requirement.
set -euo pipefail
top=$(dirname "$(realpath "$0")")
. "$top/scripts/common.sh"

usage() { sed -n '2,/^set -/{/^set -/d;s/^# \{0,1\}//;p}' "$0"; }

files='' out='' server='' shell=''
while [ $# -gt 0 ]; do
  case $1 in
    --virtual-server | --shell)
      declare "$([ "$1" = --shell ] && echo shell || echo server)=1"
      shift
      ;;
    --files | --out)
      [ $# -ge 2 ] && [ -n "$2" ] || status=2 fail "$1 needs a directory"
      declare "${1#--}=$2"
      shift 2
      ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; status=2 fail "unknown argument $1" ;;
  esac
done
[ -z "$shell" ] || [ -n "$server" ] || status=2 fail "--shell goes with --virtual-server"
if [ -n "$files" ]; then
  [ -d "$files" ] && [ -r "$files" ] || status=2 fail "no readable directory: $files"
  files=$(realpath "$files")
fi
if [ -n "$out" ]; then
  mkdir -p "$out" 2>/dev/null && [ -w "$out" ] || status=2 fail "cannot write to $out"
  out=$(realpath "$out")
  [ "$out" != "$files" ] || status=2 fail "--files and --out are the same directory"
fi
# The files lie in the server's memory, and once more on their way into it.
memory=$((512 + 2 * $([ -z "$files" ] && echo 4 || du -sm --apparent-size "$files" | cut -f1)))
free=$(awk '/^MemAvailable:/ { print int($2 / 1024) }' /proc/meminfo)
[ -z "$server" ] || [ "$memory" -le "$free" ] ||
  status=2 fail "the server would need $memory MiB of memory, and $free MiB are free"
cd "$top"

# shellcheck disable=SC2086
install_packages $packages_build $packages_libraries $packages_peers zip unzip
preset=demo
if [ -n "$server" ]; then
  preset=demo-virtual-server
  # shellcheck disable=SC2086
  install_packages $packages_machine
  simulators/virtual_server/fetch.sh build || status=2 fail "the virtual server needs a kernel"
fi
if ! simulators/sandbox.sh --check; then
  [ "$(id -u)" -eq 0 ] || status=2 fail "without the sandbox this needs root"
  say "Going on without the sandbox, on loopback: the servers use this machine's ports 115 and 19002 to 19004"
  [ -n "$server" ] || preset=demo-plain
  install_packages libnss-wrapper
  export SP_PLAIN=1 SP_ADDRESS=127.0.70.1
fi
build "$preset"
simulators/peers.sh build

# Made afresh by each run: text, a file of several blocks, an empty one, a name with blanks.
make_files() {
  rm -rf "$1"
  mkdir -p "$1"
  printf 'service processor summary\nfirmware 1.2.3\n' >"$1/summary.txt"
  head -c 3000000 /dev/urandom >"$1/ffdc_20261121.tgz"
  head -c 70000 /dev/urandom >"$1/event log.bin"
  : >"$1/empty.log"
}

state=$top/build/$preset
if [ -z "$files" ]; then
  files=$state/files
  make_files "$files"
fi
if [ -z "$out" ]; then
  out=$state/collected
  rm -rf "$out"
fi
log=$state/core.log
rm -f "$log"

# Runs a command inside the virtual server; what it leaves there in /out arrives in $state/server.
in_virtual_server() {
  local terminal=() status=0
  rm -rf "$state/server"
  if [ -n "$shell" ]; then
    terminal=(-s)
    # QEMU changes the terminal, and may be ended without changing it back.
    [ ! -t 0 ] || trap "stty $(stty -g)" EXIT
  fi
  simulators/virtual_server/guest.sh "${terminal[@]}" -m "$memory" -t "$memory" -o "$state/server" \
    -e VXA_USBLAN_INTERFACES=usb:1-1 -p "$state/bin/ffdc-collect" -p "$state/bin/libqmmusblan.so" \
    -p "$(/sbin/ldconfig -p | awk '/libcurl\.so\.4.*x86-64/ { print $NF; exit }')" "$state/sandbox" "$@" || status=$?
  return "$status"
}

SP_PASSWORD=$(head -c 9 /dev/urandom | base64 | tr '+/' 'xy')
export SP_PASSWORD SP_FILES=$files SP_POLLS=1 UTILS_MODULE=$state/bin/ffdc_module.so
if [ -n "$shell" ]; then
  say "A prompt in the server; try: ffdc-collect service-processor --usb-lan restore --out /tmp/ffdc"
  in_virtual_server setsid cttyhack sh
  exit
fi
say "Collecting from the simulated service processor${server:+, inside a server of its own}"
collected=0
if [ -n "$server" ]; then
  in_virtual_server ffdc-collect service-processor --usb-lan restore --out /out/collected --log /out/core.log ||
    collected=$?
  mkdir -p "$out"
  [ ! -d "$state/server/collected" ] || cp -a "$state/server/collected/." "$out/"
  rm -rf "$state/server/collected"
  [ ! -e "$state/server/core.log" ] || mv "$state/server/core.log" "$log"
else
  simulators/sandbox.sh "$state/sandbox" "$state/bin/ffdc-collect" service-processor --out "$out" --log "$log" ||
    collected=$?
fi
[ "$collected" -lt 128 ] || exit "$collected"
[ "$collected" -ne 2 ] || status=2 fail "ffdc-collect could not start"

say "What arrived in $out"
result=0
count=0
while IFS= read -r -d '' source; do
  name=${source##*/}
  count=$((count + 1))
  if [ ! -f "$out/$name" ]; then
    printf '%12s  %-64s  %s\n' - "missing" "$name"
    result=1
    continue
  fi
  sum=$(sha256sum <"$out/$name")
  printf '%12s  %s  %s\n' "$(stat -c %s "$out/$name")" "${sum%% *}" "$name"
  if ! cmp -s "$source" "$out/$name"; then
    echo "              ^ differs from its source"
    result=1
  fi
done < <(find "$files" -mindepth 1 -maxdepth 1 ! -name '.*' -print0 | sort -z)

say "The log, $log"
tail -n 5 "$log"
[ "$result" -eq 0 ] && [ "$collected" -eq 0 ] ||
  fail "not everything arrived (ffdc-collect ended with $collected)"
say "All $count files equal their sources"
[ -z "$server" ] || exit 0

say "Collecting from the simulated chassis"
chassis_out=$state/chassis
rm -rf "$chassis_out"
locations=()
while IFS= read -r -d '' source; do
  locations+=(--location "sftp://${SP_ADDRESS:-169.254.70.1}:115/download/ffdc/${source##*/}")
done < <(find "$files" -mindepth 1 -maxdepth 1 -type f ! -name '.*' -print0 | sort -z)
collected=0
CHASSIS_PASSWORD=$SP_PASSWORD FFDC_CHASSIS_PASSWORD=$SP_PASSWORD SP_SERVERS=sshd \
  simulators/sandbox.sh "$state/sandbox" simulators/chassis/run.sh \
  "$state/bin/chassis_simulator" --user ffdcuser "${locations[@]}" -- \
  "$state/bin/ffdc-collect" chassis --host 127.0.0.1 --user ffdcuser --port @PORT@ \
  --out "$chassis_out" --log "$log" || collected=$?
[ "$collected" -eq 0 ] || fail "ffdc-collect ended with $collected"

archive=$(find "$chassis_out" -name 'FFDC_*.zip')
say "The archive, $archive"
unzip -t "$archive"
unzip -q "$archive" -d "$chassis_out/unpacked"
diff -r -x ".*" "$files" "$chassis_out/unpacked" || fail "the archive differs from what was served"
say "Every member equals its source"
