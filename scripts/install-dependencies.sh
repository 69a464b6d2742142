#!/usr/bin/env bash
# Installs the Debian packages of groups, and single packages. Quick and silent if all of them are
# installed; otherwise it prints what it installs and its progress.
#
#   scripts/install-dependencies.sh [GROUP | PACKAGE]...    default: demo
#
#   demo         what the library, the tools, the examples and scripts/demo.sh need
#   tests        also what scripts/test.sh needs
#   gate         also what .ci/run needs: linters, sanitizers, counts of instructions
#   developers   everything that the verbs of scripts/check.sh need: browser, PyTorch, PostgreSQL, site, Windows, 64-bit ARM
set -euo pipefail

demo=(
    cmake g++ ninja-build pkgconf
    libopenblas-openmp-dev # the static archive of the OpenMP build; no other build will do
    libcairo2-dev libcli11-dev libexif-dev libpng-dev libturbojpeg0-dev zlib1g-dev fonts-dejavu-core
    python3 python3-numpy # the command zomu
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
training=(python3-matplotlib python3-opencv python3-torch python3-tqdm)
wheel=(python3-pip python3-setuptools python3-wheel)
browser=(chromium chromium-driver python3-selenium)
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
    "${gate[@]}" "${clang[@]}" "${training[@]}" "${wheel[@]}" "${browser[@]}" "${site[@]}" "${gallery[@]}" "${packages[@]}" "${windows[@]}"
    "${aarch64[@]}" cppcheck gcovr
)

wanted=()
for name in "${@:-demo}"; do
    case $name in
    demo | tests | gate | clang | training | wheel | browser | site | gallery | packages | windows | aarch64 | developers)
        declare -n group=$name
        wanted+=("${group[@]}")
        ;;
    -*)
        sed -n '2,10s/^# \{0,1\}//p' "$0" >&2
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

# Repeats what apt says of the number and the size of the packages, and counts them in tenths: once as they
# are fetched, once as they are set up.
show_progress() {
    awk '
        /newly installed/ { print "  " $0; count = $3 }
        /^After this operation/ { print "  " $0 }
        /^Get:[0-9]+ / && count { step("fetched", ++fetched) }
        /^Setting up / && count { step("set up", ++ready) }
        function step(what, number) {
            if (int(10 * number / count) > shown[what]) {
                shown[what] = int(10 * number / count)
                if (shown[what] <= 10) {
                    printf "  %s %d %%\n", what, 10 * shown[what]
                }
            }
            fflush()
        }'
}

echo "Installing: ${missing[*]}"
if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C apt-get -o Dpkg::Use-Pty=0 \
        install --yes --no-install-recommends "${missing[@]}"; } 2>&1 | tee "$log" | show_progress; then
    cat "$log" >&2
    echo "The packages could not be installed." >&2
    exit 1
fi
