#!/usr/bin/env bash
# Makes the API reference from the public headers, in build/docs/html or in the folder named. A public name
# without documentation is an error, as is a reference, or a path named in a page, that leads nowhere.
#   docs.sh [FOLDER]
set -euo pipefail
[[ ${1:-} != -* ]] || { echo "docs: no such option: $1" >&2; exit 2; }
here=$(cd "$(dirname "$0")" && pwd)
output=$(realpath -m "${1:-$here/../build/docs}")
"$here/setup.sh" docs
cd "$here/.."

folders=$(find . -maxdepth 1 -type d -name '[a-z]*' ! -name build -printf '%f\n' | paste -sd '|')
stale=0
for page in *.md docs/*.md examples/*/*.md; do
    # shellcheck disable=SC2016 # backticks are what it looks for
    while read -r path; do
        [ -e "$path" ] || [ -e "$(dirname "$page")/$path" ] || { echo "docs: $page: there is no $path" >&2; stale=1; }
    done < <(sed '/^```/,/^```/d' "$page" | grep -oP "(?<=\`)($folders)/[\w./-]*|(?<=\]\()[\w./-]+")
done
[ $stale -eq 0 ]

mkdir -p "$output"
ZOEAVL_VERSION=$(sed -n 's/^project(zoeavl VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
export ZOEAVL_VERSION ZOEAVL_DOCS_OUTPUT=$output
doxygen docs/Doxyfile
echo "docs: $output/html/index.html"
