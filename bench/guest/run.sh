#!/bin/sh
# Builds the release core library and collector and measures them inside the virtual server: copies over the USB link
# against OpenSSH's own client, `sftp -b`, in the same server, and the collector's peak memory. Medians of ROUNDS (5).
# usage: run.sh [ROUNDS]
set -eu
cd "$(dirname "$0")/../.."
cmake --preset linux-release > /dev/null
cmake --build --preset linux-release --target copy_bench ffdc-collect qmmusblan ffdc_module
simulators/peers.sh build
simulators/virtual_server/fetch.sh build
bin=build/linux-release/bin
curl=$(/sbin/ldconfig -p | awk '/libcurl\.so\.4.*x86-64/ { print $NF; exit }')
UTILS_MODULE=$bin/ffdc_module.so SP_POLLS=0 exec simulators/virtual_server/guest.sh -m 1536 \
  -e "ROUNDS=${1:-5}" -e VXA_USBLAN_INTERFACES=usb:1-1 -p bench/guest/measure.sh \
  -p $bin/copy_bench -p $bin/ffdc-collect -p $bin/libqmmusblan.so -p "$curl" -p /usr/bin/sftp -p /usr/bin/ssh=/usr/bin/ssh \
  build/linux-release/sandbox/guest_bench sh /bin/measure.sh
