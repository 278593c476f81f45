#!/bin/bash
# usage: sandbox.sh WORKDIR COMMAND...
#        sandbox.sh --check       status 0 where such namespaces can be made, else 77 and why not on stderr
# Runs COMMAND beside a simulated service processor in private network, mount and process namespaces: the only
# network is loopback, /run is empty, the machine's accounts are untouched, and all of it is gone when COMMAND has
# ended or this script is killed, whatever the signal. The exit status is COMMAND's; 77 where this machine refuses
# such namespaces (said on stderr), 2 for a wrong call, 1 when a server does not start.
#
# Needs root, or an ordinary user with user namespaces (package uidmap, a line in /etc/subuid), or sudo without a
# password. Only in the last case COMMAND is not root in there. WORKDIR, made when missing and not below /run,
# receives a log of each server: sshd.log, ipmi_sim.log.
#
# Taken from the environment:
#   SP_FILES     folder served as download/ffdc; default: an empty one. It is mounted, not copied, so changes show at
#                once; the account has its owner's rights, so a file of mode 000 is refused.
#   SP_USER      account that the service processor hands out; default ffdcuser
#   SP_PASSWORD  its password; default Passw0rd. Together at most 33 characters (the BMC's answer holds no more).
#   SP_POLLS     "not finished" answers before a collection is finished; default 2
#   SP_ADDRESS   where the file server listens, on port 115; default 169.254.70.1, which is added to loopback
#   SP_SERVERS   which servers to start; default "sshd bmc"
#   SP_PLAIN     1: without namespaces, for root on a machine that refuses them and is thrown away, such as a container.
#                SP_ADDRESS must be on loopback then, ports and /run are the machine's, and the accounts are shown to
#                the file server alone (package libnss-wrapper).
#   UTILS_PEERS  the servers' root as peers.sh unpacks it; default build/peers beside simulators/, else the installed
#   UTILS_MODULE the BMC's module; default build/linux/bin/ffdc_module.so
# Set for COMMAND besides:
#   VXA_IPMI_SIMULATOR  host:port of the BMC
#   SP_SERVED           the served folder as it is seen in there; COMMAND's user may write to it
#   SP_WORKDIR          WORKDIR
#   SP_STATE            folder with the server's public host key as a known_hosts file
#   SP_CONTROL          service_processor/control.sh, which stops, starts and scripts the servers
set -euo pipefail
PATH=$PATH:/usr/sbin:/sbin
self=$(realpath "$0")
here=$(dirname "$self")

fail() { echo "sandbox: $1" >&2; exit "${2:-1}"; }

# ---- Outside: make the namespaces, pass signals on, end with them ----

namespaces=(--net --mount --propagation private --pid --fork --kill-child --mount-proc)
mapped=(--user --map-root-user --map-auto)

# How the namespaces can be made here: root, mapped (ordinary user) or sudo.
find_way() {
  if [ "$(id -u)" = 0 ]; then
    if unshare "${namespaces[@]}" true 2> /dev/null; then echo root; return; fi
  elif unshare "${mapped[@]}" "${namespaces[@]}" true 2> /dev/null; then
    echo mapped; return
  elif sudo -n unshare "${namespaces[@]}" true 2> /dev/null; then
    echo sudo; return
  fi
  fail "network, mount and process namespaces are refused here$([ "$(id -u)" = 0 ] ||
    echo "; an ordinary user needs the package uidmap and a line in /etc/subuid, or sudo without a password")" 77
}

# attend PID FUNCTION: waits for a process, whose status is the result; a signal meanwhile is handed to FUNCTION.
attend() {
  local status=0 signal
  for signal in TERM INT HUP; do
    # shellcheck disable=SC2064
    trap "$2 $signal $1" "$signal"
  done
  while :; do
    wait "$1" && status=0 || status=$?
    [ -e "/proc/$1" ] || break
  done
  return "$status"
}

# Every process that is attended to runs in the background, where a shell would have it ignore SIGINT.
run_namespaces() {
  env --default-signal=INT,QUIT setpriv --pdeathsig KILL unshare "$@" <&0 &
  attend $! to_first_process
}

# unshare holds back the signals that would end it, so they go to the first process inside.
to_first_process() {
  local first
  read -r first < "/proc/$2/task/$2/children" || true
  [ -z "${first:-}" ] || kill -"$1" "$first" 2> /dev/null || true
}

