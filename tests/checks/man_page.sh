#!/usr/bin/env bash
# The manual page docs/rbz.1: groff and man render it without a warning, and
# it names every command, option and parameter that rbz's own usage texts
# show, every status text of cli/status.cpp and every option the driver
# reads (tests/checks/lib/man_check.py).
# Usage: bash man_page.sh SRC_DIR BUILD_DIR
set -euo pipefail

src=${1:?usage: man_page.sh SRC_DIR BUILD_DIR}
build=${2:?usage: man_page.sh SRC_DIR BUILD_DIR}
page="$src/docs/rbz.1"

for tool in groff man python3; do
    command -v "$tool" >/dev/null || { echo "FAIL: $tool not found (apt-get install groff-base man-db python3)"; exit 1; }
done
[ -x "$build/rbz" ] || { echo "FAIL: $build/rbz not built"; exit 1; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

status=0

# groff with every warning on: nothing may be printed.
if ! groff -ww -z -man "$page" 2>"$tmp/groff.err" || [ -s "$tmp/groff.err" ]; then
    echo "FAIL: groff -ww -z -man warns:"
    cat "$tmp/groff.err"
    status=1
else
    echo "ok   groff -ww -z -man: no warning"
fi

# The way a user reads it: man -l, with man's own warnings switched on.
if ! MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -l "$page" >"$tmp/man.txt" 2>"$tmp/man.err" \
    || [ -s "$tmp/man.err" ]; then
    echo "FAIL: man -l warns:"
    cat "$tmp/man.err"
    status=1
elif [ "$(grep -c . "$tmp/man.txt")" -lt 100 ]; then
    echo "FAIL: man -l rendered only $(grep -c . "$tmp/man.txt") lines"
    status=1
else
    echo "ok   man -l: $(wc -l <"$tmp/man.txt") lines, no warning"
fi

# The installed page is the compressed copy made by the build.
if [ -f "$build/rbz.1.gz" ]; then
    if gzip -dc "$build/rbz.1.gz" | cmp -s - "$page"; then
        echo "ok   $build/rbz.1.gz is docs/rbz.1"
    else
        echo "FAIL: $build/rbz.1.gz differs from docs/rbz.1 (rebuild)"
        status=1
    fi
fi

# Plain text with long lines and no hyphenation, so that every word stands
# whole on one line.
groff -man -Tascii -rLL=200n -rHY=0 -P-cbou "$page" >"$tmp/page.txt" 2>/dev/null
if ! PYTHONDONTWRITEBYTECODE=1 python3 "$(dirname "$0")/lib/man_check.py" "$src" "$build/rbz" "$tmp/page.txt"; then
    status=1
fi
exit $status
