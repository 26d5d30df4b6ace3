#!/usr/bin/env bash
# No tracked file names a folder outside the tree: not the folder beside the
# checkout that the tests once read their data from (`..` then `/shared`),
# nor an absolute path of one developer's machine (one that starts at a
# top folder named work, root, home or Users). Everything the tests and
# scripts read is in the tree, so that every clone can test itself.
#
# A machine path is one that begins a word: the folder after a blank, a
# quote, `=`, `(`, `:` or the like. Namespaces and URL paths such as
# `h/root/cimv2` or `https://host/root` are not, and the paths the program
# and its scripts use on every machine (/usr, /etc, /proc, /dev, /tmp) are
# not looked for.
# Usage: bash tree_paths.sh SRC_DIR [BUILD_DIR]
set -u

src=${1:?usage: tree_paths.sh SRC_DIR [BUILD_DIR]}

if ! command -v git >/dev/null; then
    echo "SKIP: git not found: the tracked files are not known"
    exit 77
fi
# The tree may belong to another user than the one testing (a copy made by
# root, a CI checkout): read it all the same.
git=(git -c "safe.directory=$src" -C "$src")
top=$("${git[@]}" rev-parse --show-toplevel 2>/dev/null) || top=
if [ -z "$top" ] || [ "$(cd "$top" && pwd -P)" != "$(cd "$src" && pwd -P)" ]; then
    echo "SKIP: $src is not the top of a git checkout: the tracked files are not known"
    exit 77
fi

outside_sibling='\.\./shared'
machine_path='(^|[][[:space:]"'"'"'`=(){}<>:,;|])/(work|root|home|Users)([^[:alnum:]_.-]|$)'

# Prints the lines of standard input that name a folder outside the tree.
offending() { grep -E -e "$outside_sibling" -e "$machine_path"; }

# The patterns must be able to say yes, and no: lines put together here so
# that this file does not hold them itself.
up=.. ; home=home ; root=root ; work=work
must_match=(
    "dtd=\$src/$up/shared/cim-dtd/x.dtd"
    "    bash tests/checks/sim_selftest.sh /$work/main"
    "cd /$root && make"
    "HOME=/$home/dev"
    "see \`/$root/rbz\`"
    "PATH=/usr/bin:/$home/dev/bin"
    "(\"/$work/x\")"
)
must_not_match=(
    "https://root:pw@10.0.0.5:5989/quilo/cimv2:Quilo_DiskDrive"
    "triptych.in.ibm.com/$root/cimv2"
    "{\"https://host/$root/\", \"Url Exception\"}"
    "build-fuzz/$work/TARGET"
    "[ -d \"\$out/$up/$work/\$target\" ]"
    "std::string URL::interfaceTable = \"/proc/net/if_inet6\";"
    "/usr/local/share/man/man1/rbz.1.gz /etc/init.d/sfcbd-watchdog /tmp/RQ7730FIRM.BIN"
    "tests/data/real-replies/ $up/cim-dtd/ /$root""fs /${home}s"
)
status=0
for line in "${must_match[@]}"; do
    if [ -z "$(printf '%s\n' "$line" | offending)" ]; then
        echo "FAIL: the check does not see a folder outside the tree in: $line"
        status=1
    fi
done
for line in "${must_not_match[@]}"; do
    if [ -n "$(printf '%s\n' "$line" | offending)" ]; then
        echo "FAIL: the check takes for a folder outside the tree: $line"
        status=1
    fi
done
[ "$status" -eq 0 ] || exit 1

files=$("${git[@]}" ls-files | wc -l)
if [ "$files" -eq 0 ]; then
    echo "FAIL: git lists no tracked file in $src"
    exit 1
fi
found=$("${git[@]}" grep -I -n -E -e "$outside_sibling" -e "$machine_path")
if [ -n "$found" ]; then
    echo "FAIL: tracked files name a folder outside the tree (keep what the tree needs in it," \
         "and write paths relative to the top of the tree):"
    printf '%s\n' "$found"
    exit 1
fi
echo "ok   $files tracked files: none names a folder outside the tree"
