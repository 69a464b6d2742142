#!/usr/bin/env bash
# Installs the Debian packages of groups, and single packages. Quick and silent if all of them are
# installed; otherwise it prints what it installs and its progress.
#
#   scripts/install-dependencies.sh [GROUP | PACKAGE]...    default: demo
#
#   python       what scripts/check.sh wheel needs: the library, and the Python package with it
#   demo         also what the tools, the examples and scripts/demo.sh need
#   tests        also what scripts/test.sh needs
#   gate         also what .ci/run needs: linters, sanitizers, counts of instructions
#   developers   everything that the verbs of scripts/check.sh need: browser, PyTorch, PostgreSQL, site, Windows, 64-bit ARM
set -euo pipefail

python=(
    cmake g++ ninja-build pkgconf
    libopenblas-openmp-dev # the static archive of the OpenMP build; no other build will do
    libexif-dev libpng-dev libturbojpeg0-dev zlib1g-dev
    python3 python3-venv
)
demo=(
    "${python[@]}"
    libcairo2-dev libcli11-dev fonts-dejavu-core
    python3-numpy # the command zomu
)
tests=(
    "${demo[@]}"
    libgtest-dev locales
    python3-pil          # zomu draw, and pictures of the Python tests
    libopenblas0-pthread # the BLAS of a host in the tests
    make                 # the generator of a project that uses an installed library
    mypy                 # the types of the Python package
)
gate=(
    "${tests[@]}"
    clang-format clang-tidy git pyflakes3 shellcheck
    libbenchmark-dev valgrind
)
clang=(clang libclang-rt-14-dev libomp-dev) # the other compiler, its sanitizers and libFuzzer
training=(libegl1 libgl1-mesa-dri python3-matplotlib python3-moderngl python3-opencv python3-torch python3-tqdm)
wheel=(python3-pip python3-setuptools python3-wheel)
browser=(chromium chromium-driver python3-selenium)
shells=(fish zsh) # completions
site=(graphviz mkdocs mkdocs-material)
gallery=(postgresql-15)
packages=(debootstrap dpkg-dev file)
windows=(
    g++-mingw-w64-x86-64-posix # the cross compiler whose threads are those of std::thread and OpenMP
    libz-mingw-w64-dev         # for libpng
    wine64
    dpkg-dev                   # unpacks source packages
    googletest                 # the sources of libgtest-dev
)
aarch64=(
    g++-aarch64-linux-gnu
    qemu-user # runs the programs
)
# shellcheck disable=SC2034 # the groups are used by their names
developers=(
    "${gate[@]}" "${clang[@]}" "${training[@]}" "${wheel[@]}" "${browser[@]}" "${shells[@]}" "${site[@]}" "${gallery[@]}"
    "${packages[@]}" "${windows[@]}" "${aarch64[@]}" cppcheck gcovr
)

wanted=()
for name in "${@:-demo}"; do
    case $name in
    python | demo | tests | gate | clang | training | wheel | browser | shells | site | gallery | packages | windows | aarch64 | developers)
        declare -n group=$name
        wanted+=("${group[@]}")
        ;;
    -*)
        sed -n '2,11s/^# \{0,1\}//p' "$0" >&2
        exit 2
        ;;
    *) wanted+=("$name") ;;
    esac
done

missing=()
for package in "${wanted[@]}"; do
    if [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# show_tenth WHAT NUMBER COUNT: a line for every tenth of the packages, once it is complete.
show_tenth() {
    local tenth=$((10 * $2 / $3))
    if [ "$2" -le "$3" ] && [ $tenth -gt $((10 * ($2 - 1) / $3)) ]; then
        echo "  $1 ${tenth}0 %"
    fi
}

# Repeats what apt says of the number and the size of the packages, and counts them in tenths as they are
# fetched, unpacked and set up. Not with awk: Debian's reads a pipe in blocks.
show_progress() {
    local line count=0 fetched=0 unpacked=0 ready=0
    while IFS= read -r line; do
        if [[ $line =~ ([0-9]+)\ newly\ installed ]]; then
            count=${BASH_REMATCH[1]}
            echo "  $line"
        elif [[ $line == 'After this operation'* ]]; then
            echo "  $line"
        elif [[ $line =~ ^Get:[0-9]+\  ]] && [ "$count" -gt 0 ]; then
            show_tenth fetched $((++fetched)) "$count"
        elif [[ $line == 'Unpacking '* ]] && [ "$count" -gt 0 ]; then
            show_tenth unpacked $((++unpacked)) "$count"
        elif [[ $line == 'Setting up '* ]] && [ "$count" -gt 0 ]; then
            show_tenth 'set up' $((++ready)) "$count"
        fi
    done
}

echo "Installing: ${missing[*]}"
if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get -o Dpkg::Use-Pty=0 \
        install --yes --no-install-recommends "${missing[@]}"; } 2>&1 | tee "$log" | show_progress; then
    cat "$log" >&2
    echo "The packages could not be installed." >&2
    exit 1
fi
