#!/bin/sh
# usage: wine-session.sh [--own-server] COMMAND...
# Runs a program of this system that starts Windows programs with wine64 itself. Wine's sockets are made by its server:
# --own-server gives COMMAND one that stands in the network it is in, with a prefix of its own, and ends it afterwards.
# Status 77 where there is no COMMAND: it belongs to the build for this system.
here=$(dirname "$(realpath "$0")")
. "$here/wine-env.sh"
own=
if [ "$1" = --own-server ]; then
  own=1
  shift
  WINEPREFIX=$WINEPREFIX-sandbox
  # Wine's sockets lie in a folder named after the user's number, which in a user's namespace is root's.
  sockets=/tmp/.wine-$(id -u)
  [ ! -e "$sockets" ] || [ -O "$sockets" ] || mount -t tmpfs tmpfs /tmp
fi
if [ ! -x "$1" ]; then
  echo "wine-session: no $1; ./test.sh win64 builds what this needs of the preset linux" >&2
  exit 77
fi
# Where a program crashes on purpose, Wine's debugger would write between its lines.
WINEDLLOVERRIDES="$WINEDLLOVERRIDES;winedbg.exe="
start_wine_server
if [ -n "$own" ]; then
  trap 'wineserver64 -k; wineserver64 -w' EXIT
fi
"$@"
