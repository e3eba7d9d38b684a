#!/usr/bin/env bash
# Builds a project that takes zoeavl in by add_subdirectory and by FetchContent, with Ninja and with Make;
# nothing of zoeavl but its libraries gets into that project.
#   embedding.sh SOURCE
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cat >"$work/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(parent C CXX)
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_DISABLE_FIND_PACKAGE_GTest ON)
option(BUILD_SHARED_LIBS "The parent's own libraries" OFF)
enable_testing()
if(FETCH)
  include(fetch.cmake)
else()
  add_subdirectory(${ZOEAVL} zoeavl)
endif()
add_executable(word_index program.c)
target_link_libraries(word_index zoeavl::host)
add_executable(tests program.cpp)
target_link_libraries(tests zoeavl::headers)
target_compile_options(tests PRIVATE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-align=strict -Wold-style-cast -Werror)
add_custom_target(uninstall)
add_custom_target(bench)
add_test(NAME unit COMMAND word_index)
add_test(NAME face COMMAND tests)
install(TARGETS tests)
END
# As the README has it, with the path filled in.
awk '/^```cmake/ {on = 1; next} /^```/ {on = 0} on' "$source/README.md" | grep FetchContent |
    sed "s|/path/to/zoeavl|$source|" >"$work/fetch.cmake"
cat >"$work/program.c" <<'END'
#define ZOEAVL_NO_TEXT_NAMES
#include <zoeavl_host.h>
#include <zoeavl.h>
int code, codesize;
int main(void) {
    zoextent(zoeavl_host());
    ZOEAVLExtension *factory = zoeavl(0, 0);
    int unused; /* a warning wherever -Wall and -Werror got out */
    return factory == 0 || factory->RealDestroy(factory) != 0;
}
END
cat >"$work/program.cpp" <<'END'
#include <zoeavl.hpp>
struct Record : zoe::node {
    int key = 1;
};
int main() {
    Record record;
    zoe::index<Record, &Record::key> index;
    index.insert(record);
    return index.contains(1) ? 0 : 1;
}
END
expect() { # what, expected, found
    [ "$2" = "$3" ] || { printf 'embedding: %s\nexpected: %s\nfound:    %s\n' "$1" "$2" "$3" >&2; exit 1; }
}
for fetch in OFF ON; do
    for generator in Ninja 'Unix Makefiles'; do
        build=$work/build
        cmake -G "$generator" -S "$work" -B "$build" -DFETCH=$fetch -DZOEAVL="$source" \
              -DCMAKE_CXX_FLAGS=-Wall -DCMAKE_C_FLAGS=-Wall &>"$work/log"
        cmake --build "$build" -j2 >"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
        (cd "$build" && ctest >"$work/log") || { cat "$work/log" >&2; exit 1; }
        expect "tests" 2 "$(sed -n 's/.* out of //p' "$work/log")"
        DESTDIR=$work/root cmake --install "$build" --prefix /usr >/dev/null
        expect "installed files" "$work/root/usr/bin/tests" "$(find "$work/root" -type f)"
        expect "programs" "tests word_index" "$(find "$build" -maxdepth 1 -type f -executable -printf '%f\n' | sort | xargs)"
        rm -r "$build" "$work/root"
    done
done
