# Everything that scripts/test.sh leaves out, except what takes hours; more than an hour on two cores.
#
#   scripts/check.sh full [PART...]    default: all parts
#
# Prints a line for each part, with its time; the output of a part is in build/full/PART.log. A part that
# fails does not stop the others. Not included: mutate, coverage, fuzz --full, bench, and the training of
# the demonstration model (scripts/train.sh).
parts=(
    "tests tests full"             # browser, training, OpenCV, site, documents, the walk through the README
    "golden golden"                # compilers, levels, kernel sets
    "lint lint deep"               # cppcheck, GCC's analyser
    "sanitize sanitize"
    "thread sanitize thread"
    "fuzz fuzz"                    # a minute for each target
    "sweep sweep"
    "guard guard"
    "soak soak"
    "windows windows"
    "aarch64 aarch64"
    "docs docs"
    "packages packages try"
    "wheel wheel try"
)
needs developers
results=$PWD/build/full
mkdir -p "$results"
failed=0
passed=0
for part in "${parts[@]}"; do
    read -r name words <<<"$part"
    if [ $# -gt 0 ] && [[ " $* " != *" $name "* ]]; then
        continue
    fi
    started=$SECONDS
    verdict=passed
    # shellcheck disable=SC2086 # a verb and its arguments
    scripts/check.sh $words >"$results/$name.log" 2>&1 || verdict=FAILED
    if [ $verdict = passed ]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
    fi
    printf '%-6s  %-9s %5d s   %s\n' $verdict "$name" $((SECONDS - started)) \
        "$(grep -v '^ *$' "$results/$name.log" | tail -n 1)"
done
[ $((passed + failed)) -gt 0 ] || wrong_usage
[ $failed -eq 0 ]
