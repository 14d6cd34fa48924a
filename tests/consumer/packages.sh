#!/bin/bash
# Builds the example projects that package what they build, against an installed prefix: every package goes through
# dpkg and lintian, and what CPack has bex make equals what CPack makes.
# Usage: packages.sh PREFIX DATADIR
set -euo pipefail
export LC_ALL=C
prefix=$(realpath "$1")
datadir=$2
source "$(dirname "$0")/../tool/cases/prelude.sh"
examples=$(realpath "$(dirname "$0")/../../examples")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset CMAKE_PREFIX_PATH
cd "$work"

fail() {
    echo "packages.sh: $1" >&2
    exit 1
}

# expect WHAT WANTED FOUND
expect() {
    diff -u --label "$1: wanted" --label "$1: found" <(printf '%s\n' "$2") <(printf '%s\n' "$3") || fail "$1 differs"
}

# configure EXAMPLE BUILD OPTION...
configure() {
    cmake -S "$examples/$1" -B "$2" -G Ninja --log-level=WARNING -DCMAKE_PREFIX_PATH="$prefix" "${@:3}"
}

# listing PACKAGE: modes, owners, paths and link targets.
listing() { dpkg-deb -c "$1" | awk '{ $3 = $4 = $5 = ""; print }' | sort; }

empty_root
# life NAME PACKAGE [CONFFILE]: how scripts and their helpers are called when the package is installed, upgraded,
# removed and purged. The conffile is changed in between.
life() {
    local changed=root${3:-/changed}
    "$prefix/bin/bex" edit -q "$2" --version-suffix +1 -o "$1-next.deb" >/dev/null
    traced_dpkg -i "$2"
    [ -d "root/var/lib/$1" ] || [ "$1" = libgreeting1 ] || fail "the script of $1 did not run"
    echo changed >>"$changed"
    traced_dpkg -i "$1-next.deb"
    traced_dpkg -r "$1"
    grep -qx changed "$changed" || fail "upgrading or removing $1 loses what was changed in a conffile"
    traced_dpkg -P "$1"
    [ -z "${3-}" ] || [ ! -e "$changed" ] || fail "purging $1 leaves a conffile"
}

# --- CMake's function
configure cmake-packages cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build cmake --target bex-packages >cmake.log || { cat cmake.log >&2 && fail "bex-packages failed"; }
expect "packages of CMake" "greet_1.2.0_amd64.bex libgreeting1-dbgsym_1.2.0_amd64.bex libgreeting1_1.2.0_amd64.bex" \
    "$(cd cmake && echo -- *.bex | sed "s/^-- //; s/_$(dpkg --print-architecture)\./_amd64./g")"
expect "files of greet" "./etc/greet.conf ./usr/bin/greet ./usr/lib/systemd/system/greet.service \
./usr/share/doc/greet/changelog.gz ./usr/share/doc/greet/copyright" \
    "$(dpkg-deb --fsys-tarfile cmake/greet_*.bex | tar -t | grep -v '/$' | sort | paste -sd' ')"
expect "fields of libgreeting1" "Section: libs
Description: Greets whoever runs it
 The greeting is set in /etc/greet.conf.
 This package has the library." "$(dpkg-deb -f cmake/libgreeting1_*.bex Section Description)"
