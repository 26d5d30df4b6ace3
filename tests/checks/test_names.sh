#!/usr/bin/env bash
# The names CTest gives the tests of this build can be given back to
# `ctest -R`: letters, digits and `_ . / -` only (no blanks, no printed
# parameter bytes such as `16-byte object <DD-F4 ...>`, which change from
# build to build), and each name, as the regular expression `ctest -R`
# takes, selects that test alone (no name is found inside another).
# Usage: bash test_names.sh SRC_DIR BUILD_DIR
set -euo pipefail

build=${2:?usage: test_names.sh SRC_DIR BUILD_DIR}
command -v python3 >/dev/null || { echo "FAIL: python3 not found"; exit 1; }

list=$(cd "$build" && ctest -N)
printf '%s\n' "$list" | python3 -c '
import re, sys

names = [m.group(1) for m in re.finditer(r"^\s*Test\s+#\d+: (.*)$", sys.stdin.read(), re.M)]
problems = []
if len(names) < 100:
    problems.append("only %d tests listed: the list was not read" % len(names))
for name in names:
    if not re.fullmatch(r"[A-Za-z0-9_./-]+", name):
        problems.append("not a plain name: %r" % name)
plain = [n for n in names if re.fullmatch(r"[A-Za-z0-9_./-]+", n)]
# A test whose name another contains: ctest -R NAME would run both.
for name in plain:
    pattern = re.compile(name)
    others = [o for o in names if o != name and pattern.search(o)]
    if others:
        problems.append("ctest -R %s also selects %s" % (name, ", ".join(others[:3])))
for p in problems:
    print("FAIL: " + p)
print("%d test names, %d problems" % (len(names), len(problems)))
sys.exit(1 if problems else 0)
'
