# Builds the Debian packages; with "try", also uses them in a fresh Debian 12.
#
#   scripts/check.sh packages        the library, its development files, the tools, the Python package: in
#                                    build/package/packages; prints their names and sizes
#   scripts/check.sh packages try    then creates a system with debootstrap, as root, in build/package/root,
#                                    installs them there and uses each as a new user would: a project in C
#                                    and C++ with CMake and with pkg-config, the example, the tools,
#                                    Python. Shows every command with its output.
case ${*:-build} in
build | try) ;;
*) wrong_usage ;;
esac
needs demo dpkg-dev file
mkdir -p build/package
rm -rf build/package/packages
build package
quietly build/logs/package.log cpack --config build/package/CPackConfig.cmake
rm -rf build/package/packages/_CPack_Packages
(cd build/package/packages && stat --printf='%n %s bytes\n' -- *.deb)
[ $# -eq 1 ] || return 0

[ "$(id -u)" -eq 0 ] || fail "Only root can create a system with debootstrap."
needs debootstrap
root=$PWD/build/package/root
if [ ! -e "$root/complete" ]; then
    rm -rf "$root"
    quietly build/logs/debootstrap.log debootstrap --variant=minbase bookworm "$root"
    # The package sources of this machine, with the settings to reach them, and no others.
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
