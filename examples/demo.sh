#!/usr/bin/env bash
# demo.sh PROGRAM: reads XML documents that the machine has anyway, not a sample made for the purpose.
set -euo pipefail
program=$1
types=/usr/share/mime/packages/freedesktop.org.xml
fonts=$(find /usr/share/fontconfig/conf.avail -name '*.conf' | sort | head -1)

say() { printf '\n$ tarnwillow xml %s\n' "$*"; }

say "$fonts"
"$program" xml "$fonts"

say "$types | head"
"$program" xml "$types" | sed -n 1,12p

say "$types mime-info/mime-type/@type"
"$program" xml "$types" mime-info/mime-type/@type

say "$types mime-info/mime-type/comment"
"$program" xml "$types" mime-info/mime-type/comment

lines=$("$program" xml "$types" | wc -l)
bytes=$(stat -c %s "$types")
printf '\n%s: %d bytes became a tree of %d lines.\n' "$types" "$bytes" "$lines"

printf '\n$ tarnwillow script examples/mimeTypes.js\n'
"$program" script "$(dirname "$0")/mimeTypes.js"
