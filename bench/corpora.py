"""Trees to measure on, made from what a Debian machine has; the same machine gives the same trees."""

import os
import random
import shutil
import subprocess
from pathlib import Path

MEGABYTE = 1000 * 1000

CONTROL = """Package: bench
Version: 1
Architecture: all
Maintainer: Ann Lee <ann@example.org>
Description: a tree to measure on
"""


def _files(folders, wanted):
    """Regular files below the folders, in order, each with its size, where `wanted(path, size)` holds."""
    for folder in folders:
        for root, names, files in os.walk(folder):
            names.sort()
            for name in sorted(files):
                path = os.path.join(root, name)
                if os.path.islink(path) or not os.path.isfile(path) or not os.access(path, os.R_OK):
                    continue
                size = os.path.getsize(path)
                if wanted(path, size):
                    yield path, size


def _is_elf(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def _copy(files, tree, most_files, most_bytes):
    count = total = 0
    for path, size in files:
        if count == most_files or total + size > most_bytes:
            break
        target = tree / path.lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(path, target)
        shutil.copymode(path, target)
        count += 1
        total += size


def _small_files(tree, megabytes):
    folders = ["/usr/include", "/usr/lib/python3", "/usr/lib/python3.11", "/usr/share"]
    small = _files(folders, lambda path, size: 256 <= size <= 120_000)
    _copy(small, tree, 100 * megabytes, megabytes * MEGABYTE)


def _executables(tree, megabytes):
    large = _files(["/usr/bin", "/usr/lib"], lambda path, size: 10_000 < size < 30 * MEGABYTE and _is_elf(path))
    _copy(large, tree, 10**6, megabytes * MEGABYTE)


def _incompressible(tree, megabytes):
    numbers = random.Random(1)
    for i in range(max(megabytes // 4, 1)):
        (tree / f"noise-{i:03}").write_bytes(numbers.randbytes(min(megabytes, 4) * MEGABYTE))


def _ten_files(tree, _):
    texts = _files(["/usr/include"], lambda path, size: 4500 <= size <= 5500)
    _copy(texts, tree, 10, 50_000)


CORPORA = {
    "C1": ("small files: headers, scripts, data", _small_files, 200),
    "C2": ("executables and shared objects", _executables, 300),
    "C3": ("incompressible files", _incompressible, 200),
    "C4": ("ten small files", _ten_files, 0),
}


def add_control(tree, sums=True):
    """Lays the tree out for dpkg-deb: control, and md5sums as debhelper makes them, so that both build the same."""
    folder = tree / "DEBIAN"
    folder.mkdir()
    (folder / "control").write_text(CONTROL)
    if not sums:
        return
    listed = "find . -path ./DEBIAN -prune -o -type f -printf '%P\\0' | LC_ALL=C sort -z | xargs -0r md5sum"
    sums = subprocess.run(["sh", "-c", listed], cwd=tree, check=True, capture_output=True)
    (folder / "md5sums").write_bytes(sums.stdout)


def make(folder, name, share=1.0):
    """Makes the corpus (or a share of it) and gives its tree; one that is there from before serves as well."""
    tree = folder / name
    if not (tree / "DEBIAN/md5sums").exists():
        shutil.rmtree(tree, ignore_errors=True)
        tree.mkdir(parents=True)
        _, fill, megabytes = CORPORA[name]
        fill(tree, int(megabytes * share))
        add_control(tree)
    return tree


def describe(tree):
    """Files and bytes of the payload."""
    sizes = [path.stat().st_size for path in Path(tree).rglob("*") if path.is_file() and "DEBIAN" not in path.parts]
    return len(sizes), sum(sizes)
