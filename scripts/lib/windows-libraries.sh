#!/usr/bin/env bash
# Cross-builds the static libraries of the Windows build from Debian's own source packages, in the
# versions that are installed here. Each is built once, in a cache folder that outlives the build:
# ${XDG_CACHE_HOME:-$HOME/.cache}/zomu. Prints one folder per line; progress goes to standard error.
#
#   scripts/lib/windows-libraries.sh             builds those that are not in the cache
#   scripts/lib/windows-libraries.sh --cached    builds none: exit status 3 if one is not in the cache
set -euo pipefail
shopt -s inherit_errexit

if [ $# -gt 1 ] || { [ $# -eq 1 ] && [ "$1" != --cached ]; }; then
    echo "Usage: scripts/lib/windows-libraries.sh [--cached]" >&2
    exit 2
fi
only_cached=${1:-}
cache=${XDG_CACHE_HOME:-$HOME/.cache}/zomu
mkdir -p "$cache"
work=$(mktemp --directory "$cache/work.XXXXXX")
trap 'rm -rf "$work"' EXIT
triplet=x86_64-w64-mingw32
jobs=2

# The compiler reports its version as "12-posix". OpenBLAS's makefiles take that for a version below 4.6
# and leave out everything for AVX2. Under its plain name, this wrapper reports the number alone.
mkdir "$work/bin"
cat >"$work/bin/$triplet-gcc" <<WRAPPER
#!/bin/sh
if [ "\$*" = -dumpversion ]; then
    $triplet-gcc-posix -dumpversion | cut -d- -f1
else
    exec $triplet-gcc-posix "\$@"
fi
WRAPPER
chmod +x "$work/bin/$triplet-gcc"
for tool in g++ ar ranlib; do
    ln -s "$(command -v $triplet-$tool-posix || command -v $triplet-$tool)" "$work/bin/$triplet-$tool"
done
export PATH=$work/bin:$PATH

# quietly COMMAND...: shows the output of the command only if it fails.
quietly() {
    if ! "$@" >"$work/log" 2>&1; then
        tail --lines=60 "$work/log" >&2
        echo "Failed: $*" >&2
        exit 1
    fi
}

# upstream_version PACKAGE: the version of an installed package, without epoch and Debian revision.
upstream_version() {
    local version
    version=$(dpkg-query --show --showformat='${source:Version}' "$1")
    version=${version#*:}
    echo "${version%-*}"
}

# apt-get and apt-cache with a configuration of their own: this machine's package sources, but for source
# packages instead of binary ones. The machine's configuration does not change.
private_apt() {
    local program=$1
    shift
    "$program" --quiet=2 -o Dir::Etc::sourcelist="$work/apt/sources.list" \
        -o Dir::Etc::sourceparts="$work/apt/parts" -o Dir::State::lists="$work/apt/lists" \
        -o Dir::Cache="$work/apt/cache" -o APT::Sandbox::User="$(id -un)" "$@"
}

read_source_lists() {
    local list parts file
    eval "$(apt-config shell list Dir::Etc::sourcelist/f parts Dir::Etc::sourceparts/d)"
    mkdir -p "$work"/apt/{parts,lists,cache}
    touch "$work/apt/sources.list"
    for file in "$list" "$parts"*.list; do
        if [ -f "$file" ]; then
            sed --quiet 's/^ *deb /deb-src /p' "$file" >>"$work/apt/sources.list"
        fi
    done
    for file in "$parts"*.sources; do
        if [ -f "$file" ]; then
            sed 's/^Types:.*/Types: deb-src/' "$file" >"$work/apt/parts/$(basename "$file")"
        fi
    done
    quietly private_apt apt-get update
}

# fetch SOURCE VERSION: unpacks a source package of this upstream version into $work/SOURCE, with the
# latest available changes of the distribution. A mirror may lack a part of a package.
fetch() {
    local revision
    [ -d "$work/apt" ] || read_source_lists
    mkdir "$work/fetched"
    cd "$work/fetched"
    for revision in $(private_apt apt-cache showsrc "$1" | sed --quiet 's/^Version: //p' |
        sort --version-sort --reverse --unique); do
        case $revision in "$2"-* | *":$2"-*) ;; *) continue ;; esac
        if private_apt apt-get --download-only source "$1=$revision" >"$work/log" 2>&1; then
            quietly dpkg-source --extract ./*.dsc "$work/$1"
            break
        fi
        if private_apt apt-get --tar-only source "$1=$revision" >>"$work/log" 2>&1; then
            mkdir -p "$work/$1-unchanged"
            tar --extract --strip-components=1 --directory "$work/$1-unchanged" --file ./*.orig.tar.*
        fi
    done
    if [ ! -d "$work/$1" ]; then
        if [ ! -d "$work/$1-unchanged" ]; then
            cat "$work/log" >&2
            echo "There is no source package $1 $2. Are this machine's packages up to date?" >&2
            exit 1
        fi
        echo "$1 $2: without the distribution's changes, which are not available" >&2
        mv "$work/$1-unchanged" "$work/$1"
    fi
    rm -rf "$work/fetched" "$work/$1-unchanged"
    cd "$work/$1"
}

# OpenBLAS with kernels for two kinds of processors: any x86-64, and those with AVX2. It is installed with
# its own header, since the distribution's uses a type of Linux. NUM_THREADS is the maximal number of
# threads that may multiply at once without a warning; its default is the number of this machine's cores.
# The target `netlib` adds LAPACK, which the distribution's makefile takes from Linux, so it is left out.
build_openblas() { # PREFIX VERSION
    fetch openblas "$2"
    quietly make --jobs=$jobs CC=$triplet-gcc AR=$triplet-ar RANLIB=$triplet-ranlib HOSTCC=gcc \
        USE_OPENMP=1 DYNAMIC_ARCH=1 DYNAMIC_LIST=HASWELL BUILD_SINGLE=1 NUM_THREADS=64 \
        NOFORTRAN=1 NO_LAPACK=1 NO_LAPACKE=1 NO_SHARED=1 BINARY=64 TARGET=CORE2 libs
    mkdir -p "$1"/{include,lib}
    cp --dereference libopenblas.a "$1/lib/"
    sed 's/"common.h"/"openblas_config.h"/' cblas.h >"$1/include/cblas.h"
    {
        echo "#pragma once"
        awk 'NF { print $1, "OPENBLAS_" $2, $3 }' config_last.h
        cat openblas_config_template.h
    } >"$1/include/openblas_config.h"
}

build_libpng() {
    fetch libpng1.6 "$2"
    quietly ./configure --host=$triplet --prefix="$1" --disable-shared --disable-tools CFLAGS=-O2
    quietly make --jobs=$jobs libpng16.la
    quietly make install-libLTLIBRARIES install-pkgincludeHEADERS install-nodist_pkgincludeHEADERS \
        install-header-links install-library-links
}

# Without its assembler code, which is faster but gives the same pixels.
build_libjpeg_turbo() {
    fetch libjpeg-turbo "$2"
    quietly cmake -S . -B cross -G Ninja -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_SYSTEM_PROCESSOR=x86_64 \
        -DCMAKE_C_COMPILER=$triplet-gcc -DCMAKE_RC_COMPILER=$triplet-windres \
        -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$1" -DCMAKE_INSTALL_LIBDIR=lib \
        -DENABLE_SHARED=OFF -DWITH_SIMD=OFF
    quietly cmake --build cross --parallel $jobs --target turbojpeg-static
    mkdir -p "$1"/{include,lib/pkgconfig}
    cp cross/libturbojpeg.a "$1/lib/"
    cp turbojpeg.h "$1/include/"
    cp cross/pkgscripts/libturbojpeg.pc "$1/lib/pkgconfig/"
}

# Without its configure script, which is not in the source package: all that it would write are these two
# headers.
build_libexif() {
    fetch libexif "$2"
    echo '#define GETTEXT_PACKAGE "libexif"' >config.h
    echo '#include <stdint.h>' >libexif/_stdint.h
    mkdir -p "$1"/{include/libexif,lib/pkgconfig} objects
    local source
    for source in libexif/*.c libexif/*/*.c; do
        quietly $triplet-gcc -O2 -I. -c "$source" -o "objects/$(basename "$source" .c).o"
    done
    quietly $triplet-ar rcs "$1/lib/libexif.a" objects/*.o
    cp libexif/exif-*.h libexif/_stdint.h "$1/include/libexif/"
    sed -e "s|@prefix@|$1|; s|@exec_prefix@|$1|; s|@libdir@|$1/lib|; s|@includedir@|$1/include|" \
        -e "s|@VERSION@|$2|" libexif.pc.in >"$1/lib/pkgconfig/libexif.pc"
}

build_pixman() {
    fetch pixman "$2"
    quietly ./configure --host=$triplet --prefix="$1" --disable-shared --disable-gtk --disable-libpng \
        --disable-openmp CFLAGS=-O2
    quietly make --jobs=$jobs --directory=pixman install
    quietly make install-pkgconfigDATA
}

# Only pictures in memory and the system's own fonts. The distribution's changes are newer than the
# makefiles, which need not be regenerated for them. By default the header declares the functions as those
# of a DLL, and the .pc file does not list all libraries that are needed.
build_cairo() {
    fetch cairo "$2"
    export PKG_CONFIG_LIBDIR=$pixman/lib/pkgconfig
    quietly ./configure --host=$triplet --prefix="$1" --disable-shared --enable-win32 \
        --enable-win32-font --disable-{xlib,xcb,png,ps,pdf,svg,script,ft,fc,gobject,interpreter,trace} \
        CFLAGS="-O2 -Wno-attributes"
    unset PKG_CONFIG_LIBDIR
    local keep=(ACLOCAL=true AUTOCONF=true AUTOMAKE=true AUTOHEADER=true)
    quietly make --jobs=$jobs --directory=src install "${keep[@]}"
    sed -i -e '/^Cflags:/s/$/ -DCAIRO_WIN32_STATIC_BUILD/' \
        -e 's/^Libs.private:.*/Libs.private: -lgdi32 -lmsimg32 -lssp/' "$1/lib/pkgconfig/cairo.pc"
}

