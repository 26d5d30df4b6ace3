#!/usr/bin/env bash
# Source coverage reached by a fuzz target's corpus (the seeds plus what
# fuzz/run.sh found): builds the target with clang's coverage mapping into
# build-fuzz/cov/, replays every saved input once and prints llvm-cov's
# report for the layers the target links.
#   fuzz/coverage.sh TARGET
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: fuzz/coverage.sh TARGET" >&2
    exit 2
fi
target=$1
src=$(cd "$(dirname "$0")/.." && pwd)
out=${RBZ_FUZZ_BUILD:-$src/build-fuzz}/cov
mkdir -p "$out"

source "$src/fuzz/layers.sh"
sources=()
libs=()
for layer in ${layers[$target]:-$default_layers}; do
    for cpp in "$src/$layer"/*.cpp; do
        [ "$layer/$(basename "$cpp")" = cli/main.cpp ] || sources+=("$cpp")
    done
    libs+=(${layer_libs[$layer]:-})
done

bin=$out/fuzz_$target
clang++ -std=c++17 -O1 -g -I"$src" -fprofile-instr-generate -fcoverage-mapping -fsanitize=fuzzer \
    "$src/fuzz/fuzz_$target.cpp" "${sources[@]}" "${libs[@]}" -o "$bin"

dirs=("$src/fuzz/corpus/$target")
[ -d "$out/../work/$target" ] && dirs+=("$out/../work/$target")
rm -f "$out"/*.profraw
LLVM_PROFILE_FILE="$out/$target.profraw" "$bin" -runs=0 -close_fd_mask=3 "${dirs[@]}"
llvm-profdata merge -sparse "$out/$target.profraw" -o "$out/$target.profdata"
llvm-cov report "$bin" -instr-profile="$out/$target.profdata" "${sources[@]}"
