#!/usr/bin/env bash
# usage: scripts/package.sh [linux|win64]...      (both by default)
# Builds the Debian packages and the Windows archive into build/packages.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/.."
. scripts/common.sh

systems=("$@")
[ ${#systems[@]} -gt 0 ] || systems=(linux win64)
for system in "${systems[@]}"; do
  case $system in
    linux) needed="$packages_package" made='*.*deb' ;;
    win64) needed="$packages_windows" made='*-win64.zip' ;;
    *) status=2 fail "unknown system $system; there are linux and win64" ;;
  esac
  # shellcheck disable=SC2086
  install_packages $packages_build $packages_libraries $needed
  build "package-$system"
  say "Packing $system"
  mkdir -p build/packages
  # shellcheck disable=SC2086
  (cd build/packages && rm -f $made)
  log=$(mktemp)
  cpack --config "build/package-$system/CPackConfig.cmake" -B build/packages >"$log" 2>&1 || { cat "$log" >&2; fail "packing failed"; }
  rm -rf "$log" build/packages/_CPack_Packages
  # shellcheck disable=SC2086
  (cd build/packages && ls -l $made)
done
