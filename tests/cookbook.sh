#!/usr/bin/env bash
# Compiles the snippets of the cookbook, as they stand there, into one program a language, and runs them.
#   cookbook.sh SOURCE BUILD COMPILER C_COMPILER
set -euo pipefail
source=$1 build=$2 cxx=$3 cc=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Each block of a language becomes a function; the first of C++ is what stands in front of all.
snippets() { # language
    awk -v fence="\`\`\`$1" -v skip="$2" '
        $0 == fence {on = 1; count++; if (count > skip) print opening, "snippet_" count "(void) {"; next}
        /^```/ {if (on && count > skip) print "}"; on = 0; next}
        on && (count > skip) {print}
        END {print "int main(void) {"; print start
             for (i = skip + 1; i <= count; i++) print "snippet_" i "();"; print "return 0; }"}' \
        opening="static void" start="$3" "$source/docs/cookbook.md"
}
{
    awk '/^```cpp/ {on = 1; next} /^```/ && on {exit} on' "$source/docs/cookbook.md"
    snippets cpp 1 ""
} >"$work/snippets.cpp"
{
    printf '#include <assert.h>\n#include <zoeavl.h>\n#include <zoeavl_host.h>\nstatic ZOEAVLExtension *factory;\n'
    snippets c 0 'zoextent(zoeavl_host()); factory = zoeavl(NULL, NULL); assert(Exported_ZOHandle == zoeavl_host());'
} >"$work/snippets.c"
flags=(-UNDEBUG -Wall -Wextra -Werror "-I$source/include" "-I$source/host")
libraries=("-L$build" -lzoeavl -lzoeavl_host "-Wl,-rpath,$build")
$cxx -std=c++20 "${flags[@]}" "$work/snippets.cpp" -o "$work/cpp" "${libraries[@]}" -pthread
$cc -std=c11 "${flags[@]}" "$work/snippets.c" -o "$work/c" "${libraries[@]}"
"$work/cpp"
"$work/c"
echo "cookbook: $(grep -c 'static void snippet' "$work/snippets.cpp") snippets in C++, $(grep -c 'static void snippet' "$work/snippets.c") in C"
