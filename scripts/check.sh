#!/usr/bin/env bash
# Everything that developers check, measure and build besides scripts/demo.sh and scripts/test.sh.
#
#   scripts/check.sh VERB [ARGUMENT...]
#   scripts/check.sh VERB --help
source "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/lib/preamble.sh"

# Each verb is a file in scripts/check/, whose first line is a comment that says what it does. It runs with
# the functions of the preamble, in the root of the project.
list_verbs() {
    usage scripts/check.sh
    echo
    local file
    for file in scripts/check/*.sh; do
        printf '  %-11s %s\n' "$(basename "$file" .sh)" "$(sed -n '1s/^# //p' "$file")"
    done
}

case ${1:-} in
-h | --help)
    list_verbs
    exit 0
    ;;
esac
script=scripts/check/${1:-}.sh
if ! [[ ${1:-} =~ ^[a-z0-9-]+$ ]] || [ ! -f "$script" ]; then
    list_verbs >&2
    exit 2
fi
shift
case ${1:-} in
-h | --help)
    usage "$script"
    exit 0
    ;;
esac
# shellcheck source=/dev/null
source "$script"
