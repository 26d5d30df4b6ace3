#!/usr/bin/env bash
# Runs one fuzz target for a number of seconds on its seed corpus.
#   fuzz/run.sh TARGET SECONDS [extra libFuzzer options]
# New inputs go to build-fuzz/work/TARGET (the seed folder fuzz/corpus/TARGET
# is only read); crashes, leaks and timeouts go to build-fuzz/artifacts/TARGET/.
set -euo pipefail

if [ $# -lt 2 ]; then
    echo "usage: fuzz/run.sh TARGET SECONDS [libFuzzer options]" >&2
    exit 2
fi
target=$1
seconds=$2
shift 2

src=$(cd "$(dirname "$0")/.." && pwd)
out=${RBZ_FUZZ_BUILD:-$src/build-fuzz}
bin=$out/fuzz_$target

"$src/fuzz/build.sh" "$target"

work=$out/work/$target
artifacts=$out/artifacts/$target
mkdir -p "$work" "$artifacts" "$src/fuzz/corpus/$target"

# The longest input worth trying: a reply document may be long; command
# lines, status texts, paths and renderings are short, and long inputs only
# slow those targets down.
declare -A max_len=(
    [cimxml]=65536
    [reports]=16384
)
options=(-max_len="${max_len[$target]:-4096}" -timeout=10 -rss_limit_mb=2048 -max_total_time="$seconds"
         -artifact_prefix="$artifacts/" -print_final_stats=1)
# The reply parser prints a line on standard output for every method
# response; closing the fuzzer's stdout keeps that out of the way.
options+=(-close_fd_mask=1)
[ -f "$src/fuzz/$target.dict" ] && options+=(-dict="$src/fuzz/$target.dict")

exec "$bin" "${options[@]}" "$@" "$work" "$src/fuzz/corpus/$target"
