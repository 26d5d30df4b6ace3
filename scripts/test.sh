#!/usr/bin/env bash
# Installs what is missing, builds in build/ and runs every test; fails when
# any test fails.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$root/scripts/deps.sh"

rbz_install_missing
build="$(rbz_build_dir "$root")"
cmake -S "$root" -B "$build"
cmake --build "$build" -j2
cd "$build"
ctest --output-on-failure
