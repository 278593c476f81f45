#!/usr/bin/env bash
# usage: count-results.sh BUILDDIR...
# Adds up what ctest and the GoogleTest programs under it reported; prints "PASSED FAILED SKIPPED".
# A program that ctest calls failed although its own report has no failure (a crash, a leak found at its
# end, a time limit) counts as one more failure.
set -euo pipefail
passed=0 failed=0 skipped=0
for build in "$@"; do
  while read -r name status; do
    report=$build/results/$name.xml
    if [ -s "$report" ]; then
      tests=$(sed -n 's/^<testsuites tests="\([0-9]*\)".*/\1/p' "$report")
      failures=$(sed -n 's/^<testsuites .* failures="\([0-9]*\)".*/\1/p' "$report")
      errors=$(sed -n 's/^<testsuites .* errors="\([0-9]*\)".*/\1/p' "$report")
      skips=$(grep -c 'result="skipped"' "$report" || true)
      bad=$((failures + errors))
      passed=$((passed + tests - bad - skips)) skipped=$((skipped + skips))
      [ "$status" != fail ] || [ "$bad" -gt 0 ] || bad=1
      failed=$((failed + bad))
    else
      case $status in
        run) passed=$((passed + 1)) ;;
        fail) failed=$((failed + 1)) ;;
        *) skipped=$((skipped + 1)) ;;
      esac
    fi
  done < <(sed -n 's/.*<testcase name="\([^"]*\)".* status="\([^"]*\)".*/\1 \2/p' "$build/ctest.xml")
done
echo "$passed $failed $skipped"
