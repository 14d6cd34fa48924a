#!/bin/bash
# Builds the example projects that package what they build, against an installed prefix, and compares: what CMake's
# function makes goes through dpkg, what CPack has bex make equals what CPack makes.
# Usage: packages.sh PREFIX DATADIR
set -euo pipefail
export LC_ALL=C
prefix=$(realpath "$1")
datadir=$2
examples=$(realpath "$(dirname "$0")/../../examples")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset CMAKE_PREFIX_PATH
umask 022
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

# An empty system for dpkg, and helpers that print how they are called.
mkdir -p root/var/lib/dpkg/{info,updates} helpers
touch root/var/lib/dpkg/{status,available}
for helper in deb-systemd-helper deb-systemd-invoke systemctl ldconfig; do
    printf '#!/bin/sh\necho "%s $*" >&2\n' $helper >helpers/$helper
    chmod 755 helpers/$helper
done
mkdir -p root/run/systemd/system
traced_dpkg() {
    PATH=$PWD/helpers:$PATH:/usr/sbin:/sbin dpkg --root="$PWD/root" --force-not-root --force-depends --log=/dev/null \
        --force-script-chrootless "$@" >dpkg.log 2>&1 || { cat dpkg.log >&2 && fail "dpkg $1 failed"; }
    { grep -E '^(deb-systemd|systemctl)' dpkg.log || :; } | grep -c . || :
}

# --- CMake's function
configure cmake-packages cmake -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build cmake --target bex-packages >cmake.log || { cat cmake.log >&2 && fail "bex-packages failed"; }
expect "packages of CMake" "greet_1.2.0_amd64.bex libgreeting1-dbgsym_1.2.0_amd64.bex libgreeting1_1.2.0_amd64.bex" \
    "$(cd cmake && echo -- *.bex | sed "s/^-- //; s/_$(dpkg --print-architecture)\./_amd64./g")"
expect "files of greet" "./ ./etc/ ./etc/greet.conf ./usr/ ./usr/bin/ ./usr/bin/greet ./usr/lib/ ./usr/lib/systemd/ \
./usr/lib/systemd/system/ ./usr/lib/systemd/system/greet.service" \
    "$(dpkg-deb --fsys-tarfile cmake/greet_*.bex | tar -t | sort | paste -sd' ')"
expect "fields of libgreeting1" "Greets whoever runs it
libs" "$(dpkg-deb -f cmake/libgreeting1_*.bex Description Section | sed 's/^[^:]*: //')"
"$prefix/bin/bex" verify cmake/*.bex >verify.log || { cat verify.log >&2 && fail "bex verify finds fault"; }
[ "$(traced_dpkg -i cmake/libgreeting1_*.bex cmake/greet_*.bex)" -gt 0 ] || fail "no unit was enabled"
[ -d root/var/lib/greet ] || fail "the project's own script did not run"
echo 'loud = yes' >root/etc/greet.conf
traced_dpkg -i cmake/greet_*.bex >/dev/null
expect "a conffile that was changed" 'loud = yes' "$(cat root/etc/greet.conf)"
traced_dpkg -r greet >/dev/null
[ -f root/etc/greet.conf ] || fail "removing takes a conffile away"
[ "$(traced_dpkg -P greet)" -gt 0 ] || fail "no unit was forgotten"
[ ! -e root/etc/greet.conf ] || fail "purging leaves a conffile"

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
expect "files of Meson's package" "./ ./usr/ ./usr/share/ ./usr/share/clock/ ./usr/share/clock/clock.txt" \
    "$(dpkg-deb --fsys-tarfile meson/clock_0.3.0_all.bex | tar -t | sort | paste -sd' ')"
echo "packages.sh: packaged by CMake, CPack and Meson"
