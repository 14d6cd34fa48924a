"""The hostile packages: what each is made of, and what a safe reader does with it.

accept(NAME, TREE, PACKAGE, CODES)  is extracted, and exactly TREE is there then
refuse(NAME, CODES, PACKAGE)        is not, and nothing is there but LEFT

CODES are all that `verify` finds. A package is bytes; or parts of which a number is a hole, or a function that makes
either, so that only who needs a large one pays for it.
"""

import bz2
import dataclasses
import gzip
import os
import struct
import typing
import zlib

from odd import (CONTROL, GNU, POSIX, TIME, VERSION, ar, base256, bx, control, d, data, entry, f, fields, gz, h, header,
                 l, long, member, package, padded, pax, sparse, sparse_1_0, tar, xz, zst)

MIB = 1 << 20
FREE = ("--limit", f"expansion-free-bytes={16 * MIB}")  # the default of 1 GiB takes seconds to reach


@dataclasses.dataclass
class Case:
    name: str
    package: typing.Any
    codes: str
    tree: dict | None = None  # None: refused
    left: dict | None = dataclasses.field(default_factory=dict)  # by what is refused; None: anything
    status: int = 0  # of a refused extraction; 0: 3 or 5, as for every damaged or unsafe package
    listed: bool = False  # refused by the disk alone, so that listing it succeeds
    before: typing.Callable | None = None  # makes what is in the destination already
    options: tuple = ()


def refuse(name, codes, package, **more):
    return Case(name, package, codes, **more)


def accept(name, tree, package, codes="", **more):
    return Case(name, package, codes, tree, **more)


# What stands in a tree.
def F(contents=b"", mode=0o644, mtime=TIME):
    return "file", contents, mode, mtime


def D(mode=0o755, mtime=TIME):
    return "directory", mode, mtime


IMPLIED = D(mtime=None)  # no entry tells its time


def L(target, mtime=TIME):
    return "symlink", target, mtime


def H(first):
    return "same file", first


OK = f(b"ok", b"fine\n")
OK_TREE = {b"ok": F(b"fine\n")}


def names(outside):
    """Names that lead out, by every way that a name can take."""
    ways = {
        "ustar": lambda name: f(name, b"x"),
        "prefix": lambda name: f(os.path.basename(name), b"x", prefix=os.path.dirname(name), magic=POSIX),
        "long": lambda name: long(b"L", name) + f(b"short", b"x"),
        "pax": lambda name: pax([(b"path", name)]) + f(b"short", b"x", magic=POSIX),
        "global": lambda name: pax([(b"path", name)], b"g") + f(b"short", b"x", magic=POSIX),
        "directory": lambda name: d(name + b"/", 0o777),
        "symlink": lambda name: l(name, b"ok"),
        "sparse": lambda name: sparse_1_0(name, [(0, 1)], 1, b"x"),
    }
    places = {"parent": (b"../canary/new", "path-parent"), "absolute": (outside + b"/new", "path-absolute"),
              "inner": (b"a/../../canary/file", "path-parent"), "bare": (b"../file", "path-parent")}
    for place, (name, code) in places.items():
        for way, make in ways.items():
            codes = {"global": "tar-type", "pax": f"{code} pax-header", "sparse": "pax-header sparse"}
            yield refuse(f"name {place} {way}", codes.get(way, code), package(make(name)))
    for place, target in {"parent": b"../canary/file", "absolute": outside + b"/file"}.items():
        for way, make in {
            "ustar": lambda: h(b"new", target),
            "long": lambda: long(b"K", target) + h(b"new", b"short"),
            "pax": lambda: pax([(b"linkpath", target)]) + h(b"new", b"short", magic=POSIX),
        }.items():
            yield refuse(f"hard link {place} {way}", "hardlink-target" + " pax-header" * (way == "pax"),
                         package(make()))
    deep = [b"d"] * 300 + [b"d" * 200] * 12
    tree = {b"/".join(deep[:i]): IMPLIED for i in range(1, len(deep) + 1)}
    name = b"/".join([*deep, b"end"])
    yield accept("name of 3000 bytes", {**tree, name: F(b"x")}, package(long(b"L", name) + f(b"short", b"x")),
                 "parent-missing")
    yield accept("directories again", {b"a": D(), b"b": D(0o700), b"b/x": F()},
                 package(d(b"a/"), d(b"./a//"), f(b"b/x"), d(b"b/", 0o700)),
                 "directory-doubled parent-missing")
    yield accept("dots that are no ..", {b"..x": IMPLIED, b"..x/...": F(), b"x..": F()},
                 package(f(b"..x/..."), f(b"./x..")), "parent-missing")
    yield refuse("component of 256 bytes", "path-component", package(long(b"L", b"n" * 256) + f(b"short")))
    yield refuse("two ways to a name", "tar-pax",
                 package(pax([(b"path", b"one")]) + long(b"L", b"other") + f(b"short", magic=POSIX)))
    yield refuse("long name twice", "tar-long", package(long(b"L", b"one") + long(b"L", b"other") + f(b"short")))
    yield refuse("long name without an entry", "tar-header", package(long(b"L", b"one")))
    yield refuse("long name of 1 GiB", "limit", package(long(b"L", b"one", size=1 << 30) + OK))
    for name in b"c:x", b"\\x", b"c:\\x", b"C:/x":
        yield accept(f"name {name.decode()}", {name: F(b"x"), **({b"C:": IMPLIED} if b"/" in name else {})},
                     package(f(name, b"x")), "path-drive" + " parent-missing" * (b"/" in name))
    yield refuse("file as its own folder", "path-slash", package(f(b"x/.", b"x")))
    yield refuse("hard link to a file as its folder", "hardlink-target",
                 package(OK, h(b"x", b"ok/."), h(b"y", b"ok/")), left=OK_TREE)
    yield refuse("root as a file", "path-empty", package(f(b"./", b"", size=0), f(b".", b"x")))
    yield refuse("doubled file", "path-doubled", package(OK, f(b"./ok", b"other")), left=OK_TREE)


