#!/usr/bin/env bash
# scene.sh NOTE PICTURE: shows windows on a display without a screen, with two monitors and a window
# manager, and makes a picture of it.
set -euo pipefail
note=$1 picture=$2

work=$(mktemp -d)
export TARNWILLOW_SETTINGS_DIR=$work/settings TARNWILLOW_RUNTIME_DIR=$work/runtime
programs=()
clean_up() {
    local i
    for ((i = ${#programs[@]} - 1; i >= 0; i--)); do # the server last
        kill "${programs[i]}" && wait "${programs[i]}"
    done 2>/dev/null || true
    rm -rf "$work"
}
trap clean_up EXIT

start_display() {
    mkfifo "$work/number"
    Xvfb -displayfd 3 -screen 0 1600x800x24 -nolisten tcp -noreset 3>"$work/number" 2>/dev/null &
    programs+=($!)
    local number
    read -r number <"$work/number"
    export DISPLAY=:$number
    xrandr --setmonitor '*left' 800/200x800/200+0+0 screen >/dev/null
    xrandr --setmonitor right 800/200x800/200+800+0 none
    xsetroot -solid '#4a6a7a'
}

start_manager() {
    mkfifo "$work/ready"
    # Windows do not fly about while they are asked where they stand.
    sed 's/<animateIconify>yes/<animateIconify>no/' /etc/xdg/openbox/rc.xml >"$work/rc.xml"
    HOME=$work XDG_CONFIG_HOME=$work openbox --sm-disable --config-file "$work/rc.xml" \
        --startup "sh -c 'echo ready >$work/ready'" >/dev/null 2>&1 &
    programs+=($!)
    read -r <"$work/ready"
}

# open TITLE [PLACE...]: starts a note, that listens at descriptor input[TITLE].
declare -A input output program
open() {
    printf '\n$ note %s\n' "$*"
    mkfifo "$work/$1.in" "$work/$1.out"
    "$note" "$@" <"$work/$1.in" >"$work/$1.out" &
    program[$1]=$!
    programs+=($!)
    local to from
    exec {to}>"$work/$1.in" {from}<"$work/$1.out"
    input[$1]=$to output[$1]=$from
    answer "$1"
}

answer() {
    local line
    read -r -t 30 line <&"${output[$1]}"
    printf '%s\n' "$line"
}

tell() {
    printf '\n%s is told: %s\n' "$1" "$2"
    printf '%s\n' "$2" >&"${input[$1]}"
    answer "$1"
}

close() {
    printf '\n%s is closed.\n' "$1"
    printf 'close\n' >&"${input[$1]}"
    wait "${program[$1]}"
    rm "$work/$1.in" "$work/$1.out"
}

printf '\nA display with two monitors of 800x800 each.\n'
start_display
start_manager

open Shopping 60 80 400 200
open Ideas 220 220 420 260
open Travel 1000 120 460 220
open Garden 880 420 400 200

printf '\nPositions are kept.\n'
close Shopping
open Shopping

printf '\nA second start brings the first one to the front, though it is minimised.\n'
tell Shopping minimise
printf '\n$ note Shopping\n'
"$note" Shopping
tell Shopping where

printf '\nThe right monitor is taken away: what stood there comes back on the left one.\n'
close Travel
xrandr --delmonitor right
open Travel
xrandr --setmonitor right 800/200x800/200+800+0 none

xwd -root -silent | xwdtopnm 2>/dev/null | pnmtopng -compression 9 2>/dev/null >"$work/scene.png"
mv "$work/scene.png" "$picture"
printf '\n%s: %d bytes.\n' "$picture" "$(stat -c %s "$picture")"
