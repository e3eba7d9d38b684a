#!/usr/bin/env bash
# What doesn't compile says why in one line; the public headers compile under the strictest flags,
# in either order, in C and C++.
#   refusals.sh SOURCE COMPILER C_COMPILER
set -euo pipefail
source=$1 cxx=$2 cc=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

refused() { # what the compiler must say, code
    printf '#include <istream>\n#include <ranges>\n#include <string>\n#include <zoeavl.hpp>\nstruct R : zoe::node { int key; std::string text; double d; };
struct Bare { int key; };\nstruct Other { int key; };\nstruct NoOrder {};\nstruct Odd : zoe::node { NoOrder key; };
R *made();\nvoid use() {\n%s\n}\n' "$2" >"$work/refused.cpp"
    if $cxx -std=c++20 "-I$source/include" -fsyntax-only "$work/refused.cpp" 2>"$work/words"; then
        echo "refusals: taken: $2" >&2
        failures=$((failures + 1))
    elif ! grep -qF "zoeavl: $1" "$work/words"; then
        printf 'refusals: %s\nisn'"'"'t refused with: %s\n' "$2" "$1" >&2
        head -5 "$work/words" >&2
        failures=$((failures + 1))
    fi
}
refused "the record needs zoe::node as a public base class" 'zoe::index<Bare, &Bare::key> i;'
refused "a record is a plain class, not a reference and not const" 'zoe::index<const R, &R::key> i;'
refused "index_on takes the address of a member of type zoe::node" 'zoe::index_on<&R::key, &R::key> i;'
refused "a key is a member of the record" 'zoe::index<R, &Other::key> i; i.contains(1);'
refused "an index needs a key" 'zoe::index<R> i; (void)i.find();'
refused "the comparison can't be called with two keys" \
    'struct C { bool operator()(int *, int *) const; }; zoe::index<R, zoe::by<&R::key, C>> i; i.contains(1);'
refused "a comparison gives bool (less-than) or something to compare with 0" \
    'struct C { R operator()(int, int) const; }; zoe::index<R, zoe::by<&R::key, C>> i; i.contains(1);'
refused "the key's type has neither <=> nor <" 'zoe::index<Odd, &Odd::key> i; i.contains(NoOrder{});'
refused "missing values are doubles" 'zoe::index<R, zoe::missing<&R::key>> i; i.contains(1);'
refused "an indirect key is a pointer" 'zoe::index<R, zoe::indirect<&R::key>> i; i.contains(1);'
refused "an integer key is looked up by an integer" 'zoe::index<R, &R::key> i; i.contains(1.5);'
refused "an array is looked up by an array of its length and type" \
    'struct I : zoe::node { int key[2]; }; zoe::index<I, &I::key> i; i.contains(std::declval<const int *>());'
refused "characters are looked up by characters" \
    'struct C : zoe::node { char key[4]; }; zoe::index<C, &C::key> i; i.contains(std::wstring());'
refused "by, missing and indirect take a key that doesn" 'zoe::index<R, zoe::missing<zoe::descending<&R::d>>> i; i.contains(1);'
refused "assign_sorted goes through the records twice" \
    'zoe::index<R, &R::key> i; i.assign_sorted(std::views::istream<int>(std::declval<std::istream &>()));'
refused "a string key is looked up by what converts to std::string_view" 'zoe::index<R, &R::text> i; i.contains(1);'
refused "this look-up takes one value for each key" 'zoe::index<R, &R::key, &R::text> i; i.contains(1);'
refused "the records would end with the range" 'zoe::index<R, &R::key> i; i.insert_range(std::vector<R>(2));'
refused "more look-up values than keys" 'zoe::index<R, &R::key> i; (void)i.lower_bound(1, 2);'

strict=(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
cxx_strict=("${strict[@]}" -Wold-style-cast)
$cxx --version | grep -q clang || cxx_strict+=(-Wcast-align=strict -Wuseless-cast)
for order in 'zoeavl.hpp zoeavl.h zosupport.h' 'zosupport.h zoeavl.h zoeavl.hpp'; do
    for standard in c++20 c++2b; do
        for checked in '' -DZOEAVL_CHECKED; do
            # shellcheck disable=SC2086 # several words
            { printf '#include <%s>\n' $order
              echo 'struct R : zoe::node { long key; };
                    template class zoe::basic_index<zoe::detail::base_hook<R>, &R::key>;'; } >"$work/good.cpp"
            # shellcheck disable=SC2086 # nothing or one word
            $cxx -std=$standard $checked "${cxx_strict[@]}" "-I$source/include" -fsyntax-only "$work/good.cpp"
        done
    done
done
for header in zoeavl.h zohost.h zosupport.h; do
    echo "#include <$header>" >"$work/good.c"
    for standard in c11 c17; do
        $cc -std=$standard "${strict[@]}" "-I$source/include" -fsyntax-only "$work/good.c"
    done
done
[ "$failures" -eq 0 ]
