#!/usr/bin/env bash
# run.sh BUILD WORK COMPILER
set -euo pipefail
build=$1 work=$2 compiler=$3
here=$(cd "$(dirname "$0")" && pwd)
prefix=$work/prefix
rm -rf "$prefix" "$work/config"
cmake --install "$build" --prefix "$prefix" >/dev/null

cmake -G Ninja -S "$here/project" -B "$work/config" -DCMAKE_PREFIX_PATH="$prefix" \
    -DCMAKE_CXX_COMPILER="$compiler" -DEXAMPLES="$here/../../examples" >/dev/null
cmake --build "$work/config"
"$work/config/consumer"
[ "$("$work/config/firstLook")" = "Notes is 800x600" ]
# Nobody answers at port 1.
no_proxy=127.0.0.1 "$work/config/httpValue" 127.0.0.1 1 / && status=0 || status=$?
[ "$status" -eq 1 ]

[ -s "$prefix/share/man/man1/tarnwillow.1" ]

library=$(dirname "$(find "$prefix" -name 'libtarnwillow.so')")
export PKG_CONFIG_PATH=$library/pkgconfig
version=$(pkg-config --modversion tarnwillow)
[ -n "$version" ]
# The file names the prefix of configuration time; the installed one is told to pkg-config.
flags=$(pkg-config --define-variable=prefix="$prefix" --cflags --libs tarnwillow)
"$compiler" -std=c++20 "$here/project/main.cpp" $flags -Wl,-rpath,"$library" -o "$work/plain"
"$work/plain"

# Every public header stands on its own, and all of them compile together without a warning.
"$compiler" -std=c++20 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I"$prefix/include" \
    -x c++ - <<<'#include <tarnwillow/tarnwillow.h>'
"$prefix"/bin/tarnwillow >/dev/null 2>&1 && status=0 || status=$?
[ "$status" -eq 2 ] # no command given

# The installed program finds the message core that was installed with it.
export TARNWILLOW_SETTINGS_DIR=$work/settings TARNWILLOW_LOG_FILE=$work/log.txt
rm -rf "$TARNWILLOW_SETTINGS_DIR"
coproc tail { exec "$prefix/bin/tarnwillow" log tail 2>&1; }
tail_id=$tail_PID
read -r line <&"${tail[0]}"
kill -INT "$tail_id"
wait "$tail_id"
case $line in "Lines that come through $prefix"*) ;; *) echo "$line" && exit 1 ;; esac
