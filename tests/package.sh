#!/usr/bin/env bash
# What people install: the README's programs, built as it says against a prefix, against folders given
# as absolute paths and against the unpacked Debian packages; and uninstalling leaves nothing.
#   package.sh SOURCE
set -euo pipefail
source=$1
if ! command -v dh lintian >/dev/null; then
    echo "package: skipped, since debhelper or lintian isn't there"
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package: $*" >&2; exit 1; }
quietly() { "$@" >"$work/log" 2>&1 || { cat "$work/log" >&2; fail "$1 failed"; }; }

# The README's first block of that language with that word in it.
block() { # language, word
    awk -v fence="\`\`\`$1" -v word="$2" '
        /^```/ { if (on && index(text, word)) { printf "%s", text; exit } on = $0 == fence; text = ""; next }
        on { text = text $0 "\n" }' "$source/README.md"
}
mkdir "$work/program"
cd "$work/program"
block cpp main >cities.cpp
block c main >cities.c
block cmake find_package >CMakeLists.txt
environment=$(block sh PKG_CONFIG_PATH | grep '^export')
compile=$(block sh 'pkg-config --cflags')
# The library's data is the library's own, in a program built without -fPIC too.
cat >data.c <<'END'
#include <zoeavl.h>
int main(void) {
    int host;
    zoextent((ZOHost *)(void *)&host);
    return Exported_ZOHandle != (ZOHost *)(void *)&host;
}
END
# Nor is the library left out if a program uses nothing but its data.
cat >tables.c <<'END'
#include <zoeavl.h>
int main(void) { return &cbi64 == 0 || cbi64.adder == 0; }
END
warnings='-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-align=strict -Werror'
cxx_warnings="$warnings -Winvalid-offsetof -Wold-style-cast -Wuseless-cast"
expected='Bergen
Oslo
just above 300000: Oslo'

check() { # prefix, folder of its libraries
    local program
    environment_here=${environment//"\$PREFIX/lib"/$2}
    eval "${environment_here//"\$PREFIX"/$1}"
    CFLAGS=$warnings CXXFLAGS=$cxx_warnings quietly cmake -S . -B "$1-cmake"
    quietly cmake --build "$1-cmake"
    compile_here=${compile//c++ /c++ $cxx_warnings }
    eval "${compile_here//cc /cc $warnings }"
    # shellcheck disable=SC2046 # several words
    cc data.c $(pkg-config --cflags --libs zoeavl) -o data
    # shellcheck disable=SC2046 # several words
    cc -Wl,--as-needed tables.c $(pkg-config --cflags --libs zoeavl zoeavl-inspect) -o tables
    for program in "$1-cmake/cities" "$1-cmake/cities_in_c" ./cities ./cities_in_c; do
        [ "$($program)" = "$expected" ] || fail "$program, built against $1, says otherwise"
    done
    ./data || fail "a program has a copy of the library's data"
    ./tables || fail "a program of tables alone lost the library"
    rm cities cities_in_c data tables
}

build=$work/build
options=(-DCMAKE_BUILD_TYPE=Release -DZOEAVL_BUILD_TESTS=OFF -DZOEAVL_BUILD_EXAMPLES=OFF)
if cmake -S "$source" -B "$build" -DBUILD_SHARED_LIBS=OFF >"$work/log" 2>&1; then
    fail "static libraries weren't refused"
fi
grep -q 'only built as shared libraries' "$work/log"
rm -r "$build"
quietly cmake -S "$source" -B "$build" "${options[@]}"
quietly cmake --build "$build" -j2
quietly cmake --install "$build" --prefix "$work/prefix"
mv "$work/prefix" "$work/moved"
check "$work/moved" "$work/moved/lib"
mv "$work/moved" "$work/prefix"
touch "$work/prefix/lib/of-somebody-else"
quietly cmake --build "$build" --target uninstall
[ "$(find "$work/prefix" -not -type d -o -name 'zoeavl*')" = "$work/prefix/lib/of-somebody-else" ] ||
    fail "uninstalling left $(find "$work/prefix")"

absolute=$work/absolute
quietly cmake "$build" -DCMAKE_INSTALL_PREFIX="$absolute" -DCMAKE_INSTALL_LIBDIR="$absolute/libraries" \
              -DCMAKE_INSTALL_INCLUDEDIR="$absolute/headers"
quietly cmake --build "$build" --target install
check "$absolute/libraries/cmake" "$absolute/libraries"

quietly "$source/scripts/package.sh" "$work/packages"
for package in libzoeavl2 libzoeavl-dev; do
    dpkg-deb -x "$work/packages/$package"_*.deb "$work/root"
done
check "$work/root/usr" "$work/root/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)"
