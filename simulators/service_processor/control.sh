#!/bin/bash
# usage (inside sandbox.sh): control.sh SERVER VERB | control.sh ffdc WORD...
#   SERVER: sshd, the file server, or bmc
#   VERB:   start; stop (told to end) or kill (at once), with all its connections; pause and resume (it stays
#           connected and does not answer)
#   sshd logins   prints how many log-ins were accepted so far
#   ffdc WORD...  one command to the BMC's module, prints its answer; status 1 when it is
#                 refused; see ffdc_module.cpp
set -euo pipefail
PATH=$PATH:/usr/sbin:/sbin
state=/run/service_processor
here=$(dirname "$(realpath "$0")")
console_port=19003

fail() { echo "control: $1" >&2; exit 1; }

# Prints a process and all that descend from it.
tree() {
  awk -v root="$1" '
    /^Pid:/ { pid = $2 }
    /^PPid:/ { parent[pid] = $2 }
    END {
      for (p in parent)
        for (q = p; q > 0; q = parent[q])
          if (q == root) { print p; break }
    }' /proc/[0-9]*/status 2> /dev/null
}

# Is a port being listened on? Looked up and not tried, since a connection would show in the server's log.
listening() { grep -qi ":$(printf %04X "$1") 0\{8\}:0000 0A" /proc/net/tcp; }

# start SERVER PORT LOG COMMAND...: SIGPIPE is ignored, because a client that leaves early would end the simulator.
start() {
  local server=$1 port=$2 log=$3
  shift 3
  ! listening "$port" || fail "$server is running"
  (trap '' PIPE; exec setsid "$@" < /dev/null >> "$log" 2>&1) &
  local pid=$!
  echo "$pid" > "$state/$server.pid"
  for ((i = 0; i < 600; ++i)); do
    ! listening "$port" || return 0
    [ -e "/proc/$pid" ] || break
    sleep 0.05
  done
  cat "$log" >&2
  fail "$server does not start"
}

start_sshd() {
  [ -x "$SSHD" ] || fail "no OpenSSH server; simulators/peers.sh unpacks one"
  if [ ! -e "$state/host_key" ]; then
    ssh-keygen -q -t ed25519 -N '' -f "$state/host_key"
    read -r type key _ < "$state/host_key.pub"
    echo "[$SP_ADDRESS]:115 $type $key" > "$state/known_hosts"
    sed -e "s|@ADDRESS@|$SP_ADDRESS|" -e "s|@USER@|$SP_USER|" "$here/sshd_config.in" > "$state/sshd_config"
  fi
  local accounts=()
  if [ "$SP_PLAIN" = 1 ]; then
    accounts=(LD_PRELOAD=libnss_wrapper.so NSS_WRAPPER_PASSWD=/run/accounts/passwd
      NSS_WRAPPER_SHADOW=/run/accounts/shadow NSS_WRAPPER_GROUP=/etc/group)
  fi
  # Without these two capabilities a file's mode counts for the account also where the account is root.
  start sshd 115 "$SP_WORKDIR/sshd.log" setpriv --bounding-set=-dac_override,-dac_read_search \
    env "${accounts[@]}" "$SSHD" -D -e -f "$state/sshd_config"
}

start_bmc() {
  [ -e "$UTILS_MODULE" ] || fail "no BMC module at $UTILS_MODULE"
  sed -e "s|@MODULE@|$UTILS_MODULE|" -e "s|@OPTIONS@|credentials=$state/credentials polls=$SP_POLLS|" \
    "$here/ipmi_sim.conf.in" > "$state/ipmi_sim.conf"
  start bmc "$console_port" "$SP_WORKDIR/ipmi_sim.log" \
    ipmi_sim -c "$state/ipmi_sim.conf" -f "$here/ipmi_sim.emu" -s "$state/bmc" -n
}

# Prints the processes of a running server.
processes() {
  local pid
  pid=$(cat "$state/$1.pid" 2> /dev/null) || pid=none
  [ -e "/proc/$pid" ] || fail "$1 is not running"
  tree "$pid"
}

# signal NAME PID...: those that have ended meanwhile do not matter.
signal() { kill -"$1" "${@:2}" 2> /dev/null || true; }

# end SIGNAL PID...: returns when they are gone.
end() {
  signal "$@"
  signal CONT "${@:2}"
  for pid in "${@:2}"; do
    tail --pid="$pid" -s 0.05 -f /dev/null
  done
}

# One line to the BMC's console and its answer, which stands between the line's echo and the next prompt.
say() {
  local LC_ALL=C answer
  exec 3<> "/dev/tcp/127.0.0.1/$console_port" || fail "the BMC's console is not there"
  if ! read -r -t 10 -d '>' -u 3 _ || ! printf '%s\n' "$*" >&3 || ! read -r -t 10 -d '>' -u 3 answer; then
    fail "the BMC's console does not answer"
  fi
  answer=${answer//$'\r'/}
  answer=${answer#*$'\n'}
  printf '%s' "$answer"
  [[ $answer != "error: "* ]]
}

[ $# -ge 2 ] || fail "usage: control.sh SERVER VERB"
[ -e "$state/settings" ] || fail "this is no sandbox"
# COMMAND of a sandbox made through sudo is no root.
if [ "$(id -u)" != 0 ] && [ "$1" != ffdc ] && [ "$2" != logins ]; then
  exec sudo -n "$0" "$@"
fi
# shellcheck disable=SC1091
. "$state/settings"
case "$1 $2" in
ffdc\ *) say "$@" ;;
"sshd logins") grep -c '^Accepted password' "$SP_WORKDIR/sshd.log" || true ;;
"sshd start") start_sshd ;;
"bmc start") start_bmc ;;
sshd\ * | bmc\ *)
  running=$(processes "$1")
  # shellcheck disable=SC2086
  case $2 in
  stop) end TERM $running ;;
  kill) end KILL $running ;;
  pause) signal STOP $running ;;
  resume) signal CONT $running ;;
  *) fail "unknown: $1 $2" ;;
  esac
  ;;
*) fail "unknown: $1 $2" ;;
esac
