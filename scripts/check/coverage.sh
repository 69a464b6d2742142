# Line and branch coverage of src/ by the unit and golden tests.
#
#   scripts/check.sh coverage [FOLDER...]    folders of src/ to print; default: all
#
# Prints a table by file, then each line that no test ran. Branches of exceptions are left out.
needs tests gcovr
build coverage zomu_tests zomu_golden_tests
find build/coverage -name '*.gcda' -delete
build/coverage/tests/zomu_tests --gtest_brief=1
build/coverage/tests/golden/zomu_golden_tests --gtest_brief=1

gcovr=(gcovr --root . --object-directory build/coverage --exclude-throw-branches
    --exclude-unreachable-branches)
trace=build/coverage/trace.json
"${gcovr[@]}" --filter src/ --json "$trace" build/coverage/src

filters=(--filter src/)
if [ $# -gt 0 ]; then
    filters=("${@/#/--filter=src/}")
fi
"${gcovr[@]}" "${filters[@]}" --add-tracefile "$trace"
"${gcovr[@]}" "${filters[@]}" --add-tracefile "$trace" --branches
