#!/usr/bin/env bash
# Every benchmark in one go, each printing its tables:
#   1. the reply parser against libxml2 and pugixml (bench/run.sh, in build-bench/);
#   2. whole runs of rbz against curl (bench/whole_run.py), with rbz built in
#      Release in build-wb/.
# Arguments go to whole_run.py (for example --runs 15); RBZ_PARSER_ARGS holds
# the parser benchmark's own (for example "--sizes 1000,10000").
# Exit status: 1 when a benchmark could not run, else 3 when a target was
# missed, else 0.
set -uo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
build=${RBZ_WB_BUILD:-$src/build-wb}
mkdir -p "$build"

cmake -S "$src" -B "$build" -DCMAKE_BUILD_TYPE=Release > "$build/configure.log" 2>&1 ||
    { cat "$build/configure.log" >&2; exit 1; }
cmake --build "$build" -j2 --target rbz > "$build/build.log" 2>&1 ||
    { cat "$build/build.log" >&2; exit 1; }

status=0
note() {
    case $1 in
        0) ;;
        3) [ "$status" -eq 0 ] && status=3 ;;
        *) status=1 ;;
    esac
}

echo "# Reply parser"
echo
# shellcheck disable=SC2086   # the parser's options are split on purpose
"$src/bench/run.sh" ${RBZ_PARSER_ARGS:-}
note $?
echo

python3 "$src/bench/whole_run.py" --rbz "$build/rbz" "$@"
note $?
exit "$status"
