#!/usr/bin/env bash
# samples.sh ROOT: each C++ block of README.md and docs/ stands in the program that the comment in
# front of it names, line for line and in a row. So whatever a page shows is compiled.
set -euo pipefail
cd "$1"
awk '
function wrong(why) { print FILENAME ":" start ": " why; failed = 1 }

# Whether the block is the file from its line `at` on, all lines moved by one and the same indent.
function stands_at(at,    i, indent, known) {
    for (i = 1; i <= count; ++i) {
        if (block[i] == "" && text[at + i - 1] == "") continue
        if (!known) { indent = text[at + i - 1]; sub(/[^ ].*/, "", indent); known = 1 }
        if (text[at + i - 1] != indent block[i]) return 0
    }
    return 1
}

function check(    line, lines, at) {
    if (program == "") return wrong("no comment <!-- examples/... --> names the program of this sample")
    delete text
    while ((getline line < program) > 0) text[++lines] = line
    close(program)
    for (at = 1; at + count - 1 <= lines; ++at) if (stands_at(at)) { ++checked; return }
    wrong("this is not what " program " has")
}

FNR == 1 { inside = 0; program = "" }
/^```cpp$/ { inside = 1; start = FNR; count = 0; next }
inside && /^```$/ { check(); inside = 0; program = ""; next }
inside { block[++count] = $0; next }
/^<!-- examples\/.* -->$/ { program = $2; next }
{ program = "" }
END { exit failed || checked < 10 }
' README.md docs/*.md
