#!/usr/bin/env bash
# Adds to the saved corpus fuzz/corpus/TARGET the inputs of the fuzzer's
# work folder that reach code the corpus does not reach yet (libFuzzer's
# -merge=1). Only edges count, not how often an input runs them
# (-use_counters=0): that keeps the corpus at a few hundred files, quick to
# replay in the unit tests. The files already in the corpus, the named seeds
# among them, stay as they are.
#   fuzz/merge.sh TARGET
set -euo pipefail

if [ $# -ne 1 ]; then
    echo "usage: fuzz/merge.sh TARGET" >&2
    exit 2
fi
target=$1
src=$(cd "$(dirname "$0")/.." && pwd)
out=${RBZ_FUZZ_BUILD:-$src/build-fuzz}

"$src/fuzz/build.sh" "$target"
corpus=$src/fuzz/corpus/$target
mkdir -p "$corpus" "$out/work/$target"
before=$(ls "$corpus" | wc -l)
"$out/fuzz_$target" -merge=1 -use_counters=0 -close_fd_mask=1 -timeout=10 -rss_limit_mb=2048 "$corpus" "$out/work/$target"
echo "$corpus: $before files before, $(ls "$corpus" | wc -l) after"
