#!/bin/bash
# What the virtual server can ask of its host, over the control link; QEMU starts this for each connection to
# 10.0.2.100, port 19005. The first line of standard input says what:
#   control WORD...    service_processor/control.sh with these words
#   monitor WORD...    one command to QEMU
#   restore            the service processor as after its start: servers up, nothing scripted, no files
#   serve NAME BYTES   serves a file of random bytes; prints its SHA-256
#   files              the rest of standard input is a tar file, unpacked into GUEST_OUT
#   status N           what run.sh will end with
# The last line of the answer is "status N", N being 0 when it was done.
set -euo pipefail

monitor() {
  local LC_ALL=C answer
  exec 3<> /dev/tcp/127.0.0.1/19004
  read -r -t 10 -d ')' -u 3 _ # "(qemu)"
  printf '%s\n' "$*" >&3
  read -r -t 10 -d ')' -u 3 answer || true
  [[ $answer != *Error* ]] || { echo "$answer"; return 1; }
}

restore() {
  for server in sshd bmc; do
    "$SP_CONTROL" "$server" resume 2> /dev/null || "$SP_CONTROL" "$server" start
  done
  "$SP_CONTROL" ffdc reset
  find "$SP_SERVED" -mindepth 1 -delete
}

serve() {
  head -c "$2" /dev/urandom | tee "$SP_SERVED/$1" | sha256sum | cut -d' ' -f1
}

obey() {
  case ${1:-} in
  control) "$SP_CONTROL" "${@:2}" ;;
  monitor) monitor "${@:2}" ;;
  restore) restore ;;
  serve) serve "$2" "$3" ;;
  files) tar -x --no-same-owner -C "$GUEST_OUT" ;;
  status) echo "$2" > "$GUEST_STATUS" ;;
  *) echo "unknown: $*"; return 1 ;;
  esac
}

read -r -a words
status=0
(obey "${words[@]}") 2>&1 || status=$?
echo "status $status"