"$prefix/bin/bex" verify cmake/*.bex >verify.log || { cat verify.log >&2 && fail "bex verify finds fault"; }
expect "the life of libgreeting1" "" "$(life libgreeting1 cmake/libgreeting1_1*.bex)"
enabling='deb-systemd-helper unmask greet.service
deb-systemd-helper --quiet was-enabled greet.service
deb-systemd-helper enable greet.service'
expect "the life of greet" "preinst install
postinst configure
$enabling
prerm upgrade 1.2.0+1
preinst upgrade 1.2.0 1.2.0+1
postrm upgrade 1.2.0+1
postinst configure 1.2.0
$enabling
prerm remove
postrm remove
postrm purge
deb-systemd-helper purge greet.service" "$(life greet cmake/greet_*.bex /etc/greet.conf)"

# A step that fails ends the packaging, and nothing is packaged.
sed 's|^install(FILES greet.conf .*|install(CODE "message(FATAL_ERROR no)" COMPONENT program)|' \
    "$examples/cmake-packages/CMakeLists.txt" >edited
cp -r "$examples/cmake-packages" broken-source
cp edited broken-source/CMakeLists.txt
cmake -S broken-source -B broken -G Ninja --log-level=WARNING -DCMAKE_PREFIX_PATH="$prefix"
if cmake --build broken --target package-greet >broken.log 2>&1 || compgen -G 'broken/*.bex' >/dev/null; then
    fail "an install step that fails is packaged"
fi
grep -q 'package greet: installing' broken.log || fail "it is not said which step failed"

# --- CPack: the same project by both generators
configure cpack-packages by-bex -DCPACK_GENERATOR=External
configure cpack-packages by-cpack
for build in by-bex by-cpack; do
    cmake --build $build --target package >$build.log 2>&1 || { cat $build.log >&2 && fail "$build failed"; }
done
for package in shelf_2.1.0-3_all.deb shelf-manual_2.1.0-3_all.deb; do
    fields() { dpkg-deb -f "$1/$package" | grep -Ev '^Installed-Size|^ *$' | sort; }
    expect "fields of $package" "$(fields by-cpack)" "$(fields by-bex)"
    expect "files of $package" "$(listing by-cpack/$package)" "$(listing by-bex/$package | grep -v ' \./$')"
    expect "control members of $package" "$(dpkg-deb --ctrl-tarfile by-cpack/$package | tar -t | grep -v '/$' | sort)" \
        "$(dpkg-deb --ctrl-tarfile by-bex/$package | tar -t | grep -v '/$' | sort)"
done
# VERSION: what life() prints for a package with postinst and postrm.
scripted_life() {
    printf '%s\n' 'postinst configure' "postrm upgrade $1+1" "postinst configure $1" 'postrm remove' 'postrm purge'
}
expect "the life of shelf" "$(scripted_life 2.1.0-3)" "$(life shelf by-bex/shelf_*.deb /etc/shelf.conf)"
sed 's|^install(FILES shelf.conf .*|install(CODE "message(FATAL_ERROR no)" COMPONENT data)|' \
    "$examples/cpack-packages/CMakeLists.txt" >edited
cp -r "$examples/cpack-packages" cpack-broken
cp edited cpack-broken/CMakeLists.txt
cmake -S cpack-broken -B broken-cpack -G Ninja --log-level=WARNING -DCMAKE_PREFIX_PATH="$prefix" \
    -DCPACK_GENERATOR=External
if cmake --build broken-cpack --target package >broken.log 2>&1 || compgen -G 'broken-cpack/*.deb' >/dev/null; then
    fail "an install step that fails under CPack is packaged"
fi

# --- Without the libraries' development files only the tools are found.
mkdir -p tools-only/"$datadir"/cmake tools-only/bin
cp -r "$prefix/$datadir/cmake/bex-tools" "tools-only/$datadir/cmake"
mkdir find
printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(find LANGUAGES NONE)' \
    'find_package(bex 1.0 COMPONENTS ${WANTED})' 'message(NOTICE "found ${bex_FOUND}")' >find/CMakeLists.txt
for case in 'tools 1' 'runtime 0' 'OPTIONAL_COMPONENTS;runtime;tools 1'; do
    found=$(cmake -S find -B "find-${case##* }" --fresh --log-level=NOTICE -DWANTED="${case% *}" \
        -DCMAKE_PREFIX_PATH="$work/tools-only" -DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF 2>&1 | grep '^found' || :)
    case ${case##* } in
        1) [[ $found =~ (1|TRUE) ]] || fail "find_package for ${case% *} finds nothing" ;;
        0) [[ $found =~ (0|FALSE) ]] || fail "find_package for ${case% *} finds what is not there" ;;
    esac
done

# --- Meson
PATH=$prefix/bin:$PATH meson setup --prefix /usr meson "$examples/meson-package" >meson.log
PATH=$prefix/bin:$PATH ninja -C meson package >>meson.log
expect "files of Meson's package" "./usr/share/clock/clock.txt ./usr/share/doc/clock/changelog.gz \
./usr/share/doc/clock/copyright" \
    "$(dpkg-deb --fsys-tarfile meson/clock_0.3.0_all.bex | tar -t | grep -v '/$' | sort | paste -sd' ')"
expect "the life of clock" "$(scripted_life 0.3.0)" "$(life clock meson/clock_*.bex)"

# --- Errors only: warnings are a matter of taste.
for package in cmake/*.bex meson/*.bex; do # lintian knows packages by their names
    ln -s "$PWD/$package" "$(basename "$package" .bex).deb"
done
lintian --allow-root --fail-on error --tag-display-limit 0 ./*_*.deb by-bex/*.deb >lintian.log ||
    { cat lintian.log >&2 && fail "lintian finds errors"; }
echo "packages.sh: packaged by CMake, CPack and Meson"
