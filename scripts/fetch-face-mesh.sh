#!/usr/bin/env bash
# Fetches the face mesh for "Find the points" of the landmark editor: the npm package @mediapipe/face_mesh, of
# which the files that the page needs become one script beside it, 14 MB in tools/landmark-editor/face-mesh.
# Wants npm and a package registry, once.
#
#   scripts/fetch-face-mesh.sh
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib/preamble.sh"
[ $# -eq 0 ] || wrong_usage

version=0.4.1657299874
checksum=c08a7e0742a326285da666cf81d77c8b6f3a181a2ee948cadaf166008e0d3bc7
home=tools/landmark-editor/face-mesh
files=(
    face_mesh.js
    face_mesh.binarypb
    face_mesh_solution_packed_assets.data
    face_mesh_solution_packed_assets_loader.js
    face_mesh_solution_simd_wasm_bin.js
    face_mesh_solution_simd_wasm_bin.wasm
)

command -v npm >/dev/null || fail "npm is needed, of Debian's package npm or any other."
mkdir -p build
work=$(mktemp --directory "$PWD/build/face-mesh.XXXXXX")
trap 'rm -rf "$work"' EXIT
echo "Fetching @mediapipe/face_mesh $version"
(cd "$work" && quietly npm.log npm pack --loglevel=error "@mediapipe/face_mesh@$version")
archive=$work/mediapipe-face_mesh-$version.tgz
echo "$checksum  $archive" | sha256sum --check --quiet || fail "The package is not the one that is known here: nothing was written."
tar -xzf "$archive" -C "$work"

script=$work/files.js
{
    echo "// Files of the npm package @mediapipe/face_mesh, version $version, unchanged, in base64. They are part of"
    echo "// MediaPipe, by The MediaPipe Authors, under the Apache License 2.0 (LICENSE)."
    echo "globalThis.faceMeshFiles = {"
    for file in "${files[@]}"; do
        echo "  '$file': '$(base64 --wrap=0 "$work/package/$file")',"
    done
    echo "};"
} >"$script"
cp python/zomu/finders/data/LICENSE "$home/LICENSE"
mv "$script" "$home/files.js"
echo "\"Find the points\" of tools/landmark-editor/index.html has what it needs."
