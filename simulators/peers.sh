#!/bin/bash
# usage: peers.sh BUILDDIR
# Unpacks the servers that the whole roads run against into BUILDDIR/peers, once. They are not installed:
# their packages would start services on this machine and leave them enabled. apt fetches what is missing;
# the libraries that the servers need (libwrap0) and ssh-keygen (openssh-client) must be installed.
set -euo pipefail

# A server's package, and the program in it that shows whether it is there.
servers=(
  "openssh-server usr/sbin/sshd"
  "vsftpd usr/sbin/vsftpd"
)

[ $# -eq 1 ] || { echo "usage: peers.sh BUILDDIR" >&2; exit 2; }
mkdir -p "$1/peers"
peers=$(realpath "$1/peers")
# On the same file system as its target, so that what appears there is whole.
fetched=$(mktemp -d "$peers/.fetch.XXXXXX")
trap 'rm -rf "$fetched"' EXIT
# apt's download runs as a user of its own where it can.
chmod 755 "$fetched"

for entry in "${servers[@]}"; do
  read -r package program <<< "$entry"
  [ ! -x "$peers/$program" ] || continue
  echo "peers: unpacking $package into $peers"
  (cd "$fetched" && apt-get -q -o APT::Sandbox::User="$(id -un)" download "$package") ||
    { echo "peers: $package cannot be downloaded; apt-get update may help" >&2; exit 1; }
  dpkg-deb -x "$fetched/$package"_*.deb "$fetched/$package"
  cp -a "$fetched/$package/." "$peers/"
done
