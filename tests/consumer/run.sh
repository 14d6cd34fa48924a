#!/bin/bash
# Builds the examples the way a stranger would, against an installed prefix, and runs them; or starts the command from
# a copy of the prefix.
# Usage: run.sh cmake|pkg-config|moved PREFIX LIBDIR COMPILER FLAGS
#   LIBDIR  where the libraries are below PREFIX
#   FLAGS   what has to be the same in a whole process, such as the sanitizers; may be empty
set -euo pipefail
way=$1 prefix=$(realpath "$2") libdir=$3 compiler=$4 flags=$5
examples=$(realpath "$(dirname "$0")/../../examples")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Nothing of the environment may help to find the library.
unset CMAKE_PREFIX_PATH CPATH LIBRARY_PATH LD_LIBRARY_PATH PKG_CONFIG_PATH

# compile LIBRARY ARGUMENT...: through ccache where the environment asks for it, as CMake does by itself.
compile() {
    read -ra options <<<"$flags $(pkg-config --cflags "$1")"
    ${CMAKE_CXX_COMPILER_LAUNCHER-} "$compiler" -std=c++17 "${options[@]}" "${@:2}"
}

# program LIBRARY NAME: an example, compiled and linked.
program() {
    compile "$1" -c "$examples/$2.cpp" -o "$work/$2.o"
    read -ra options <<<"$flags $(pkg-config --libs "$1")"
    "$compiler" "$work/$2.o" -o "$work/$2" "${options[@]}"
}

case $way in
    cmake)
        cmake -S "$examples" -B "$work" -G Ninja --log-level=WARNING -DCMAKE_CXX_COMPILER="$compiler" \
            -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_PREFIX_PATH="$prefix"
        cmake --build "$work"
        ;;
    pkg-config)
        export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
        for name in package_tree write_package; do
            program bex "$name"
        done
        for name in stream_write stream_read; do
            program bex-stream "$name"
        done
        pkg-config --libs --static bex-stream | grep -w -e -lbex && exit 1 # neither library needs the other
        (cd "$prefix/include" && find bex -name '*.hpp' -printf '#include <%p>\n') >"$work/all.cpp"
        (cd "$work" && compile bex-stream -c all.cpp -o all.o) # nothing that a header needs is missing
        export LD_LIBRARY_PATH=$prefix/$libdir
        ;;
    moved)
        mkdir -p "$work/bin" "$work/$libdir"
        cp -a "$prefix/bin/." "$work/bin"
        cp -a "$prefix/$libdir/." "$work/$libdir"
        "$work/bin/bex" --version >/dev/null
        if ldd "$work/bin/bex" | grep libbex | grep -vF " => $(realpath "$work")/"; then
            echo "run.sh: a moved bex does not use the libraries of its own prefix" >&2
            exit 1
        fi
        exit
        ;;
    *)
        echo "run.sh: unknown way: $way" >&2
        exit 2
        ;;
esac

cd "$work"
mkdir -p public/css unpacked
echo '<p>hello</p>' >public/index.html
head -c 100000 /dev/zero >public/css/main.css
./package_tree public tree.bex unpacked
diff -r public unpacked
./stream_write
./stream_read
rm unpacked/var/www/robots.txt
diff -r public unpacked/var/www
# What the libraries throw is caught as what it is.
refused() {
    if "./$1" 2>failure || ! grep -qxF "$2" failure; then
        echo "run.sh: $1 ended otherwise: $(cat failure)" >&2
        exit 1
    fi
}
rm -r public site_1.0_all.bex
refused stream_read "site_1.0_all.bex: can't open: No such file or directory"
refused write_package "Can't add $work/public file to bex because it is not accessible doesn't exist."
