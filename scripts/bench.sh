#!/usr/bin/env bash
# Measures zoeavl beside its peers, all built by g++ and all built by clang++, and prints one report.
#
#     scripts/bench.sh                            everything; the report goes to docs/benchmark.{md,svg}
#     scripts/bench.sh --growth                   1 to 64 million records; to docs/growth.{md,svg}
#     scripts/bench.sh --benchmark_filter=REGEX   some rows (arguments go to the benchmark); writes nothing
#
# ZOEAVL_BENCH_ROUNDS sets how many rounds.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source=$(dirname "$here")
build=$source/build/bench
"$here/setup.sh" bench
export CMAKE_GENERATOR=Ninja

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for compilers in g++:gcc clang++:clang; do
    compiler=${compilers%:*}
    if ! { cmake -S "$source" -B "$build/$compiler" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER="$compiler" \
                 -DCMAKE_C_COMPILER="${compilers#*:}" \
                 -DZOEAVL_BUILD_BENCH=ON -DZOEAVL_BUILD_TESTS=OFF &&
           cmake --build "$build/$compiler" --target zoeavl_bench zoeavl_bench_report; } >"$work/log" 2>&1; then
        cat "$work/log" >&2
        exit 1
    fi
done

documents=
case "$*" in
    "") documents=$source/docs/benchmark ;;
    --growth) documents=$source/docs/growth ;;
esac

# Row by row, so that what one compiler built is measured right after what the other built.
run() { # argument...
    local row rows
    rows=$("$build/g++/zoeavl_bench" "$@" --benchmark_list_tests)
    while IFS= read -r row; do
        if [ -t 2 ]; then printf '\r\033[K%s' "${row%/iterations:*}" >&2; fi
        for compiler in g++ clang++; do
            # shellcheck disable=SC2001 # a class of characters, each with a backslash
            ZOEAVL_BENCH_RESULTS=$work/$compiler.tsv "$build/$compiler/zoeavl_bench" "$@" \
                --benchmark_filter="^$(sed 's/[][().*^$+?{}|\\]/\\&/g' <<<"$row")\$" </dev/null >"$work/log" 2>&1 ||
                { cat "$work/log" >&2; exit 1; }
        done
    done <<<"$rows"
    if [ -t 2 ]; then printf '\r\033[K' >&2; fi
}
run "$@"
# Once more with memory in huge pages, for all contestants alike.
[ "${1:-}" != --growth ] || GLIBC_TUNABLES=glibc.malloc.hugetlb=1 run "$@"

if [ -n "$documents" ]; then
    "$build/g++/zoeavl_bench_report" --documents="$documents" "$work"/*.tsv
    echo "written: $documents.md and $documents.svg"
else
    "$build/g++/zoeavl_bench_report" "$work"/*.tsv
fi
