#!/usr/bin/python3
"""Prints the index of a pool, scanned by Dask distributed: so many packages at a time, each lot a shard, the shards
joined by bex repo merge. The lots of a worker that dies go to the others.

Usage: scan_dask.py POOL [PACKAGES-IN-A-LOT [SCHEDULER]]
  Without the address of a scheduler, two workers are started here. Workers elsewhere must see the pool under the same
  path, and have bex.
"""

import os
import subprocess
import sys
import tempfile
from pathlib import Path

from distributed import Client, LocalCluster

BEX = os.environ.get("BEX", "bex")


def scan(root, names):
    """One lot, on a worker: the shard. A command that fails makes the task fail, and Dask tries it again."""
    done = subprocess.run([BEX, "repo", "scan", "--threads", "1", "--root", root, "--records", "-"],
                          input=b"".join(os.fsencode(name) + b"\0" for name in names),
                          stdout=subprocess.PIPE, check=True)
    return done.stdout


def merge(shards):
    with tempfile.TemporaryDirectory() as folder:
        paths = [Path(folder, str(number)) for number in range(len(shards))]
        for path, shard in zip(paths, shards):
            path.write_bytes(shard)
        subprocess.run([BEX, "repo", "merge", "--multiversion", *paths], check=True)


def main():
    pool = Path(sys.argv[1]).resolve()
    lot = int(sys.argv[2]) if len(sys.argv) > 2 else 200
    names = sorted(f"./{path.relative_to(pool)}" for path in pool.rglob("*")
                   if path.suffix in (".deb", ".bex") and not path.is_symlink())
    lots = [names[begin:begin + lot] for begin in range(0, len(names), lot)]
    cluster = sys.argv[3] if len(sys.argv) > 3 else LocalCluster(n_workers=2, threads_per_worker=1,
                                                                 dashboard_address=None)
    with Client(cluster) as client:
        # pure=False: a task of the same arguments is not taken for one that is done, for the files may have changed.
        merge(client.gather(client.map(scan, [str(pool)] * len(lots), lots, retries=3, pure=False)))


if __name__ == "__main__":
    main()
