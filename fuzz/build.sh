#!/usr/bin/env bash
# Builds every fuzz target fuzz/fuzz_*.cpp with clang, libFuzzer, ASan and
# UBSan into build-fuzz/ (or $RBZ_FUZZ_BUILD). Each layer a target needs is
# compiled once into an archive; a target links those archives (so only the
# objects it uses) and the libraries of their layers. A target missing from
# the table links xml and cim.
#   fuzz/build.sh            all targets
#   fuzz/build.sh cimxml     only fuzz_cimxml
set -euo pipefail

src=$(cd "$(dirname "$0")/.." && pwd)
out=${RBZ_FUZZ_BUILD:-$src/build-fuzz}
cxx=${CXX_FUZZ:-clang++}
jobs=${JOBS:-2}

# The layers of each target, and the libraries of each layer.
source "$src/fuzz/layers.sh"

common=(-std=c++17 -g -O1 -fno-omit-frame-pointer -Wall -Wextra -Werror -I"$src"
        -fsanitize=address,undefined -fno-sanitize-recover=all)

# One object directory per layer, compiled with coverage instrumentation
# but without libFuzzer's main (cli/main.cpp, the program's own, is left
# out). Objects are rebuilt when their source or any header they include
# changed (dependency files from -MMD); the layer's archive
# build-fuzz/obj/<layer>.a is remade when one of its objects is newer.
compile_layer() {
    local layer=$1 dir=$out/obj/$layer
    mkdir -p "$dir"
    local todo=() cpp
    for cpp in "$src/$layer"/*.cpp; do
        [ -e "$cpp" ] || continue
        [ "$layer/$(basename "$cpp")" = cli/main.cpp ] && continue
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
    local archive=$out/obj/$layer.a obj stale=
    [ -f "$archive" ] || stale=1
    for obj in "$dir"/*.o; do
        [ -e "$obj" ] || continue
        if [ ! -e "$src/$layer/$(basename "${obj%.o}").cpp" ] || [ "$layer/$(basename "$obj")" = cli/main.o ]; then
            rm -f "$obj" "${obj%.o}.d"   # its source is gone, or it is not linked
            stale=1
        elif [ "$obj" -nt "$archive" ]; then
            stale=1
        fi
    done
    if [ -n "$stale" ]; then
        rm -f "$archive"
        ar rcs "$archive" "$dir"/*.o
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
    archives=()
    libs=()
    for layer in ${layers[$target]:-$default_layers}; do
        compile_layer "$layer"
        archives+=("$out/obj/$layer.a")
        libs+=(${layer_libs[$layer]:-})
    done
    if ! needs_link "$out/$name" "$cpp" "${archives[@]}"; then
        echo "$out/$name is up to date"
        continue
    fi
    echo "linking $out/$name (layers: ${layers[$target]:-$default_layers})"
    "$cxx" "${common[@]}" -fsanitize=fuzzer "$cpp" -Wl,--start-group "${archives[@]}" -Wl,--end-group \
        "${libs[@]}" -o "$out/$name" -MMD -MF "$out/$name.d"
done
