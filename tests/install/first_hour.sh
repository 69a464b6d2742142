#!/usr/bin/env bash
# The first hour with the packages, in the order in which a newcomer would go. Runs in a system of its
# own, see scripts/check.sh packages; every command is shown before its output.
set -euo pipefail
show() {
    printf '\n$ %s\n' "$1"
    bash -c "set -euo pipefail; $1"
}
quietly() {
    printf '\n$ %s\n' "$1"
    if ! bash -c "set -euo pipefail; $1" >/trial/log 2>&1; then
        cat /trial/log
        exit 1
    fi
    tail -n 1 /trial/log
}

cd /trial
quietly 'apt-get update'
quietly 'apt-get install --yes --no-install-recommends /packages/*.deb'
show 'dpkg-query --show "*zomu*"'
show 'zomu-model install'
show 'zomu-model check /tmp/~zvplugintmp~ | tail -n 1'

show 'zomu-variants portrait.png portrait.csv copies >log && zomu verify portrait.png copies/turned.png'
show 'zomu find portrait.png | head -n 3'

quietly 'apt-get install --yes --no-install-recommends cmake g++ make pkgconf'
show 'pkg-config --modversion zomu'
show 'pkg-config --cflags --libs zomu'
show 'cc -std=c11 /use/use_zomu.c -o by-hand $(pkg-config --cflags --libs zomu) && ./by-hand'
show 'cmake -S /use -B by-cmake >log && cmake --build by-cmake >>log'
show 'by-cmake/use_zomu && by-cmake/use_zomu_cpp && by-cmake/use_zomu_batch'

quietly 'apt-get install --yes --no-install-recommends libexif-dev libpng-dev libturbojpeg0-dev'
show 'cc -std=c11 -O2 /usr/share/doc/libzomu-dev/examples/*.c -o compare_faces $(pkg-config --cflags --libs zomu libpng libturbojpeg libexif zlib)'
show './compare_faces portrait.png portrait.csv portrait.png portrait.csv'

cat >compare.py <<'P'
import zomu

picture = zomu.read_picture("portrait.png")
with zomu.Context() as context:
    bright = context.extract(picture, "portrait.csv")
    dark = context.extract(picture // 2, "portrait.csv")
print(f"score {zomu.compare(bright, dark):.4f}")
P
show 'cat compare.py && python3 compare.py'
show 'zomu-template extract portrait.png portrait.csv face.zomu && zomu-template compare face.zomu face.zomu'
show 'zomu-inspect portrait.png portrait.csv sheets && ls sheets'