def links(outside):
    """Links that a later entry would follow."""
    for way, target in {"relative": b"../canary", "absolute": outside}.items():
        left = {b"s": L(target)}
        for what, later in {"file": f(b"s/file", b"x"), "directory": d(b"s/sub/", 0o777), "symlink": l(b"s/new", b"x"),
                            "dotted": f(b"./s/./file", b"x")}.items():
            yield refuse(f"{what} through a {way} symlink", "path-through", package(l(b"s", target), later), left=left)
        yield refuse(f"mode through a {way} symlink", "path-doubled",
                     package(l(b"s", target), d(b"s/", 0o777, mtime=1)), left=left)
        left = {b"s": L(target + b"/file")}
        yield refuse(f"write through a {way} symlink", "path-doubled",
                     package(l(b"s", target + b"/file"), f(b"s", b"x")), left=left)
        yield refuse(f"hard link to a {way} symlink", "hardlink-target path-doubled",
                     package(l(b"s", target + b"/file"), h(b"new", b"s"), f(b"s", b"x")), left=left)
        yield refuse(f"hard link through a {way} symlink", "hardlink-target",
                     package(l(b"s", target), h(b"new", b"s/file")), left={b"s": L(target)})
    yield refuse("directory, then a symlink in its place", "path-doubled",
                 package(d(b"a/"), l(b"a", b"../canary"), f(b"a/file", b"x")), left={b"a": D()})
    chain = [l(b"a", b"b"), l(b"b", b"c"), l(b"c", b"../canary")]
    tree = {b"a": L(b"b"), b"b": L(b"c"), b"c": L(b"../canary")}
    yield accept("chain of symlinks", tree, package(*chain))
    yield refuse("through a chain of symlinks", "path-through", package(*chain, f(b"a/file", b"x")), left=tree)
    loop, tree = [l(b"a", b"b"), l(b"b", b"a")], {b"a": L(b"b"), b"b": L(b"a")}
    yield accept("loop of symlinks", tree, package(*loop))
    yield refuse("through a loop of symlinks", "path-through", package(*loop, f(b"a/x")), left=tree)
    yield refuse("write through a hard link", "path-doubled", package(OK, h(b"twin", b"ok"), f(b"twin", b"x")),
                 left={**OK_TREE, b"twin": H(b"ok")})
    yield accept("hard links in a row", {**OK_TREE, b"p": H(b"ok"), b"q": H(b"ok")},
                 package(OK, h(b"p", b"./ok"), h(b"q", b"p")))
    yield refuse("hard link to a directory", "hardlink-target", package(d(b"a/"), h(b"new", b"a")), left={b"a": D()})
    yield refuse("hard link to itself", "hardlink-target", package(h(b"new", b"new")))
    yield refuse("hard link to what comes later", "hardlink-target", package(h(b"new", b"ok"), OK))
    yield refuse("symlink without a target", "link-target", package(l(b"s", b"")))
    yield refuse("file below a file", "path-through", package(OK, f(b"ok/x")), left=OK_TREE)
    for size in 4095, 4096, 60000:
        target = b"t" * 255 + b"/t" * ((size - 255) // 2) + b"t" * ((size - 255) % 2)
        made = long(b"K", target) + l(b"s", b"short")
        if size < 4096:
            yield accept(f"symlink target of {size} bytes", {b"s": L(target)}, package(made))
        else:
            yield refuse(f"symlink target of {size} bytes", "link-target", package(made))


def places(outside):
    """What was in the destination before: of an earlier package, or of anybody else."""

    def put(make):
        return lambda destination: make(os.path.join(destination, b"s"))

    def symlink(target):
        return put(lambda path: os.symlink(target, path))

    for way, target in {"relative": b"../canary", "absolute": outside, "inner": b"."}.items():
        for what, inner in {"file": f(b"s/file", b"x"), "directory": d(b"s/sub/"),
                            "symlink": l(b"s/new", b"x")}.items():
            yield refuse(f"{what} through a {way} symlink that was there", "parent-missing", package(inner),
                         before=symlink(target),
                         left={b"s": L(target, None)}, status=5, listed=True)
        yield accept(f"directory over a {way} symlink that was there", {b"s": D(0o700)}, package(d(b"s/", 0o700)),
                     before=symlink(target))
    for way, make in {
        "symlink": lambda path: os.symlink(outside + b"/file", path),
        "dangling symlink": lambda path: os.symlink(outside + b"/none", path),
        "hard link": lambda path: os.link(outside + b"/file", path),
        "FIFO": os.mkfifo,
    }.items():
        yield accept(f"file over a {way} that was there", {b"s": F(b"new")}, package(f(b"s", b"new")), before=put(make))
        yield accept(f"symlink over a {way} that was there", {b"s": L(b"x")}, package(l(b"s", b"x")), before=put(make))
        yield accept(f"hard link over a {way} that was there", {b"a": F(b"a"), b"s": H(b"a")},
                     package(f(b"a", b"a"), h(b"s", b"a")), before=put(make))
    yield refuse("file over a directory that was there", "", package(f(b"s", b"x")), before=put(os.mkdir),
                 left={b"s": D(mtime=None)}, status=4, listed=True)
    yield accept("directory over a FIFO that was there", {b"s": D()}, package(d(b"s/")), before=put(os.mkfifo))
    yield refuse("through a FIFO that was there", "parent-missing", package(f(b"s/x", b"x")), before=put(os.mkfifo),
                 left={b"s": ("other", 0o644)}, status=5, listed=True)


def types(outside):
    for kind in b"346":
        yield refuse(f"type {chr(kind)}", "entry-type", package(entry(b"x", bytes([kind]))))
        yield refuse(f"type {chr(kind)} with a name of /dev", "entry-type path-absolute",
                     package(entry(outside + b"/null", bytes([kind]), mode=0o666, devices=b"0000001\x000000003")))
    for kind in b"7Zz8\x01\xff":
        yield refuse(f"type {kind:#x}", "entry-type", package(entry(b"x", bytes([kind]), b"x")))
    for kind in b"ADMNVXg":
        yield refuse(f"type {chr(kind)}", "tar-type", package(entry(b"x", bytes([kind]), b"x"), OK))
    closed = {b"s": D(0o500), b"s/a": D(0o500), b"s/a/x": F(b"", 0o400)}
    yield accept("file in a closed folder", closed, package(d(b"s/", 0o500), d(b"s/a/", 0o500),
                                                            f(b"s/a/x", mode=0o400)),
                 before=lambda destination: os.mkdir(destination + b"/s", 0o100))
    for mode, kept in (0o4755, 0o755), (0o2755, 0o755), (0o6777, 0o777), (0o1777, 0o1777), (0, 0), (0o7777, 0o1777):
        yield accept(f"mode {mode:o}", {b"a": D(kept), b"x": F(b"x", kept)},
                     package(d(b"a/", mode), f(b"x", b"x", mode=mode)))
    yield refuse("mode of 2^33", "tar-header", package(f(b"x", mode=base256(1 << 33, 8))))
    yield refuse("mode that is not a number", "tar-header", package(f(b"x", mode=b"rwxr-xr")))
    for key in b"SCHILY.xattr.security.capability", b"SCHILY.xattr.user.note", b"SCHILY.acl.access":
        value = b"user::rwx,user:0:rwx" if b"acl" in key else b"\x01\0\0\x02\0\x20" + bytes(14)
        yield accept(key.decode(), OK_TREE, package(pax([(key, value)]) + f(b"ok", b"fine\n", magic=POSIX)),
                     "pax-header")


def sizes(_):
    for size, codes in {
        base256(-1): "tar-header", base256(-512): "tar-header", base256(1 << 62): "tar-truncated",
        base256((1 << 63) - 1): "tar-header", base256((1 << 63) - 512): "tar-header",
        base256((1 << 63) - 1024): "tar-truncated", base256(1 << 64): "tar-header",
        base256(1 << 80): "tar-header", b"777777777777": "tar-truncated", b"0000000008\0": "tar-header",
        b"12 34": "tar-header", b"-0000000001": "tar-header", b"0x10": "tar-header", b"+1": "tar-header",
        b"\x001": "tar-header", b"           ": "tar-header", b"\xff" * 11: "tar-header",
    }.items():
        yield refuse(f"size {size}", codes, package(f(b"x", b"x", size=size)), left=None)
    for size in b"-1", b"4611686018427387904", b"9223372036854775807", b"18446744073709551616", b"1e3", b" 1", b"":
        codes = "tar-truncated pax-header" if size.startswith(b"46") else "tar-pax"
        yield refuse(f"pax size {size.decode()}", codes,
                     package(pax([(b"size", size)]) + f(b"x", b"x", magic=POSIX)), left=None)
    for kind, link in (b"1", b"ok"), (b"2", b"ok"), (b"3", b""), (b"5", b""), (b"6", b""):
        for size in 1, 512, base256(1 << 62):
            yield refuse(f"size {size} of type {kind.decode()}", "tar-size",
                         package(OK, entry(b"x", kind, link=link, size=size), bytes(512)), left=OK_TREE)
    for name, made, codes in [
        ("prefix", f(b"x", b"ab", prefix=b"d", magic=POSIX), ""), ("v7", entry(b"d/x", b"\0", b"ab", magic=b""), ""),
        ("size in base 256", f(b"d/x", b"ab", size=base256(2)), ""), ("size in blanks", f(b"d/x", b"ab", size=b" 2 "),
                ""),
        ("size of pax alone", pax([(b"size", b"2")]) + header(b"d/x", magic=POSIX) + padded(b"ab"), "pax-header"),
        ("time of pax", pax([(b"mtime", b"%d.5" % TIME)]) + f(b"d/x", b"ab", magic=POSIX, mtime=1), "pax-header"),
    ]:
        yield accept(name, {b"d": D(), b"d/x": F(b"ab"), b"y": F()}, package(
            entry(b"d/", b"\0", mode=0o755, magic=b""), made, f(b"y")), codes)
    for name, block in {"zero": header(b"", checksum=bytes(8)), "wrong": header(b"x", checksum=b"000000"),
                        "no number": header(b"x", checksum=b"sum")}.items():
        yield refuse(f"checksum {name}", "tar-checksum", package(block))
    for name, fields_ in {"no name": {"name": b""}, "bytes behind a name": {"name": b"x\0y"},
                          "bytes behind a target": {"name": b"x", "link": b"x\0y"},
                          "unknown magic": {"name": b"x", "magic": b"USTAR\x0000"},
                          "map of what is not sparse": {"name": b"x", "tail": bytes(41) + b"1" * 24}}.items():
        yield refuse(name, "tar-header", package(header(**fields_)))


def sparses(_):
    """dpkg reads none of them."""
    blocks = [(65536, 512)]
    for name, made in {
        "GNU": sparse(b"x", blocks, 66560, b"s" * 512),
        "GNU: size below zero": sparse(b"x", [(base256(0), base256(512))], base256(-1), b"s" * 512),
        "0.0": pax([(b"GNU.sparse.size", b"9"), (b"GNU.sparse.numblocks", b"2"), *[(b"GNU.sparse.offset", b"2"),
                    (b"GNU.sparse.numbytes", b"1")] * 2]) + f(b"x", b"ab", magic=POSIX),
        "0.1": pax([(b"GNU.sparse.map", b"0,1,1,1"), (b"GNU.sparse.size", b"2"), (b"GNU.sparse.name", b"d/x")])
        + f(b"short", b"ab", magic=POSIX),
        "1.0": sparse_1_0(b"x", blocks, 66560, b"s" * 512),
        "1.0: hole of 1 TiB": sparse_1_0(b"x", [((1 << 40) - 512, 512)], 1 << 40, b"s" * 512),
        "1.0: map of a million blocks": pax([(b"GNU.sparse.major", b"1"), (b"GNU.sparse.minor", b"0")])
        + f(b"x", b"1000000\n" + b"0\n1\n" * 100, magic=POSIX),
    }.items():
        codes = "sparse" if "GNU" in name else "pax-header sparse"
        yield refuse(f"sparse {name}", codes, package(OK, made), left=OK_TREE)


def paxes(_):
    for name, body in {
        "too long": b"99 path=x\n", "too short": b"5 path=x\n", "zero": b"0 path=x\n", "negative": b"-9 path=x\n",
        "no number": b"x path=x\n", "2^64": b"18446744073709551625 path=x\n", "blank before": b" 10 path=x\n",
        "without a line feed": b"9 path=xy", "no equals sign": b"9 pathx\n", "no key": b"6 =x\n",
                       "no length": b"path=x\n",
        "end too early": b"10 path=x\n5", "NUL in a path": b"12 path=x\0y\n", "empty path": b"8 path=\n",
        "a key twice": b"10 path=x\n10 path=y\n", "charset": b"21 hdrcharset=BINARY\n",
        "realsize": b"21 SCHILY.realsize=9\n", "no time": b"13 mtime=1e9\n", "empty owner": b"9 uname=\n",
    }.items():
        yield refuse(f"pax records: {name}", "tar-pax", package(pax(body) + f(b"x", magic=POSIX)))
    many = pax([(b"LIB.%d" % i, b"") for i in range(20000)])
    yield accept("20000 pax records", OK_TREE, package(many + f(b"ok", b"fine\n", magic=POSIX)), "pax-header")
    yield refuse("20000 pax headers", "tar-pax", lambda: package(pax([(b"a", b"b")]) * 20000 + OK))
    yield refuse("pax header of 1 GiB", "limit",
                 package(header(b"PaxHeaders/x", b"x", 1 << 30, magic=POSIX), f(b"x", magic=POSIX)))
    yield refuse("pax header of a directory", "tar-size",
                 package(pax([(b"size", b"512")]) + d(b"x/", magic=POSIX)))


def gzips(_):
    payload = tar(*[f(b"f%d" % i, os.urandom(512)) for i in range(8)])
    whole = gz(payload)
    for name, stream, codes in [
        *[(f"cut at {i}/20", whole[:len(whole) * i // 20], "member-damaged") for i in range(20)],
        ("wrong checksum", whole[:-8] + bytes([whole[-8] ^ 1]) + whole[-7:], "member-damaged"),
        ("wrong length", whole[:-1] + bytes([whole[-1] ^ 1]), "member-damaged"),
        ("bytes after the end", whole + b"rest", "member-damaged"),
        ("no gzip", payload, "member-damaged"),
        ("header alone", whole[:10], "member-damaged"),
        ("unknown method", whole[:2] + b"\x07" + whole[3:], "member-damaged"),
        ("reserved flags", whole[:3] + b"\xe0" + whole[4:], "member-damaged"),
        ("name that never ends", whole[:3] + b"\x08" + whole[4:10] + b"n" * 4096, "member-damaged"),
        ("block length that lies", bx(payload, 100) + bx(b""), "member-damaged"),
        ("block length of 0", bx(payload, 0), "member-damaged"),
        ("block length beyond the end", bx(payload, 1 << 20), "member-damaged"),
        ("block length into the next", bx(payload, len(bx(payload)) + 5) + bx(b""), "member-damaged"),
        *[(f"flipped bit at {i}/9", whole[:len(whole) * i // 9] + bytes([whole[len(whole) * i // 9] ^ 16])
           + whole[len(whole) * i // 9 + 1:], "member-damaged") for i in range(1, 9)],
    ]:
        yield refuse(f"gzip: {name}", codes, ar(VERSION, control(), member(b"data.tar.gz", stream)), left=None)
    small = gz(tar(OK))
    empty = gzip.compress(b"", mtime=0)
    for name, stream in {"zeros after the end": small + bytes(512), "200000 empty members": small + empty * 200000,
                         "empty blocks": bx(b"") * 20000 + bx(tar(OK)),
                         "cut in members": b"".join(gz(tar(OK)[i:i + 7]) for i in range(0, len(tar(OK)), 7))}.items():
        yield accept(f"gzip: {name}", OK_TREE, ar(VERSION, control(), member(b"data.tar.gz", stream)))
    one = gz(b"\0")  # behind the end marks come zeros, in deflate data that zlib refuses and faster inflaters take
    for name, stream in {
        "symbol 286": bx(tar(OK)) + bx(bytes(259), deflated=bytes.fromhex("63180300")),
        "unused codes": small + one[:10] + bytes.fromhex("05e0db922449922ccbd2ff7f352102") + one[-8:],
    }.items():
        yield accept(f"gzip: {name}", OK_TREE, ar(VERSION, control(), member(b"data.tar.gz", stream)), "member-damaged")
    for suffix, packed in {b".xz": xz(payload), b".bz2": bz2.compress(payload), b".zst": zst(payload)}.items():
        damaged = packed[:-40] + bytes([packed[-40] ^ 16]) + packed[-39:]
        for name, stream in {"cut": packed[:-3], "bytes after the end of": packed + b"rest", "no": b"none of it",
                             "damaged": damaged}.items():
            if suffix != b".zst" or name != "damaged":  # a frame without a checksum shows no damage
                yield refuse(f"{name} {suffix.decode()[1:]}", "member-damaged",
                             ar(VERSION, control(), member(b"data.tar" + suffix, stream)), left=None)
    yield refuse("zstd window of 2 GiB", "limit", ar(VERSION, control(), member(b"data.tar.zst", zst(payload, 0xa8))))
    yield refuse("xz dictionary of 1.5 GiB", "limit", ar(VERSION, control(), member(b"data.tar.xz", xz_of_1_5_gib())))
    for suffix, pack in {b".zst": zst, b".xz": xz, b".bz2": bz2.compress}.items():
        stream = pack(tar(OK)[:1024]) + pack(tar(OK)[1024:])
        yield refuse(f"two streams of {suffix.decode()}", "member-unsupported",
                     ar(VERSION, control(), member(b"data.tar" + suffix, stream)), left=None)
    yield accept("bz2", OK_TREE, ar(VERSION, member(b"control.tar.bz2", bz2.compress(tar(f(b"control", CONTROL)))),
                                    data(OK, suffix=b".bz2")), "member-compression")
    yield refuse("zstd frame that is to be skipped", "member-unsupported", ar(
        VERSION, control(), member(b"data.tar.zst", b"\x50\x2a\x4d\x18\3\0\0\0abc" + zst(tar(OK)))))
    for end, codes in (512, "tar-end"), (0, "tar-truncated"):
        make = accept if end else refuse
        made = ar(VERSION, control(), member(b"data.tar.gz", gz(tar(OK, end=end))))
        yield make(f"{end} zeros at the end of the tar archive", *((OK_TREE, made, codes) if end else (codes, made)),
                   left=OK_TREE)
    yield accept("entry behind the end marks", OK_TREE, package(OK, bytes(1024), f(b"../canary/file", b"x")),
                 "tar-trailing")


def xz_of_1_5_gib():
    """A stream whose block asks for the dictionary; its header is right, nothing is behind it."""
    head = b"\x02\x00\x21\x01\x27" + bytes(3)
    return (b"\xfd7zXZ\0\0\x04" + struct.pack("<I", zlib.crc32(b"\0\x04")) + head + struct.pack("<I", zlib.crc32(head))
            + bytes(64))


def bombs(_):
    """A little that unpacks to much. Compressors that take streams in a row make the second half for nothing."""
    head = header(b"zeros", size=64 * MIB)
    for suffix, pack in {b".gz": lambda part: gz(part) + gz(bytes(MIB)) * 64,
                         b".xz": lambda part: xz(part + bytes(64 * MIB)),
                         b".zst": lambda part: zst(part + bytes(64 * MIB)),
                         b".bz2": lambda part: bz2.compress(part + bytes(64 * MIB))}.items():
        name = suffix.decode()[1:]
        yield refuse(f"bomb of {name} in control", "limit" + " member-compression" * (name == "bz2"),
                     lambda suffix=suffix, pack=pack: ar(VERSION, member(
                         b"control.tar" + suffix, pack(f(b"control", CONTROL) + head)), data()))
        yield refuse(f"bomb of {name} in data", "limit",
                     lambda suffix=suffix, pack=pack: ar(VERSION, control(), member(
                         b"data.tar" + suffix, pack(head))), options=FREE, left=None)
    big = header(b"zeros", size=1 << 30)
    yield refuse("bomb of gzip in blocks", "limit", lambda: ar(VERSION, control(), member(
        b"data.tar.gz", bx(big) + bx(bytes(MIB)) * 64)), options=FREE, left=None)
    yield refuse("control of 1 GiB", "limit", lambda: [ar(VERSION), member(
        b"control.tar", size=b"%d" % ((1 << 30) + 1536)), header(b"control", size=1 << 30), (1 << 30) + 1024, data()])
    yield refuse("bomb of entries", "limit", lambda: package(*[d(b"%d/" % i) for i in range(300)]),
                 options=("--limit", "entries=200"), left=None)


def containers(_):
    rest = [control(), data(OK)]
    for name, size, codes in [("past the end", b"9999999999", "ar-truncated"), ("negative", b"-1", "ar-header"),
                              ("blank", b"", "ar-header"), ("octal rubbish", b"0x10", "ar-header"),
                              ("broken by a blank", b"1 0", "ar-header")]:
        for at in range(3):
            members = [VERSION, *rest]
            members[at] = members[at][:48] + size.ljust(10) + members[at][58:]
            damaged = at == 1 and name == "past the end"  # it is read as far as it goes
            yield refuse(f"ar size {name} of member {at + 1}", codes + " member-damaged" * damaged, ar(*members),
                         left=None)
    for name, members, codes in [
        ("name table of 1 GiB", [member(b"//", size=b"1073741824"), 1 << 30, VERSION, *rest], "ar-name"),
        ("BSD name of 1 GiB", [member(b"#1/1073741824", size=b"1073741824"), 1 << 30, *rest], "ar-name"),
        ("symbol table", [member(b"/", b"\0\0\0\0"), VERSION, *rest], "ar-name"),
        ("name in a table", [VERSION, member(b"/0", b"x"), *rest], "ar-name"),
        ("path as a name", [VERSION, member(b"a/b", b"x"), *rest], "ar-name"),
        ("empty name", [VERSION, member(b"", b"x"), *rest], "ar-name"),
        ("time that is not a number", [member(b"debian-binary", b"2.0\n", mtime=b"now"), *rest], "ar-header"),
        ("owner below zero", [member(b"debian-binary", b"2.0\n", uid=b"-1"), *rest], "ar-header"),
        ("no end of a header", [member(b"debian-binary", b"2.0\n", end=b"``"), *rest], "ar-header"),
        ("header cut", [VERSION, rest[0], rest[1][:30]], "ar-truncated"),
        ("data cut", [VERSION, rest[0], rest[1][:-9]], "ar-truncated"),
        ("bytes after the last member", [VERSION, *rest, b"rest of something that is not a member\n"], "ar-trailing"),
        ("version missing", rest, "member-missing member-order"),
        ("control missing", [VERSION, rest[1]], "member-missing member-order"),
        ("data missing", [VERSION, rest[0]], "member-missing"),
        ("nothing", [], "member-missing"),
        ("version doubled", [VERSION, VERSION, *rest], "member-doubled"),
        ("control doubled", [VERSION, rest[0], *rest], "member-doubled"),
        ("data doubled", [VERSION, *rest, rest[1]], "member-doubled"),
        ("control doubled with another suffix", [VERSION, rest[0], member(b"control.tar", tar()), rest[1]],
         "member-second"),
        ("data doubled with another suffix", [VERSION, *rest, data(suffix=b".xz")], "member-second"),
        ("control and data swapped", [VERSION, rest[1], rest[0]], "member-order"),
        ("version last", [*rest, VERSION], "member-order"),
        ("version 3", [member(b"debian-binary", b"3.0\n"), *rest], "format-version"),
        ("version empty", [member(b"debian-binary"), *rest], "format-version"),
        ("version without a line feed", [member(b"debian-binary", b"2.0"), *rest], "format-version"),
        ("unknown before data", [VERSION, member(b"more", b"x"), *rest], "member-unknown"),
        ("unknown compression", [VERSION, rest[0], member(b"data.tar.lz4", b"x")], "member-compression"),
    ]:
        yield refuse(f"ar: {name}", codes, [b"!<arch>\n", *members], left=None)
    yield refuse("no ar file", "ar-magic", b"!<arch>\r" + b"".join([VERSION, *rest]))
    yield refuse("thin ar file", "ar-magic", b"!<thin>\n" + b"".join([VERSION, *rest]))
    yield refuse("empty file", "ar-magic", b"")
    yield refuse("hole of 1 TiB", "ar-magic", [1 << 40])
    odd_data = next(made for size in range(40) if len(made := data(f(b"ok", b"x" * size))) % 2 == 0
                    and made.endswith(b"\n") and int(made[48:58]) % 2)
    size = int(odd_data[48:58])
    contents = gzip.decompress(odd_data[60:60 + size])[512:].rstrip(b"\0")
    yield accept("last padding missing", {b"ok": F(contents)}, ar(VERSION, control(), odd_data[:-1]))
    yield accept("owner and time blank", OK_TREE, ar(member(b"debian-binary", b"2.0\n", mtime=b"", uid=b""), *rest))
    yield accept("members with _", OK_TREE, ar(VERSION, member(b"_one", b"x"), rest[0], member(b"_two"), rest[1]))
    yield accept("unknown behind data", OK_TREE, ar(VERSION, *rest, member(b"more", b"x")), "member-unknown")
    yield accept("50000 members", OK_TREE,
                 lambda: ar(VERSION, *rest, b"".join(member(b"_%d" % i) for i in range(50000))))


def controls(_):
    def made(*entries):
        return ar(VERSION, member(b"control.tar.gz", gz(tar(*entries))), data(OK))

    main = f(b"./control", CONTROL)
    for name, entry_, codes in [
        ("symlink", l(b"control", b"/etc/passwd"), "control-missing control-type"),
        ("hard link", h(b"control", b"/etc/passwd"), "control-missing control-type hardlink-target"),
        ("FIFO", entry(b"control", b"6"), "control-missing control-type entry-type"),
        ("device", entry(b"control", b"3"), "control-missing control-type entry-type"),
        ("directory", d(b"control/"), "control-missing control-type"),
        ("in a folder", f(b"etc/control", CONTROL), "control-missing control-type"),
        ("under another name", f(b"Control", CONTROL), "control-missing"),
        ("led to by ..", f(b"a/../control", CONTROL), "control-missing control-type path-parent"),
        ("twice", main + f(b"control", CONTROL), "path-doubled"),
        ("with a script in a folder", main + f(b"a/postinst", b"x"), "control-type"),
        ("with a symlink", main + l(b"postinst", b"/bin/sh"), "control-type"),
        ("with a script that leads out", main + f(b"../canary/file", b"x"), "control-type path-parent"),
    ]:
        yield refuse(f"control: {name}", codes, made(entry_))
    line = CONTROL.split(b"\n", 1)[0] + b"\n"
    for name, text, codes in [
        ("doubled field", CONTROL + line, "control-syntax"), ("no colon", CONTROL + b"Field\n", "control-syntax"),
        ("blank in a name", CONTROL + b"Fi eld: x\n", "control-colon control-syntax"),
        ("begins with a blank", b" x\n" + CONTROL, "control-syntax"), ("NUL", CONTROL + b"Field: \0\n",
                "control-syntax"),
        ("carriage return", CONTROL + b"Field: a\rb\n", "control-syntax"),
        ("two paragraphs", CONTROL + b"\n" + CONTROL, "control-syntax"), ("empty", b"", "control-syntax"),
        ("name that is not ASCII", CONTROL + b"F\xc3\xbcld: x\n", "control-syntax"),
    ]:
        yield accept(f"fields: {name}", {}, fields(text), codes)
    for name, text, codes in [
        ("malformed values", CONTROL.replace(b"odd", b"../x", 1).replace(b": 1", b": x y"), "field"),
        ("none of the needed", b"Field: x\n", "field"), ("value of 8 MiB", CONTROL + b"Field: " + b"x" * 8 * MIB +
                                                         b"\n", ""),
        ("200000 of them", CONTROL + b"".join(b"F%d: x\n" % i for i in range(200000)), ""),
        ("200000 lines", CONTROL + b" x\n" * 200000, ""),
        ("blank before the colon", CONTROL + b"Field : x\n", "control-colon"),
        ("200000 relations", CONTROL + b"Depends: xy" + b", xy" * 200000 + b"\n", ""),
    ]:
        yield accept(f"fields: {name}", {}, fields(text), codes)
    for name, text, codes in [("md5sums", b"no sums\n", "md5-syntax"), ("md5sums", b"0" * 32 + b"  ../x\n" * 2,
            "md5-syntax"),
                              ("conffiles", b"etc/x\n", "conffile-path"), ("conffiles", b"/../x\n",
                                      "conffile-missing")]:
        sums = ar(VERSION, control(f(name.encode(), text)), data())
        yield accept(f"{name} of {text[-9:]}", {}, sums, codes)


def texts(_):
    """What a terminal would obey, or a person misread, wherever a package may hold text."""
    for what, text in {"escape": b"a\x1b[31m\x1b]0;t\x07\xc2\x9b", "newline": b"a\r\nb",
                       "bidi": "a\u202eb\u2066".encode(), "bad UTF-8": b"a\xff\xc0\xaf\xed\xa0\x80"}.items():
        spoilt = "path-characters" + " path-newline" * (what == "newline")
        yield accept(f"{what} in a name", {text: F()}, package(f(text)), spoilt)
        yield accept(f"{what} in a long name", {text: F()}, package(long(b"L", text) + f(b"short")), spoilt)
        yield accept(f"{what} in a target", {b"s": L(text)}, package(l(b"s", text)), "path-characters")
        yield accept(f"{what} in an owner", {b"x": F()}, package(f(b"x", uname=text, gname=text)), "owner-characters")
        yield refuse(f"{what} in a refused name", f"{spoilt} path-parent", package(f(b"../" + text)))
        yield refuse(f"{what} in a refused target", "hardlink-target path-characters", package(h(b"x", text)))
        yield refuse(f"{what} in a magic", "tar-header", package(f(b"x", magic=text)))
        yield refuse(f"{what} in a size", "tar-header", package(f(b"x", size=text)))
        yield refuse(f"{what} in a pax key", "tar-pax", package(pax([(text, b""), (text, b"")]) + f(b"x", magic=POSIX)))
        yield refuse(f"{what} in a control member's name", "control-type", ar(
            VERSION, control(f(b"a/" + text, b"x")), data()))
        yield refuse(f"{what} in a version", "format-version", ar(member(b"debian-binary", text), control(), data()))
        yield refuse(f"{what} in an unknown member", "member-unknown", ar(VERSION, member(text), control(), data()))
        yield refuse(f"{what} in a compression", "member-compression",
                     ar(VERSION, control(), member(b"data.tar." + text[:6])))
        yield accept(f"{what} in a member's name", {}, ar(VERSION, member(b"_" + text[:14]), control(), data()))
        yield accept(f"{what} in md5sums", {}, ar(VERSION, control(f(b"md5sums", b"0" * 32 + b"  " + text)), data()),
                     "md5-syntax" if what == "newline" else "md5-missing")
        yield accept(f"{what} in conffiles", {}, ar(VERSION, control(f(b"conffiles", text + b"\n")), data()),
                     "conffile-path")
        if what == "newline":
            yield accept(f"{what} in a field's value", {}, fields(CONTROL + b"Field: " + text + b"\n"),
                         "control-syntax")
        else:
            yield accept(f"{what} in a field's value", {}, fields(CONTROL + b"Field: " + text + b"\n"),
                         "field" if what == "bad UTF-8" else "")
        yield accept(f"{what} in a field's name", {}, fields(CONTROL + text + b": x\n"), "control-syntax")
        utf8 = what != "bad UTF-8"
        made = package(pax([(b"path", text)]) + f(b"short", magic=POSIX))
        if utf8:
            yield accept(f"{what} in a pax name", {text: F()}, made, f"pax-header {spoilt}")
        else:
            yield refuse(f"{what} in a pax name", "tar-pax", made)
    yield refuse("NUL in a long name", "tar-long", package(long(b"L", b"a\0b") + f(b"short")))
    yield refuse("long name without its NUL", "tar-long", package(long(b"L", b"a" * 512, end=b"") + f(b"short")))


def attributes(_):
    for when in 0, 1, 8589934592, 253402300799, -1, -62135596800:
        kept = when if abs(when) < 1 << 34 else None  # what a file system keeps of the others is its own
        yield accept(f"time {when}", {b"x": F(b"", mtime=kept), b"a": D(mtime=kept), b"s": L(b"x", kept)},
                     package(*[make(mtime=base256(when)) for make in (
                         lambda **t: f(b"x", **t), lambda **t: d(b"a/", **t), lambda **t: l(b"s", b"x", **t))]))
    for when in 253402300800, 1 << 40, (1 << 63) - 1, -62167219201, -(1 << 63):
        yield refuse(f"time {when}", "time-range", package(f(b"x", mtime=base256(when))))
    yield refuse("time 2^80", "tar-header", package(f(b"x", mtime=base256(1 << 80))))
    for key, value in (b"mtime", b"9223372036854775807"), (b"mtime", b"-99999999999999"), (b"uid", b"4294967295"):
        yield refuse(f"pax {key.decode()} {value.decode()}", {b"uid": "owner-range"}.get(key,
                "time-range") + " pax-header",
                     package(pax([(key, value)]) + f(b"x", magic=POSIX)))
    yield accept("owner 2^32 - 2", {b"x": F()}, package(f(b"x", uid=base256((1 << 32) - 2, 8))))
    for number in (1 << 32) - 1, 1 << 32, -1, (1 << 55) - 1:
        for key in "uid", "gid":
            yield refuse(f"{key} {number}", "owner-range", package(f(b"x", **{key: base256(number, 8)})))


GROUPS = (names, links, places, types, sizes, sparses, paxes, gzips, bombs, containers, controls, texts, attributes)
# Names, links and destinations are tried on the object library in its own tests, without a process for each; of texts
# and attributes it restores none.
FOR_OBJECTS = (types, sizes, sparses, paxes, gzips, bombs, containers, controls)


def all_cases(outside, groups=GROUPS):
    """`outside`: absolute path of the folder that nothing may change; ../canary from the destination."""
    for group in groups:
        yield from group(outside)
