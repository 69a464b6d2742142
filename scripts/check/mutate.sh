# Checks the tests: changes one token of src/ at a time and counts which changes some test notices.
#
#   scripts/check.sh mutate [OPTION...]    options: scripts/lib/mutation.py --help
#
# Takes about an hour on two cores.
needs tests git
python3 scripts/lib/mutation.py "$@"
