#!/bin/bash
# Compares the pages with the programs: what they show are these programs and their outputs.
# Usage: test.sh SOURCES PROGRAMS COMMAND (the project, and the directories of the built examples and of bex)
set -euo pipefail
export LC_ALL=C
pages=("$(realpath "$1")/README.md" "$(realpath "$1")/docs/object-library.md")
programs=$(realpath "$2")
PATH=$(realpath "$3"):$PATH
sources=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
    echo "test.sh: $1" >&2
    exit 1
}

# Prints the fenced block that follows the line <!-- NAME --> on either page.
block() {
    awk -v mark="<!-- $1 -->" '
        inside && /^```/ { exit }
        inside { print }
        found && /^```/ { inside = 1 }
        $0 == mark { found = 1 }' "${pages[@]}"
}

# same NAME FILE: the pages' block NAME is FILE to the letter.
same() {
    block "$1" | diff -u --label "page: $1" --label "$1" - "$2" || fail "a page and $1 differ"
}

for example in write_package read_package; do
    same "examples/$example.cpp" "$sources/$example.cpp"
done
# The README shows what the streaming programs do between `try` and `catch`.
for example in stream_write stream_read; do
    same "examples/$example.cpp" <(sed -n '/^    try {/,/^    } catch/{s/^        //p}' "$sources/$example.cpp")
done

cd "$work"
umask 022
mkdir -p public/img public2
echo '<img src="img/dot.svg">' >public/index.html
echo '<svg xmlns="http://www.w3.org/2000/svg"/>' >public/img/dot.svg
"$programs/write_package" >writing
same "output of write_package" writing
"$programs/read_package" >reading
same "output of read_package" reading
diff -r public public2/var/www || fail "read_package unpacked something else"
dpkg-deb --field site.bex >fields
block "output of read_package" | head -n "$(wc -l <fields)" | diff - fields || fail "dpkg-deb reads other fields"
dpkg-deb --contents site.bex >listing
grep -q ' var/www/img/dot.svg$' listing || fail "dpkg-deb does not list the payload"

mkdir out
"$programs/package_tree" public tree.bex out >log
diff -r public out || fail "package_tree unpacked something else"
grep -qx '4 entries in all' log || fail "package_tree counted wrong"
! "$programs/package_tree" public tree.bex out 2>refusal || fail "package_tree wrote over a package"
grep -qx 'package_tree: tree.bex exists already.' refusal || fail "package_tree does not say why it refused"

"$programs/stream_write" >streamed
grep -qx "7 entries, 80 bytes" streamed || fail "stream_write wrote something else"
"$programs/stream_read" >reading
grep -qx "24 ./var/www/index.html" reading || fail "stream_read lists something else"
rm unpacked/var/www/robots.txt
diff -r public unpacked/var/www || fail "stream_read unpacked something else"

mkdir session && cd session
cp -r ../public site
ln -s index.html site/home.html
"$sources/session.sh" >../talk
same "output of session.sh" ../talk
diff -r site unpacked/var/www || fail "bex extract unpacked something else"
