# The sweeps of tests/hardening/ in full, of which an ordinary test run takes samples; some ten minutes.
#
#   scripts/check.sh sweep [FILTER]    a filter of GoogleTest, such as 'ModelFaults.*'
#
# A failure of each allocation of every call, every fault of every model file, files that change while they
# are read, and 300 creates. Prints a line with figures for each.
[ $# -le 1 ] || wrong_usage
needs tests
build dev zomu_allocation_tests zomu_endurance_tests zomu_fault_tests

# Passive: threads of a team that wait for the last one do not occupy a processor.
export ZOMU_SWEEP=full OMP_WAIT_POLICY=passive
for program in zomu_allocation_tests zomu_fault_tests zomu_endurance_tests; do
    "build/dev/tests/hardening/$program" --gtest_brief=1 --gtest_filter="${1:-*}"
done
