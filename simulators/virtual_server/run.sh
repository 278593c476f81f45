#!/bin/bash
# usage (inside sandbox.sh): run.sh MACHINE IMAGE OUT MEMORY [shell]
# Boots the kernel of MACHINE into IMAGE, on MEMORY MiB, beside the simulated service processor: its BMC behind KCS, its
# file server at 169.254.70.1 behind a USB network device, which is down and has no address. The console is standard
# output, with "shell" standard input too. OUT receives what the command left in its folder; its exit status is ours.
#
# USB port 1 has the service processor's device, node0 on network lan0. Tests may plug another one into port 2, on lan1,
# which leads to the same place.
set -euo pipefail
machine=$(realpath "$1") image=$(realpath "$2") GUEST_OUT=$(realpath "$3") memory=$4
cd "$(dirname "$(realpath "$0")")"
GUEST_STATUS=$SP_WORKDIR/status
export GUEST_OUT GUEST_STATUS
rm -f "$GUEST_STATUS"
trap 'rm -f "$image"' EXIT
# QEMU ends with 0 then.
trap 'exit 130' INT
trap 'exit 143' TERM

console=(-serial stdio)
if [ "${5:-}" = shell ]; then
  # Ctrl-C is the guest's.
  console=(-chardev "stdio,id=console,signal=off" -serial chardev:console)
else
  exec < /dev/null
fi
usb=169.254.70
# OpenSSL would take the AVX instructions for fast; emulated, they cost five times what the plain ones do.
cpu=max,avx=off,avx2=off
network="net=$usb.0/24,host=$usb.1,dns=$usb.253,ipv6=off"
qemu-system-x86_64 -M q35 -accel tcg -cpu "$cpu" -m "$memory" -display none -nodefaults -no-reboot \
  "${console[@]}" -monitor tcp:127.0.0.1:19004,server=on,wait=off \
  -kernel "$machine/vmlinuz" -initrd "$image" -append "console=ttyS0 panic=-1 quiet random.trust_cpu=on" \
  -chardev socket,id=bmc,host=127.0.0.1,port=19002,reconnect=1 -device ipmi-bmc-extern,id=bmc0,chardev=bmc \
  -device isa-ipmi-kcs,bmc=bmc0,irq=5 \
  -netdev "user,id=control,net=10.0.2.0/24,ipv6=off,guestfwd=tcp:10.0.2.100:19005-cmd:./host.sh" \
  -device rtl8139,netdev=control,romfile= \
  -netdev "user,id=lan0,$network" -netdev "user,id=lan1,$network" -device qemu-xhci,id=usb \
  -device usb-net,id=node0,netdev=lan0,bus=usb.0,port=1,mac=52:54:00:70:00:00 \
  2> "$SP_WORKDIR/qemu.log" || { cat "$SP_WORKDIR/qemu.log" >&2; exit 1; }
[ -s "$GUEST_STATUS" ] || { echo "the virtual server left no status" >&2; exit 1; }
exit "$(cat "$GUEST_STATUS")"
