#!/usr/bin/env bash
# usage: symbols.sh LIBRARY...
# No symbol of ours is defined by two shared libraries, so that each thing has one home. Exempt are the
# vtable and type information of the classes that every library throws or catches.
set -euo pipefail

shared_types='(9NORXVXA20)?(13TVXAException|14TVXAStatusCode|17TAssertionFailure)'
symbols() {
  # Instances of the standard library's templates, and boost's type information, may be anywhere.
  nm -D --defined-only "$1" | awk '{print $NF}' | sed 's/@.*//' |
    grep -vE "^_Z(N|NK|T[ISV]N?|Z?NK?|GV)*(St|S[abiosd]|9__gnu_cxx)|^_ZT[VIS]N?5boost|^_ZT[VIS]N?${shared_types}E?$" | sort -u
}

faults=0
for library in "$@"; do
  [ -n "$(symbols "$library")" ] || { echo "$library exports nothing" >&2; faults=1; }
done
doubles=$(for library in "$@"; do symbols "$library"; done | sort | uniq -d)
if [ -n "$doubles" ]; then
  echo "defined by several of: $*" >&2
  c++filt <<<"$doubles" >&2
  faults=1
fi
exit "$faults"
