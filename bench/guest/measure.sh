# Runs inside the virtual server; see run.sh. The account is the simulated service processor's, which lives as long as
# this does.
set -eu
export SP_PASSWORD=Passw0rd SSH_ASKPASS=/tmp/askpass SSH_ASKPASS_REQUIRE=force
location=169.254.70.1:115/download/ffdc
printf '#!/bin/sh\necho "$SP_PASSWORD"\n' > /tmp/askpass
chmod 700 /tmp/askpass

ask() { echo "$*" | nc 10.0.2.100 19005 > /dev/null; }
# Seconds of a command, from the kernel's clock.
seconds() {
  begin=$(cut -d' ' -f1 /proc/uptime)
  "$@" > /tmp/said 2>&1 || { cat /tmp/said >&2; exit 1; }
  cut -d' ' -f1 /proc/uptime | awk -v begin="$begin" '{ printf "%.2f\n", $1 - begin }'
}
# nth NUMBER NAME: of the sorted values in /tmp/NAME, counted from 1.
nth() { sort -n "/tmp/$2" | sed -n "$1p"; }

by_library() { copy_bench "ffdcuser:$SP_PASSWORD@$location" /tmp/copied $(cat /tmp/names); }
by_client() {
  (cd /tmp/copied && sftp -q -F none -oBatchMode=no -oStrictHostKeyChecking=no -oUserKnownHostsFile=/dev/null \
    -oPubkeyAuthentication=no -P 115 -b /tmp/batch ffdcuser@169.254.70.1)
}

# compare COUNT BYTES GOAL
compare() {
  ask restore
  rm -f /tmp/names /tmp/batch /tmp/library /tmp/client
  for i in $(seq "$1"); do
    ask serve "file$i" "$2"
    echo "file$i" >> /tmp/names
    echo "get download/ffdc/file$i" >> /tmp/batch
  done
  for round in $(seq "$ROUNDS"); do
    for by in client library; do
      mkdir -p /tmp/copied
      seconds by_$by >> /tmp/$by
      [ "$(cat /tmp/copied/* | wc -c)" = $(($1 * $2)) ]
      rm -r /tmp/copied
    done
  done
  paste /tmp/library /tmp/client | awk '{ printf "%.3f\n", $1 / $2 }' > /tmp/ratio
  middle=$(((ROUNDS + 1) / 2))
  echo "$1 x $2 bytes, goal $3:"
  # Of the rounds' ratios, because what else the host does changes from round to round.
  echo "  median: library $(nth $middle library) s, sftp -b $(nth $middle client) s, ratio $(nth $middle ratio)"
  # What it does least to.
  echo "$(nth 1 library) $(nth 1 client)" |
    awk '{ printf "  shortest: library %s s, sftp -b %s s, ratio %.3f\n", $1, $2, $1 / $2 }'
}

# peak BYTES: the collector's, in KiB, its two processes' greater one.
peak() {
  ask restore
  ask serve file "$1"
  time -v -o /tmp/time ffdc-collect service-processor --out /tmp/copied > /tmp/said 2>&1 || { cat /tmp/said >&2; exit 1; }
  rm -r /tmp/copied
  sed -n 's/.*Maximum resident set size.*: //p' /tmp/time
}

ip addr add 169.254.70.2/24 dev usb0
ip link set usb0 up
compare 1 67108864 1.0
compare 200 16384 0.5
small=$(peak 16384)
big=$(peak 268435456)
echo "peak memory: $small KiB for 16 KiB, $big KiB for 256 MiB: $((big - small)) KiB more (goal: at most 16384)"
