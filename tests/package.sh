#!/usr/bin/env bash
# Installs into a prefix; builds and runs the programs of the README against it, through CMake and
# through pkg-config; removes it again.
#   package.sh BUILD SOURCE
set -euo pipefail
build=$1
source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# The README's own text: the code blocks of C++ and of C, and its CMake lines.
block() { awk -v fence="\`\`\`$1" '$0 == fence {on = 1; next} /^```/ {on = 0} on' "$source/README.md"; }
mkdir "$work/program"
block cpp >"$work/program/cities.cpp"
block c >"$work/program/cities.c"
{ echo 'cmake_minimum_required(VERSION 3.25)'
  echo 'project(stranger C CXX)'
  echo 'set(CMAKE_CXX_STANDARD 17)'
  echo 'add_executable(cities cities.cpp)'
  block cmake
  echo 'add_executable(cities_in_c cities.c)'
  block cmake | grep target_link_libraries | sed 's/(cities /(cities_in_c /'; } >"$work/program/CMakeLists.txt"
expected='Bergen
Oslo
just above 300000: Oslo'

warnings='-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-align=strict -Winvalid-offsetof -Werror'
check() { # prefix
    export LD_LIBRARY_PATH=$1/lib:$1/lib/x86_64-linux-gnu
    cmake -G Ninja -S "$work/program" -B "$1-cmake" -DCMAKE_PREFIX_PATH="$1" >/dev/null
    cmake --build "$1-cmake" >"$work/log" || { cat "$work/log"; return 1; }
    [ "$("$1-cmake/cities")" = "$expected" ]
    [ "$("$1-cmake/cities_in_c")" = "$expected" ]
    PKG_CONFIG_PATH=$(dirname "$(find "$1" -name zoeavl.pc)")
    export PKG_CONFIG_PATH
    # shellcheck disable=SC2046,SC2086 # several words
    g++ $warnings -std=c++17 "$work/program/cities.cpp" $(pkg-config --cflags --libs zoeavl-host) -o "$1-cpp"
    # shellcheck disable=SC2046,SC2086
    cc $warnings -std=c11 "$work/program/cities.c" $(pkg-config --cflags --libs zoeavl-host) -o "$1-c"
    [ "$("$1-cpp")" = "$expected" ]
    [ "$("$1-c")" = "$expected" ]
}

cmake --install "$build" --prefix "$work/prefix" >/dev/null
check "$work/prefix"
cmake --build "$build" --target uninstall >/dev/null
left=$(find "$work/prefix" -not -type d -o -name 'zoeavl*')
[ -z "$left" ] || { printf 'package: left behind:\n%s\n' "$left" >&2; exit 1; }
