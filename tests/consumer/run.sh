#!/bin/bash
# Builds the consumer against an installed prefix and runs it.
# Usage: run.sh cmake|pkg-config PREFIX LIBDIR COMPILER FLAGS
#   LIBDIR  where the libraries are below PREFIX
#   FLAGS   what has to be the same in a whole process, such as the sanitizers; may be empty
set -euo pipefail
way=$1 prefix=$2 libdir=$3 compiler=$4 flags=$5
source=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Nothing of the environment may help to find the library.
unset CMAKE_PREFIX_PATH CPATH LIBRARY_PATH LD_LIBRARY_PATH PKG_CONFIG_PATH

case $way in
    cmake)
        cmake -S "$source" -B "$work/build" -G Ninja --log-level=WARNING -DCMAKE_CXX_COMPILER="$compiler" \
            -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_PREFIX_PATH="$prefix"
        cmake --build "$work/build"
        program=$work/build/consumer
        ;;
    pkg-config)
        export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
        program=$work/consumer
        read -ra options <<<"$flags $(pkg-config --cflags --libs bex)"
        "$compiler" -std=c++17 "$source/main.cpp" -o "$program" "${options[@]}"
        export LD_LIBRARY_PATH=$prefix/$libdir
        ;;
    *)
        echo "run.sh: unknown way: $way" >&2
        exit 2
        ;;
esac
mkdir "$work/files"
"$program" "$work/files"
