#!/usr/bin/env bash
# usage: tests/packages/run.sh [linux|win64]...      (both by default)
# Makes the packages, then builds a small program against each form in which a caller can have the library, and
# runs it: the installed tree after it was moved (by find_package and by pkg-config), the sources as a folder of
# the caller's project, the Debian packages unpacked into an empty root, and the Windows archive under Wine.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/../.."
. scripts/common.sh
top=$PWD
here=$top/tests/packages
work=$top/build/packages/test

# The program's whole output. The assertion fails in the caller's code, in a way that only the handler survives.
expected=$'fan spins\nfolder 1\ncaught assertion failed: px != 0'

# runs NAME COMMAND...: COMMAND is the program, told to make a folder.
runs() {
  local name=$1 output
  shift
  rm -rf "$work/made"
  output=$((cd "$work" && "$@" made) 2>&1 | tr -d '\r') || fail "$name: the program failed: $output"
  [ "$output" = "$expected" ] || fail "$name: expected"$'\n'"$expected"$'\n'"but it says"$'\n'"$output"
  echo "$name: built and run"
}

# consumer FOLDER [cmake arguments]: the program as a project of its own.
consumer() {
  local folder=$work/$1
  shift
  { cmake -G Ninja -S "$here/consumer" -B "$folder" -D CMAKE_BUILD_TYPE=Release "$@" &&
    cmake --build "$folder" -j2 --target consumer; } >"$work/log" 2>&1 ||
    { cat "$work/log" >&2; fail "the program does not build against ${folder##*/}"; }
}

# by_pkg_config PROGRAM COMPILER...: the program by hand, with what pkg-config says; then each installed header alone.
by_pkg_config() {
  local program=$1 header folder flags
  shift
  read -ra flags < <(pkg-config --cflags --libs utils)
  "$@" -std=c++17 -I "$top/docs/examples" "$here/consumer/main.cpp" -o "$program" "${flags[@]}"
  folder=$(pkg-config --variable=includedir utils)/utils
  [ "$(find "$folder" -name '*.h' | wc -l)" -gt 20 ] || fail "there are hardly any headers in $folder"
  while read -r header; do
    "$@" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only "${flags[@]}" -x c++ - <<<"#include \"$header\"" ||
      fail "$header does not compile alone"
  done < <(find "$folder" -name '*.h' -printf '%P\n')
  # Every header with something exported is there, but the one that our own libraries use of one another.
  while read -r header; do
    [ -f "$folder/$header" ] || [ "$header" = backends/vxacore/HttpClient.h ] || fail "$header is not installed"
  done < <(grep -rlE --include='*.h' '\b[A-Z_]+_API\b' common osdep xml net usblan ffdc platform backends)
}

# taken_from FOLDER PROGRAM: every library of ours that PROGRAM loads lies in FOLDER, and none is missing.
taken_from() {
  local wrong=0 name path
  while read -r name _ path _; do
    case $name in
      libutils.* | libvxacore.* | libspdriver.* | libcmm.nsp.*)
        [ "$(realpath -m "$path")" = "$(realpath "$1/$name")" ] || wrong=1
        ;;
      *) [ "$path" != not ] || wrong=1 ;;
    esac
    [ "$wrong" -eq 0 ] || fail "$2 takes its $name from $path, not from $1"
  done < <(ldd "$2")
}

# Nothing in FOLDER remembers where it was built, and what is loaded lies beside what loads it.
moves() {
  ! grep -rlF "$top" "$1" || fail "these name the folder they were built in"
  local file paths
  while IFS= read -r -d '' file; do
    paths=$(readelf -d "$file" 2>/dev/null | sed -n 's/.*R.*PATH.*\[\(.*\)\]/\1/p')
    [[ ! $paths =~ (^|:)/ ]] || fail "$file looks for libraries in $paths"
  done < <(find "$1" -type f \( -name '*.so*' -o -name ffdc-collect \) -print0)
}

