#!/usr/bin/env bash
# usage: symbols.sh linux|windows FOLDER [--update]
# Compares what our libraries in FOLDER export with the lists in symbols/: nothing more, nothing less. No symbol is
# defined by two of them, so that each thing has one home, but for those in symbols/shared.SYSTEM.txt.
# --update writes the lists anew; what it changed is what callers will notice.
set -euo pipefail
system=$1 folder=$2 update=${3:-}
lists=$(dirname "$(realpath "$0")")/symbols
case $system in
  linux) libraries=(utils vxacore spdriver cmm.nsp qmmusblan) prefix=lib suffix=.so ;;
  windows) libraries=(utils vxacore spdriver cmm.nsp) prefix='' suffix=.dll ;;
  *) sed -n '2,5s/^# //p' "$0" >&2; exit 2 ;;
esac
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

exported_linux() {
  nm -DC --defined-only "$1" | sed -E 's/^[0-9a-f]* ?//; s/@.*//; s/^[WVu] /weak /; s/^[A-Za-z] //'
}

exported_windows() {
  x86_64-w64-mingw32-objdump -p "$1" |
    awk '/\[Ordinal\/Name Pointer\] Table/ { names = 1; next } !NF { names = 0 } names { print $NF }' | c++filt
}

readable() {
  sed -E 's/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/std::string/g; s/ >/>/g' |
    LC_ALL=C sort -u
}

faults=0
for library in "${libraries[@]}"; do
  exported_"$system" "$folder/$prefix$library$suffix" | readable >"$work/$library"
  list=$lists/$library.$system.txt
  [ "$update" != --update ] || cp "$work/$library" "$list"
  if ! diff -u --label "expected of $library" --label "exported by $library" "$list" "$work/$library" >&2; then
    faults=1
  fi
done

shared=$lists/shared.$system.txt
[ -f "$shared" ] || shared=/dev/null
cat "${libraries[@]/#/$work/}" | sed 's/^weak //' | LC_ALL=C sort | uniq -d >"$work/doubles"
if ! diff -u --label "expected of several libraries" --label "exported by several libraries" "$shared" "$work/doubles" >&2; then
  faults=1
fi
exit "$faults"
