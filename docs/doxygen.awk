# Shows Doxygen the comments of a public header as documentation: the first as the file's, one above declarations
# as that of all of them up to the next blank line or comment, one behind a member as the member's. What stands in a
# namespace detail or scaling is hidden, but for what a comment that opens with two asterisks presents.

function depth_of(line) {
    gsub(/'[{}]'/, "", line)
    return gsub(/\{/, "", line) - gsub(/\}/, "", line)
}

# A comment behind a member is the member's; a reserved word says it all by its name.
function member(line) {
    if (line !~ /^ *\/\*/) sub(/ \/\* /, " /**< ", line)
    if (line ~ /^ .*reserved[0-9]+(\[[0-9]+\])?;$/) line = line " /**< Reserved. */"
    return line
}

# A line that opens a type or a namespace: its members have documentation of their own.
function opens_a_scope(line) { return line ~ /^ *(typedef )?(struct|class|union|enum|namespace)[ {].*\{$/ }

function print_group(   i) {
    if (declarations > 1) print "/**@{*/"
    printf "%s", comment
    printf "%s", body
    if (declarations > 1) print "/**@}*/"
    in_group = 0
}

function hide() { print "/** @cond */"; hidden = 1 }
function show() { print "/** @endcond */"; hidden = 0 }

END { if (in_group) print_group(); if (hidden) show() }

# ---- Comments

in_comment {
    comment = comment $0 "\n"
    if (/\*\/$/) { in_comment = 0; expect_body = 1 }
    next
}

expect_body {
    expect_body = 0
    if (/^$/) { # it presents nothing
        sub(/\/\*\*/, "/*", comment)
        printf "%s", comment
    } else if (opens_a_scope($0) || /^#(if|e|u)/) {
        printf "%s", comment
    } else {
        in_group = 1; group_depth = 0; declarations = 0; body = ""
        match($0, /^ */); group_indent = RLENGTH
    }
}

in_group && group_depth == 0 && opens_a_scope($0) { # behind a line of its template
    body = body $0 "\n"
    print_group()
    next
}

in_group {
    match($0, /^ */)
    ends = group_depth == 0 && (/^$/ || /^ *\/\* / || RLENGTH < group_indent || /^#(if|e|u)/)
    if (!ends) {
        group_depth += depth_of($0)
        if (group_depth == 0 && (/[;}]( \/\*.*)?$/ || /^#define/)) declarations++
        body = body member($0) "\n"
        next
    }
    print_group()
}

hidden && /^};/ && !shown && !in_detail { show(); print; next }
hidden && !/^\/\*\* / && !/^\} \/\/ namespace/ && !/^\};/ { print; next }
hidden && /^\/\*\* / { show(); shown = 1 }
shown && /^\};/ { if (hidden) show(); print; shown = 0; hide(); next }
/^  protected:/ { print; hide(); next }

FNR == 1 && /^\/\* / {
    sub(/^\/\* /, "/** @file\n * ")
    print; next
}
/^ *\/\*\*? / && !/\/\*\*? ----/ {
    sub(/\/\*\*? /, "/** ")
    comment = $0 "\n"
    if (/\*\/$/) expect_body = 1
    else in_comment = 1
    next
}

# ---- Everything else

/^namespace (ZOEAVL_FACE_NAMESPACE::)?(detail|scaling) \{/ { print; in_detail = 1; hide(); next }
/^\} \/\/ namespace .*(detail|scaling)$/ { if (hidden) show(); in_detail = 0; print; next }
/^\} \/\/ namespace ZOEAVL_FACE_NAMESPACE$/ { print; hide(); next } # specializations of the standard's templates
{ print member($0) }
