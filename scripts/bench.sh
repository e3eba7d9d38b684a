#!/usr/bin/env bash
# Measures zoeavl beside its peers in one process, prints one table, and writes it with a chart to docs/.
# Arguments go to the benchmark (--benchmark_filter=REGEX); ZOEAVL_BENCH_ROUNDS sets how many rounds.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source=$(dirname "$here")
"$here/setup.sh" bench
export CMAKE_GENERATOR=Ninja
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! { cmake -S "$source" -B "$source/build/bench" -DCMAKE_BUILD_TYPE=Release \
             -DZOEAVL_BUILD_BENCH=ON -DZOEAVL_BUILD_TESTS=OFF &&
       cmake --build "$source/build/bench" --target zoeavl_bench; } >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi
ZOEAVL_BENCH_OUTPUT=$source/docs exec "$source/build/bench/zoeavl_bench" "$@"
