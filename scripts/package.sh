#!/usr/bin/env bash
# Builds the Debian packages: the library, its development files, the tools and the Python package. They
# lie in build/package/packages afterwards; prints their names and sizes.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

scripts/install-dependencies.sh dpkg-dev file
mkdir -p build/package
rm -rf build/package/packages
if ! { cmake --preset package && cmake --build --preset package &&
    cpack --config build/package/CPackConfig.cmake; } >build/package/log 2>&1; then
    cat build/package/log >&2
    exit 1
fi
rm -rf build/package/packages/_CPack_Packages
(cd build/package/packages && stat --printf='%n %s bytes\n' -- *.deb)
