#!/bin/bash
# What both libraries define and export: functions, and the tables of classes; but not functions that the compiler
# writes into every library that calls them.
# Usage: symbols.sh LIBRARY LIBRARY
set -euo pipefail

exported() {
    nm -D --defined-only --format=posix "$1" |
        awk '$2 ~ /^[TBDR]$/ && $1 ~ /3bex/ || $1 ~ /^_ZT[ISV]N3bex/ { print $1 }' | sort -u
}

first=$(exported "$1")
second=$(exported "$2")
if [ -z "$first" ] || [ -z "$second" ]; then
    echo "nothing is exported by $1 or $2" >&2
    exit 1
fi
if both=$(comm -12 <(echo "$first") <(echo "$second")) && [ -n "$both" ]; then
    echo "exported by both libraries:" >&2
    c++filt <<<"$both" >&2
    exit 1
fi
