#!/usr/bin/env bash
# Builds rbz in Release in build-bench/ (or $RBZ_BENCH_BUILD) and prints the
# target table of bench/whole_run.py. Arguments go to whole_run.py (for
# example --runs 21 or --only realistic,extreme).
# Exit status: 1 when the benchmark could not run, 3 when a target was
# missed, else 0.
set -uo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
build=${RBZ_BENCH_BUILD:-$src/build-bench}
mkdir -p "$build"

cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF > "$build/configure.log" 2>&1 ||
    { cat "$build/configure.log" >&2; exit 1; }
cmake --build "$build" -j2 --target rbz > "$build/build.log" 2>&1 ||
    { cat "$build/build.log" >&2; exit 1; }

exec python3 "$src/bench/whole_run.py" --rbz "$build/rbz" "$@"
