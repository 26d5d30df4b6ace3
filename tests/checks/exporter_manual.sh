#!/usr/bin/env bash
# The manual page docs/rbz-exporter.1: groff and man render it without a
# warning, and it names every option that `rbz-exporter --help` lists and
# every metric the exporter's sources write.
# Usage: bash exporter_manual.sh SRC_DIR BUILD_DIR
set -euo pipefail
. "$(dirname "$0")/lib/man_render.sh"

src=${1:?usage: exporter_manual.sh SRC_DIR BUILD_DIR}
build=${2:?usage: exporter_manual.sh SRC_DIR BUILD_DIR}
page="$src/docs/rbz-exporter.1"

for tool in groff man; do
    command -v "$tool" >/dev/null || { echo "FAIL: $tool not found (apt-get install groff-base man-db)"; exit 1; }
done
[ -x "$build/rbz-exporter" ] || { echo "FAIL: $build/rbz-exporter not built"; exit 1; }

tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
status=0

man_renders "$page" "$tmp" || status=1
# The text rendered on lines too long to break or hyphenate a name, for the
# searches.
MANWIDTH=1000 LC_ALL=C man -l "$page" 2>/dev/null | tr -s ' \n' ' ' >"$tmp/flat.txt"

"$build/rbz-exporter" --help >"$tmp/help.txt"
options=$(grep -o -- '--[a-z][a-z.-]*' "$tmp/help.txt" | sort -u)
[ "$(wc -l <<<"$options")" -ge 5 ] || { echo "FAIL: --help lists only: $options"; exit 1; }
for option in $options; do
    grep -qF -- "$option" "$tmp/flat.txt" || { echo "FAIL: the page does not name $option"; status=1; }
done
echo "ok   options of --help in the page: $(tr '\n' ' ' <<<"$options")"

metrics=$(grep -ho '"rbz_[a-z_]*"' "$src"/exporter/*.cpp | tr -d '"' \
    | sed -E 's/_(bucket|sum|count)$//' | sort -u)
[ "$(wc -l <<<"$metrics")" -ge 25 ] || { echo "FAIL: only these metrics found in the sources: $metrics"; exit 1; }
missing=0
for metric in $metrics; do
    if ! grep -qF -- "$metric" "$tmp/flat.txt"; then
        echo "FAIL: the page does not name the metric $metric"
        missing=$((missing + 1))
    fi
done
[ "$missing" -eq 0 ] && echo "ok   all $(wc -l <<<"$metrics") metrics of the sources in the page" || status=1
exit $status
