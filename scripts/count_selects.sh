#!/usr/bin/env bash
# Shows, for each operation of the family in a built library, how many conditional moves it has: a
# descent that lost its own branches on the outcome of every comparison.
set -euo pipefail
library=${1:-$(dirname "$0")/../build/release/libzoeavl.so}
[ -f "$library" ] || { echo "count_selects: no such library: $library" >&2; exit 2; }
objdump -d --no-show-raw-insn "$library" | awk '
    /^[0-9a-f]+ <.*cb[a-z0-9]+_(safe_)?(adder|finder|fuzzier|killer)/ {
        match($2, /cb[a-z0-9]+_(safe_)?(adder|finder|fuzzier|killer)/)
        name = substr($2, RSTART, RLENGTH); moves[name] += 0; next
    }
    /^$/ { name = "" }
    name != "" && $2 ~ /^cmov/ { moves[name]++ }
    END { for (name in moves) printf "%-24s %d\n", name, moves[name] }' | sort
