#!/usr/bin/env bash
# Draws the trees that docs/architecture.md shows anew, with the library as it is.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh pictures
export CMAKE_GENERATOR=Ninja
cmake --preset release >/dev/null
cmake --build --preset release --target zoeavl_steps >/dev/null
for what in insertion removal; do
    build/release/steps "$what" | dot -Tsvg | sed '/^<!-- /d' >"docs/$what.svg"
done
