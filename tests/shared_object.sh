#!/usr/bin/env bash
# Reads off the built library what the contract says of it as a file.
#   shared_object.sh LIBRARY
set -euo pipefail
library=$1
failures=0
expect() { # what, expected, found
    if [ "$2" != "$3" ]; then
        printf 'shared_object: %s\nexpected: %s\nfound:    %s\n' "$1" "$2" "$3" >&2
        failures=$((failures + 1))
    fi
}

names="Exported_ZOHandle ZOEAVLCodegen ZOEAVLCreate ZOEAVLDestroy ZOEAVLFirst ZOEAVLGenericSafeAdder
ZOEAVLGenericSafeFinder ZOEAVLGenericSafeFuzzier ZOEAVLGetReqVersion ZOEAVLGetVersion ZOEAVLLast ZOEAVLNext
ZOEAVLPrev ZOEAVLReCreate ZOEAVLReTree ZOEAVLRealDestroy ZOEAVLSTAdd ZOEAVLSTFFnd ZOEAVLSTFind ZOEAVLSTFirst
ZOEAVLSTLast ZOEAVLSTRemove ZOEAVLSTToList ZOEAVLToList ZOEAVLZeroAdd ZOEAVLZeroFind ZOEAVLZeroFuzzy
ZOEAVLZeroKill cbchar cbdbl cbdblp cbi32 cbi32p cbi64 cbi64p cbia32 cbia32p cbia64 cbia64p cbmdbl cbmdblp cbu32
cbu32p cbu64 cbu64p cbua32 cbua32p cbua64 cbua64p cbvchar cbvzochar cbzochar code codesize skMemCmp skMemCpy
skMemDup skMemNScan skMemNot skMemSCpy skMemScan skMemSet skMemTNScan skMemTNot skMemTSet skMissArray skStrCpy
skStrLen skStrLow skStrTCpy skStrTLen skStrUp skUnsup skWMemCmp zoeavl zoeavlx zoextent zoextver zolGetLocale
zolMessageToBuf zolMessageToJnl zolStatusToBuf zolStatusToJnl zovercn1"
exported=$(nm -D --defined-only "$library" | awk '{print $3}')
expect "exported names" "$(tr ' ' '\n' <<<"$names" | LC_ALL=C sort | xargs)" "$(LC_ALL=C sort <<<"$exported" | xargs)"

dynamic=$(readelf -dW "$library")
field() { sed -n "s/.*($1).*\[\(.*\)\]/\1/p" <<<"$dynamic" | xargs; }
expect "needed libraries" "libc.so.6" "$(field NEEDED)"
expect "soname" "libzoeavl.so.2" "$(field SONAME)"
# shellcheck disable=SC2016 # the loader expands it
expect "run path" '$ORIGIN' "$(field RUNPATH)"
expect "own symbols bound, all at once" "SYMBOLIC BIND_NOW" \
    "$(sed -n 's/.*(FLAGS) *//p' <<<"$dynamic" | xargs)"
segments=$(readelf -lW "$library")
expect "relocations read-only" 1 "$(grep -c GNU_RELRO <<<"$segments")"
expect "stack" "RW" "$(awk '/GNU_STACK/ {print $7}' <<<"$segments")"
expect "internal functions of the family" 192 \
    "$(nm "$library" | grep -v '\.cold$' | grep -cE ' t .*cb[a-z0-9]+_(safe_)?(adder|finder|fuzzier|killer)')"
for routine in skStrUp skStrLow skMemNot skMemTNot skMemTSet skMemCmp skWMemCmp skMemScan skMemNScan skMemTNScan skMissArray; do
    expect "$routine reads nothing outside, by way of a library routine" "" \
        "$(objdump -d --no-show-raw-insn --disassemble="$routine" "$library" | grep -E 'call|jmp +\*')"
done
[ "$failures" -eq 0 ]
