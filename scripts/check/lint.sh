# Linters: clang-tidy over the library, the tools and the headers, pyflakes, ShellCheck.
#
#   scripts/check.sh lint         takes some minutes
#   scripts/check.sh lint deep    cppcheck over the same, and GCC's analyser over the sources in C
case ${*:-quick} in
quick)
    needs gate
    quietly build/logs/dev-configure.log cmake --preset dev --log-level=WARNING
    # Half of the time goes to headers of other libraries, again for each source, so one process runs on
    # each processor. The tests are left out because their precompiled headers are GCC's, the kernels for
    # another processor because they do not compile here.
    mapfile -t sources < <(git ls-files 'src/*.cpp' 'tools/*.cpp' |
        grep -vE '^tools/command_line/|_neon\.cpp$')
    printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 1 \
        clang-tidy --quiet -p build/dev --extra-arg=-Wno-unknown-warning-option 2>build/logs/tidy.log ||
        fail "clang-tidy reports problems."
    clang-tidy --quiet include/*.hpp -- -x c++ -std=c++17 -Iinclude 2>>build/logs/tidy.log
    echo "clang-tidy: no problems in ${#sources[@]} sources and the public headers"

    mapfile -t python < <(git ls-files '*.py'; git grep -lE '^#!.*python' -- training)
    pyflakes3 "${python[@]}"
    echo "pyflakes: no problems in ${#python[@]} files"

    mapfile -t shell < <(git ls-files '*.sh' .ci/run)
    shellcheck --shell=bash --severity=warning --external-sources --source-path=SCRIPTDIR "${shell[@]}"
    echo "ShellCheck: no problems in ${#shell[@]} files"
    ;;
deep)
    needs demo cppcheck
    left=$(mktemp)
    trap 'rm -f "$left"' EXIT
    grep --invert-match '^#' .cppcheck >"$left"
    check=(cppcheck --quiet -j "$(nproc)" --error-exitcode=1 "--enable=warning,performance,portability"
        --suppressions-list="$left" -Iinclude)
    "${check[@]}" --language=c++ --std=c++20 -Isrc -Itools -Ipictures src tools
    "${check[@]}" --std=c11 -Ipictures examples pictures include
    echo "cppcheck: no problems"
    for source in examples/*.c pictures/*.c; do
        gcc -std=c11 -O2 -fanalyzer -Wall -Wextra -Werror -Iinclude -Ipictures -c "$source" -o /dev/null
    done
    echo "gcc -fanalyzer: no problems"
    ;;
*) wrong_usage ;;
esac
