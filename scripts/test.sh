#!/usr/bin/env bash
# Sets up, builds and runs the tests: the usual steps, the steps named, or --all of them.
#   test.sh [--all | STEP]...
set -euo pipefail
cd "$(dirname "$0")/.."

# A step is a row here and a function of its name below.
steps=(
    "release  all tests, built by g++"
    "clang    all tests, built by clang++"
    "asan     all tests under the address and undefined-behaviour sanitizers"
    "tsan     the concurrent tests under the thread sanitizer"
    "abi      the binary interface against its baseline"
    "fuzz     the fuzz targets: their corpus, then a minute"
    "mutants  that the tests see the breaks in a sample of broken sources"
    "format   clang-format"
    "lint     clang-tidy and shellcheck"
    "docs     the API reference, and the paths that pages name"
)
further_steps=(
    "debug    all tests without optimisation"
    "native   all tests with -O3, -march=native and link-time optimisation"
    "libcxx   the tests with libc++, but those of the embedded host"
    "aarch64  the tests on 64-bit ARM, emulated"
    "coverage what the tests leave out, line by line in build/coverage/coverage.txt"
)

release() { build release all && ctest --preset release; }
clang() { build clang all && ctest --preset clang; }
asan() { build asan all && ctest --preset asan; }
# The address space is laid out anew only as far as the sanitizer's shadow memory can follow.
tsan() {
    build tsan zoeavl_host_test zoeavl_scaling_mutex_test && setarch "$(uname -m)" -R ctest --preset tsan -L threads
}
abi() { build debug zoeavl && abidiff --exported-interfaces-only debian/libzoeavl2.abi build/debug/libzoeavl.so; }
mutants() { scripts/mutate.py --quick --sample 60 --minutes 4 --at-least 90; }
debug() { build debug all && ctest --preset debug; }
native() { build native all && ctest --preset native; }
# The embedded host needs <memory_resource>, which libc++ has from 16 on.
libcxx() {
    local tests=(engine face face_checked frame inspect keys many scaling_mutex support)
    local names=${tests[*]} targets=("${tests[@]/#/zoeavl_}")
    targets=("${targets[@]/%/_test}")
    build libcxx "${targets[@]}" && ctest --preset libcxx -R "^zoeavl_(${names// /|})\$"
}
# The emulator runs no shell scripts.
aarch64() { build aarch64 all && ctest --preset aarch64 -L program; }
coverage() {
    build coverage all && ctest --preset coverage
    gcovr --root . --object-directory build/coverage --filter extension --filter generation --filter host \
        --filter include --filter inspect --filter support --branches --exclude-unreachable-branches --exclude-throw-branches \
        --txt build/coverage/coverage.txt >/dev/null
    tail -3 build/coverage/coverage.txt
}
fuzz() { scripts/fuzz.sh 1; }
format() {
    # shellcheck disable=SC2016 # the inner shell expands it
    sources '*.c' '*.h' '*.hpp' '*.cpp' | grep -zv '/generation/engine.c$' |
        xargs -0 -n 1 bash -c 'clang-format "$0" | diff -u --label "$0" --label "$0, formatted" "$0" -'
}
lint() {
    build clang zoeavl
    # shellcheck disable=SC2016 # the inner shell expands it
    sources '*.cpp' | grep -zEv '^./(tests|bench)/' | xargs -0 -n 1 -P "$(nproc)" bash -c '
        clang-tidy -p build/clang --quiet "$0" 2> >(grep -v "warnings generated" >&2) && echo "   $0"'
    sources '*.sh' run | xargs -0 shellcheck
}

docs() { scripts/docs.sh; }

# The project's files of these names, wherever they came from.
sources() {
    local names=()
    for name in "$@"; do names+=(-o -name "$name"); done
    find . \( -path ./build -o -path ./.git \) -prune -o -type f \( "${names[@]:1}" \) -print0 | sort -z
}

# Builds targets of a preset, and says at every fifth how far it has come.
build() { # preset, target...
    cmake --preset "$1" -DZOEAVL_BUILD_TESTS=ON >/dev/null || return
    cmake --build --preset "$1" --target "${@:2}" 2>&1 | awk -v log_file="build/$1/build.log" '
        { print > log_file }
        match($0, /^\[[0-9]+\/[0-9]+\]/) {
            split(substr($0, 2, RLENGTH - 2), count, "/"); part = int(5 * count[1] / count[2])
            if (part > parts) { printf "   built %d of %d\n", count[1], count[2]; fflush(); parts = part }
        }' || { sed -n '/^FAILED/,$p' "build/$1/build.log" >&2; return 1; }
}

known=("${steps[@]}" "${further_steps[@]}")
if [ "${1:-}" = --all ]; then
    steps=("${known[@]}")
    shift
fi
wanted=("$@")
all_names=$(printf '%s\n' "${known[@]}" | awk '{print $1}')
for name in "${wanted[@]}"; do
    grep -qxFe "$name" <<<"$all_names" || { echo "test: no such step: $name (there are: ${all_names//$'\n'/ })" >&2; exit 2; }
done
[ ${#wanted[@]} -eq 0 ] || steps=("${known[@]}")
echo "test: the usual steps take about 35 minutes on two cores, --all of them an hour; 1 GB under build/"
scripts/setup.sh test package docs
export CMAKE_GENERATOR=Ninja
for step in "${steps[@]}"; do
    read -r name what <<<"$step"
    [[ ${#wanted[@]} -eq 0 || " ${wanted[*]} " == *" $name "* ]] || continue
    printf '\n== %s: %s\n' "$name" "$what"
    started=$SECONDS
    "$name"
    echo "== $name: passed after $((SECONDS - started)) s ($((SECONDS / 60)) min in all)"
done
echo "test: all of it passed"