# whole_tree NAME PREFIX: what is installed there is found and runs, and so does the collector, with nothing of elsewhere.
whole_tree() {
  local name=$1 tree=$2 libraries
  libraries=$(dirname "$tree"/lib*/*/libutils.so)
  consumer "$name" -D CMAKE_PREFIX_PATH="$tree"
  runs "$name" "$work/$name/consumer"
  taken_from "$libraries" "$work/$name/consumer"
  taken_from "$libraries" "$tree/bin/ffdc-collect"
  "$tree/bin/ffdc-collect" --version >/dev/null
  moves "$tree"
}

moved_tree() {
  local tree=$work/moved libraries
  cmake --install build/package-linux --prefix "$work/installed" >/dev/null
  mv "$work/installed" "$tree"
  whole_tree moved-tree "$tree"
  libraries=$(dirname "$tree"/lib*/*/libutils.so)
  PKG_CONFIG_PATH=$libraries/pkgconfig by_pkg_config "$work/by-pkg-config" g++ -Wl,-rpath,"$libraries"
  taken_from "$libraries" "$work/by-pkg-config"
  runs "moved tree, pkg-config" "$work/by-pkg-config"
  tests/symbols.sh linux "$libraries"
}

debian_packages() {
  local root=$work/root package library id
  mkdir "$root"
  for package in build/packages/*.*deb; do
    dpkg-deb -x "$package" "$root"
  done
  whole_tree debian-packages "$root/usr"
  # The debug symbols are those of the library that is shipped, which has none itself.
  library=$(echo "$root"/usr/lib/*/libutils.so)
  id=$(readelf -n "$library" | sed -n 's/.*Build ID: //p')
  readelf -S "$root/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" | grep -q '\.debug_info' ||
    fail "no debug symbols of libutils.so"
  ! readelf -S "$library" | grep -q '\.debug_info' || fail "libutils.so is not stripped"
  # Nothing but the run-time-loaded libraries is left to chance.
  for package in libc6 libstdc++6 libzip4 libmnl0; do
    dpkg-deb -f build/packages/libutils0_*.deb Depends | grep -qF "$package" || fail "the package does not depend on $package"
  done
  dpkg-deb -f build/packages/libutils0_*.deb Recommends | grep -qF libcurl4 || fail "the package does not name libcurl4"
}

stop_wine() {
  /usr/lib/wine/wineserver64 -k >/dev/null 2>&1 && /usr/lib/wine/wineserver64 -w || true
}

windows_archive() {
  local tree beside=$work/beside boost=$top/build/package-win64/foreign-headers run=$top/cmake/wine-run.sh
  unzip -q build/packages/*-win64.zip -d "$work/zip"
  tree=$(echo "$work"/zip/*)
  consumer by-zip -D CMAKE_TOOLCHAIN_FILE="$top/cmake/mingw-w64-x86_64.cmake" \
    -D utils_DIR="$tree/lib/cmake/utils" -D Boost_INCLUDE_DIR="$boost"
  mkdir "$beside"
  cp "$tree"/bin/*.dll "$work/by-zip/consumer.exe" "$beside"
  PKG_CONFIG_LIBDIR=$tree/lib/pkgconfig by_pkg_config "$beside/by-pkg-config.exe" \
    x86_64-w64-mingw32-g++-posix -isystem "$boost"
  export WINEPREFIX=$top/build/package-win64/wine
  trap stop_wine EXIT
  mkdir -p "$WINEPREFIX"
  runs "Windows archive, find_package" "$run" "$beside/consumer.exe"
  runs "Windows archive, pkg-config" "$run" "$beside/by-pkg-config.exe"
  "$run" "$tree/bin/ffdc-collect.exe" --version >/dev/null
  ! grep -rlF "$top" "$tree" || fail "these name the folder they were built in"
  tests/symbols.sh windows "$tree/bin"
}

systems=("$@")
[ ${#systems[@]} -gt 0 ] || systems=(linux win64)
install_packages pkgconf unzip
scripts/package.sh "${systems[@]}"
rm -rf "$work"
mkdir -p "$work"
cd "$top"
for system in "${systems[@]}"; do
  say "Consumers of the $system packages"
  case $system in
    linux)
      moved_tree
      consumer by-add-subdirectory -D UTILS_SOURCE="$top"
      runs "add_subdirectory" "$work/by-add-subdirectory/consumer"
      debian_packages
      ;;
    win64) windows_archive ;;
  esac
done
