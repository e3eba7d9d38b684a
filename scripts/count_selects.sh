#!/usr/bin/env bash
# Shows, for each operation of the family in a built library, how many turns of a search it has that
# select the next link by conditional move: a comparison, the move, and then the test for an equal key
# or for a thread. Fails if an operation has none: it branches on the outcome of every comparison.
set -euo pipefail
library=${1:-$(dirname "$0")/../build/release/libzoeavl.so}
[ -f "$library" ] || { echo "count_selects: no such library: $library" >&2; exit 2; }
objdump -d --no-show-raw-insn "$library" | awk '
    /^[0-9a-f]+ <.*cb[a-z0-9]+_(safe_)?(adder|finder|fuzzier|killer)/ {
        match($2, /cb[a-z0-9]+_(safe_)?(adder|finder|fuzzier|killer)/)
        name = substr($2, RSTART, RLENGTH); turns[name] += 0; turn = ""; next
    }
    /^$/ { name = "" }
    name == "" { next }
    $2 ~ /^cmp/ { turn = "compared"; next }
    turn != "" && $2 ~ /^cmov[abgl]e?$/ { turn = "selected"; next }
    turn != "" && $2 ~ /^(mov|lea|or$|add$|set)/ { next }
    { if (turn == "selected" && ($2 ~ /^jn?e$/ || $0 ~ /test +\$0x2,/)) turns[name]++; turn = "" }
    END {
        for (name in turns) { printf "%-24s %d\n", name, turns[name]; lost += turns[name] == 0 }
        exit lost > 0
    }' | sort
