#!/bin/sh
# Runs every fuzz target for the given number of seconds: fuzz/run.sh SECONDS. New inputs stay in the
# build folder; the seeds of the tree are only read. Stops at the first fault and names the input.
set -eu
[ $# -eq 1 ] || { echo "usage: $0 SECONDS" >&2; exit 2; }
cd "$(dirname "$0")/.."
build=build/fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ \
    -DUTILS_BUILD_FUZZ=ON -DUTILS_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target fuzzers
found=0
for target in "$build"/bin/fuzz_*; do
    [ -x "$target" ] || continue
    found=1
    name=${target##*/fuzz_}
    work=$build/inputs/$name
    mkdir -p "$work"
    echo "fuzzing $name for $1 seconds"
    "$target" -max_total_time="$1" -max_len=4096 -timeout=10 -verbosity=0 -print_final_stats=1 \
        -artifact_prefix="$work/fault-" "$work" "fuzz/$name/corpus"
done
[ "$found" = 1 ] || { echo "no fuzz target was built" >&2; exit 1; }
