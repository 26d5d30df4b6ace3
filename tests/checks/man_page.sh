#!/usr/bin/env bash
# The manual page docs/rbz.1: groff and man render it without a warning, and
# it names every command, option and parameter that rbz's own usage texts
# show, every status text of cli/status.cpp and every option the driver
# reads (tests/checks/lib/man_check.py).
# Usage: bash man_page.sh SRC_DIR BUILD_DIR
set -euo pipefail
. "$(dirname "$0")/lib/man_render.sh"

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

man_renders "$page" "$tmp" 100 || status=1

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
