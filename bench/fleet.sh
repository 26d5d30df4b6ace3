#!/usr/bin/env bash
# Builds rbz and rbz-exporter in Release in build-bench/ (or
# $RBZ_BENCH_BUILD) and prints the fleet table of bench/fleet.py. Arguments
# go to fleet.py (for example --hosts 50 or --runs 21).
# Exit status: 1 when the benchmark could not run, 3 when a target was
# missed, else 0.
set -uo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
build=${RBZ_BENCH_BUILD:-$src/build-bench}
mkdir -p "$build"

cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF > "$build/configure.log" 2>&1 ||
    { cat "$build/configure.log" >&2; exit 1; }
cmake --build "$build" -j2 --target rbz rbz-exporter > "$build/build.log" 2>&1 ||
    { cat "$build/build.log" >&2; exit 1; }

exec python3 "$src/bench/fleet.py" --rbz "$build/rbz" --exporter "$build/rbz-exporter" "$@"
