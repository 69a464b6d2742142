# The common start of the scripts. To be sourced; changes the working directory to the root of the project.
set -euo pipefail
shopt -s inherit_errexit
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# fail MESSAGE
fail() {
    echo "$1" >&2
    exit 1
}

# usage FILE: prints the comment at the top of a script, which says how to call it.
usage() {
    sed -n '/^#!/d; /^#/!q; s/^# \{0,1\}//p' "$1"
}

# wrong_usage [FILE]: default: the script that calls it
wrong_usage() {
    usage "${1:-${BASH_SOURCE[1]}}" >&2
    exit 2
}

# needs GROUP-OR-PACKAGE...
needs() {
    scripts/install-dependencies.sh "$@"
}

# quietly LOG COMMAND...: shows the log only if the command fails.
quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        fail "Failed: $*"
    fi
}

# build PRESET [-DNAME=VALUE...] [TARGET...]: default: the targets of the build preset. Shows the progress on
# a terminal; otherwise only the log of a build that fails.
build() {
    local preset=$1 options=() targets=() started=$SECONDS word
    shift
    for word in "$@"; do
        case $word in
        -D*) options+=("$word") ;;
        *) targets+=("$word") ;;
        esac
    done
    [ ${#targets[@]} -eq 0 ] || targets=(--target "${targets[@]}")
    echo "Building: $preset"
    quietly "build/logs/$preset-configure.log" cmake --preset "$preset" --log-level=WARNING "${options[@]}"
    local command=(cmake --build --preset "$preset" --parallel "$(nproc)" "${targets[@]}")
    if [ -t 1 ]; then
        "${command[@]}"
    else
        quietly "build/logs/$preset-build.log" "${command[@]}"
    fi
    echo "Built: $preset, in $((SECONDS - started)) s"
}

# run_tests PRESET [OPTION...]: options of CTest. Its output ends with the numbers of tests.
run_tests() {
    local preset=$1
    shift
    ctest --preset "$preset" --parallel "$(nproc)" --no-label-summary --progress "$@"
}

# count_tests LOG: prints how many tests passed and failed, of programs that CTest ran under an emulator with
# --verbose. GoogleTest programs print these numbers; a program that does not, or that fails without a
# failed test, counts as one test.
count_tests() {
    tr -d '\r' <"$1" | awk '
        /^[0-9]+: \[==========\] [0-9]+ tests? from .* ran\./ { ran[$1] = $3 }
        /^[0-9]+: \[  PASSED  \] [0-9]+ tests?\.$/ { good[$1] = $5 }
        /^[0-9]+% tests passed, [0-9]+ tests? failed out of [0-9]+$/ { passed = $NF - $(NF - 5); failed = $(NF - 5) }
        END {
            for (program in ran) {
                bad = ran[program] - good[program]
                passed += good[program] - (bad == 0)
                failed += bad - (bad > 0)
            }
            print passed, failed
        }'
}

# temporary_model TOOLS FOLDER: makes FOLDER the temporary directory from here on, with a model of random
# numbers where the library looks for it.
temporary_model() {
    export TMPDIR=$2
    local model="$2/~zvplugintmp~"
    mkdir -p "$2"
    if ! "$1/zomu-model" check "$model" >"$2/model.log" 2>&1; then
        "$1/zomu-model" make "$model" --seed 1 --force >"$2/model.log"
    fi
}
