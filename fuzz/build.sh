#!/usr/bin/env bash
# Builds every fuzz target fuzz/fuzz_*.cpp with clang, libFuzzer, ASan and
# UBSan into build-fuzz/ (or $RBZ_FUZZ_BUILD). Each target links only the
# layers it needs; a target missing from the table links xml and cim.
#   fuzz/build.sh            all targets
#   fuzz/build.sh cimxml     only fuzz_cimxml
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
out=${RBZ_FUZZ_BUILD:-$src/build-fuzz}
cxx=${CXX_FUZZ:-clang++}
jobs=${JOBS:-2}

declare -A layers=(
    [cimxml]="xml"
    [url]="xml cim"
    [avps]="xml cim"
)
default_layers="xml cim"

common=(-std=c++17 -g -O1 -fno-omit-frame-pointer -Wall -Wextra -Werror -I"$src"
        -fsanitize=address,undefined -fno-sanitize-recover=all)

# One object directory per layer, compiled with coverage instrumentation
# but without libFuzzer's main. Objects are rebuilt when their source or any
# header they include changed (dependency files from -MMD).
compile_layer() {
    local layer=$1 dir=$out/obj/$layer
    mkdir -p "$dir"
    local todo=() cpp
    for cpp in "$src/$layer"/*.cpp; do
        [ -e "$cpp" ] || continue
        local obj=$dir/$(basename "${cpp%.cpp}").o
        if needs_build "$cpp" "$obj"; then todo+=("$cpp"); fi
    done
    if [ ${#todo[@]} -gt 0 ]; then
        # xargs appends the source file as the last argument.
        printf '%s\0' "${todo[@]}" | xargs -0 -n 1 -P "$jobs" bash -c \
            'f=${@: -1}; set -- "${@:1:$#-1}"; o=$1/$(basename "${f%.cpp}").o; shift
             echo "compiling $f"; exec "$@" -c "$f" -o "$o" -MMD' \
            _ "$dir" "$cxx" "${common[@]}" -fsanitize=fuzzer-no-link
    fi
}

# True when the object is missing or older than its source or a header
# named in its dependency file.
needs_build() {
    local cpp=$1 obj=$2 dep=${2%.o}.d
    [ -f "$obj" ] && [ -f "$dep" ] || return 0
    [ "$cpp" -nt "$obj" ] && return 0
    local f
    for f in $(sed -e 's/^[^:]*://' -e 's/\\$//' "$dep"); do
        [ "$f" -nt "$obj" ] && return 0
    done
    return 1
}

# True when the fuzzer is missing or older than its source, the headers
# that source includes, or one of the objects it links.
needs_link() {
    local bin=$1 f
    shift
    [ -f "$bin" ] && [ -f "$bin.d" ] || return 0
    for f in "$@" $(sed -e 's/^[^:]*://' -e 's/\\$//' "$bin.d"); do
        [ "$f" -nt "$bin" ] && return 0
    done
    return 1
}

targets=()
if [ $# -gt 0 ]; then
    for t in "$@"; do targets+=("$src/fuzz/fuzz_$t.cpp"); done
else
    targets=("$src"/fuzz/fuzz_*.cpp)
fi

mkdir -p "$out"
for cpp in "${targets[@]}"; do
    [ -e "$cpp" ] || { echo "no fuzz target $cpp" >&2; exit 1; }
    name=$(basename "${cpp%.cpp}")
    target=${name#fuzz_}
    objs=()
    for layer in ${layers[$target]:-$default_layers}; do
        compile_layer "$layer"
        objs+=("$out/obj/$layer"/*.o)
    done
    if ! needs_link "$out/$name" "$cpp" "${objs[@]}"; then
        echo "$out/$name is up to date"
        continue
    fi
    echo "linking $out/$name (layers: ${layers[$target]:-$default_layers})"
    "$cxx" "${common[@]}" -fsanitize=fuzzer "$cpp" "${objs[@]}" -o "$out/$name" -MMD -MF "$out/$name.d"
done
