# Looks whether clang-format would change a file in C or C++.
#
#   scripts/check.sh format [fix]    fix: changes them
needs clang-format git
mapfile -t sources < <(git ls-files '*.c' '*.cpp' '*.h' '*.hpp')
case ${*:-check} in
check)
    clang-format --dry-run -Werror "${sources[@]}" || fail "scripts/check.sh format fix changes these."
    echo "format: ${#sources[@]} files are as clang-format has them"
    ;;
fix) clang-format -i "${sources[@]}" ;;
*) wrong_usage ;;
esac
