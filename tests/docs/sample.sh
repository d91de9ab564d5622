#!/usr/bin/env bash
# sample.sh TARNWILLOW FOLDER OUTPUT PROGRAM [ARGUMENT ...]: runs the program in an empty folder, with
# settings and shared objects of its own and log class 20 on. What it prints, and what text files it
# leaves, in one line, must match the regular expression OUTPUT. In an argument "@" means the folder.
set -euo pipefail
tarnwillow=$1 folder=$2/work output=$3 program=$4
shift 4
rm -rf "${folder%/work}"
mkdir -p "$folder" "$folder/../shared"
export TARNWILLOW_SETTINGS_DIR=$folder/../settings TARNWILLOW_RUNTIME_DIR=$folder/../shared
"$tarnwillow" log on 20
cd "$folder"
TARNWILLOW_LOG=stderr "$program" "${@//@/$folder}" >output.txt 2>&1
found=$(cat ./*.txt | tr -d '\r' | tr '\n' ' ')
if ! grep -qE "$output" <<<"${found% }"; then
    echo "It printed: $found"
    exit 1
fi
