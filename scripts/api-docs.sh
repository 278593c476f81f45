#!/usr/bin/env bash
# usage: api-docs.sh      Makes build/doxygen/html of every header that exports something and of platform/, and fails
# when anything in it says nothing. Left out: platform/curl, another library's interface with documents of its own.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")/.."
mkdir -p build
headers=$({ git grep -lE '(UTILS|VXACORE|SPDRIVER|CMMNSP)_(INLINE_)?API' -- '*/*.h'; git ls-files 'platform/*.h' ':!platform/curl'; } | sort -u)
{ cat docs/Doxyfile; echo "INPUT = ${headers//$'\n'/ }"; } | doxygen -
