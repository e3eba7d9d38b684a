#!/bin/sh
# Stands for a C compiler in the fuzzing of the compile service: keeps the unit, its last argument,
# in the file $KEPT and refuses it.
for unit; do :; done
cp "$unit" "$KEPT"
echo refused
exit 1
