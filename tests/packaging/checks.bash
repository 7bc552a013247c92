# What the trials of the packages have in common; they source it once $work names a folder of their own.
# shellcheck shell=bash

# usage: check WORDS COMMAND...
check() {
    if ! "${@:2}" >"$work/output" 2>&1; then
        echo "FAIL  $1"
        cat "$work/output" >&2
        exit 1
    fi
    echo "ok    $1"
}

# usage: ends_with CODE COMMAND...
ends_with() {
    local code=0
    "${@:2}" || code=$?
    echo "it ended with $code"
    [ $code -eq "$1" ]
}

# usage: eventually COMMAND...      within half a minute
eventually() {
    for _ in $(seq 150); do
        "$@" && return
        sleep 0.2
    done
    return 1
}

no() { ! "$@"; }
gone() { [ ! -e "$1" ] && [ ! -L "$1" ]; }
content() { (cd "$1" && find . -type f -exec sha256sum {} + | sort -k 2); }
# Links are not gone into, and named by where they lead; a folder counts although it is empty.
everything() { (cd "$1" && find . \( -type f -exec sha256sum {} + \) -o -printf '%p %y %l\n' | sort -k 2); }
window() { xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | grep .; }
# usage: end PROCESS      by force
end() {
    kill "$1"
    wait "$1" 2>/dev/null || true
}

# The README of the studio's kit names commands by lines that four blanks begin.
commands_of() { tr -d '\r' <"$1" | sed -n 's/^    \([a-z].*\)$/\1/p'; }
# usage: command_of README BEGINNING      the one such line that begins so
command_of() {
    local found
    found=$(commands_of "$1" | grep -- "^$2")
    [ "$(wc -l <<<"$found")" = 1 ] && echo "$found"
}
# usage: run_command_of README BEGINNING [CHANGE]      CHANGE is sed's
run_command_of() {
    local found
    found=$(command_of "$1" "$2" | sed "${3:-}") && eval "$found"
}
