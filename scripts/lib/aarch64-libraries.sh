#!/usr/bin/env bash
# Unpacks Debian's packages for 64-bit ARM into a folder in the cache, ${XDG_CACHE_HOME:-$HOME/.cache}/zomu:
# the libraries that the build for ARM needs, with the C library and the loader that its programs need
# under an emulator. This machine's packages and its configuration do not change. Prints the folder;
# progress goes to standard error.
#
#   scripts/lib/aarch64-libraries.sh             fetches them if they are not in the cache
#   scripts/lib/aarch64-libraries.sh --cached    fetches nothing: exit status 3 if they are not in the cache
set -euo pipefail
shopt -s inherit_errexit

if [ $# -gt 1 ] || { [ $# -eq 1 ] && [ "$1" != --cached ]; }; then
    echo "Usage: scripts/lib/aarch64-libraries.sh [--cached]" >&2
    exit 2
fi
packages=(
    libc6-dev libstdc++6 libgomp1
    libopenblas-openmp-dev libopenblas0-pthread
    libcairo2-dev libcli11-dev libexif-dev libpng-dev libssl-dev libturbojpeg0-dev zlib1g-dev
    libgtest-dev
)

# The libraries are as old as the cross compiler's own: a new version of it gets a new folder, and so does
# another list of packages.
compiler=$(dpkg-query --show --showformat='${Version}' libc6-dev-arm64-cross)
read -r list _ < <(echo "${packages[*]}" | cksum)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/zomu
folder=$cache/aarch64-$compiler-$list
if [ -d "$folder" ]; then
    echo "$folder"
    exit 0
fi
if [ "${1:-}" = --cached ]; then
    echo "$(basename "$folder") is not in the cache." >&2
    exit 3
fi
mkdir -p "$cache"
work=$(mktemp --directory "$cache/work.XXXXXX")
trap 'rm -rf "$work"' EXIT

# apt-get for a machine of the other kind, on which nothing is installed yet. It has this machine's package
# sources.
mkdir -p "$work"/{lists,cache}/partial "$work/cache/archives/partial"
touch "$work/status"
foreign_apt() {
    if ! apt-get --quiet=2 -o APT::Architecture=arm64 -o APT::Architectures=arm64 \
        -o Dir::State::status="$work/status" -o Dir::State::lists="$work/lists" -o Dir::Cache="$work/cache" \
        -o APT::Sandbox::User="$(id -un)" -o Debug::NoLocking=1 "$@" >"$work/log" 2>&1; then
        cat "$work/log" >&2
        echo "The packages for 64-bit ARM cannot be fetched." >&2
        exit 1
    fi
}
echo "Fetching $(basename "$folder") ..." >&2
foreign_apt update
foreign_apt install --download-only --yes --no-install-recommends "${packages[@]}"

# Programs are left out: an emulator would take them for those of this machine.
for package in "$work"/cache/archives/*.deb; do
    dpkg-deb --extract "$package" "$work/root"
done
rm -rf "$work"/root/{bin,etc,sbin,var} "$work"/root/usr/{bin,sbin} "$work"/root/usr/lib/python3*
mv "$work/root" "$folder"
echo "$folder"
