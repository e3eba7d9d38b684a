#!/usr/bin/env bash
# Two builds in two folders, with SOURCE_DATE_EPOCH set, give the same library.
#   reproducible.sh SOURCE
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export SOURCE_DATE_EPOCH=1700000000
for folder in one another/deeper; do
    cmake -G Ninja -S "$source" -B "$work/$folder" -DCMAKE_BUILD_TYPE=Release -DZOEAVL_BUILD_TESTS=OFF >/dev/null
    cmake --build "$work/$folder" --target zoeavl >/dev/null
done
cmp "$work/one/libzoeavl.so" "$work/another/deeper/libzoeavl.so"
grep -q 'V.02.01M0P11142023' "$work/one/libzoeavl.so"
grep -q 'Tue Nov 14 22:13:20 UTC 2023' "$work/one/libzoeavl.so"
