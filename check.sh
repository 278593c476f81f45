#!/usr/bin/env bash
# usage: ./check.sh      What a maintainer runs besides the tests; each step fails loudly.
set -euo pipefail
cd "$(dirname "$(realpath "$0")")"
. scripts/common.sh

# shellcheck disable=SC2086
install_packages $packages_build $packages_libraries $packages_tests $packages_windows $packages_checks

say "Formatting"
git ls-files -z -- '*.cpp' '*.h' | xargs -0 clang-format --dry-run --Werror || fail "run clang-format -i on these files"

scripts/lint.sh

say "Documentation of the interfaces"
scripts/api-docs.sh || fail "what is exported must say what it is"

say "Packages and their consumers"
tests/packages/run.sh

if [ -x fuzz/run.sh ]; then
  say "Fuzzing, 60 seconds a target"
  fuzz/run.sh 60
fi
say "All checks passed"
