"""What is measured: each work with its peers, its floors and its aims."""

import math
import os
import random
import shutil
import subprocess
import tarfile
from dataclasses import dataclass, field
from functools import partial
from pathlib import Path

import corpora
from measure import Contender, fill_memory, put_away, ratio

REFERENCE = "dpkg-deb"
BLOCK = 1 << 20  # bytes that bex compresses as one


# Elapsed time of builds, as parts of dpkg-deb's of the same format; the most that it is to be on two free processors.
BUILD_LIMITS = {
    "C1": {"gzip": 0.35, "md5sum": 0.30, "level 1": 0.22, "zstd": 1.1},
    "C2": {"gzip": 0.22, "md5sum": 0.21, "level 1": 0.11, "zstd": 1.05},
}


@dataclass
class Table:
    """Contenders of one race, beside the reference among them, and the floors measured in the same run."""

    title: str
    contenders: list
    reference: str
    floors: list = field(default_factory=list)  # (what, Sample)

    def named(self, name):
        return next(contender for contender in self.contenders if contender.name == name)

    def ratio(self, name, what, reference=None):
        return ratio(self.named(name), self.named(reference or self.reference), what)


@dataclass
class Aim:
    work: str
    aim: str
    measured: str
    met: bool


@dataclass
class Growth:
    """Seconds by size, both growing by tens."""

    name: str
    unit: str
    points: list  # (size, CPU seconds, peak MiB)

    def exponent(self):
        """Of the last step: 1 is linear."""
        (small, before, _), (large, after, _) = self.points[-2:]
        return math.log(after / before) / math.log(large / small)


def fill_entries(tree, count):
    for folder in range(0, count - 1, 1000):  # a folder is an entry, as is the root
        parent = os.path.join(tree, f"folder-{folder:07}")
        os.mkdir(parent)
        for i in range(min(999, count - 2 - folder)):
            os.close(os.open(f"{parent}/file-{folder + i:07}", os.O_WRONLY | os.O_CREAT, 0o644))


def index_and_largest_block(package):
    """Stored bytes of an index with its footer, and of the largest block before it (docs/format.md)."""
    with open(package, "rb") as file:
        file.seek(8)
        while (header := file.read(60)).split(b" ", 1)[0].rstrip(b"/") != b"data.tar.gz":
            size = int(header[48:58])
            file.seek(size + size % 2, os.SEEK_CUR)
        index = largest = 0
        end = file.tell() + int(header[48:58])
        while file.tell() < end:
            head = file.read(22)
            stored = int.from_bytes(head[16:20], "little")
            if int.from_bytes(head[10:12], "little") > 8:  # a further subfield in the header: a piece of the index
                index += stored
            else:
                largest = max(largest, stored)
            file.seek(stored - len(head), os.SEEK_CUR)
    return index, largest


