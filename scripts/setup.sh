#!/usr/bin/env bash
# Installs what a bare Debian machine lacks to build, test and check zoeavl; quiet, and only what is
# missing. Further packages may be named.
set -euo pipefail
wanted=(g++ gcc cmake ninja-build clang clang-format clang-tidy libgtest-dev pkg-config binutils
        dpkg-dev file git "$@")
missing=()
for package in "${wanted[@]}"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
log=$(mktemp)
trap 'rm -f "$log"' EXIT
echo "setup: installing ${missing[*]}"
if ! { "${sudo[@]}" apt-get update && DEBIAN_FRONTEND=noninteractive \
       "${sudo[@]}" apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    cat "$log" >&2
    echo "setup: can't install ${missing[*]}" >&2
    exit 1
fi
