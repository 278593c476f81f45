#!/usr/bin/env bash
# usage: tests/fresh-root.sh root|user demo|test
# Runs ./demo.sh or ./test.sh of the last commit on a fresh Debian 12: a root file system made for it, which holds
# nothing but the base system, as root or as an ordinary user with sudo. To be run by hand, as root; it downloads
# from the archive that this machine's apt uses. The demo takes minutes, the tests the better part of an hour.
# All output goes to build/fresh-root/WHO-WHAT.log as well; the exit status is the command's. Mounts and processes
# live in namespaces of their own and go with this script; the root, below TMPDIR or /var/tmp, is removed in the end.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/.."
. scripts/common.sh

who=${1:-} what=${2:-}
[[ $# -eq 2 && $who =~ ^(root|user)$ && $what =~ ^(demo|test)$ ]] || { sed -n 2p "$0" >&2; exit 2; }
[ "$(id -u)" -eq 0 ] || status=2 fail "needs root"
install_packages debootstrap

commit=$(git rev-parse --short HEAD)
log=$PWD/build/fresh-root/$who-$what.log
root=$(mktemp -d "${TMPDIR:-/var/tmp}/fresh-root.XXXXXX")
running=
mkdir -p "${log%/*}"
exec > >(tee "$log") 2>&1

# The first process inside ends with the one out here, and all others and the mounts with it.
clean_up() {
  if [ -n "$running" ]; then
    kill -KILL "$running" 2>/dev/null || true
    wait "$running" || true
  fi
  if findmnt -rno TARGET | grep -F "$root"; then
    echo "still mounted; not removed" >&2
  else
    rm -rf --one-file-system "$root"
  fi
}
trap clean_up EXIT
trap 'exit 143' TERM HUP
trap 'exit 130' INT

# attended COMMAND...: in the background, so that a signal to this script is not left waiting.
attended() {
  "$@" </dev/null &
  running=$!
  local result=0
  wait "$running" || result=$?
  running=
  return "$result"
}

bare=(env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 TERM=dumb)
isolated=(setpriv --pdeathsig KILL unshare --mount --propagation private --pid --fork --kill-child --uts --ipc)

# enter COMMAND...: as root in the new file system. A change of root by chroot would refuse user namespaces.
enter() {
  attended "${bare[@]}" HOME=/root "${isolated[@]}" bash -ec '
    mount --bind "$1" "$1"; cd "$1"; shift
    mount -t proc proc proc; mount -t sysfs sysfs sys
    for d in run dev; do mount -t tmpfs -o mode=755 tmpfs $d; done
    mkdir dev/pts dev/shm
    for n in null zero full random urandom tty; do : >dev/$n; mount --bind /dev/$n dev/$n; done
    mount -t devpts -o newinstance,gid=5,mode=620,ptmxmode=666 devpts dev/pts; ln -s pts/ptmx dev/ptmx
    mount -t tmpfs -o mode=1777 tmpfs dev/shm; ln -s /proc/self/fd dev/fd
    for n in in:0 out:1 err:2; do ln -s fd/${n#*:} dev/std${n%:*}; done
    pivot_root . mnt; umount -l /mnt; cd /
    trap "exit 143" TERM
    "$@" & wait $!' enter "$root" "$@"
}

archives() {
  # shellcheck disable=SC2016
  apt-get indextargets --format '$(REPO_URI) $(RELEASE) $(COMPONENT) $(ORIGIN)' 'Created-By: Packages' |
    awk '$2 ~ /^bookworm/ && $4 == "Debian" && !seen[$0]++ { print "deb", $1, $2, $3 }'
}

make_root() {
  local archive
  archive=$(archives | awk '$3 == "bookworm" && $4 == "main" { print $2; exit }')
  [ -n "$archive" ] || fail "this machine's apt knows no Debian 12 archive"
  attended "${bare[@]}" "${isolated[@]}" \
    debootstrap --variant=minbase bookworm "$root" "$archive" >"$log.base" || { cat "$log.base"; fail "no base system"; }
  rm -f "$log.base"
  chmod 755 "$root"
  archives >"$root/etc/apt/sources.list"
  grep -lE 'Acquire::|[Pp]roxy' /etc/apt/apt.conf.d/* | xargs -r cp -t "$root/etc/apt/apt.conf.d"
  cp -L /etc/resolv.conf "$root/etc/resolv.conf"
  echo "127.0.0.1 localhost $(hostname)" >"$root/etc/hosts"
  enter apt-get -q update
  enter env DEBIAN_FRONTEND=noninteractive apt-get -qy dist-upgrade
}

home=/root
make_user() {
  home=/home/developer
  enter env DEBIAN_FRONTEND=noninteractive apt-get -qy install --no-install-recommends sudo
  enter adduser --quiet --disabled-password --gecos '' developer
  echo 'developer ALL=(ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/developer"
}

say "A fresh Debian 12"
make_root
[ "$who" = root ] || make_user
mkdir "$root$home/utils"
git archive "$commit" | tar -x -C "$root$home/utils"
as=()
if [ "$who" = user ]; then
  enter chown -R developer: "$home/utils"
  as=(setpriv --reuid=developer --regid=developer --init-groups env "HOME=$home" USER=developer)
fi

say "./$what.sh as $who, commit $commit"
begun=$SECONDS
result=0
enter "${as[@]}" bash -c "cd $home/utils && exec ./$what.sh" || result=$?
say "./$what.sh as $who: status $result after $((SECONDS - begun)) s"
exit "$result"
