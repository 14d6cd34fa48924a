#!/bin/bash
# Scans one of several lots of a pool into a shard, as one task of an array: Kubernetes and Slurm give it its number.
# A task that is run again writes the same shard; one that is killed leaves no shard.
# Usage: scan_lot.sh POOL SHARDS LOTS [NUMBER]   NUMBER counts from 0; JOB_COMPLETION_INDEX or SLURM_ARRAY_TASK_ID else
set -euo pipefail
pool=$1 shards=$2 lots=$3 number=${4:-${JOB_COMPLETION_INDEX:-${SLURM_ARRAY_TASK_ID:?}}}

part=$shards/.$number.$HOSTNAME.$$
trap 'rm -f "$part"' EXIT
# The n-th package of all goes into lot n modulo LOTS, so that large neighbours are spread.
(cd "$pool" && find . -type f \( -name '*.deb' -o -name '*.bex' \) -print0) | sort -z |
    sed -zn "$number~${lots}p" |
    "${BEX:-bex}" repo scan --root "$pool" --records - >"$part"
mv "$part" "$shards/$number.shard"
