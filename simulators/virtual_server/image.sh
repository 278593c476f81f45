#!/bin/bash
# usage: image.sh MACHINE IMAGE [-e NAME=VALUE]... [-p FILE[=PATH]]... COMMAND [ARGUMENT...]
# Makes IMAGE, the file system in memory that the virtual server boots into, out of MACHINE as fetch.sh leaves it.
#   -e NAME=VALUE   environment of COMMAND
#   -p FILE[=PATH]  puts FILE in, as /bin/NAME or as PATH; a library goes where the loader looks for it
# Every program brings the shared libraries along that it is linked with; one that is loaded at run time is a FILE.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
machine=$(realpath "$1")
image=$(realpath -m "$2")
shift 2
libraries=/lib/x86_64-linux-gnu

root=$(mktemp -d "$image.XXXXXX")
chmod 755 "$root"
trap 'rm -rf "$root"' EXIT
mkdir -p "$root"/{bin,sbin,dev,proc,sys,tmp,out,etc,root,"$libraries"}
install -m 755 "$machine/bin/busybox" "$root/bin/"
for applet in sh modprobe rmmod ip; do ln -s busybox "$root/bin/$applet"; done
ln -s ../bin/busybox "$root/sbin/modprobe"
install -m 755 "$here/init" "$root/init"
printf 'root:x:0:0::/root:/bin/sh\nnobody:x:65534:65534::/:/bin/sh\n' > "$root/etc/passwd"

release=$(basename "$machine"/lib/modules/*)
modules=lib/modules/$release
for module in drivers/char/ipmi/ipmi_{msghandler,devintf,si} drivers/usb/common/usb-common drivers/usb/core/usbcore \
  drivers/usb/host/{xhci-hcd,xhci-pci} drivers/net/mii drivers/net/usb/{usbnet,cdc_ether,rndis_host} \
  drivers/net/ethernet/realtek/8139cp; do
  install -D -m 644 "$machine/$modules/kernel/$module.ko" "$root/$modules/kernel/$module.ko"
done
cp "$machine/$modules"/modules.{order,builtin}* "$root/$modules/"
"$machine/bin/busybox" depmod -b "$root" "$release"

# put FILE PATH: what is not ours has no debug information, ours is not read there.
put() {
  [ ! -e "$root$2" ] || return 0
  mkdir -p "$(dirname "$root$2")"
  strip --strip-debug -o "$root$2" "$1" 2> /dev/null || cp "$1" "$root$2"
  chmod 755 "$root$2"
}

# put_with_libraries FILE PATH: all of them lie in one folder there, under the names by which they are asked for.
put_with_libraries() {
  put "$1" "$2"
  local name path
  while read -r name path; do
    put "$path" "$([[ $name = /* ]] && echo "$name" || echo "$libraries/$name")"
  done < <(ldd "$1" 2> /dev/null | awk '/=> \//{ print $1, $3 } /^\t\//{ print $1, $1 }')
}

# A word as a shell reads it.
quote() { printf "'%s'" "${1//\'/\'\\\'\'}"; }

settings='' command=''
while [ $# -gt 0 ]; do
  case $1 in
  -e) settings+="export ${2%%=*}=$(quote "${2#*=}")"$'\n' ;;
  -p)
    file=${2%%=*} path=/bin/$(basename "${2%%=*}")
    [[ $file != *.so* ]] || path=$libraries/$(basename "$file")
    [[ $2 != *=* ]] || path=${2#*=}
    put_with_libraries "$file" "$path"
    ;;
  *) break ;;
  esac
  shift 2
done
for word in "$@"; do command+=" $(quote "$word")"; done
printf '%s\nset --%s\n' "$settings" "$command" > "$root/etc/command"
# Without compression: the emulated processor would take longer to undo it than the file takes to load.
(cd "$root" && find . | "$machine/bin/busybox" cpio -o -H newc -R 0:0 2> /dev/null) > "$image"
