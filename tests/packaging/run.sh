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

# As the dev preset compiles, so that ccache has all of it where that was built before.
CCACHE_NOHASHDIR=1 "$here/../../scripts/package" "$work/packages" -DCMAKE_BUILD_TYPE=Debug -DBEX_WERROR=ON
for package in "$work"/packages/*.deb; do
    dpkg-deb --info "$package" >/dev/null || fail "dpkg-deb does not read $package"
done
# needs PACKAGE PATTERN; lacks PACKAGE PATTERN: the libraries it needs are declared, or it would start on no machine
# but this one; and no more than these, for the two libraries do not need each other.
needs() { dpkg-deb --field "$work/packages/$1"_*.deb Depends | grep -Eq "$2" || fail "$1 does not depend on $2"; }
lacks() { ! dpkg-deb --field "$work/packages/$1"_*.deb Depends | grep -Eq "$2" || fail "$1 depends on $2"; }
needs libbex1 'libarchive13.*libboost'
lacks libbex1 'libbexstream|libdeflate'
needs libbexstream1 'libdeflate0'
needs libbexshlibs1 'libbexstream1 .*libelf1.*libre2-9'
needs libbexshlibs-dev 'libbexshlibs1 .*libbexstream-dev'
needs libbexbuildfile1 'libbexstream1 .*libyaml-cpp0.7.*zlib1g'
needs libbexrepo1 'libbexstream1 .*libsqlite3-0.*libssl3'
needs libbexremote1 'libbexstream1 .*libcurl4'
needs bex 'libbexstream1 \(= .*libbexshlibs1 \(= .*libbexbuildfile1 \(= .*libbexrepo1 \(= .*libbexremote1 \(= '
for package in bex libbexstream1 libbexstream-dev; do
    lacks "$package" 'libarchive|libboost|libbex1|libbex-dev'
done

# Errors only: warnings are a matter of taste for packages that are in no archive.
lintian --fail-on error --tag-display-limit 0 "$work"/packages/*.deb || fail "lintian finds errors"

# The scratch root has no libc package and no ldconfig; what is tested is that dpkg takes the packages.
mkdir -p "$root"/var/lib/dpkg/{info,updates}
touch "$root"/var/lib/dpkg/{status,available}
dpkg --root="$root" --force-not-root --force-depends --install "$work"/packages/*.deb >"$work/log" 2>&1 ||
    { cat "$work/log" >&2 && fail "dpkg does not install them"; }
dpkg --root="$root" --verify || fail "dpkg finds other files than the packages' md5sums say"

if readelf -d "$root/usr/bin/bex" "$root/usr/$libdir"/libbex*.so.1 | grep -E 'R(UN)?PATH'; then
    fail "our packages have a run path"
fi

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
