# What the scripts begin with. Sourced; the working directory is the root of the project afterwards.
set -euo pipefail
shopt -s inherit_errexit
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

# fail MESSAGE
fail() {
    echo "$1" >&2
    exit 1
}

# usage FILE: the comment at the top of a script tells how it is called.
usage() {
    sed -n '/^#!/d; /^#/!q; s/^# \{0,1\}//p' "$1"
}

# wrong_usage [FILE]: without one, of the verb that calls it
wrong_usage() {
    usage "${1:-${BASH_SOURCE[1]}}" >&2
    exit 2
}

# needs GROUP-OR-PACKAGE...
needs() {
    scripts/install-dependencies.sh "$@"
}

# quietly LOG COMMAND...: shows the log only where the command fails.
quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1; then
        cat "$log" >&2
        fail "Failed: $*"
    fi
}

# build PRESET [-DNAME=VALUE...] [TARGET...]: without targets, those of the build preset. A terminal sees
# the progress, anybody else the log of a build that fails.
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

# run_tests PRESET [OPTION...]: of CTest. Its last line has the numbers.
run_tests() {
    local preset=$1
    shift
    ctest --preset "$preset" --parallel "$(nproc)" --no-label-summary --progress "$@"
}

# temporary_model TOOLS FOLDER: makes FOLDER the temporary directory of what runs from here on, with a
# model of random numbers, where the library looks for it.
temporary_model() {
    export TMPDIR=$2
    local model="$2/~zvplugintmp~"
    mkdir -p "$2"
    if ! "$1/zomu-model" check "$model" >"$2/model.log" 2>&1; then
        "$1/zomu-model" make "$model" --seed 1 --force >"$2/model.log"
    fi
}
