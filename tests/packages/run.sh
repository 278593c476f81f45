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
includes=(-I "$top/docs/examples")

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

# Each installed header compiles alone, with the installed ones only; g++ stands for a compiler and its flags.
headers() {
  local folder=$1 header
  shift
  find "$folder" -name '*.h' -printf '%P\n' | sort >"$work/headers"
  [ "$(wc -l <"$work/headers")" -gt 20 ] || fail "only $(wc -l <"$work/headers") headers in $folder"
  while read -r header; do
    "$@" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ - <<<"#include \"$header\"" ||
      fail "$header does not compile alone"
  done <"$work/headers"
}

# Every header with something exported is in FOLDER, but the one that our own libraries use of one another.
all_there() {
  local header
  while read -r header; do
    [ -f "$1/$header" ] || [ "$header" = backends/vxacore/HttpClient.h ] || fail "$header is not installed"
  done < <(grep -rlE --include='*.h' '\b[A-Z_]+_API\b' common osdep xml net usblan ffdc platform backends)
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

moved_tree() {
  cmake --install build/package-linux --prefix "$work/installed" >/dev/null
  mv "$work/installed" "$work/moved"
  local tree=$work/moved libraries
  libraries=$(dirname "$tree"/lib*/*/libutils.so)
  consumer by-find-package -D CMAKE_PREFIX_PATH="$tree"
  taken_from "$libraries" "$work/by-find-package/consumer"
  runs "moved tree, find_package" "$work/by-find-package/consumer"

  export PKG_CONFIG_PATH=$libraries/pkgconfig
  # shellcheck disable=SC2046
  g++ -std=c++17 "${includes[@]}" "$here/consumer/main.cpp" -o "$work/by-pkg-config" $(pkg-config --cflags --libs utils) \
    -Wl,-rpath,"$(pkg-config --variable=libdir utils)"
  taken_from "$libraries" "$work/by-pkg-config"
  runs "moved tree, pkg-config" "$work/by-pkg-config"
  # shellcheck disable=SC2046
  headers "$tree/include/utils" g++ $(pkg-config --cflags utils)
  all_there "$tree/include/utils"
  unset PKG_CONFIG_PATH

  taken_from "$libraries" "$tree/bin/ffdc-collect"
  "$tree/bin/ffdc-collect" --version >/dev/null
  moves "$tree"
  tests/symbols.sh linux "$libraries"
}

sources() {
  consumer by-add-subdirectory -D UTILS_SOURCE="$top"
  runs "add_subdirectory" "$work/by-add-subdirectory/consumer"
}

debian_packages() {
  local root=$work/root package libraries id
  mkdir "$root"
  for package in build/packages/*.*deb; do
    dpkg-deb -x "$package" "$root"
  done
  libraries=$(dirname "$root"/usr/lib/*/libutils.so)
  consumer by-deb -D CMAKE_PREFIX_PATH="$root/usr"
  taken_from "$libraries" "$work/by-deb/consumer"
  runs "Debian packages" "$work/by-deb/consumer"
  taken_from "$libraries" "$root/usr/bin/ffdc-collect"
  "$root/usr/bin/ffdc-collect" --version >/dev/null
  moves "$root"
  # The debug symbols are those of the library that is shipped, which has none itself.
  id=$(readelf -n "$libraries/libutils.so" | sed -n 's/.*Build ID: //p')
  readelf -S "$root/usr/lib/debug/.build-id/${id:0:2}/${id:2}.debug" | grep -q '\.debug_info' ||
    fail "no debug symbols of libutils.so"
  ! readelf -S "$libraries/libutils.so" | grep -q '\.debug_info' || fail "libutils.so is not stripped"
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
  # shellcheck disable=SC2046
  x86_64-w64-mingw32-g++-posix -std=c++17 "${includes[@]}" -isystem "$boost" "$here/consumer/main.cpp" \
    -o "$beside/by-pkg-config.exe" $(PKG_CONFIG_LIBDIR=$tree/lib/pkgconfig pkg-config --cflags --libs utils)
  # shellcheck disable=SC2046
  headers "$tree/include/utils" x86_64-w64-mingw32-g++-posix -isystem "$boost" \
    $(PKG_CONFIG_LIBDIR=$tree/lib/pkgconfig pkg-config --cflags utils)
  all_there "$tree/include/utils"
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
      sources
      debian_packages
      ;;
    win64) windows_archive ;;
  esac
done
