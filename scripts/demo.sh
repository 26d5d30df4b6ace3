#!/usr/bin/env bash
# Installs what is missing, builds rbz in build/ and shows it at work.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$root/scripts/deps.sh"

rbz_install_missing
build="$(rbz_build_dir "$root")"
cmake -S "$root" -B "$build"
cmake --build "$build" -j2 --target rbz

echo
echo "\$ rbz"
"$build/rbz"
