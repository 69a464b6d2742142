# Measures what works on many faces: bulk extraction, galleries.
#
#   scripts/check.sh bench-scale [PROGRAM [OPTION...]]    of bench/scale; default: all of them
#
# Prints a table for each; they are in build/scale, too. Nothing else should run on the machine.
needs demo
build release
home=$PWD/build/scale
export TMPDIR=$home ZOMU_LIBRARY=$PWD/build/release/src/libZOMU.so PYTHONPATH=$PWD/python
mkdir -p "$home"
build/release/tools/zomu-model check "$home/~zvplugintmp~" >/dev/null 2>&1 ||
    build/release/tools/zomu-model unpack models/rendered-people.pack "$home/~zvplugintmp~" --force >/dev/null

# Each program has the packages of the extra of its name, and those that it names itself.
program=${1:-}
for file in bench/scale/*.py; do
    name=$(basename "$file" .py)
    [ "${program:-$name}" = "$name" ] || continue
    read -r -a packages < <(sed -n 's/^# Packages: //p' "$file") || true
    PURPOSE=bench scripts/lib/python-extras.sh "$name" "${packages[@]}"
    "build/python/$name${packages[0]:+-bench}/bin/python" "$file" "${@:2}" | tee "$home/$name.txt"
done
