#!/usr/bin/env bash
# Runs the examples as a user would and checks what they say.
#   examples.sh BUILD SOURCE
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

failures=0
expect() { # what, expected, found
    if [ "$2" != "$3" ]; then
        printf 'examples: %s\nexpected: %s\nfound:    %s\n' "$1" "$2" "$3" >&2
        failures=$((failures + 1))
    fi
}
words() { "$build/word_index" "$@" 2>&1; }
said() { # status and words of a program
    local words status=0
    words=$("$@" 2>&1) || status=$?
    echo "$status $words"
}

cat >"$work/text" <<'EOF'
the cat and the Cat saw an ant; the ant saw a cat. Éa zoo!
EOF
printf 'cat unknown saw\n' >"$work/unwanted"
head='words: 15
distinct words: 10
index overhead: 16 bytes a record
first: Cat
last: Éa'
expect "report" "$head" "$(words "$work/text")"
expect "standard input" "$head" "$(words - <"$work/text")"
expect "around an absent word" "$head
around cab, which isn't there:
  Cat 1
  a 1
  an 1
  and 1
  ant 2
  cat 2
  saw 2
  the 3
  zoo 1
  Éa 1" "$(words --near cab "$work/text")"
expect "removal and list" "$head
removed: 2
  Cat 1
  a 1
  an 1
  and 1
  ant 2
  the 3
  zoo 1
  Éa 1" "$(words --remove "$work/unwanted" --list "$work/text")"
expect "by count" "  the 3" "$(words --by-count "$work/text" | sed -n 7p)"
expect "all words by count" 10 "$(words --by-count "$work/text" | tail -n +7 | wc -l)"
expect "per letter" "  a: 4 words, a to ant" "$(words --per-letter "$work/text" | grep ' a:')"
expect "case-blind order" "distinct words: 9" \
    "$(words --order "$source/examples/orders/case_blind.h" "$work/text" | sed -n 2p)"
expect "order by length" "first: a" \
    "$(words --order "$source/examples/orders/by_length.h" "$work/text" | sed -n 4p)"
expect "empty input" "words: 0" "$(words - </dev/null | head -1)"
expect "default input" "first: " "$(words | sed -n 's/\(first: \).*/\1/p')"
if command -v dot >/dev/null; then
    words --draw "$work/tree.svg" "$work/text" >/dev/null
    expect "picture" 1 "$(grep -c '>zoo<' "$work/tree.svg")"
fi
expect "help" "usage" "$(words --help | head -c 5)"
for bad in "--near" "--bogus" "$work/missing" "$work" "--remove $work/missing $work/text"; do
    # shellcheck disable=SC2086 # several words
    expect "status of $bad, in one line" "2" "$(said words $bad | sed 's/ .*//')"
done
expect "an order that doesn't compile" 2 "$(said words --order "$work/text" "$work/text" | grep -c "^2 \|word_index: .*$work/text")"

expect "orders of the build" "by length: b ANT ant Kelp kelp abalone case-blind: abalone ant b Kelp" \
    "$("$build/word_orders" Kelp ant b kelp abalone b ANT | xargs)"
printf '#define ZOEAVL_COMP(a,b,n,p,f) \\\n  if ((a)->nothing) goto p; else goto f;\n' >"$work/order.h"
words --order "$work/order.h" "$work/text" >"$work/refusal" || true
expect "a mistake's file and line" 1 "$(grep -m 1 -c "^$work/order.h:2:.*error" "$work/refusal")"
expect "loaded at run time" "requires kernel 9.1 events at 10 20 30 40" \
    "$("$build/load_at_run_time" "$build/libzoeavl.so.2" | xargs)"
expect "nothing to load" "load_at_run_time: /nonexistent" "$("$build/load_at_run_time" /nonexistent 2>&1 | cut -d: -f1,2)"

expect "own host" "250000 lies between Trondheim and Bergen" "$("$build/bring_your_own_host" | grep between)"
expect "huge pages" "100001 readings, the last at 100000" "$("$build/huge_pages")"
levels=$source/examples/data/river_levels.csv
expect "missing values first" " missing (no reading): Carrow, Kelder" "$("$build/missing_values" "$levels" | head -1)"
expect "threshold" "just below 0.1: missing (removed): Garth, Stonewater just above 0.1: 0.64: Inchmere" \
    "$("$build/missing_values" "$levels" 0.1 | tail -2 | xargs)"
printf 'station,level\nHere,1.5x\n' >"$work/bad.csv"
expect "bad number" "2 missing_values: $work/bad.csv: not a number: 1.5x" \
    "$(said "$build/missing_values" "$work/bad.csv")"

expect "order book" "best price: 9000, first come: order 28
asked for at 9500: 6163
orders from 9990 to 10009: 1959
order 4711 at 10215 is in the book: 1
left: 195110 and 195110" "$("$build/order_book")"
printf 'Ant and bee; anthill, ants.' >"$work/words"
expect "words by their beginning" "ant 1 anthill 1 ants 1 before ant: and, of 5 words" \
    "$("$build/dictionary" ant "$work/words" | xargs)"
expect "words that aren't there" "2 dictionary: can't read $work/missing" \
    "$(said "$build/dictionary" ant "$work/missing")"
expect "shared indexes" "guarded: 5000 left
tree: 5000 left
most urgent by the function in C as by the face: 1" "$("$build/shared_index")"

# Whichever request the host refuses, a program says in a line of its own what it can't do, or goes on.
refuse() { # how many refusals end it, program, arguments...
    local ending=0 request status name=${2##*/}
    for request in {1..20}; do
        status=0
        ZOEAVL_HOST_CHECKED=1 ZOEAVL_HOST_FAIL=$request "${@:2}" >"$work/output" 2>"$work/words" || status=$?
        [ "$status" -ne 0 ] || continue
        ending=$((ending + 1))
        expect "$name without request $request" "1 line" "$(grep -c "^$name: " "$work/words") line"
        expect "its status" few "$([ "$status" -le 2 ] && echo few || echo "$status")"
    done
    expect "requests that $name can't do without" "$1" "$ending"
}
refuse 4 "$build/word_index" "$work/text"
refuse 5 "$build/word_index" --order "$source/examples/orders/by_length.h" "$work/text"
refuse 3 "$build/missing_values" "$levels"
refuse 4 "$build/shared_index"
refuse 4 "$build/word_orders" Kelp ant b
[ "$failures" -eq 0 ]
