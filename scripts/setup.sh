#!/usr/bin/env bash
# Sees to what a step needs and a bare Debian machine lacks; quiet, and only what is missing.
#   setup.sh [--list] [STEP]...
# Steps: build (the default), test, docs, pictures, package, bench. With --list it only names what it would install.
set -euo pipefail

# What each step needs, as THING:PACKAGE. A thing is a command or the path of a file.
cc='gcc:gcc /usr/include/stdlib.h:libc6-dev'
declare -A needs=(
    [build]="$cc g++:g++ cmake:cmake ninja:ninja-build"
    [test]="make:make clang:clang /usr/share/doc/libclang-rt-dev:libclang-rt-dev
            clang-format:clang-format clang-tidy:clang-tidy pkg-config:pkg-config
            /usr/include/gtest/gtest.h:libgtest-dev readelf:binutils
            setarch:util-linux shellcheck:shellcheck python3:python3 ccache:ccache gdb:gdb
            dot:graphviz /usr/include/c++/v1/vector:libc++-dev /usr/lib/llvm-14/lib/libc++abi.so:libc++abi-dev
            aarch64-linux-gnu-g++:g++-aarch64-linux-gnu qemu-aarch64:qemu-user
            /usr/src/googletest:googletest abidiff:abigail-tools gcovr:gcovr"
    [docs]="doxygen:doxygen"
    [pictures]="dot:graphviz"
    [package]="dh:debhelper dpkg-buildpackage:dpkg-dev fakeroot:fakeroot lintian:lintian doxygen:doxygen"
    [bench]="/usr/include/benchmark/benchmark.h:libbenchmark-dev /usr/include/boost/version.hpp:libboost-dev
             /usr/include/absl/base/config.h:libabsl-dev /usr/include/glib-2.0/glib.h:libglib2.0-dev
             pkg-config:pkg-config clang++:clang"
)

list=false
steps=(build)
for argument in "$@"; do
    if [ "$argument" = --list ]; then
        list=true
    elif [ -n "$argument" ] && [ -n "${needs[$argument]:-}" ]; then
        steps+=("$argument")
    else
        echo "setup: no such step: $argument (there are: ${!needs[*]})" >&2
        exit 2
    fi
done

there() { if [ "${1:0:1}" = / ]; then [ -e "$1" ]; else command -v "$1" >/dev/null; fi; }
missing=()
for step in "${steps[@]}"; do
    for need in ${needs[$step]}; do
        package=${need#*:}
        there "${need%:*}" || [[ " ${missing[*]} " == *" $package "* ]] || missing+=("$package")
    done
done
[ ${#missing[@]} -gt 0 ] || exit 0
if $list; then
    printf '%s\n' "${missing[@]}"
    exit 0
fi

install="apt-get install -y --no-install-recommends ${missing[*]}"
if [ "$(id -u)" -ne 0 ] || ! command -v apt-get >/dev/null; then
    printf 'setup: %s\n' "not there yet: ${missing[*]}" "as root, on Debian: apt-get update && $install" >&2
    exit 1
fi
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "setup: installing ${missing[*]}"
if ! { apt-get update && DEBIAN_FRONTEND=noninteractive $install; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "setup: can't install ${missing[*]}" >&2
    exit 1
fi