build_googletest() {
    quietly cmake -S /usr/src/googletest -B "$work/googletest" -G Ninja -DCMAKE_SYSTEM_NAME=Windows \
        -DCMAKE_CXX_COMPILER=$triplet-g++ -DCMAKE_C_COMPILER=$triplet-gcc -DCMAKE_BUILD_TYPE=Release \
        -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$1"
    quietly cmake --build "$work/googletest" --parallel $jobs --target install
}

# Only headers. They need a folder of their own, since their original folder also has the headers of Linux.
build_cli11() {
    mkdir -p "$1"/{include,share/cmake}
    cp -r /usr/include/CLI "$1/include/"
    cp -r /usr/share/cmake/CLI11 "$1/share/cmake/"
}

# library NAME VERSION [FLAGS]: builds the library if it is not in the cache, and prints its folder. A
# folder gets its final name when it is complete.
library() {
    local prefix=$cache/$1-$2${3:+-$3}
    if [ ! -d "$prefix" ]; then
        if [ -n "$only_cached" ]; then
            echo "$(basename "$prefix") is not in the cache." >&2
            exit 3
        fi
        echo "Building $(basename "$prefix") ..." >&2
        rm -rf "$prefix.partial"
        (cd "$work" && "build_$1" "$prefix.partial" "$2")
        mv "$prefix.partial" "$prefix"
        sed -i "s|\.partial||g" "$prefix"/lib/pkgconfig/*.pc 2>/dev/null || true
    fi
    echo "$prefix"
}

library googletest "$(upstream_version googletest)"
library cli11 "$(upstream_version libcli11-dev)"
library openblas "$(upstream_version libopenblas-openmp-dev)" openmp-core2-haswell-64threads
library libpng "$(upstream_version libpng-dev)"
library libjpeg_turbo "$(upstream_version libturbojpeg0-dev)"
library libexif "$(upstream_version libexif-dev)"
pixman=$(library pixman "$(upstream_version libpixman-1-dev)")
echo "$pixman"
library cairo "$(upstream_version libcairo2-dev)"
