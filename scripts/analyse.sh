#!/usr/bin/env bash
# Static analysis: cppcheck over all sources, GCC's analyser over those in C (it does not know C++).
# clang-tidy runs with every build of the preset dev. Ends with status 1 where anything is left.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

scripts/install-dependencies.sh
left=$(mktemp)
trap 'rm -f "$left"' EXIT
grep --invert-match '^#' .cppcheck >"$left"
check=(cppcheck --quiet --error-exitcode=1 --enable=warning,performance,portability
    --suppressions-list="$left" -Iinclude)
"${check[@]}" --language=c++ --std=c++20 -Isrc -Itools -Ipictures src tools
"${check[@]}" --std=c11 -Ipictures pictures examples include
echo "cppcheck: nothing left"
for source in pictures/*.c examples/*.c; do
    gcc -std=c11 -O2 -fanalyzer -Wall -Wextra -Werror -Iinclude -Ipictures -c "$source" -o /dev/null
done
echo "gcc -fanalyzer: nothing left"