class Bench:
    def __init__(self, programs, folder, quick):
        self.programs = programs
        self.folder = folder
        self.quick = quick
        self.rounds = 2 if quick else 3
        share = 0.1 if quick else 1.0
        self.trees = {name: corpora.make(folder, name, share) for name in corpora.CORPORA}
        self.tables = []
        self.aims = []
        self.growths = []
        self.shares = []  # (work, corpus, of the calling thread, of the busiest thread)
        self.peaks = []  # (work, corpus, MiB)
        self.objects = []

    # --- bookkeeping

    def add(self, table):
        self.tables.append(table)
        return table

    def hold(self, work, aim, value, limit, at_least=False):
        """Holds the median of a ratio against its aim."""
        met = value.median >= limit if at_least else value.median <= limit
        self.aims.append(Aim(work, f"{'at least' if at_least else 'at most'} {aim}", str(value), met))

    def hold_speed(self, work, table, name, limit, reference=None):
        """How many times as fast as the reference."""
        value = ratio(table.named(reference or table.reference), table.named(name), "elapsed")
        self.hold(f"{work}: times as fast", f"{limit}", value, limit, at_least=True)

    def hold_most(self, work, table, name, limit, reference=None, floor=None):
        """The elapsed time as a part of the reference's; beside it that of a floor, a contender of the same race."""
        self.hold(f"{work}: elapsed", f"{limit}", table.ratio(name, "elapsed", reference), limit)
        if floor is not None:
            alone = table.ratio(floor, "elapsed", reference)
            self.aims[-1].measured += f"; {floor.removeprefix('floor: ')} alone {alone.median:.2f}"

    def warm(self, path):
        """Brings what is about to be read into the page cache, however it was used before."""
        subprocess.run(f"find '{path}' -type f -print0 | xargs -0 cat > /dev/null", shell=True, check=True)

    def contender(self, name, command, output=None, source=None, repeat=1):
        before = (lambda: self.warm(source)) if source is not None else (lambda: None)
        return Contender(name, [str(part) for part in command], output, repeat, before)

    def bex(self, *arguments):
        return [self.programs.bex, *arguments]

    def package(self, name):
        return self.folder / name

    # --- building

    def builders(self, corpus):
        tree, tar, summed = self.trees[corpus], self.tar_of(corpus), self.package(f"{corpus}.summed.deb")

        def entry(name, suffix, make):
            output = self.package(f"{corpus}{suffix}")
            return self.contender(name, make(output), output, tree)

        def dpkg(kind, level):
            return lambda out: ["dpkg-deb", f"-Z{kind}", f"-z{level}", "--root-owner-group", "-b", tree, out]

        def bex(*options):
            return lambda out: self.bex("build", "-q", *options, tree, out)

        def tar_and_ar(gzip):
            return lambda out: ["sh", "-c", f"""
                set -e; rm -rf '{out}.parts'; mkdir '{out}.parts'
                tar -C '{tree}' --sort=name --owner=0 --group=0 --exclude=./DEBIAN -cf - . |
                    {gzip} -6 > '{out}.parts/data.tar.gz'
                tar -C '{tree}/DEBIAN' --owner=0 --group=0 -cf - . | {gzip} -6 > '{out}.parts/control.tar.gz'
                cd '{out}.parts'; echo 2.0 > debian-binary; ar rc '{out}' debian-binary control.tar.gz data.tar.gz
                rm -r '{out}.parts'"""]

        gzip = "pigz" if shutil.which("pigz") else "gzip"
        bsdtar = lambda out: ["bsdtar", "-C", tree, "--exclude", "./DEBIAN", "--uid", "0", "--gid", "0", "-czf", out,
                              "."]
        return [
            entry(REFERENCE, ".deb", dpkg("gzip", 6)),
            self.contender("md5sum, dpkg-deb", ["sh", "-c", f"""
                cd '{tree}' && find . -path ./DEBIAN -prune -o -type f -print0 | xargs -0 md5sum > /dev/null
                dpkg-deb -Zgzip -z6 --root-owner-group -b . '{summed}'"""], summed, tree),
            entry("bex", ".bex", bex()),
            entry("bex --level 1", ".fast.bex", bex("--level", "1")),
            entry(f"tar, {gzip}, ar", ".tar.bex", tar_and_ar(gzip)),
            entry("bsdtar (payload alone)", ".tar.gz", bsdtar),
            entry("dpkg-deb -Zzstd -z3", ".zst.deb", dpkg("zstd", 3)),
            entry("bex --compression zstd", ".zst.bex", bex("--compression", "zstd")),
            self.contender("floor: zstd -T2 -3 of the payload", ["sh", "-c", f"zstd -T2 -3 -qc '{tar}' > /dev/null"],
                           None, tar),
        ]

    def build_xz(self, corpus):
        """Apart, and once for executables: each of them takes a minute or more."""
        tree, tar = self.trees[corpus], self.tar_of(corpus)
        deb, bex = self.package(f"{corpus}.xz.deb"), self.package(f"{corpus}.xz.bex")
        floor = "floor: xz -T2 -6 of the payload"
        contenders = [
            self.contender("dpkg-deb -Zxz", ["dpkg-deb", "-Zxz", "-z6", "--root-owner-group", "-b", tree, deb], deb,
                           tree),
            self.contender("bex --compression xz", self.bex("build", "-q", "--compression", "xz", tree, bex), bex,
                           tree),
            self.contender(floor, ["sh", "-c", f"xz -T2 -6 -c '{tar}' > /dev/null"], None, tar),
        ]
        rounds = self.rounds if corpus == "C1" else 1
        table = self.add(Table(f"Build {corpus}, xz", self.programs.race(contenders, rounds), "dpkg-deb -Zxz"))
        self.hold_most(f"build {corpus}, xz", table, "bex --compression xz", 0.95, None, floor)

    def tar_of(self, corpus):
        path = self.package(f"{corpus}.tar")
        if not path.exists():
            tree = self.trees[corpus]
            subprocess.run(["tar", "-C", tree, "--sort=name", "--exclude=./DEBIAN", "-cf", path, "."], check=True)
        return path

    def build_floors(self, corpus):
        tar = self.tar_of(corpus)
        floor = self.programs.floor
        return [
            ("reading the tree", floor("read", self.trees[corpus])),
            ("MD5 of the payload", floor("md5", tar)),
            *((f"libdeflate, level {level}, 2 threads", floor("deflate", tar, level, BLOCK, 2, rounds=1 + (level == 6)))
              for level in (1, 5, 6, 7)),
            ("libdeflate, level 6, blocks of 4 MiB", floor("deflate", tar, 6, 4 << 20, 2, rounds=1)),
            ("zlib, level 6, one stream", floor("zlib", tar, 6, rounds=1)),
        ]

    def build(self, corpus):
        table = Table(f"Build {corpus}", self.programs.race(self.builders(corpus), self.rounds), REFERENCE)
        table.floors = self.build_floors(corpus)
        self.add(table)
        work = f"build {corpus}"
        if corpus == "C3":  # noise
            codec = next(sample for what, sample in table.floors if "level 6, 2" in what)
            self.hold_floor(f"{work}: of the floor (libdeflate alone), CPU", table.named("bex"), codec.cpu, 0.8)
        else:
            limits = BUILD_LIMITS[corpus]
            self.hold_most(work, table, "bex", limits["gzip"])
            self.hold_most(f"{work}, beside dpkg-deb with md5sum", table, "bex", limits["md5sum"], "md5sum, dpkg-deb")
            self.hold(f"{work}: size", "1.01", table.ratio("bex", "size"), 1.01)
            self.hold_most(f"{work}, --level 1", table, "bex --level 1", limits["level 1"])
            self.hold(f"{work}, --level 1: size", "1.17", table.ratio("bex --level 1", "size"), 1.17)
            self.hold_most(f"{work}, zstd", table, "bex --compression zstd", limits["zstd"], "dpkg-deb -Zzstd -z3",
                           "floor: zstd -T2 -3 of the payload")
        zstd = "dpkg-deb -Zzstd -z3"
        self.hold(f"{work}, zstd: size", "1.00", table.ratio("bex --compression zstd", "size", zstd), 1.0)

    def hold_floor(self, work, contender, floor, limit):
        share = floor / contender.median("cpu")
        self.aims.append(Aim(work, f"at least {limit}", f"{share:.2f}", share >= limit))

    # --- reading

    def extract(self, corpus, maker, limit):
        package = self.package(f"{corpus}.{'bex' if maker == 'bex' else 'deb'}")
        to = self.folder / "extracted"
        unpack = f"mkdir '{to}' && bsdtar -xOf '{package}' data.tar.gz | bsdtar -xpf - -C '{to}'"
        contenders = [
            self.contender(REFERENCE, ["dpkg-deb", "-x", package, to], to, package),
            self.contender("bex", self.bex("extract", "-q", package, to), to, package),
            self.contender("bsdtar", ["sh", "-c", unpack], to, package),
        ]
        table = Table(f"Extract {corpus}, made by {maker}", self.programs.race(contenders, self.rounds + 1), REFERENCE)
        for _ in range(2 + (not self.quick)):
            put_away(to)
            os.sync()
            table.floors.append(("", self.programs.floor("write", self.trees[corpus], to, 2, rounds=1)))
        put_away(to)
        middle = sorted(table.floors, key=lambda floor: floor[1].elapsed)[len(table.floors) // 2][1]
        table.floors = [("writing the files from memory, 2 threads", middle)]
        if maker == "bex":
            inflate = self.programs.floor("inflate", self.tar_of(corpus), 6, BLOCK, 2, rounds=2)
            table.floors.append(("libdeflate's unpacking, 2 threads", inflate))
        self.add(table)
        self.hold_most(f"extract {corpus}, made by {maker}", table, "bex", limit)
        alone = sum(floor.elapsed for _, floor in table.floors) / table.named(REFERENCE).median("elapsed")
        self.aims[-1].measured += f"; the floors alone {alone:.2f}"

    def look(self, corpus, maker, speed):
        package = self.package(f"{corpus}.{'bex' if maker == 'bex' else 'deb'}")
        contenders = [
            self.contender(REFERENCE + " -c", ["dpkg-deb", "-c", package], None, package),
            self.contender("bex list", self.bex("list", package), None, package),
            self.contender("bsdtar -t", ["sh", "-c", f"bsdtar -xOf '{package}' data.tar.gz | bsdtar -tf -"], None,
                           package),
            self.contender("bex verify", self.bex("verify", package), None, package),
        ]
        table = Table(f"List and verify {corpus}, made by {maker}", self.programs.race(contenders, self.rounds + 2),
                      REFERENCE + " -c")
        self.add(table)
        self.hold_speed(f"list {corpus}, made by {maker}", table, "bex list", speed)
        if maker == "bex":
            inflate = self.programs.floor("zinflate", self.tar_of(corpus), 6, BLOCK, 2, rounds=2)
            md5 = self.programs.floor("md5", self.tar_of(corpus), rounds=2)
            table.floors = [("zlib's unpacking, 2 threads", inflate), ("MD5 of the payload", md5)]
            self.hold_floor(f"verify {corpus}: of the floor (unpacking and MD5), CPU", table.named("bex verify"),
                            inflate.cpu + md5.cpu, 1.0)

    def index(self, corpus):
        """What an index costs a build, and what it spares who asks for one file."""
        tree, indexed = self.trees[corpus], self.package(f"{corpus}.bex")
        plain, again = self.package(f"{corpus}.plain.bex"), self.package(f"{corpus}.index.bex")
        table = self.add(Table(f"Build {corpus}, with and without an index", self.programs.race([
            self.contender("bex --no-index", self.bex("build", "-q", "--no-index", tree, plain), plain, tree),
            self.contender("bex", self.bex("build", "-q", tree, again), again, tree),
        ], self.rounds), "bex --no-index"))
        self.hold(f"build {corpus}, with an index: CPU", "1.02", table.ratio("bex", "cpu"), 1.02)
        size = {"C1": 1.005, "C2": 1.0005}[corpus]
        self.hold(f"build {corpus}, with an index: size", f"{size}", table.ratio("bex", "size"), size)
        put_away(plain)
        put_away(again)
        last = self.last_small_file(indexed)
        table = self.add(Table(f"Find in {corpus} by its index", self.programs.race([
            self.contender(REFERENCE + " -c", ["dpkg-deb", "-c", indexed], None, indexed),
            self.contender("bex list", self.bex("list", indexed), None, indexed),
            self.contender("bex list --index", self.bex("list", "--index", indexed), None, indexed, 5),
            self.contender("dpkg-deb, tar: last small file",
                           ["sh", "-c", f"dpkg-deb --fsys-tarfile '{indexed}' | tar -xOf - '{last}'"], None, indexed),
            self.contender("bex cat: last small file", self.bex("cat", indexed, last), None, indexed),
            self.contender("bex cat --index: last small file", self.bex("cat", "--index", indexed, last), None, indexed,
                           5),
            self.contender("bex field", self.bex("field", indexed, "Version"), None, indexed, 5),
        ], self.rounds), REFERENCE + " -c"))
        self.hold(f"list --index {corpus}: elapsed", "0.10", table.ratio("bex list --index", "elapsed"), 0.10)
        self.hold_cat(corpus, table, indexed, last)

    def last_small_file(self, package):
        listed = subprocess.run(self.bex("list", "-l", "--index", package), capture_output=True, text=True,
                                check=True).stdout
        files = [line.split("\t") for line in listed.splitlines()]
        sizes = {path: int(size) for mode, _, size, _, path, *_ in files if mode[0] == "-" and int(size) > 0}
        small = max(8192, min(sizes.values()))  # programs may all be larger
        return [path for path, size in sizes.items() if size <= small][-1]

    def hold_cat(self, corpus, table, package, last):
        """Beside the start of the program, a file takes the index and no more than two blocks."""
        cat = "bex cat --index: last small file"
        for what in ("elapsed", "cpu"):
            self.hold(f"cat --index {corpus}, last small file: {what} of bex field", "2.00",
                      table.ratio(cat, what, "bex field"), 2.0)
        read = self.programs.bytes_read(self.bex("cat", "--index", package, last), package)
        if read is not None:
            index, block = index_and_largest_block(package)
            limit = index + 2 * block
            self.aims.append(Aim(f"cat --index {corpus}, last small file: bytes read",
                                 f"at most {limit} (index {index}, two blocks)", str(read), read <= limit))

    def index_of_large(self):
        """A file out of 12 GiB, and the list of a million entries, by their indexes."""
        tree, package = self.folder / "12gib", self.package("12gib.bex")
        self.fill_gibibytes(tree, 2 if self.quick else 12)
        subprocess.run(self.bex("build", "-q", tree, package), check=True)
        put_away(tree)
        last = self.last_small_file(package)
        table = self.add(Table("Find in 12 GiB by the index", self.programs.race([
            self.contender("bex field", self.bex("field", package, "Version"), None, package, 5),
            self.contender("bex list --index", self.bex("list", "--index", package), None, package, 5),
            self.contender("bex cat --index: last small file", self.bex("cat", "--index", package, last), None, package,
                           5),
        ], self.rounds + 2), "bex field"))
        self.hold_cat("12 GiB", table, package, last)
        put_away(package)

        tree, package, count = self.folder / "million", self.package("million.bex"), 10**4 if self.quick else 10**6
        tree.mkdir()
        fill_entries(tree, count)
        corpora.add_control(tree, sums=False)
        subprocess.run(self.bex("build", "-q", tree, package), check=True)
        put_away(tree)
        table = self.add(Table("List a million entries", self.programs.race([
            self.contender(REFERENCE + " -c", ["dpkg-deb", "-c", package], None, package),
            self.contender("bex list", self.bex("list", package), None, package),
            self.contender("bex list --index", self.bex("list", "--index", package), None, package, 3),
        ], self.rounds), REFERENCE + " -c"))
        for what, unit, limit in (("elapsed", "s", 0.4), ("peak", "MiB", 64)):
            value = table.named("bex list --index").median(what)
            self.aims.append(Aim(f"list --index, a million entries: {what}", f"at most {limit} {unit}",
                                 f"{value:.3g} {unit}", value <= limit))
        put_away(package)

    @staticmethod
    def fill_gibibytes(tree, count):
        """Holes, with 4 KiB of noise in each 256 KiB, and a small file at the end."""
        tree.mkdir()
        numbers = random.Random(12)
        with open(tree / "large", "wb") as file:
            for offset in range(0, count << 30, 256 << 10):
                file.seek(offset)
                file.write(numbers.randbytes(4096))
            file.truncate(count << 30)
        (tree / "small").write_bytes(numbers.randbytes(4096))
        corpora.add_control(tree, sums=False)

    def fill_memory(self):
        """Before each race that writes much: a host may take back what has not been used for a while."""
        fill_memory(self.folder, 20 if self.quick else 90)

    def read_format(self, corpus, kind, limit):
        """What the archives of the world hold: packages by dpkg-deb in xz and zstd."""
        package, to = self.package(f"{corpus}.{kind}.deb"), self.folder / "extracted"
        unpacker = {"xz": "xz -T2 -dc", "zst": "zstd -dc"}[kind]
        payload = self.package(f"{corpus}.tar.{kind}")
        with open(payload, "wb") as out:
            subprocess.run(["ar", "p", package, f"data.tar.{kind}"], stdout=out, check=True)
        floor = self.contender(f"floor: {unpacker}", ["sh", "-c", f"{unpacker} '{payload}' > /dev/null"], None, payload)
        look = [
            self.contender(REFERENCE + " -c", ["dpkg-deb", "-c", package], None, package),
            self.contender("bex list", self.bex("list", package), None, package),
            self.contender("bex verify", self.bex("verify", package), None, package),
            floor,
        ]
        table = self.add(Table(f"List and verify {corpus}, {kind} by dpkg-deb",
                               self.programs.race(look, self.rounds), REFERENCE + " -c"))
        if kind == "xz":
            for name in ("bex list", "bex verify"):
                self.hold_most(f"{name} {corpus}, xz", table, name, {"C1": 0.85, "C2": 0.97}[corpus], None, floor.name)
        unpack = [
            self.contender(REFERENCE, ["dpkg-deb", "-x", package, to], to, package),
            self.contender("bex", self.bex("extract", "-q", package, to), to, package),
            self.contender(floor.name, floor.command, None, payload),
        ]
        self.fill_memory()
        times = self.programs.race(unpack, self.rounds)
        table = self.add(Table(f"Extract {corpus}, {kind} by dpkg-deb", times, REFERENCE))
        put_away(to)
        self.hold_most(f"extract {corpus}, {kind}", table, "bex", limit, None, floor.name)

    def share(self, work, corpus, limit, *arguments, output=None):
        put_away(output)
        calling, share = self.programs.shares(self.bex(*arguments, "--threads", "16"))
        self.shares.append((work, corpus, calling, share))
        self.aims.append(Aim(f"{work} {corpus}, 16 threads: share of the busiest", f"at most {limit}", f"{share:.2f}",
                             share <= limit))

    def share_of(self, corpus):
        tree, package, to = self.trees[corpus], self.package(f"{corpus}.share.bex"), self.folder / "extracted"
        for work, options in (("build, gzip level 1", ("--level", "1")), ("build, zstd", ("--compression", "zstd")),
                              ("build, gzip", ())):
            self.share(work, corpus, 0.10, "build", "-q", *options, tree, package, output=package)
        self.share("extract", corpus, 0.12, "extract", "-q", package, to, output=to)
        self.share("verify", corpus, 0.12, "verify", package)
        self.share("list", corpus, 0.20, "list", package)
        put_away(package)
        put_away(to)

    # --- changing finished packages

    def edit(self):
        """A package of 1 GB, or a tenth of it, that no compression made smaller."""
        package, output = self.package("edit.bex"), self.package("edited.bex")
        tree = self.folder / "edit"
        if not package.exists():
            tree.mkdir(exist_ok=True)
            with open(tree / "noise", "wb") as file:
                for _ in range(10**8 if self.quick else 10**9, 0, -10**7):
                    file.write(os.urandom(10**7))
            corpora.add_control(tree, sums=False)
            subprocess.run(self.bex("build", "-q", "--compression", "none", tree, package), check=True)
        contenders = [
            self.contender("cp", ["cp", package, output], output),
            self.contender("cp, sync", ["sh", "-c", f"cp '{package}' '{output}'; sync '{output}'"], output),
            self.contender("bex edit", self.bex("edit", "-q", package, "--set", "Version=2", "-o", output), output),
        ]
        for contender in contenders:
            contender.before = lambda: subprocess.run(["cat", package], stdout=subprocess.DEVNULL, check=True)
        table = self.add(Table("Edit a package of 1 GB", self.programs.race(contenders, self.rounds + 2), "cp"))
        self.hold("edit: elapsed, beside cp", "1.2", table.ratio("bex edit", "elapsed"), 1.2)

    def repack(self, corpus):
        """From dpkg-deb's gzip to zstd."""
        package, output = self.package(f"{corpus}.deb"), self.package("repacked.deb")
        parts = self.folder / "repack"
        unpacked = f"dpkg-deb -R '{package}' '{parts}/tree' && dpkg-deb -Zzstd -z3 -b '{parts}/tree' '{output}'"
        piped = (f"cd '{parts}' && ar x '{package}' && zcat data.tar.gz | zstd -q -T0 -3 -o data.tar.zst && "
                 f"zcat control.tar.gz | zstd -q -3 -o control.tar.zst && "
                 f"ar rc '{output}' debian-binary control.tar.zst data.tar.zst")
        contenders = [
            self.contender("dpkg-deb -R, -b", ["sh", "-c", unpacked], output),
            self.contender("zcat, zstd, ar", ["sh", "-c", piped], output),
            self.contender("bex repack", self.bex("repack", "-q", package, "-Z", "zstd", "-o", output), output),
            self.contender("floor: zstd -T2 -3", ["sh", "-c", f"zstd -T2 -3 -qc '{self.tar_of(corpus)}' > /dev/null"]),
        ]

        def make_ready():
            put_away(parts)
            parts.mkdir()
            subprocess.run(["cat", package], stdout=subprocess.DEVNULL, check=True)

        for contender in contenders:
            contender.before = make_ready
        table = self.add(Table(f"Repack {corpus}, gzip to zstd", self.programs.race(contenders, self.rounds),
                               "dpkg-deb -R, -b"))
        work = f"repack {corpus}"
        self.hold_speed(work, table, "bex repack", 3)
        self.hold_speed(f"{work}, beside zcat and zstd", table, "bex repack", 1, "zcat, zstd, ar")

    # --- starting up

    def sparse_package(self):
        """A package of almost 10 GB, the most that ar can tell, that takes no room on the disk: its payload is one
        file that is all hole."""
        path = self.package("10gb.bex")
        small = self.package("C4.bex").read_bytes()
        control = int(small[72 + 48:72 + 58])
        head = small[:132 + control + control % 2]
        size = 9_999_000_000
        entry = tarfile.TarInfo("./zeros")
        entry.size = size
        member = 512 + (size + 511) // 512 * 512 + 1024
        header = f"{'data.tar':<16}{0:<12}{0:<6}{0:<6}{100644:<8}{member:<10}`\n".encode()
        with open(path, "wb") as file:
            file.write(head + header + entry.tobuf(tarfile.GNU_FORMAT))
            file.truncate(len(head) + 60 + member)
        return path

    def start_up(self):
        small = self.package("C4.bex")
        subprocess.run(self.bex("build", "-q", self.trees["C4"], small), check=True)
        large = self.sparse_package()
        repeat = 20
        contenders = [
            self.contender(REFERENCE + " -f", ["dpkg-deb", "-f", small, "Version"], repeat=repeat),
            self.contender("bex field", self.bex("field", small, "Version"), repeat=repeat),
            self.contender("bex info", self.bex("info", small), repeat=repeat),
            self.contender("bex list", self.bex("list", small), repeat=repeat),
            self.contender(REFERENCE + " -f, 10 GB", ["dpkg-deb", "-f", large, "Version"], repeat=repeat),
            self.contender("bex field, 10 GB", self.bex("field", large, "Version"), repeat=repeat),
        ]
        table = self.add(Table("C4: start-up", self.programs.race(contenders, 5), REFERENCE + " -f"))
        for name in ("bex field", "bex info", "bex list"):
            self.hold(f"{name} C4: elapsed", "1.00", table.ratio(name, "elapsed"), 1.0)
        self.hold("bex field of 10 GB: elapsed", "1.00",
                  table.ratio("bex field, 10 GB", "elapsed", REFERENCE + " -f, 10 GB"), 1.0)

    # --- memory and growth

    def peak(self, work, corpus, *arguments, output=None):
        sample = self.programs.run(self.contender(work, self.bex(*arguments, "--threads", "2"), output))
        self.peaks.append((work, corpus, sample.peak))

    def memory_of(self, corpus, tree):
        package = self.package(f"{corpus}.peak.bex")
        to = self.folder / "extracted"
        for kind in ("zstd", "gzip"):
            self.peak(f"build, {kind}", corpus, "build", "-q", "--compression", kind, tree, package, output=package)
            if corpus in self.trees:  # 10 GB are not written out; verify unpacks them all the same
                self.peak(f"extract, {kind}", corpus, "extract", "-q", package, to, output=to)
        for verb in ("list", "verify"):
            self.peak(verb, corpus, verb, package, "--limit", "expansion-ratio=2000")  # 10 GB of holes are no bomb
        put_away(package)

    def memory(self):
        self.memory_of("C2", self.trees["C2"])
        self.memory_of("C3", self.trees["C3"])
        if not self.quick:
            self.memory_of("10 GB", self.hole_tree())
        worst = max(self.peaks, key=lambda peak: peak[2])
        self.aims.append(Aim(f"peak memory, 2 threads ({worst[0]}, {worst[1]})", "less than 32 MiB",
                             f"{worst[2]:.1f} MiB", worst[2] < 32))

    def hole_tree(self):
        """10 GB that take no room on the disk."""
        tree = self.folder / "10gb"
        if not tree.exists():
            tree.mkdir()
            for i in range(10):
                with open(tree / f"zeros-{i}", "wb") as file:
                    file.truncate(10**9)
            corpora.add_control(tree, sums=False)
        return tree

    def grow(self, name, unit, sizes, make):
        build = Growth(f"build, {name}", unit, [])
        read = Growth(f"list, {name}", unit, [])
        package = self.package("growth.bex")
        for size in sizes:
            tree = self.folder / "growth"
            put_away(tree)
            tree.mkdir()
            make(tree, size)
            corpora.add_control(tree, sums=False)
            for growth, command, output in ((build, ["build", "-q", tree, package], package),
                                            (read, ["list", package], None)):
                runs = 3 if size < 10**5 else 1
                sample = self.programs.run(self.contender("", self.bex(*command), output, None, runs))
                growth.points.append((size, sample.cpu, sample.peak))
            put_away(tree)
        put_away(package)
        self.growths += [build, read]
        for growth in (build, read):
            power = growth.exponent()
            self.aims.append(Aim(f"growth of {growth.name}: exponent of the last step", "about 1 (up to 1.1)",
                                 f"{power:.2f}",
                                 power <= 1.1))

    def growth(self):
        bytes_source = self.tar_of("C2")

        def fill_bytes(tree, size):
            with open(tree / "file", "wb") as out:
                while out.tell() < size:
                    with open(bytes_source, "rb") as piece:
                        while out.tell() < size and (data := piece.read(min(1 << 20, size - out.tell()))):
                            out.write(data)

        self.grow("by bytes", "bytes", [10**6, 10**7, 10**8] + ([] if self.quick else [10**9]), fill_bytes)
        self.grow("by entries", "entries", [10**3, 10**4] + ([] if self.quick else [10**5, 10**6]), fill_entries)

    def object_library(self):
        for work, entries, ours, theirs in self.programs.object_library(self.folder):
            self.objects.append((work, entries, ours, theirs))
            self.aims.append(Aim(f"object library, {work} of {entries} entries: CPU of libarchive's own",
                                 "at most 1.10",
                                 f"{ours / theirs:.2f}", ours <= 1.10 * theirs))

    def works(self):
        """Each work with its name. What comes later reads the packages of "build"."""
        for corpus in ("C1", "C2", "C3"):
            yield f"build {corpus}", partial(self.build, corpus)
        for corpus in ("C1", "C2"):
            yield f"build {corpus} xz", partial(self.build_xz, corpus)
        for corpus, maker, limit in (("C1", "bex", 0.48), ("C2", "bex", 0.26), ("C3", "bex", 0.4),
                                     ("C1", REFERENCE, 0.5), ("C2", REFERENCE, 0.4)):
            yield f"extract {corpus} {maker}", partial(self.extract, corpus, maker, limit)
        for corpus, maker, speed in (("C1", "bex", 5), ("C2", "bex", 5), ("C1", REFERENCE, 3), ("C2", REFERENCE, 3)):
            yield f"list {corpus} {maker}", partial(self.look, corpus, maker, speed)
        for corpus, kind, limit in (("C1", "xz", 0.85), ("C2", "xz", 0.9), ("C1", "zst", 0.5), ("C2", "zst", 0.45)):
            yield f"formats {corpus} {kind}", partial(self.read_format, corpus, kind, limit)
        for corpus in ("C1", "C2"):
            yield f"index {corpus}", partial(self.index, corpus)
            yield f"shares {corpus}", partial(self.share_of, corpus)
            yield f"repack {corpus}", partial(self.repack, corpus)
        yield "index of 12 GiB", self.index_of_large
        yield "edit", self.edit
        yield "start", self.start_up
        yield "objects", self.object_library
        yield "memory", self.memory
        yield "growth", self.growth

    def run(self, only, report):
        """Measures the works that are asked for, all where none is, and hands each table over when it is there."""
        for name, work in self.works():
            if only and not any(name.startswith(word) for word in only):
                continue
            if name.split()[0] in ("build", "extract", "repack", "edit"):
                self.fill_memory()
            tables, aims = len(self.tables), len(self.aims)
            work()
            report(self.tables[tables:], self.aims[aims:])
