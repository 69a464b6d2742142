# The check of landmarks on 10,000 wrong records and 8,000 good ones; some minutes.
#
#   scripts/check.sh guard
#
# Wrong records are made of photographs of rendered people and of the sample portrait, 1,000 for each kind of
# mistake. Prints how many are refused, and for those that are accepted the lowest score with their own photograph
# and the highest with photographs of other people and with each other, under the demonstration model. Good
# records are those of 8,000 other rendered photographs; none may be refused. Then the Python package and the
# landmark editor judge the same records, and must agree. All files are in build/guard.
[ $# -eq 0 ] || wrong_usage
needs tests browser python3-opencv python3-tqdm
build dev zomu_guard_sweep zomu-model
home=$PWD/build/guard
mkdir -p "$home/tmp"
export TMPDIR=$home/tmp
quietly "$home/model.log" build/dev/tools/zomu-model unpack models/rendered-people.pack "$TMPDIR/~zvplugintmp~" --force
quietly "$home/render.log" /usr/bin/python3 -B training/render_people "$home/people" --people 100 --photos 4 \
    --seed 20161 --jobs "$(nproc)"
/usr/bin/python3 -B tests/check/rendered_landmarks.py 1000 8 20162 >"$home/good.csv"
build/dev/tests/check/zomu_guard_sweep "$home/people/manifest.csv" "$home/good.csv" "$home/wrong.csv"
/usr/bin/python3 -B tests/check/other_checks.py "$home/wrong.csv" "$home/good.csv"
