#!/usr/bin/env bash
# usage: lint.sh      clang-tidy and cppcheck over the product's sources for both systems; fails on any finding.
# What is not asked for stands, with its reason, in .clang-tidy and .cppcheck-suppressions.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/.."
. scripts/common.sh

folders="common|osdep|xml|net|usblan|ffdc|backends|simulators|collector"
out=$PWD/build/lint
rm -rf "$out"
mkdir -p "$out/windows"
configure linux
configure win64

# tidy DATABASE-FOLDER FILE-PATTERN [clang-tidy arguments]
tidy() {
  local database=$1 files=$2
  shift 2
  run-clang-tidy -quiet -j2 -p "$database" "$@" "^$PWD/($folders)/.*$files" >"$out/tidy.log" 2>&1 || {
    grep -E 'error:|warning:' "$out/tidy.log" | sort -u >&2 || tail -n 20 "$out/tidy.log" >&2
    fail "clang-tidy has findings; all of them are in build/lint/tidy.log"
  }
}

say "clang-tidy, the sources for Linux"
tidy build/linux '\.cpp$'

say "clang-tidy, the sources for Windows alone"
# clang takes mingw's headers, but not one option that CMake adds for mingw's compiler.
sed 's/ -fno-keep-inline-dllexport//g' build/win64/compile_commands.json >"$out/windows/compile_commands.json"
headers=$(x86_64-w64-mingw32-g++-posix -print-file-name=include/c++)
tidy "$out/windows" '_windows\.cpp$' -extra-arg=--target=x86_64-w64-mingw32 -extra-arg=-nostdinc++ \
  -extra-arg=-isystem"$headers" -extra-arg=-isystem"$headers"/x86_64-w64-mingw32 -extra-arg=-isystem"$headers"/backward

say "cppcheck"
mapfile -t sources < <(git ls-files '*.cpp' | grep -E "^($folders)/")
check() {
  cppcheck --quiet -j2 --std=c++17 --language=c++ -I . -I build/linux/generated --suppressions-list=.cppcheck-suppressions \
    --enable=warning,style,performance,portability --inline-suppr --error-exitcode=1 "$@" || fail "cppcheck has findings"
}
check --platform=unix64 $(printf '%s\n' "${sources[@]}" | grep -v '_windows\.cpp$')
check --platform=win64 -D_WIN32 $(printf '%s\n' "${sources[@]}" | grep -v '_posix\.cpp$')
