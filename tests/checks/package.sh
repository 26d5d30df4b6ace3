#!/usr/bin/env bash
# The Debian package: `cpack -G DEB` builds it from this build tree; its
# control fields (version, computed Depends, maintainer, section,
# description) and its files are checked; it is unpacked into a throw-away
# root, and the rbz found there is run against the simulated controller.
# With CI set and run as root, it is also installed into the system with
# dpkg -i, /usr/bin/rbz is run the same way, and dpkg -P purges it again.
# The exporter comes in the same package: its program, manual page, systemd
# unit and configuration (a conffile, mode 0600) are checked, and the
# unpacked rbz-exporter probes the simulated host.
# A sanitized build is not packaged: the check is skipped (status 77).
# Usage: bash package.sh SRC_DIR BUILD_DIR
set -euo pipefail

src=${1:?usage: package.sh SRC_DIR BUILD_DIR}
build=${2:?usage: package.sh SRC_DIR BUILD_DIR}

if grep -q '^RBZ_SANITIZE:BOOL=ON$' "$build/CMakeCache.txt"; then
    echo "skipped: $build is a sanitized build, which is not packaged"
    exit 77
fi

cmake_command=$(sed -n 's/^CMAKE_COMMAND:INTERNAL=//p' "$build/CMakeCache.txt")
cpack="$(dirname "$cmake_command")/cpack"
[ -x "$cpack" ] || cpack=$(command -v cpack || true)
for tool in "$cpack" dpkg dpkg-deb dpkg-shlibdeps python3 man; do
    command -v "$tool" >/dev/null || { echo "FAIL: $tool not found (apt-get install cmake dpkg-dev man-db)"; exit 1; }
done

tmp=$(mktemp -d)
sim=""
exporter=""
installed=""
cleanup() {
    if [ -n "$exporter" ]; then
        kill "$exporter" 2>/dev/null || true
        wait "$exporter" 2>/dev/null || true
    fi
    if [ -n "$sim" ]; then
        kill "$sim" 2>/dev/null || true
        wait "$sim" 2>/dev/null || true
    fi
    if [ -n "$installed" ]; then
        dpkg -P rbz >/dev/null 2>&1 || echo "FAIL: dpkg -P rbz did not remove the package"
    fi
    rm -rf "$tmp"
}
trap cleanup EXIT

status=0
fail() { echo "FAIL: $*"; status=1; }
ok() { echo "ok   $*"; }

version=$("$build/rbz" -v 2>&1 | sed -n 's/^ Quilo Technology WBEM Client Utility v\([0-9.]*\), .*/\1/p')
[ -n "$version" ] || { echo "FAIL: no version in the banner of $build/rbz"; exit 1; }
arch=$(dpkg --print-architecture)

# Build the package into a directory of its own.
if ! "$cpack" -G DEB --config "$build/CPackConfig.cmake" -B "$tmp/package" >"$tmp/cpack.log" 2>&1; then
    cat "$tmp/cpack.log"
    echo "FAIL: cpack -G DEB failed"
    exit 1
fi
deb="$tmp/package/rbz_${version}_${arch}.deb"
[ -f "$deb" ] || { ls -l "$tmp/package"; echo "FAIL: no $(basename "$deb")"; exit 1; }
ok "cpack -G DEB: $(basename "$deb"), $(stat -c %s "$deb") bytes"

# Control fields.
field() { dpkg-deb -f "$deb" "$1"; }
expect_field() {
    local name=$1 pattern=$2 value
    value=$(field "$name")
    if [[ $value =~ $pattern ]]; then
        ok "$name: $value"
    else
        fail "$name is '$value', expected /$pattern/"
    fi
}
expect_field Package '^rbz$'
expect_field Version "^${version//./\\.}\$"
expect_field Architecture "^${arch}\$"
expect_field Maintainer '^[^<>]+ <[^<>@ ]+@[^<>@ ]+>$'
expect_field Section '^admin$'
expect_field Priority '^optional$'
# Computed by dpkg-shlibdeps from the libraries rbz links, with versions.
depends=$(field Depends)
if [[ $depends =~ (^|, )libcurl4\ \(\>=\ [0-9.]+\) ]] \
    && [[ $depends =~ (^|, )libmicrohttpd12\ \(\>=\ [0-9.]+\) ]] \
    && [[ $depends =~ (^|, )libyaml-cpp0\.[0-9]+\ \(\>=\ [0-9.]+\) ]] \
    && [[ $depends =~ (^|, )lib(ncursesw?6|tinfo6)\ \(\>=\ [0-9.]+\) ]] \
    && [[ $depends =~ (^|, )libc6\ \(\>=\ [0-9.]+\) ]]; then
    ok "Depends: $depends"
