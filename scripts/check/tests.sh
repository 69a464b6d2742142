# Builds, and runs tests: those of scripts/test.sh, or selected ones.
#
#   scripts/check.sh tests [OPTION...]         options of CTest, such as -R HeadPose
#   scripts/check.sh tests full [OPTION...]    the tests that scripts/test.sh leaves out, such as -L training
preset=dev
if [ "${1:-}" = full ]; then
    preset=full
    needs developers
    shift
    # Where it cannot be fetched, the test that wants it is left out, and says so.
    [ -e tools/landmark-editor/face-mesh/files.js ] || scripts/fetch-face-mesh.sh || true
else
    needs tests
fi
build dev
run_tests $preset "$@"
