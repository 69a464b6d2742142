#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test.
#
#   scripts/test.sh [PRESET...]    presets of CMakePresets.json; without any: dev
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."

scripts/install-dependencies.sh
for preset in "${@:-dev}"; do
    cmake --preset "$preset" --log-level=WARNING
    cmake --build --preset "$preset"
    ctest --preset "$preset" --parallel "$(nproc)"
done
