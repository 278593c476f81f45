#!/bin/bash
# usage: run.sh BUILDDIR [MIB] [ROUNDS]
# Times the upload of one file (default 256 MiB, 7 rounds) to vsftpd on loopback, ours and the curl command's in turn.
# Prints both medians and their ratio; status 1 when ours takes more than 1.25 times as long, or bytes differ.
# Needs curl, and vsftpd as simulators/peers.sh unpacks it.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
top=$here/../..
[ $# -ge 1 ] || { echo "usage: run.sh BUILDDIR [MIB] [ROUNDS]" >&2; exit 2; }
program=$(realpath "$1/bin/upload_once")
mib=${2:-256} rounds=${3:-7}
vsftpd=${UTILS_PEERS:-$top/build/peers}/usr/sbin/vsftpd
[ -x "$vsftpd" ] || vsftpd=/usr/sbin/vsftpd

work=$(mktemp -d)
mkdir -m 755 "$work/served"
chmod 755 "$work"
port=$((20000 + RANDOM % 10000))
"$top/tests/backends/ftp/vsftpd.sh" "$work/served" "$port" "$vsftpd" &
trap 'kill $!; wait; rm -rf "$work"' EXIT
server=127.0.0.1:$port
curl -sS --noproxy '*' --retry 50 --retry-connrefused --retry-delay 1 "ftp://$server/" > /dev/null
head -c "${mib}M" /dev/urandom > "$work/file"

# timed NAME COMMAND...: appends the seconds to times.NAME.
timed() {
  local name=$1 begin end
  shift
  begin=$EPOCHREALTIME
  "$@"
  end=$EPOCHREALTIME
  echo $((${end/[.,]/} - ${begin/[.,]/})) >> "$work/times.$name"
}
median() { sort -n "$work/times.$1" | awk '{ t[NR] = $1 } END { print t[int((NR + 1) / 2)] / 1e6 }'; }

for ((round = 0; round < rounds; ++round)); do
  timed curl curl -sS --noproxy '*' -T "$work/file" "ftp://$server/drop/curl"
  cmp "$work/file" "$work/served/drop/curl"
  timed ours "$program" "$server" "$work/file" drop/ours
  cmp "$work/file" "$work/served/drop/ours"
  rm -f "$work/served/drop/"{curl,ours}
done
awk -v curl="$(median curl)" -v ours="$(median ours)" -v mib="$mib" 'BEGIN {
  printf "upload of %d MiB, medians: curl %.3f s, ours %.3f s, ratio %.2f\n", mib, curl, ours, ours / curl
  exit ours / curl > 1.25
}'
