# A filter for Doxygen: declarations that stand together without an empty line share the comment in
# front of the first, so each of the others gets a copy, on its own line: numbers of lines stay.

function depth_change(line,    opened, closed) {
    gsub(/"(\\.|[^"\\])*"|'(\\.|[^'\\])*'|\/\/.*/, "", line)
    opened = gsub(/[({]/, "", line)
    closed = gsub(/[)}]/, "", line)
    return opened - closed
}

/^ *\/\/\/ / && !/\/\/\/</ {
    if (!in_comment) shared = ""
    in_comment = 1
    line = $0
    sub(/^ *\/\/\/ /, "", line)
    shared = shared " " line
    print
    next
}
/^ *$/ || /^ *(public|protected|private):/ || /^#/ || /^ *\/\// {
    if (!in_comment) shared = ""
    in_comment = 0
    print
    next
}
/^}/ && !inside { print; next }
{
    starts = !inside
    opens_scope = starts && $0 ~ /^ *(namespace|class|struct|enum|union|extern "C").*\{$/
    if (starts && !in_comment && shared != "" && !/^ *[}]/ && !/\/\/\/</)
        print "/**" shared " */ " $0
    else
        print
    in_comment = 0
    if (opens_scope) { shared = ""; next }
    if (starts && /^ *}/) next
    depth += depth_change($0)
    inside = depth > 0 || $0 !~ /[;}] *(\/\/.*)?$/
}
