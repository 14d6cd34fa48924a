#!/bin/bash
# Makes the project's Debian packages, installs them into a scratch root, runs bex from there, and builds and runs the
# consumer against it. Ends with the first thing that is wrong.
# Usage: run.sh
set -euo pipefail
here=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
root=$work/root
libdir=lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)

fail() {
    echo "packaging: $1" >&2
    exit 1
}

"$here/../../scripts/package" "$work/packages"
for package in "$work"/packages/*.deb; do
    dpkg-deb --info "$package" >/dev/null || fail "dpkg-deb does not read $package"
done
# The libraries that libbex1 needs are declared, or it would start on no machine but this one.
dpkg-deb --field "$work"/packages/libbex1_*.deb Depends | grep -q 'libarchive13.*libdeflate0' ||
    fail "libbex1 does not name its libraries"
dpkg-deb --field "$work"/packages/bex_*.deb Depends | grep -q "libbex1 (= .*libbexshlibs1 (= " ||
    fail "bex does not need our libraries in its own version"
dpkg-deb --field "$work"/packages/libbexshlibs1_*.deb Depends | grep -q 'libelf1.*libre2-9' ||
    fail "libbexshlibs1 does not name its libraries"

# Errors only: warnings are a matter of taste for packages that are in no archive.
lintian --fail-on error --tag-display-limit 0 "$work"/packages/*.deb || fail "lintian finds errors"

# The scratch root has no libc package and no ldconfig; what is tested is that dpkg takes the packages.
mkdir -p "$root"/var/lib/dpkg/{info,updates}
touch "$root"/var/lib/dpkg/{status,available}
dpkg --root="$root" --force-not-root --force-depends --install "$work"/packages/*.deb >"$work/log" 2>&1 ||
    { cat "$work/log" >&2 && fail "dpkg does not install them"; }
dpkg --root="$root" --verify || fail "dpkg finds other files than the packages' md5sums say"

export LD_LIBRARY_PATH=$root/usr/$libdir
version=$(dpkg-parsechangelog -l "$here/../../packaging/changelog" -S Version)
[ "$("$root/usr/bin/bex" --version | head -n 1)" = "bex $version" ] || fail "the installed bex does not run"
"$root/usr/bin/bex" shlibdeps "$root/usr/bin/bex" --libdir "$LD_LIBRARY_PATH" --ignore-missing | grep -q libc6 ||
    fail "the installed bex does not load the library of shlibdeps"
"$root/usr/bin/bex" verify "$work"/packages/*.deb || fail "the installed bex finds fault with our packages"
man --warnings -l "$root/usr/share/man/man1/bex.1.gz" 2>&1 >/dev/null | grep . && fail "the manual has faults"

for way in cmake pkg-config; do
    "$here/../consumer/run.sh" "$way" "$root/usr" "$libdir" c++ "" || fail "no consumer by $way"
done
echo "packaging: installed, run, linked against"
