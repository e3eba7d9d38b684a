#!/usr/bin/env bash
# Each step of a lockstep group is a conditional move, whatever the compiler's options.
#   lockstep.sh SOURCE_FOLDER CXX
set -euo pipefail
source=$1 cxx=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/find.cpp" <<'END'
#include <zoeavl.hpp>
struct Record : zoe::node {
    std::int64_t key;
};
using Index = zoe::index<Record, &Record::key>;
void find(const Index &index, const std::int64_t (&keys)[1024], const Record **out) {
    index.find_many(keys, out);
}
END
for flags in -O1 -O2 -O3 "-O2 -march=native" "-O2 -DZOEAVL_PORTABLE_SELECT"; do
    # shellcheck disable=SC2086 # several flags
    "$cxx" -std=c++20 $flags "-I$source/include" -c "$work/find.cpp" -o "$work/find.o"
    # Groups of 32 and of 8, unrolled; beside them stand some 20 to 45 branches, and one in each step would be 40 more.
    objdump -d --no-show-raw-insn "$work/find.o" | awk -v flags="$flags" '
        $2 ~ /^prefetch/ { steps++ }
        $2 ~ /^j/ && $2 != "jmp" { branches++ }
        END {
            if (steps < 40 || branches >= 64) {
                print "lockstep: " flags ": " steps " steps, " branches " branches"; exit 1
            }
        }'
done