through_sudo() {
  env --default-signal=INT,QUIT sudo -n "$self" --root-for $$ "$@" <&0 &
  attend $! to_root
}

to_root() { sudo -n kill -"$1" "$2" 2> /dev/null || true; }

# With root's rights for a caller who has none: the caller's environment, which sudo clears, is taken from the
# caller's process, and the namespaces go when that process goes, which sudo would outlive.
root_for() {
  local caller=$1 entry
  shift
  while IFS= read -r -d '' entry; do
    [[ ! $entry =~ ^[A-Za-z_][A-Za-z_0-9]*= ]] || export "${entry?}"
  done < "/proc/$caller/environ"
  PATH=$PATH:/usr/sbin:/sbin
  (tail --pid="$caller" -f /dev/null; kill -KILL $$) < /dev/null > /dev/null 2>&1 &
  run_namespaces "${namespaces[@]}" "$self" --inside sudo "$@"
}

# ---- Inside: what the machine of a service processor's file server and BMC looks like ----

# Everything of the machine below a root folder of our own: the file server trusts no folder below one that a
# stranger owns, and "/" belongs to nobody that an ordinary user's namespace knows.
own_root() {
  local entry
  mount -t tmpfs -o mode=755 tmpfs /run
  for entry in /*; do
    if [ -L "$entry" ]; then
      cp -P "$entry" /run/
    elif [ -d "$entry" ] && [ "$entry" != /run ]; then
      mkdir "/run$entry"
      mount --rbind "$entry" "/run$entry"
    fi
  done
  mkdir -p /run/run /run/.old
  pivot_root /run /run/.old
  umount -l /.old
  rmdir /.old
}

# The account and the file server's own user, in copies that cover the real files in this namespace only. Without a
# namespace they cover nothing, and the file server alone is told of them.
add_accounts() {
  local uid gid
  read -r uid gid < <(stat -c '%u %g' "$SP_SERVED")
  mkdir /run/accounts
  { grep -v -e "^$SP_USER:" -e '^sshd:' /etc/passwd
    echo "sshd:x:64998:65534::/run/sshd:/usr/sbin/nologin"
    echo "$SP_USER:x:$uid:$gid::/:/usr/sbin/nologin"
  } > /run/accounts/passwd
  # Everybody else is there without a password, so that sudo finds its caller.
  (umask 077
   { awk -F: -v OFS=: -v account="$SP_USER" '$1 != account { print $1, "*:20000::::::" }' /run/accounts/passwd
     echo "$SP_USER:$(openssl passwd -6 -stdin <<< "$SP_PASSWORD"):20000::::::"
   } > /run/accounts/shadow)
  [ "$1" != plain ] || return 0
  for file in passwd shadow; do
    mount --bind "/run/accounts/$file" "/etc/$file"
  done
}

# The folders that the servers want, owned by root; the served one is the caller's.
make_folders() {
  mkdir -p /run/sshd "$SP_SERVED" "$SP_STATE/bmc"
  chown "$2:$3" "$SP_SERVED"
  if [ -n "${SP_FILES:-}" ] && [ "$1" = plain ]; then
    cp -a "$SP_FILES/." "$SP_SERVED/"
  elif [ -n "${SP_FILES:-}" ]; then
    mount --bind "$SP_FILES" "$SP_SERVED"
  fi
  (umask 077; printf '%s\n%s\n' "$SP_USER" "$SP_PASSWORD" > "$SP_STATE/credentials")
  declare -p SP_USER SP_POLLS SP_ADDRESS SP_PLAIN SP_WORKDIR SSHD UTILS_MODULE > "$SP_STATE/settings"
}

# Runs COMMAND as this process's only concern. The first process of a namespace is told of no signal that it does not
# ask for, so it stays and hands them on.
run_command() {
  env --default-signal=INT,QUIT "$@" <&0 &
  attend $! to_command
}

# A COMMAND that does not end within 10 s is not waited for.
to_command() {
  kill -"$1" "$2" 2> /dev/null || true
  (sleep 10; kill -KILL "$2") 2> /dev/null &
}

# Takes away what a namespace would have taken with it.
leave_plain() {
  for server in $SP_SERVERS; do
    "$SP_CONTROL" "$server" kill > /dev/null 2>&1 || true
  done
  rm -rf /run/accounts /run/sp "$SP_STATE"
}

inside() {
  local way=$1 uid=$2 gid=$3 folder=$4
  shift 4
  # A signal in these first moments ends everything.
  trap 'exit 143' TERM INT HUP
  if [ "$way" = plain ]; then
    mkdir "$SP_STATE" 2> /dev/null || fail "$SP_STATE is there: another one runs, or was killed and left it"
    trap leave_plain EXIT
  else
    ip link set lo up
    [[ $SP_ADDRESS = 127.* ]] || ip addr add "$SP_ADDRESS/32" dev lo
    if [ "$way" = mapped ]; then
      own_root
    fi
    mount -t tmpfs -o mode=755 tmpfs /run
  fi
  make_folders "$way" "$uid" "$gid"
  add_accounts "$way"
  for server in $SP_SERVERS; do
    "$SP_CONTROL" "$server" start
  done
  cd "$folder" || cd /
  if [ "$way" = sudo ]; then
    set -- setpriv --reuid="$uid" --regid="$gid" --init-groups --inh-caps=-all "$@"
  fi
  run_command "$@"
}

case ${1:-} in
--check) find_way > /dev/null; exit ;;
--inside) shift; inside "$@"; exit ;;
--through-sudo) shift; through_sudo "$@"; exit ;;
--root-for) shift; root_for "$@"; exit ;;
esac

[ $# -ge 2 ] || fail "usage: sandbox.sh WORKDIR COMMAND..." 2
mkdir -p "$1"
SP_WORKDIR=$(realpath "$1")
shift
[[ $SP_WORKDIR/ != /run/* ]] || fail "WORKDIR must not lie below /run" 2
: "${SP_USER:=ffdcuser}" "${SP_PASSWORD:=Passw0rd}" "${SP_POLLS:=2}" "${SP_ADDRESS:=169.254.70.1}"
: "${SP_SERVERS=sshd bmc}" "${SP_PLAIN:=0}" "${UTILS_MODULE:=$here/../build/linux/bin/ffdc_module.so}"
[[ $SP_USER =~ ^[A-Za-z_][A-Za-z0-9_.-]*$ ]] || fail "SP_USER is no account name" 2
[[ $SP_POLLS =~ ^[0-9]+$ ]] || fail "SP_POLLS is no number" 2
if [ -n "${SP_FILES:-}" ]; then
  [ -d "$SP_FILES" ] || fail "SP_FILES is no folder: $SP_FILES" 2
  SP_FILES=$(realpath "$SP_FILES")
fi
SSHD=${UTILS_PEERS:-$here/../build/peers}/usr/sbin/sshd
[ -x "$SSHD" ] || SSHD=/usr/sbin/sshd
SSHD=$(realpath -m "$SSHD")
UTILS_MODULE=$(realpath -m "$UTILS_MODULE")
VXA_IPMI_SIMULATOR=127.0.0.1:19002
SP_STATE=/run/service_processor SP_SERVED=/run/sp/download/ffdc SP_CONTROL=$here/service_processor/control.sh
export SP_WORKDIR SP_USER SP_PASSWORD SP_POLLS SP_ADDRESS SP_SERVERS SP_FILES SP_PLAIN SSHD UTILS_MODULE
export VXA_IPMI_SIMULATOR SP_STATE SP_SERVED SP_CONTROL
rm -f "$SP_WORKDIR"/{sshd,ipmi_sim}.log
: > "$SP_WORKDIR/sshd.log"
: > "$SP_WORKDIR/ipmi_sim.log"

if [ "$SP_PLAIN" = 1 ]; then
  [ "$(id -u)" = 0 ] || fail "without namespaces this needs root" 2
  [[ $SP_ADDRESS = 127.* ]] || fail "without namespaces SP_ADDRESS must be on loopback" 2
  way=plain
else
  way=$(find_way)
fi
case $way in
plain) "$self" --inside plain 0 0 "$PWD" "$@" ;;
root) run_namespaces "${namespaces[@]}" "$self" --inside root 0 0 "$PWD" "$@" ;;
mapped) run_namespaces "${mapped[@]}" "${namespaces[@]}" "$self" --inside mapped 0 0 "$PWD" "$@" ;;
# Afresh, so that what is exported above stands in this process's first environment.
sudo) exec "$self" --through-sudo "$(id -u)" "$(id -g)" "$PWD" "$@" ;;
esac
