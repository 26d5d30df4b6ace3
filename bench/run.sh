#!/usr/bin/env bash
# Configures and builds the benchmark (Release) in build-bench/ and prints
# the table. Extra arguments go to rbz_bench (for example --sizes 1000,5000).
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
build=${RBZ_BENCH_BUILD:-$src/build-bench}
mkdir -p "$build"

cmake -S "$src" -B "$build" -DRBZ_BENCH=ON -DCMAKE_BUILD_TYPE=Release > "$build/configure.log" 2>&1 ||
    { cat "$build/configure.log" >&2; exit 1; }
cmake --build "$build" -j2 --target rbz_bench > "$build/build.log" 2>&1 ||
    { cat "$build/build.log" >&2; exit 1; }
bench=$build/bench/rbz_bench

# The generated reply is checked against the CIM-XML DTD when both xmllint
# and the DTD are at hand, so the figures are for a valid document.
dtd=${RBZ_CIM_DTD:-$src/tests/data/cim-dtd/DSP0203_2.3.1.dtd}
if command -v xmllint > /dev/null && [ -f "$dtd" ]; then
    "$bench" --dump 20 | xmllint --noout --dtdvalid "$dtd" - && echo "generated reply: valid against $(basename "$dtd")"
fi

"$bench" "$@"
