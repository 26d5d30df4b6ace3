#!/usr/bin/env bash
# The alerting rules of contrib/prometheus: `promtool check rules` accepts
# them and their unit tests (`promtool test rules`) pass. promtool comes with
# Debian's prometheus package (scripts/deps.sh).
# Usage: bash alert_rules.sh SRC_DIR BUILD_DIR
set -euo pipefail

src=${1:?usage: alert_rules.sh SRC_DIR BUILD_DIR}
dir="$src/contrib/prometheus"

command -v promtool >/dev/null || { echo "FAIL: promtool not found (apt-get install prometheus)"; exit 1; }

status=0
if promtool check rules "$dir/rbz-alerts.yml"; then
    echo "ok   promtool check rules rbz-alerts.yml"
else
    echo "FAIL: promtool check rules rbz-alerts.yml"
    status=1
fi
# The test file names its rule file relative to its own folder.
if (cd "$dir" && promtool test rules rbz-alerts.test.yml); then
    echo "ok   promtool test rules rbz-alerts.test.yml"
else
    echo "FAIL: promtool test rules rbz-alerts.test.yml"
    status=1
fi
exit $status
