#!/usr/bin/env bash
# Makes a virtual environment with the packages that an extra of the Python package asks for, in build/python/EXTRA;
# the package itself stays where it is. Quick if all is there.
#
#   scripts/lib/python-extras.sh EXTRA [PACKAGE...]    with further packages, for tests; these in
#                                                       build/python/EXTRA-tests, or EXTRA-$PURPOSE
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/preamble.sh"

[ $# -ge 1 ] || wrong_usage
extra=$1
shift
needs python3-venv
home=$PWD/build/python/$extra${1:+-${PURPOSE:-tests}}
read -r -d '' listed <<'PYTHON' || true
import sys, tomllib
project = tomllib.load(open("python/pyproject.toml", "rb"))["project"]
print(*project["dependencies"], *project["optional-dependencies"][sys.argv[1]], sep="\n")
PYTHON
mapfile -t packages < <(/usr/bin/python3 -c "$listed" "$extra")
packages+=("$@")
if [ "$(cat "$home/packages" 2>/dev/null)" != "${packages[*]}" ]; then
    rm -rf "$home"
    quietly "$home.log" /usr/bin/python3 -m venv "$home"
    quietly "$home.log" "$home/bin/python" -m pip install --disable-pip-version-check "${packages[@]}"
    echo "${packages[*]}" >"$home/packages"
fi
