#!/usr/bin/env bash
# Tries the packages as somebody with a fresh Debian 12 would: makes a system of its own with
# debootstrap, installs the packages that scripts/package.sh built, and uses each: a project in C and
# C++ by CMake and by pkg-config, the example, the tools, Python. Shows every command with its output.
# Must run as root; what it makes lies in build/package/root.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

if [ "$(id -u)" -ne 0 ]; then
    echo "Only root can make a system of its own." >&2
    exit 1
fi
scripts/install-dependencies.sh debootstrap
root=$PWD/build/package/root
log=$PWD/build/package/debootstrap.log
if [ ! -e "$root/complete" ]; then
    rm -rf "$root"
    if ! debootstrap --variant=minbase bookworm "$root" >"$log" 2>&1; then
        cat "$log" >&2
        exit 1
    fi
    # The package sources of this machine, with whatever it takes to reach them, and no others.
    rm -f "$root/etc/apt/sources.list"
    cp -r /etc/apt/. "$root/etc/apt/"
    touch "$root/complete"
fi
mkdir -p "$root/packages" "$root/use" "$root/trial"
rm -rf "${root:?}/packages/"* "${root:?}/use/"* "${root:?}/trial/"* "${root:?}/tmp/~zvplugintmp~"
cp build/package/packages/*.deb "$root/packages/"
cp tests/install/use/* "$root/use/"
cp examples/data/portrait.png examples/data/portrait.csv "$root/trial/"
cp tests/install/first_hour.sh "$root/first_hour.sh"

mount --bind /proc "$root/proc"
trap 'umount "$root/proc"' EXIT
chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive bash /first_hour.sh
