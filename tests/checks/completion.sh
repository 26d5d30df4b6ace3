#!/usr/bin/env bash
# The bash completion completion/rbz: installed by `cmake --install` where
# bash-completion looks for it, registered with `complete -F _rbz rbz` in a
# plain bash, loaded on demand by bash-completion, and offering what rbz's
# usage texts show (tests/checks/lib/completion_check.py).
# Usage: bash completion.sh SRC_DIR BUILD_DIR
set -euo pipefail

src=${1:?usage: completion.sh SRC_DIR BUILD_DIR}
build=${2:?usage: completion.sh SRC_DIR BUILD_DIR}
file="$src/completion/rbz"
loader=/usr/share/bash-completion/bash_completion

for tool in bash cmake python3; do
    command -v "$tool" >/dev/null || { echo "FAIL: $tool not found"; exit 1; }
done
[ -r "$loader" ] || { echo "FAIL: $loader not found (apt-get install bash-completion)"; exit 1; }
[ -x "$build/rbz" ] || { echo "FAIL: $build/rbz not built"; exit 1; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0
fail() { echo "FAIL: $*"; status=1; }

# The installed tree.
prefix="$tmp/prefix"
cmake --install "$build" --prefix "$prefix" >"$tmp/install.log"
for path in bin/rbz share/man/man1/rbz.1.gz share/bash-completion/completions/rbz; do
    [ -f "$prefix/$path" ] || fail "cmake --install did not install $path"
done
[ -x "$prefix/bin/rbz" ] || fail "the installed rbz is not executable"
cmp -s "$file" "$prefix/share/bash-completion/completions/rbz" \
    || fail "the installed completion differs from completion/rbz"
[ "$status" -eq 0 ] && echo "ok   cmake --install: bin/rbz, share/man/man1/rbz.1.gz, share/bash-completion/completions/rbz"

# A plain bash, without bash-completion: sourcing registers the function.
registered=$(env -i PATH="$PATH" bash --norc --noprofile -c "source '$file' && complete -p rbz")
if [ "$registered" = "complete -F _rbz rbz" ]; then
    echo "ok   plain bash: $registered"
else
    fail "plain bash: complete -p rbz gave '$registered'"
fi

# bash-completion loads the installed file the first time rbz is completed.
lazy=$(env -i PATH="$PATH" HOME="$tmp" BASH_COMPLETION_USER_DIR="$tmp/none" \
    XDG_DATA_DIRS="$prefix/share" bash --norc --noprofile -c "
    source '$loader'
    complete -p rbz >/dev/null 2>&1 && echo 'registered before loading'
    __load_completion rbz || echo 'not loaded'
    complete -p rbz
    shopt -s extdebug
    declare -F _rbz")
expected="complete -F _rbz rbz
_rbz "
if [[ $lazy == "$expected"*" $prefix/share/bash-completion/completions/rbz" ]]; then
    echo "ok   bash-completion loads $prefix/share/bash-completion/completions/rbz on demand"
else
    fail "bash-completion on demand: '$lazy'"
fi

PYTHONDONTWRITEBYTECODE=1 python3 "$(dirname "$0")/lib/completion_check.py" \
    "$src" "$build/rbz" "$file" "$prefix/share" || status=1
exit $status
