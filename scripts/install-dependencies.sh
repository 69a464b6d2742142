#!/usr/bin/env bash
# Installs the Debian packages that building, testing and the demo need, and those that are named
# besides. Silent and quick when all of them are there.
#
#   scripts/install-dependencies.sh [PACKAGE...]
set -euo pipefail

packages=(
    # Building
    cmake g++ make ninja-build pkgconf
    libopenblas-openmp-dev # the static archive of the OpenMP build; no other build will do
    # Tools, examples and the demo
    libcairo2-dev libcli11-dev libpng-dev libssl-dev libturbojpeg0-dev zlib1g-dev fonts-dejavu-core
    # Tests
    libgtest-dev locales
    libopenblas0-pthread        # the BLAS of a host that the library is tested beside
    clang clang-tidy libomp-dev # the same floats from a second compiler; lint
    cppcheck                    # static analysis
    libclang-rt-14-dev          # clang's sanitizers and libFuzzer
    gcovr python3               # coverage; the mutation check
    python3-numpy python3-opencv python3-pip python3-setuptools python3-wheel mypy # the Python package
    chromium chromium-driver python3-selenium # the landmark editor
    graphviz mkdocs mkdocs-material           # the documentation site
    libbenchmark-dev valgrind   # benchmarks; counts of instructions
    python3-matplotlib python3-torch python3-tqdm # the training kit
    "$@"
)

missing=()
for package in "${packages[@]}"; do
    if [ "$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    as_root=(sudo)
fi

echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { "${as_root[@]}" apt-get update &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install --yes --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "The packages could not be installed." >&2
    exit 1
fi