else
    fail "Depends is '$depends', expected libcurl4, libmicrohttpd12, libyaml-cpp, libncurses6 or libtinfo6, and libc6 with versions"
fi
description=$(field Description)
summary=$(head -n 1 <<<"$description")
if [ -n "$summary" ] && [ "${#summary}" -le 80 ] && [ "$(wc -l <<<"$description")" -ge 4 ] \
    && grep -q '^ \.$' <<<"$description" && grep -q 'ESXi' <<<"$description"; then
    ok "Description: $summary (+$(($(wc -l <<<"$description") - 1)) lines)"
else
    fail "Description is not a summary with a long description: '$description'"
fi

# Files: the program, the compressed manual page and the completion, owned
# by root.
dpkg-deb -c "$deb" >"$tmp/contents"
for path in ./usr/bin/rbz ./usr/share/man/man1/rbz.1.gz ./usr/share/bash-completion/completions/rbz \
    ./usr/bin/rbz-exporter ./usr/share/man/man1/rbz-exporter.1.gz ./usr/lib/systemd/system/rbz-exporter.service \
    ./usr/share/doc/rbz/examples/rbz-exporter.yml ./usr/share/doc/rbz/examples/rbz-alerts.yml \
    ./etc/rbz-exporter.yml; do
    line=$(awk -v p="$path" '$6 == p' "$tmp/contents")
    if [ -z "$line" ]; then
        fail "the package has no $path"
    elif [[ $line != *" root/root "* ]]; then
        fail "$path is not owned by root: $line"
    fi
done
[[ $(awk '$6 == "./usr/bin/rbz" {print $1}' "$tmp/contents") == -rwxr-xr-x ]] \
    || fail "./usr/bin/rbz is not -rwxr-xr-x"
[[ $(awk '$6 == "./usr/bin/rbz-exporter" {print $1}' "$tmp/contents") == -rwxr-xr-x ]] \
    || fail "./usr/bin/rbz-exporter is not -rwxr-xr-x"
# The exporter's configuration holds passwords: root's alone, and a conffile.
[[ $(awk '$6 == "./etc/rbz-exporter.yml" {print $1}' "$tmp/contents") == -rw------- ]] \
    || fail "./etc/rbz-exporter.yml is not -rw-------"
dpkg-deb --ctrl-tarfile "$deb" | tar -xO ./conffiles 2>/dev/null | grep -qx /etc/rbz-exporter.yml \
    || fail "/etc/rbz-exporter.yml is not among the package's conffiles"
[ "$status" -eq 0 ] && ok "files: $(grep -c -v '/$' "$tmp/contents") files, /usr/bin/rbz, man1/rbz.1.gz, completions/rbz, rbz-exporter with its manual page, unit and configuration (conffile, 0600)"

# The simulated controller, for the installed programs to talk to.
: >"$tmp/sim.out"
python3 "$src/sim/rbz_sim.py" --port 0 >"$tmp/sim.out" 2>"$tmp/sim.err" </dev/null &
sim=$!
port=""
for _ in $(seq 300); do
    if [ "$(wc -l <"$tmp/sim.out")" -ge 1 ]; then
        port=$(sed -n '1s/^PORT \([0-9][0-9]*\)$/\1/p' "$tmp/sim.out")
        break
    fi
    kill -0 "$sim" 2>/dev/null || break
    sleep 0.1
done
[ -n "$port" ] || { cat "$tmp/sim.err"; echo "FAIL: the simulator did not start"; exit 1; }

