#!/usr/bin/env bash
# Replays the fuzz targets' corpus under the sanitizers, then fuzzes for MINUTES, shared out among the
# targets. What breaks a target is left in build/fuzz and told.
#   scripts/fuzz.sh MINUTES
set -euo pipefail
cd "$(dirname "$0")/.."
[[ ${1-} =~ ^(0|[1-9][0-9]*)$ ]] || { echo "fuzz: how many minutes? (scripts/fuzz.sh MINUTES)" >&2; exit 2; }
scripts/setup.sh test
export CMAKE_GENERATOR=Ninja

mapfile -t targets < <(cd tests/fuzz && ls -- *.cpp)
targets=("${targets[@]%.cpp}")
cmake --preset fuzz -DZOEAVL_BUILD_TESTS=ON >/dev/null
cmake --build --preset fuzz --target "${targets[@]/#/fuzz_}" >build/fuzz/build.log 2>&1 ||
    { cat build/fuzz/build.log; exit 1; }

fuzz() { # target, seconds
    local found=build/fuzz/found/$1
    mkdir -p "$found"
    if ! { "build/fuzz/fuzz_$1" -runs=0 -artifact_prefix="$found-" "tests/fuzz/corpus/$1" &&
           { [ "$2" -eq 0 ] ||
             "build/fuzz/fuzz_$1" -max_total_time="$2" -max_len=1024 -len_control=0 -timeout=20 \
                 -artifact_prefix="$found-" "$found" "tests/fuzz/corpus/$1"; }; } >"$found.log" 2>&1; then
        tail -40 "$found.log"
        echo "fuzz: $1 broke, see $found.log"
        return 1
    fi
    echo "fuzz: $1: $(tail -1 "$found.log")"
}
export -f fuzz
printf '%s\n' "${targets[@]}" |
    xargs -I {} -P "$(nproc)" bash -c "fuzz {} $(($1 * 60 * $(nproc) / ${#targets[@]}))"
