#!/usr/bin/env bash
# Installs what is missing, builds in build/ and runs every test; then builds
# once more with AddressSanitizer and UBSan in build/asan and runs every test
# again there. Fails when any test fails or a sanitizer reports anything.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$root/scripts/deps.sh"

rbz_install_missing
build="$(rbz_build_dir "$root")"

cmake -S "$root" -B "$build"
cmake --build "$build" -j2
(cd "$build" && ctest --output-on-failure -j2)

cmake -S "$root" -B "$build/asan" -DRBZ_SANITIZE=ON
cmake --build "$build/asan" -j2
(cd "$build/asan" && ASAN_OPTIONS=detect_leaks=1 ctest --output-on-failure -j2)
