#!/usr/bin/env bash
# manual.sh PROGRAM MANUAL: the commands of the program's usage text are those of the manual.
set -euo pipefail
program=$1 manual=$2

usage=$("$program" 2>&1) && exit 1 # a usage text comes with a failure

# "log on CLASS, log off CLASS    switches ..." holds the commands "log on" and "log off".
commands_of_usage() {
    sed -E 's/^(usage:)? *tarnwillow //; s/   *.*//; s/, ([a-z]+ [a-z]+ [A-Z])/\n\1/' <<<"$usage" |
        grep -oE '^[a-z]+( [a-z]+\b)?' | sort -u
}
# ".It Cm log on Ar CLASS | Cm log off Ar CLASS" holds the same.
commands_of_manual() {
    sed -nE '/^\.It Cm/{s/^\.It //; s/ \| /\n/g; p}' "$manual" |
        sed -nE 's/^Cm ([a-z]+( [a-z]+)?)( .*)?$/\1/p' | sort -u
}
options_of_usage() { grep -oE ' \[?--?[a-z]+' <<<"$usage" | tr -d ' [' | sort -u; }
options_of_manual() { grep -oE 'Fl -?[a-z]+' "$manual" | sed 's/Fl /-/' | sort -u; }

[ "$(commands_of_usage | wc -l)" -gt 10 ]
diff <(commands_of_usage) <(commands_of_manual)
[ -z "$(comm -23 <(options_of_usage) <(options_of_manual))" ]
