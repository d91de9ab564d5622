#!/usr/bin/env bash
# reference.sh OUTPUT: makes the reference of the public headers, those that tarnwillow.h includes, in
# the folder OUTPUT/html. Fails at a warning: an undocumented operation, for instance.
set -euo pipefail
mkdir -p "$1"
output=$(cd "$1" && pwd)
cd "$(dirname "$0")/.."
headers=$(sed -n 's/^#include "\(.*\)"$/\1/p' tarnwillow/tarnwillow.h)
doxygen - <<<"$(cat docs/Doxyfile)
OUTPUT_DIRECTORY = $output
INPUT = tarnwillow/tarnwillow.h ${headers//$'\n'/ }"
