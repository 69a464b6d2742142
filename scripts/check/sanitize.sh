# Tests of the library under sanitizers.
#
#   scripts/check.sh sanitize           address, leaks, undefined behaviour: unit, library and hardening tests
#   scripts/check.sh sanitize thread    the thread sanitizer, over the tests with the label threads
case ${*:-address} in
address)
    needs tests
    build asan
    run_tests asan
    ;;
thread)
    needs tests clang
    build tsan
    run_tests tsan
    ;;
*) wrong_usage ;;
esac
