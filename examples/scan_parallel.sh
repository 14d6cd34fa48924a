#!/bin/bash
# Prints the index of a pool, scanned by GNU parallel: so many packages at a time, each lot a shard, the shards joined
# by bex repo merge. A lot whose process dies is tried again.
# Usage: scan_parallel.sh POOL [PACKAGES-IN-A-LOT] [OPTION-OF-PARALLEL...]
#   With --sshlogin, other machines work too, if they see the pool under the same path.
set -euo pipefail
pool=$1 lot=${2:-200}
shards=$(mktemp -d)
trap 'rm -rf "$shards"' EXIT

# --halt: a lot that fails three times ends the run. Only what parallel gathered whole is a shard: --results keeps the
# output of each lot in a file of its own.
(cd "$pool" && find . -type f \( -name '*.deb' -o -name '*.bex' \) -print0) | sort -z |
    parallel --null --max-args "$lot" --retries 3 --halt now,fail=1 "${@:3}" --results "$shards/{#}" \
        "${BEX:-bex} repo scan --threads 1 --root $(printf %q "$(realpath "$pool")") --records" >/dev/null
find "$shards" -mindepth 1 -maxdepth 1 -type f ! -name '*.err' ! -name '*.seq' -print0 | sort -z |
    xargs -0 "${BEX:-bex}" repo merge --multiversion
