#!/usr/bin/env bash
# Sets up, builds and runs all tests: release builds of both compilers, address and undefined-behaviour
# sanitizers, the concurrent tests under the thread sanitizer, then format and lint.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
export CMAKE_GENERATOR=Ninja

build() { # preset, target...
    cmake --preset "$1" -DZOEAVL_BUILD_TESTS=ON >/dev/null
    cmake --build --preset "$1" --target "${@:2}" >"build/$1/build.log" 2>&1 ||
        { cat "build/$1/build.log"; return 1; }
}
say() { printf '\n== %s\n' "$*"; }

say "release, g++"
build release all
ctest --preset release
say "release, clang++"
build clang all
ctest --preset clang
say "address and undefined-behaviour sanitizers"
build asan all
ctest --preset asan
say "thread sanitizer"
build tsan zoeavl_concurrent_tests
# The address space is laid out anew only as far as the sanitizer's shadow memory can follow.
setarch "$(uname -m)" -R ctest --preset tsan -R concurrent

say "format and lint"
mapfile -t sources < <(git ls-files '*.h' '*.hpp' '*.cpp' ':!examples/orders')
clang-format --dry-run --Werror "${sources[@]}"
mapfile -t linted < <(git ls-files '*.cpp' ':!tests' ':!bench')
printf '%s\0' "${linted[@]}" | xargs -0 -n 4 -P "$(nproc)" clang-tidy -p build/clang --quiet 2>/dev/null
bash -n scripts/*.sh tests/*.sh
echo "all tests passed"
