#!/usr/bin/env bash
# Installs what is missing, then builds the tree and runs every test, in
# stages:
#   build, tests            in build/test: the normal build, then ctest
#   asan build, asan tests  in build/asan: AddressSanitizer and UBSan, then
#                           ctest again (a sanitizer report fails the test)
# Each build has a folder of its own and is configured with testing on, so
# what an earlier command left in build/ (the install steps' BUILD_TESTING=OFF,
# say) cannot change what is built and tested here.
# Every stage runs even when one before it failed (only the tests of a build
# that failed are not run); a summary of all stages ends the output, and the
# exit status is 1 when any stage failed.
set -uo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
. "$root/scripts/deps.sh"

rbz_install_missing || { echo "test.sh: the packages the build needs could not be installed" >&2; exit 1; }
base="$(rbz_build_dir "$root")"

logs="$(mktemp -d)"
trap 'rm -rf "$logs"' EXIT
summary=()
failed=0

# stage NAME COMMAND...: runs the command, its output shown as it comes and
# kept; notes NAME as passed or FAILED, with ctest's closing line if it has one.
stage() {
    local name=$1 log="$logs/${#summary[@]}.log" start=$SECONDS status result closing
    shift
    echo
    echo "==== $name"
    "$@" 2>&1 | tee "$log"
    status=${PIPESTATUS[0]}
    if [ "$status" -eq 0 ]; then result=passed; else result=FAILED; failed=1; fi
    closing=$(grep -E '^[0-9]+% tests passed, ' "$log" | tail -n 1)
    summary+=("$(printf '%-11s %-6s %4ds  %s' "$name" "$result" $((SECONDS - start)) "$closing")")
    # The failed tests again, so that the summary shows them all.
    [ "$status" -eq 0 ] || sed -n '/^The following tests FAILED:/,$p' "$log" > "$logs/failed-${#summary[@]}"
    return "$status"
}

configure_and_build() {   # DIR CMAKE_OPTION...
    local dir=$1
    shift
    cmake -S "$root" -B "$dir" -DBUILD_TESTING=ON "$@" && cmake --build "$dir" -j2
}

run_tests() {             # DIR [VAR=VALUE...]
    local dir=$1
    shift
    (cd "$dir" && env "$@" ctest --output-on-failure -j2)
}

# build_and_test LABEL DIR CMAKE_OPTIONS TEST_ENVIRONMENT
build_and_test() {
    local label=$1 dir=$2 options=$3 environment=$4
    # shellcheck disable=SC2086  # the option and variable lists split on blanks
    if stage "${label}build" configure_and_build "$dir" $options; then
        stage "${label}tests" run_tests "$dir" $environment
    else
        summary+=("$(printf '%-11s %s' "${label}tests" "not run: the build failed")")
    fi
}

build_and_test "" "$base/test" "-DRBZ_SANITIZE=OFF" ""
build_and_test "asan " "$base/asan" "-DRBZ_SANITIZE=ON" "ASAN_OPTIONS=detect_leaks=1"

echo
echo "==== summary"
for i in "${!summary[@]}"; do
    echo "${summary[$i]}"
    [ -s "$logs/failed-$((i + 1))" ] && sed 's/^/    /' "$logs/failed-$((i + 1))"
done
if [ "$failed" -ne 0 ]; then
    echo "FAILED: see the stages above"
    exit 1
fi
echo "all stages passed"
