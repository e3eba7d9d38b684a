#!/usr/bin/env bash
# Builds and runs the main example on real text: the files named, or the machine's licences.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
source=$(dirname "$here")
"$here/setup.sh"
export CMAKE_GENERATOR=Ninja
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "demo: building word_index in $source/build/release (half a minute)"
if ! { cmake -S "$source" --preset release &&
       cmake --build "$source/build/release" --target zoeavl_word_index; } >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi
if [ $# -gt 0 ]; then
    echo "demo: indexing the words of $*"
else
    echo "demo: indexing the words of the files in /usr/share/common-licenses"
fi
run() {
    printf '\n$ word_index %s\n' "$*"
    "$source/build/release/word_index" "$@"
}
run --near license "$@"
run --by-count "$@"
run --order "$source/examples/orders/case_blind.h" --near license "$@"
