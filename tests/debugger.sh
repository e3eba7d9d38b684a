#!/usr/bin/env bash
# What gdb shows of a program that stopped, live and from its core file; the script is loaded by gdb itself.
#   debugger.sh PROGRAM FOLDER-OF-THE-LIBRARY
set -euo pipefail
program=$1
folder=$2
if ! command -v gdb >/dev/null; then
    echo "debugger: skipped, since gdb isn't there"
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
look() { # what gdb is told ahead of the questions
    gdb -q -nx -batch -iex "add-auto-load-safe-path $folder" -iex "set debuginfod enabled off" "$@" \
        -ex "frame function main" -ex 'echo answers\n' -ex 'p *by_people' -ex 'p index' -ex 'zoeavl walk by_name' \
        -ex 'zoeavl walk by_name from "C"' -ex 'zoeavl walk *by_people as City from 50000' \
        -ex 'zoeavl check wrong' -ex 'zoeavl check by_name' -ex 'zoeavl node &cities[1]' \
        -ex 'zoeavl walk index' -ex 'zoeavl check index' 2>&1 |
        sed -n '/^answers$/,$p' | sed -E '1d; s/0x[0-9a-f]+/ADDRESS/g; s/^\$[0-9]+ = //'
}
expected="zoeavl tree (cbi64, key at 32, length 1, no lock), 3 records = {ADDRESS = record key 47000, \
ADDRESS = record key 291189, ADDRESS = record key 717710}
zoeavl index of Town, 2 records = {{name = ADDRESS \"Hamar\", people = 28535, by_people = {<ZOEAVLNODE> = \
{llink = ADDRESS, rlink = ADDRESS}, <No data fields>}}, {name = ADDRESS \"Moss\", people = 47000, by_people = \
{<ZOEAVLNODE> = {llink = ADDRESS, rlink = ADDRESS}, <No data fields>}}}
ADDRESS b'Bergen'
ADDRESS b'Moss'
ADDRESS b'Oslo'
ADDRESS b'Moss'
ADDRESS b'Oslo'
ADDRESS {node = {llink = ADDRESS, rlink = ADDRESS}, name = {chars = ADDRESS, length = 6}, people = 291189}
ADDRESS {node = {llink = ADDRESS, rlink = ADDRESS}, name = {chars = ADDRESS, length = 4}, people = 717710}
record ADDRESS: key 1 isn't above 47000: was it changed in the tree?
3 records, 1 faults
3 records, 0 faults
ADDRESS: left child ADDRESS, right child ADDRESS, level
ADDRESS {name = ADDRESS \"Hamar\", people = 28535, by_people = {<ZOEAVLNODE> = {llink = ADDRESS, rlink = ADDRESS}, \
<No data fields>}}
ADDRESS {name = ADDRESS \"Moss\", people = 47000, by_people = {<ZOEAVLNODE> = {llink = ADDRESS, rlink = ADDRESS}, \
<No data fields>}}
2 records, 0 faults"
expect() { # which, what it told
    diff <(echo "$expected") <(echo "$2") || { echo "debugger: $1 differs" >&2; exit 1; }
}
expect "the live program" "$(look -ex run -ex "generate-core-file $work/core" "$program")"
expect "its core file" "$(look "$program" "$work/core")"
