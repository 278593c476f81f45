#!/usr/bin/env bash
# usage: ./test.sh [PRESET...]      (linux linux-asan win64; all of them by default)
# Installs what is missing, builds and runs all tests, and ends with one line
# "N passed, N failed, N skipped". Exit status 0 only when nothing failed.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")"
. scripts/common.sh

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(linux linux-asan win64)
for preset in "${presets[@]}"; do
  case $preset in
    linux | linux-asan | win64) ;;
    *) status=2 fail "unknown preset $preset; there are linux, linux-asan and win64" ;;
  esac
done

# shellcheck disable=SC2086
install_packages $packages_build $packages_libraries $packages_peers $packages_tests $packages_windows
# Without it the tests inside the virtual server are skipped (with UTILS_CI=1 they fail).
if [ "${presets[*]}" != win64 ]; then
  # shellcheck disable=SC2086
  { (install_packages $packages_machine) && simulators/virtual_server/fetch.sh build; } || say "No virtual server"
fi

stop_wine() {
  [ ! -d build/win64/wine ] || WINEPREFIX=$PWD/build/win64/wine wineserver_stop
}
wineserver_stop() {
  /usr/lib/wine/wineserver64 -k >/dev/null 2>&1 && /usr/lib/wine/wineserver64 -w || true
}
trap stop_wine EXIT

status=0
for preset in "${presets[@]}"; do
  build "$preset"
  simulators/peers.sh build
  say "Testing $preset"
  rm -rf "build/$preset/results"
  # One Wine prefix for the build folder; its first start is not any test's time.
  if [ "$preset" = win64 ]; then
    # The simulators, and the tests that only start programs, are this system's.
    build linux --target for_windows
    export WINEPREFIX=$PWD/build/win64/wine
    mkdir -p "$WINEPREFIX"
    cmake/wine-run.sh cmd /c exit
  fi
  # Three at once, as the roads mostly wait.
  (cd "build/$preset" && ctest -j3 --output-on-failure --output-junit ctest.xml) || status=1
done

say "Results of ${presets[*]}"
read -r passed failed skipped < <(scripts/count-results.sh "${presets[@]/#/build/}")
echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" -eq 0 ] && [ "$status" -eq 0 ]
