#!/bin/bash
# usage: fetch.sh BUILDDIR
# Unpacks into BUILDDIR/virtual_server, once, what the virtual server is made of besides QEMU: Debian's kernel with the
# modules it needs, and a static busybox. Neither is installed: a kernel would go into the machine's boot menu, this
# busybox would push out another one. apt fetches what is missing (71 MB; 25 MB stay).
set -euo pipefail

[ $# -eq 1 ] || { echo "usage: fetch.sh BUILDDIR" >&2; exit 2; }
mkdir -p "$1"
target=$(realpath "$1")/virtual_server
[ ! -d "$target" ] || exit 0
# On the same file system as its target, so that what appears there is whole.
fetched=$(mktemp -d "$target.XXXXXX")
trap 'rm -rf "$fetched"' EXIT
# apt's download runs as a user of its own where it can.
chmod 755 "$fetched"

download() {
  echo "virtual server: fetching $1"
  (cd "$fetched" && apt-get -q -o APT::Sandbox::User="$(id -un)" download "$1" > /dev/null) ||
    { echo "virtual server: $1 cannot be downloaded; apt-get update may help" >&2; exit 1; }
}

kernel=$(apt-cache depends linux-image-amd64 2> /dev/null | sed -n 's/.*Depends: \(linux-image-[0-9].*\)/\1/p' | head -n 1)
[ -n "$kernel" ] || { echo "virtual server: apt knows no linux-image-amd64" >&2; exit 1; }
download "$kernel"
download busybox-static
mkdir "$fetched/tree"
dpkg-deb --fsys-tarfile "$fetched/$kernel"_*.deb | tar -x -C "$fetched/tree" --wildcards './boot/vmlinuz-*' \
  './lib/modules/*/modules.*' '*/drivers/char/ipmi' '*/drivers/usb' '*/drivers/net/usb' '*/drivers/net/mii.ko' \
  '*/drivers/net/ethernet/realtek'
dpkg-deb --fsys-tarfile "$fetched"/busybox-static_*.deb | tar -x -C "$fetched/tree" ./bin/busybox
mv "$fetched/tree/boot"/vmlinuz-* "$fetched/tree/vmlinuz"
mv "$fetched/tree" "$target"
