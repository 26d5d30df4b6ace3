# Sourced by the manual page checks. man_renders PAGE TMPDIR [MIN_LINES]:
# groff with every warning on and man -l (the way a user reads it, with man's
# own warnings) both render PAGE without a word on standard error, and man
# renders at least MIN_LINES lines. Prints ok/FAIL lines; returns 1 on a fault.
man_renders() {
    local page=$1 tmp=$2 min=${3:-1} status=0
    if ! groff -ww -z -man "$page" 2>"$tmp/groff.err" || [ -s "$tmp/groff.err" ]; then
        echo "FAIL: groff -ww -z -man warns:"
        cat "$tmp/groff.err"
        status=1
    else
        echo "ok   groff -ww -z -man: no warning"
    fi
    if ! MANWIDTH=80 LC_ALL=C.UTF-8 man --warnings -l "$page" >"$tmp/man.txt" 2>"$tmp/man.err" \
        || [ -s "$tmp/man.err" ]; then
        echo "FAIL: man -l warns:"
        cat "$tmp/man.err"
        status=1
    elif [ "$(grep -c . "$tmp/man.txt")" -lt "$min" ]; then
        echo "FAIL: man -l rendered only $(grep -c . "$tmp/man.txt") lines"
        status=1
    else
        echo "ok   man -l: $(grep -c . "$tmp/man.txt") lines, no warning"
    fi
    return $status
}
