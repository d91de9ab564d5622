#!/usr/bin/env bash
# demo.sh PROGRAM: reads XML documents that the machine has anyway, not a sample made for the
# purpose: from files, and from a web server that it starts on loopback for as long as it takes.
set -euo pipefail
program=$1
types=/usr/share/mime/packages/freedesktop.org.xml
fonts=$(find /usr/share/fontconfig/conf.avail -name '*.conf' | sort | head -1)

work=$(mktemp -d)
server=
clean_up() {
    [ -z "$server" ] || { kill "$server" && wait "$server"; } 2>/dev/null || true
    rm -rf "$work"
}
trap clean_up EXIT

run() {
    printf '\n$ tarnwillow %s\n' "$*"
    "$program" "$@"
}

# Files.

run xml "$fonts"

printf '\n$ tarnwillow xml %s | head\n' "$types"
"$program" xml "$types" | sed -n 1,12p

run xml "$types" mime-info/mime-type/@type
run xml "$types" mime-info/mime-type/comment

lines=$("$program" xml "$types" | wc -l)
bytes=$(stat -c %s "$types")
printf '\n%s: %d bytes became a tree of %d lines.\n' "$types" "$bytes" "$lines"

printf '\n$ tarnwillow script examples/mimeTypes.js\n'
"$program" script "$(dirname "$0")/mimeTypes.js"

# A web server. It serves the same documents over HTTP, and over HTTPS with a certificate from an
# authority that the program is told to trust.

export TARNWILLOW_SETTINGS_DIR=$work/settings TARNWILLOW_RUNTIME_DIR=$work/runtime
export TARNWILLOW_CERTIFICATES=$work/certificates no_proxy=127.0.0.1
mkdir -p "$TARNWILLOW_CERTIFICATES/ROOT"

make_certificates() {
    openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 \
        -subj '/O=Demo/CN=Demo authority' -keyout "$work/authority.key" \
        -out "$TARNWILLOW_CERTIFICATES/ROOT/demo.pem"
    openssl req -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes \
        -subj '/CN=127.0.0.1' -keyout "$work/server.key" -out "$work/server.csr"
    openssl x509 -req -in "$work/server.csr" -days 2 -CA "$TARNWILLOW_CERTIFICATES/ROOT/demo.pem" \
        -CAkey "$work/authority.key" -CAcreateserial -out "$work/server.pem" \
        -extfile <(echo subjectAltName=IP:127.0.0.1)
}

listens() { (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null; }

configure() {
    cat >"$work/nginx.conf" <<END
daemon off;
$([ "$(id -u)" -ne 0 ] || echo 'user root;')
worker_processes 1;
pid $work/nginx.pid;
error_log $work/error.log;
events { }
http {
    access_log off;
    client_body_temp_path $work/body;
    proxy_temp_path $work/proxy;
    fastcgi_temp_path $work/fastcgi;
    uwsgi_temp_path $work/uwsgi;
    scgi_temp_path $work/scgi;
    server {
        listen 127.0.0.1:$1;
        listen 127.0.0.1:$(($1 + 1)) ssl;
        ssl_certificate $work/server.pem;
        ssl_certificate_key $work/server.key;
        root $(dirname "$types");
        location = /old { return 302 /$(basename "$types"); }
    }
}
END
}

# Starts the server at two ports that nobody uses, and waits until it listens.
start_server() {
    local tries
    for tries in 1 2 3 4 5; do
        port=$((20000 + RANDOM))
        listens "$port" || listens $((port + 1)) && continue
        configure "$port"
        "$(PATH=$PATH:/usr/sbin command -v nginx)" -p "$work" -c "$work/nginx.conf" \
            -e "$work/error.log" &
        server=$!
        while kill -0 "$server" 2>/dev/null; do
            listens $((port + 1)) && return
            sleep 0.1
        done
    done
    cat "$work/error.log" >&2
    return 1
}

make_certificates 2>/dev/null
start_server
plain=http://127.0.0.1:$port secure=https://127.0.0.1:$((port + 1))
document=$(basename "$types")

run xml "$plain/$document" mime-info/mime-type/@type
run xml "$secure/$document" mime-info/mime-type/comment
run fetch "$plain/old" -o "$work/answer"
run fetch "$secure/$document" -o "$work/copy"
cmp "$types" "$work/copy" && printf 'The copy is the original, byte for byte.\n'

printf '\nThe same with the log on. First a server that is not trusted, then one that is:\n'
"$program" log on 1
"$program" log on 17
export TARNWILLOW_LOG=stderr
printf '\n$ TARNWILLOW_CERTIFICATES= tarnwillow xml %s ...\n' "$secure/$document"
TARNWILLOW_CERTIFICATES=$work/none "$program" xml "$secure/$document" mime-info/mime-type/@type \
    2>&1 | tail -2 || true
run xml "$secure/$document" mime-info/mime-type/@type
