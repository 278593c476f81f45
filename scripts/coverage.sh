#!/usr/bin/env bash
# usage: coverage.sh [linux-coverage] [win64-coverage]      (both by default)
# Builds so that lines are counted, runs the tests natively and under Wine, and leaves in build/coverage/
# index.html (each line, the runs added up), summary.txt and one summary-PRESET.txt a run.
# A number is no gate here. A failed test is told, and what it reached counts all the same. A process that a signal
# or _exit ends, as the chassis' simulator and some consoles of the tests, leaves no count.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/.."
. scripts/common.sh

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(linux-coverage win64-coverage)
# shellcheck disable=SC2086
install_packages $packages_build $packages_libraries $packages_peers $packages_tests $packages_windows $packages_checks

out=$PWD/build/coverage
mkdir -p "$out"
export WINEPREFIX=$PWD/build/win64-coverage/wine

stop_wine() {
  [ ! -d "$WINEPREFIX" ] || { /usr/lib/wine/wineserver64 -k && /usr/lib/wine/wineserver64 -w; } >/dev/null 2>&1 || true
}
trap stop_wine EXIT

report() { gcovr --root . --filter '(common|osdep|xml|net|usblan|ffdc|backends|simulators|collector)/' "$@"; }

traces=()
for preset in "${presets[@]}"; do
  gcov=gcov
  build "$preset"
  find "build/$preset" -name '*.gcda' -delete
  simulators/peers.sh build
  if [ "$preset" = win64-coverage ]; then
    # The simulators, and the tests that only start programs, are this system's.
    build linux --target for_windows
    gcov=x86_64-w64-mingw32-gcov-posix
    mkdir -p "$WINEPREFIX"
    cmake/wine-run.sh cmd /c exit
  fi
  say "Testing $preset"
  # What counts the lines is exported, too, so the lists of symbols do not apply.
  (cd "build/$preset" && ctest -j2 -E '^symbols' >"$out/$preset.log") || tail -n 20 "$out/$preset.log"
  say "Counting $preset"
  report --gcov-executable "$gcov" --json "$out/$preset.json" -j 2 "build/$preset"
  report --add-tracefile "$out/$preset.json" --output "$out/summary-$preset.txt"
  traces+=(--add-tracefile "$out/$preset.json")
done

say "Lines reached by ${presets[*]}"
report "${traces[@]}" --html-details "$out/index.html" --html-title "utils: ${presets[*]}" --txt "$out/summary.txt" --print-summary
echo "build/coverage/index.html"
