#!/usr/bin/env bash
# Makes the Debian packages libzoeavl2, libzoeavl-dev and libzoeavl2-dbgsym of this source tree, in a
# copy of it, and leaves them in the folder named, or in build/package.
#   package.sh [FOLDER]
set -euo pipefail
[[ ${1:-} != -* ]] || { echo "package: no such option: $1" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
source=$(dirname "$here")
mkdir -p "${1:-$source/build/package}"
target=$(cd "${1:-$source/build/package}" && pwd)
"$here/setup.sh" package
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "package: building"
mkdir "$work/zoeavl"
tar -C "$source" --exclude=./build --exclude=./.git --exclude=./.cache -c . | tar -C "$work/zoeavl" -x
if ! (cd "$work/zoeavl" && dpkg-buildpackage --build=binary --unsigned-changes --unsigned-buildinfo) >"$work/log" 2>&1
then
    cat "$work/log" >&2
    exit 1
fi
echo "package: checking with lintian"
lintian --fail-on error,warning --tag-display-limit 0 "$work"/zoeavl_*.changes
mv "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$target"
ls "$target"/*.deb
