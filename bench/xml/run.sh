#!/bin/sh
# Builds the release library and its benchmark and prints the table: MB/s of each XML parser, how many
# times faster ours is, and with valgrind the instructions ours takes for a byte of a 1 MB CIM response.
# Names of documents choose among them (bench/xml/Documents.cpp); without any, all are measured.
set -eu
cd "$(dirname "$0")/../.."
cmake --preset linux-release >/dev/null
cmake --build --preset linux-release --target xml_bench
bench=build/linux-release/bin/xml_bench
"$bench" "$@"
command -v valgrind >/dev/null || exit 0
log=$(mktemp)
trap 'rm -f "$log"' EXIT
bytes=$(valgrind --tool=callgrind --callgrind-out-file=/dev/null --log-file="$log" \
    --toggle-collect='NORXVXA20::TXmlParser::Parse(char*)' "$bench" --once cim-1 | cut -d' ' -f1)
awk -v bytes="$bytes" '/Collected/ { printf "%.1f instructions a byte on cim-1\n", $NF / bytes }' "$log"