cat >"$tmp/sys_info.expected" <<'EOF'
=====================================================================================================================
Quilo Technology Co., Ltd.
7F, No. 128, Lantern Bridge Road, Alder Park, Quilo City 40577
Support: support@quilo-tech.example
Web: https://www.quilo-tech.example
=====================================================================================================================
RAID Controller Information:
=====================================================================================================================
Model Name:		RQ-7730
Serial Number:		Y915CAB12345
Firmware Version:	V1.52 2015-08-20
Boot Code Version:	V1.52 2015-07-03
Current IP:		192.168.0.100
MAC Address:		00:1B:4D:0A:2C:5E
CPU DCache Size:	32768Bytes
CPU ICache Size:	32768Bytes
Memory Speed:		1333MHz
Memory Size:		2048MB
=====================================================================================================================
EOF

# Runs an installed rbz: `sys info` must print the controller's report,
# a change must be taken, and a wrong controller password refused with 13.
run_installed() {
    local rbz=$1 where=$2 code
    if ! ldd "$rbz" >"$tmp/ldd" 2>&1 || grep -q 'not found' "$tmp/ldd"; then
        fail "$where: libraries missing: $(cat "$tmp/ldd")"
        return
    fi
    code=0
    printf 'secret\n' | "$rbz" -i "127.0.0.1:$port" -u root sys info >"$tmp/out" 2>"$tmp/err" || code=$?
    if [ "$code" -ne 0 ] || [ -s "$tmp/err" ] || ! cmp -s <(tr -d '\r' <"$tmp/out") "$tmp/sys_info.expected"; then
        fail "$where: sys info ended with $code"
        diff <(tr -d '\r' <"$tmp/out") "$tmp/sys_info.expected" || true
        cat "$tmp/err"
        return
    fi
    code=0
    printf 'secret\n0000\n' | "$rbz" -i "127.0.0.1:$port" -u root sys beeperoff >"$tmp/out" 2>&1 || code=$?
    if [ "$code" -ne 0 ] || [ "$(tr -d '\r' <"$tmp/out")" != " OK " ]; then
        fail "$where: sys beeperoff ended with $code: $(cat -A "$tmp/out")"
        return
    fi
    code=0
    printf 'secret\n9999\n' | "$rbz" -i "127.0.0.1:$port" -u root sys beeperon >"$tmp/out" 2>&1 || code=$?
    if [ "$code" -ne 13 ] || ! grep -q '^Controller Password Incorrect$' "$tmp/out"; then
        fail "$where: a wrong controller password ended with $code: $(cat -A "$tmp/out")"
        return
    fi
    ok "$where: sys info printed the report, sys beeperoff ' OK ', a wrong password status 13"
}

root="$tmp/root"
dpkg-deb -x "$deb" "$root"
if command -v file >/dev/null; then
    file -b "$root/usr/bin/rbz" | grep -q ', stripped' || fail "the packaged rbz is not stripped"
fi
banner=$("$root/usr/bin/rbz" -v 2>&1)
[ "$banner" = "$("$build/rbz" -v 2>&1)" ] || fail "the unpacked rbz -v prints '$banner'"
run_installed "$root/usr/bin/rbz" "dpkg-deb -x root"
if MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/rbz.1.gz" >"$tmp/man.txt" 2>"$tmp/man.err" \
    && [ ! -s "$tmp/man.err" ] && grep -q '^EXIT STATUS' "$tmp/man.txt"; then
    ok "the packaged manual page renders"
else
    fail "the packaged manual page: $(cat "$tmp/man.err")"
fi

# The unpacked exporter: its unit names it, and it probes the simulated host.
grep -qx 'ExecStart=/usr/bin/rbz-exporter .*' "$root/usr/lib/systemd/system/rbz-exporter.service" \
    || fail "the unit does not start /usr/bin/rbz-exporter"
if MANWIDTH=80 man --warnings -l "$root/usr/share/man/man1/rbz-exporter.1.gz" >"$tmp/man.txt" 2>"$tmp/man.err" \
    && [ ! -s "$tmp/man.err" ] && grep -q '^CONFIGURATION' "$tmp/man.txt"; then
    ok "the packaged manual page of rbz-exporter renders"
else
    fail "the packaged manual page of rbz-exporter: $(cat "$tmp/man.err")"
