#!/usr/bin/env bash
# The build's stamps: two builds in two folders with SOURCE_DATE_EPOCH set give the same library, which
# names no machine; whatever rebuilds the library renews them; and they tell one moment.
#   reproducible.sh SOURCE
set -euo pipefail
source=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
build() { # folder, options for cmake...
    cmake -S "$source" -B "$work/$1" -DCMAKE_BUILD_TYPE=Release -DZOEAVL_BUILD_TESTS=OFF "${@:2}" >/dev/null
    cmake --build "$work/$1" --target zoeavl >/dev/null
}
expect_date() { # stamp, date
    if ! grep -q "V.02.01M0P$1" "$work/one/libzoeavl.so" || ! grep -q "$2" "$work/one/libzoeavl.so"; then
        echo "reproducible: the library isn't of $2" >&2
        exit 1
    fi
}

export SOURCE_DATE_EPOCH=1700000000
build one
build another/deeper
cmp "$work/one/libzoeavl.so" "$work/another/deeper/libzoeavl.so"
if grep -q "$(hostname)" "$work/one/libzoeavl.so"; then
    echo "reproducible: the library names the machine" >&2
    exit 1
fi
expect_date 11142023 'Tue Nov 14 22:13:20 UTC 2023'
SOURCE_DATE_EPOCH=1700100000 build one -DCMAKE_SHARED_LINKER_FLAGS=-Wl,--build-id=none
expect_date 11162023 'Thu Nov 16 02:00:00 UTC 2023'
rm "$work"/one/libzoeavl.so*
build one
expect_date 11142023 'Tue Nov 14 22:13:20 UTC 2023'

# Every reading of this clock is a day after the one before.
unset SOURCE_DATE_EPOCH
cc -shared -fPIC -o "$work/clock.so" -x c - <<'END'
#include <sys/time.h>
#include <time.h>
static time_t now = 1700000000;
time_t time(time_t *result) { now += 86400; if (result) *result = now; return now; }
int gettimeofday(struct timeval *restrict tv, void *restrict zone) { tv->tv_sec = time(0); tv->tv_usec = 0; return 0; }
int clock_gettime(clockid_t clock, struct timespec *ts) { ts->tv_sec = time(0); ts->tv_nsec = 0; return 0; }
END
LD_PRELOAD=$work/clock.so cmake -DOUTPUT="$work/stamp.h" -P "$source/cmake/version_stamp.cmake"
stamp() { sed -n "s/^#define ZOEAVL_$1 \"*\([^\"]*\).*/\1/p" "$work/stamp.h"; }
seconds=$(stamp BUILD_SECONDS)
[ "$(LC_ALL=C date -u -d "@${seconds%U}" '+%a %b %e %T UTC %Y')" = "$(stamp BUILD_DATE)" ]
[ "$(date -u -d "@${seconds%U}" '+V.02.01M0P%m%d%Y')" = "$(stamp STAMP)" ]
