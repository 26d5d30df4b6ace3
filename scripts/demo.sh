#!/usr/bin/env bash
# Installs what is missing, builds rbz in build/, starts the simulated
# controller on a free port and runs `sys info` against it. The simulator is
# stopped on every way out.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
cd "$root"
. scripts/deps.sh

rbz_install_missing
build="$(rbz_build_dir "$root")"
cmake -S "$root" -B "$build"
cmake --build "$build" -j2 --target rbz
rbz="${build#"$root"/}/rbz"

tmp="$(mktemp -d)"
sim=""
stop_sim() {
    if [ -n "$sim" ]; then
        kill "$sim" 2>/dev/null || true
        wait "$sim" 2>/dev/null || true
    fi
    rm -rf "$tmp"
}
trap stop_sim EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# The simulator's first line on standard output is "PORT n". The first start
# also makes its certificate, which takes a moment.
python3 sim/rbz_sim.py --port 0 > "$tmp/sim.out" 2> "$tmp/sim.err" < /dev/null &
sim=$!
port=""
for _ in $(seq 300); do
    # Only a whole line counts: the port must not be read half written.
    if [ "$(wc -l < "$tmp/sim.out")" -ge 1 ]; then
        port="$(sed -n '1s/^PORT \([0-9][0-9]*\)$/\1/p' "$tmp/sim.out")"
        [ -n "$port" ] && break
    fi
    if ! kill -0 "$sim" 2>/dev/null; then
        echo "The simulator did not start:" >&2
        cat "$tmp/sim.err" >&2
        exit 1
    fi
    sleep 0.1
done
if [ -z "$port" ]; then
    echo "The simulator did not report its port within 30 seconds." >&2
    exit 1
fi

echo
echo "Simulated controller listening on 127.0.0.1:$port (ESXi user root, password secret)."
printf '$ printf %s | %s -i 127.0.0.1:%s -u root sys info\n' "'secret\\n'" "$rbz" "$port"
# Without a terminal on standard input, rbz reads each password as one line.
status=0
printf 'secret\n' | "$rbz" -i "127.0.0.1:$port" -u root sys info || status=$?
echo
if [ "$status" -ne 0 ]; then
    echo "rbz ended with status $status." >&2
    exit "$status"
fi

echo "Other commands: start a simulator with 'python3 sim/rbz_sim.py --port 0' (first line: PORT n),"
echo "then run, for example, '$rbz -i 127.0.0.1:n -u root disk info' from another terminal."
echo "Passwords: ESXi user root, password secret; the controller's, asked by every change: 0000."