fi
if ! ldd "$root/usr/bin/rbz-exporter" >"$tmp/ldd" 2>&1 || grep -q 'not found' "$tmp/ldd"; then
    fail "rbz-exporter: libraries missing: $(cat "$tmp/ldd")"
else
    printf 'modules:\n  default: {user: root, password: secret, timeout: 10}\n' >"$tmp/exporter.yml"
    chmod 600 "$tmp/exporter.yml"
    "$root/usr/bin/rbz-exporter" --config.file "$tmp/exporter.yml" --web.listen-address 127.0.0.1:0 \
        </dev/null >/dev/null 2>"$tmp/exporter.err" &
    exporter=$!
    eport=""
    for _ in $(seq 100); do
        eport=$(sed -n 's/.*listening on 127\.0\.0\.1:\([0-9][0-9]*\),.*/\1/p' "$tmp/exporter.err")
        [ -n "$eport" ] && break
        kill -0 "$exporter" 2>/dev/null || break
        sleep 0.1
    done
    if [ -z "$eport" ]; then
        fail "the unpacked rbz-exporter did not start: $(cat "$tmp/exporter.err")"
    elif python3 -c 'import sys, urllib.request; sys.stdout.write(urllib.request.urlopen(sys.argv[1], timeout=30).read().decode())' \
        "http://127.0.0.1:$eport/probe?target=127.0.0.1:$port" >"$tmp/probe.txt" 2>&1 \
        && grep -qx 'rbz_up 1' "$tmp/probe.txt" \
        && grep -q '^rbz_controller_info{model="RQ-7730",serial="Y915CAB12345",' "$tmp/probe.txt"; then
        ok "the unpacked rbz-exporter probed the simulated host: rbz_up 1"
    else
        fail "the unpacked rbz-exporter's probe: $(head -c 2000 "$tmp/probe.txt") $(cat "$tmp/exporter.err")"
    fi
    kill "$exporter" 2>/dev/null || true
    wait "$exporter" 2>/dev/null || true
    exporter=""
fi

# The system itself, only where the machine is throw-away (CI as root).
if [ -n "${CI:-}" ] && [ "$(id -u)" -eq 0 ]; then
    if dpkg -s rbz >/dev/null 2>&1; then
        fail "rbz is already installed in this system; not touching it"
    else
        installed=yes
        if dpkg -i "$deb" >"$tmp/dpkg.log" 2>&1; then
            ok "dpkg -i $(basename "$deb")"
            run_installed /usr/bin/rbz "dpkg -i"
            [ "$(stat -c '%a %U' /etc/rbz-exporter.yml 2>/dev/null)" = "600 root" ] \
                || fail "dpkg -i: /etc/rbz-exporter.yml is not mode 600, root's"
            /usr/bin/rbz-exporter --version | grep -qx "rbz-exporter $version" \
                || fail "dpkg -i: /usr/bin/rbz-exporter --version"
            if command -v systemd-analyze >/dev/null; then
                if systemd-analyze verify /usr/lib/systemd/system/rbz-exporter.service >"$tmp/verify.log" 2>&1; then
                    ok "systemd-analyze verify rbz-exporter.service"
                else
                    fail "systemd-analyze verify rbz-exporter.service: $(cat "$tmp/verify.log")"
                fi
            fi
            man -w rbz 2>/dev/null | grep -q '^/usr/share/man/man1/rbz\.1\.gz$' \
                || fail "man -w rbz does not find /usr/share/man/man1/rbz.1.gz"
        else
            cat "$tmp/dpkg.log"
            fail "dpkg -i failed"
        fi
        installed=""
        if dpkg -P rbz >"$tmp/dpkg.log" 2>&1 && [ ! -e /usr/bin/rbz ] && [ ! -e /etc/rbz-exporter.yml ] \
            && ! dpkg -s rbz >/dev/null 2>&1; then
            ok "dpkg -P rbz"
        else
            cat "$tmp/dpkg.log"
            fail "dpkg -P rbz left the package, /usr/bin/rbz or /etc/rbz-exporter.yml behind"
        fi
    fi
else
    echo "note: not installed into the system (only with CI set and as root)"
fi
exit $status
