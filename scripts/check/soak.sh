# Two contexts on two threads extract and compare without a pause: same bits, constant memory use.
#
#   scripts/check.sh soak [MINUTES]    default: 15
#
# Every template must have the bits of the first one of its face, and memory use must not grow after the
# first minute. Prints figures every minute and a verdict; exit status 1 if it fails.
minutes=${1:-15}
if [ $# -gt 1 ] || ! [[ $minutes =~ ^[1-9][0-9]{0,5}$ ]]; then
    wrong_usage
fi
needs tests
build dev ZOMU zomu_soak zomu-model
temporary_model build/dev/tools "$PWD/build/soak/tmp"
build/dev/tests/hardening/zomu_soak build/dev/src/libZOMU.so "$((60 * minutes))"
