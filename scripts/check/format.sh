# Checks whether clang-format would change a file in C or C++.
#
#   scripts/check.sh format [fix]    fix: changes them
needs clang-format git
mapfile -t sources < <(git ls-files '*.c' '*.cpp' '*.h' '*.hpp')
case ${*:-check} in
check)
    clang-format --dry-run -Werror "${sources[@]}" || fail "To format these files: scripts/check.sh format fix"
    echo "format: ${#sources[@]} files are formatted"
    ;;
fix) clang-format -i "${sources[@]}" ;;
*) wrong_usage ;;
esac
