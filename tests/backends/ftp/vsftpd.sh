#!/bin/sh
# usage: vsftpd.sh ROOT PORT PROGRAM
# Has vsftpd serve ROOT to anonymous users on a port of loopback, where ROOT/drop can be written to, nothing be
# replaced, and no file named denied... be made. Ends with its parent, at the latest after ten minutes.
set -eu
root=$1 port=$2 program=$3
user=$(id -un) plain=YES
[ "$(id -u)" != 0 ] || user=daemon plain=NO
mkdir -p "$root/drop" "$root.empty"
chmod 777 "$root/drop"
: > "$root.conf"
set -- setpriv --pdeathsig TERM
exec "$@" timeout 600 "$@" "$program" "$root.conf" -obackground=NO -olisten=YES -olisten_address=127.0.0.1 \
  -olisten_port="$port" -oanonymous_enable=YES -oanon_upload_enable=YES -oanon_root="$root" -owrite_enable=YES \
  -oftp_username="$user" -orun_as_launching_user="$plain" -osecure_chroot_dir="$root.empty" \
  -odeny_file='denied*' -oxferlog_enable=NO
