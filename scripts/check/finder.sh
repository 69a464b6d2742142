# Measures the finder of the Python package on the portrait and on rendered people; a quarter of an hour.
#
#   scripts/check.sh finder              errors of the landmarks, faces found and not found, time, and the error
#                                        rates of the demonstration model with found and with exact landmarks
#   scripts/check.sh finder threshold    the rates at the model's threshold, with both, on 1,000 other people:
#                                        rates-found/rates.json becomes models/rendered-people-found.json
#   scripts/check.sh finder learn        learns the tables of python/zomu/finders/data again, from other people
#   scripts/check.sh finder data         whether the networks there are those of the npm package; wants npm and a
#                                        package registry
#
# Photographs and results are in build/finder; photographs that are there are not drawn again.
case ${*:-measure} in
measure | threshold | learn | data) part=${1:-measure} ;;
*) wrong_usage ;;
esac
home=$PWD/build/finder
data=python/zomu/finders/data
mkdir -p "$home"

# draw NAME FIRST PEOPLE: eight photographs of each
draw() {
    if [ ! -e "$home/$1/manifest.csv" ]; then
        training/render_people "$home/$1" --people "$3" --photos 8 --first "$2" --jitter 0 0 --jobs "$(nproc)"
    fi
}

if [ "$part" = data ]; then
    command -v npm >/dev/null || fail "npm is needed, of Debian's package npm or any other."
    package=mediapipe-face_mesh-0.4.1657299874.tgz
    (cd "$home" && npm pack --silent @mediapipe/face_mesh@0.4.1657299874 >/dev/null)
    echo "c08a7e0742a326285da666cf81d77c8b6f3a181a2ee948cadaf166008e0d3bc7  $home/$package" | sha256sum --check
    tar -xzf "$home/$package" -C "$home" package/face_mesh_solution_packed_assets.data
    assets=$home/package/face_mesh_solution_packed_assets.data
    # Where the files begin, as the package's own loader says.
    cmp -n 1241896 "$data/face_landmark.tflite" "$assets" 0 2495952
    cmp -n 229032 "$data/face_detection_short_range.tflite" "$assets" 0 3757224
    echo "The networks are those of $package."
    return 0
fi

needs training
if [ "$part" = learn ]; then
    draw learning 70000 300
    training/fit_mesh_landmarks "$home/learning/manifest.csv" "$home/tables"
    for table in mesh_partners.csv mesh_landmarks.csv; do
        if cmp -s "$home/tables/$table" "$data/$table"; then
            echo "$table: the same as in $data"
        else
            echo "$table: differs from that in $data"
        fi
    done
    return 0
fi

build release
tools=build/release/tools
"$tools/zomu-variants" examples/data/portrait.png examples/data/portrait.csv "$home/copies" >/dev/null
portraits=(--portrait "as it is=examples/data/portrait.png,examples/data/portrait.csv")
for copy in turned.png larger.png smaller.png mirrored.png darker.png noisy.png compressed.jpg; do
    portraits+=(--portrait "${copy%.*}=$home/copies/$copy,$home/copies/${copy%.*}.csv")
done
model="$home/~zvplugintmp~"
"$tools/zomu-model" check "$model" >/dev/null 2>&1 ||
    "$tools/zomu-model" unpack models/rendered-people.pack "$model" --force >/dev/null

# measure FOLDER OPTIONS...: finds the faces of the people there, and scores them
measure() {
    local out=$1
    shift
    training/measure_finder "$out/people/manifest.csv" "$out" "${portraits[@]}"
    for kind in exact found; do
        printf '\nThe demonstration model with %s landmarks:\n' $kind
        training/evaluate "$out/$kind.csv" "$out/rates-$kind" --model "$model" "$@"
    done
}
if [ "$part" = threshold ]; then
    draw threshold/people 51000 1000
    measure "$home/threshold" --threshold "$(sed -n 's/.*"threshold at.*": \(.*\),/\1/p' models/rendered-people.json)"
else
    draw people 50000 700
    measure "$home"
fi
