"""Bytes of ar, tar and compressed archives from small records, in which every field may be wrong.

A number in bytes stands as it is given, one as an int is written as the format asks. Checksums are right unless given.
"""

import bz2
import gzip
import lzma
import struct
import zlib

TIME = 1000000000
POSIX, GNU = b"ustar\x0000", b"ustar  \x00"
CONTROL = (b"Package: odd\nVersion: 1\nArchitecture: all\nMaintainer: Ann Lee <ann@example.org>\n"
           b"Description: odd\n")


def octal(value, width):
    return value if isinstance(value, bytes) else b"%0*o\0" % (width - 1, value)


def base256(value, width=12):
    """GNU's form for numbers that octal digits cannot tell; the first bit is the form's."""
    number = (value % (1 << (8 * width))).to_bytes(width, "big")
    return bytes([number[0] | 0x80]) + number[1:]


def mended(block):
    """The header with the checksum that it should have."""
    blank = block[:148] + b" " * 8 + block[156:]
    return block[:148] + b"%06o\0 " % sum(blank) + block[156:]


def header(name, kind=b"0", size=0, link=b"", mode=0o644, uid=0, gid=0, mtime=TIME, magic=GNU, uname=b"root",
           gname=b"root", devices=b"", prefix=b"", tail=b"", checksum=None):
    """512 bytes. `tail` is what GNU keeps behind the prefix: times, and the map of a sparse file from byte 41 on."""
    fields = [(name, 100), (octal(mode, 8), 8), (octal(uid, 8), 8), (octal(gid, 8), 8), (octal(size, 12), 12),
              (octal(mtime, 12), 12), (b"", 8), (kind, 1), (link, 100), (magic, 8), (uname, 32), (gname, 32),
              (devices, 16), (prefix or tail, 167)]
    block = b"".join(text[:width].ljust(width, b"\0") for text, width in fields)
    return mended(block) if checksum is None else block[:148] + checksum.ljust(8, b"\0") + block[156:]


def padded(contents):
    return contents + bytes(-len(contents) % 512)


def entry(name, kind, contents=b"", **fields):
    return header(name, kind, **{"size": len(contents), **fields}) + padded(contents)


def f(name, contents=b"", **fields):
    return entry(name, b"0", contents, **fields)


def d(name, mode=0o755, **fields):
    return entry(name, b"5", mode=mode, **fields)


def l(name, target, **fields):
    return entry(name, b"2", link=target, mode=0o777, **fields)


def h(name, target, **fields):
    return entry(name, b"1", link=target, **fields)


def long(kind, text, end=b"\0", **fields):
    """GNU's extension: `L` for the next entry's name, `K` for its link target."""
    return entry(b"././@LongLink", kind, text + end, **fields)


def record(key, value):
    rest = b" " + key + b"=" + value + b"\n"
    length = len(rest)
    while len(b"%d" % length) + len(rest) != length:
        length += 1
    return b"%d" % length + rest


def pax(records, kind=b"x"):
    """The records as pairs, or as bytes that need not be any."""
    body = records if isinstance(records, bytes) else b"".join(record(*pair) for pair in records)
    return entry(b"PaxHeaders/odd", kind, body, magic=POSIX)


def sparse(name, blocks, real, stored=b"", **fields):
    """GNU's old form. `blocks` are pairs of offset and length, four at most."""
    entries = b"".join(octal(number, 12) for pair in blocks for number in pair)
    tail = bytes(41) + entries.ljust(96, b"\0") + b"\0" + octal(real, 12)
    return entry(name, b"S", stored, tail=tail, **fields)


def sparse_1_0(name, blocks, real, stored):
    """The form of pax 1.0: the map stands before the contents."""
    numbers = [len(blocks), *(number for pair in blocks for number in pair)]
    body = padded(b"".join(b"%d\n" % number for number in numbers)) + stored
    return pax([(b"GNU.sparse.major", b"1"), (b"GNU.sparse.minor", b"0"), (b"GNU.sparse.name", name),
                (b"GNU.sparse.realsize", b"%d" % real)]) + f(b"GNUSparseFile.0/odd", body, magic=POSIX)


def tar(*entries, end=1024):
    return b"".join(entries) + bytes(end)


def gz(data):
    return gzip.compress(data, 6, mtime=0)


def bx(data, claimed=None, deflated=None):
    """A gzip member with the subfield that tells its length."""
    deflated = zlib.compress(data, 6)[2:-4] if deflated is None else deflated
    claimed = 20 + len(deflated) + 8 if claimed is None else claimed
    return (b"\x1f\x8b\x08\x04\0\0\0\0\0\xff\x08\0BX\x04\0" + struct.pack("<I", claimed) + deflated
            + struct.pack("<II", zlib.crc32(data), len(data)))


def xz(data):
    return lzma.compress(data, preset=0)


def zst(data, window=0x58):
    """Frames of raw blocks, and of one repeated byte where 128 KiB are alike; a window of 2 MiB unless told."""
    head, result = b"\x28\xb5\x2f\xfd\0" + bytes([window]), b""
    for at in range(0, max(len(data), 1), 131072):
        block = data[at:at + 131072]
        last = at + 131072 >= len(data)
        same = len(set(block)) == 1
        result += struct.pack("<I", len(block) << 3 | same << 1 | last)[:3] + (block[:1] if same else block)
    return head + result


PACKERS = {b".gz": gz, b".xz": xz, b".zst": zst, b".bz2": bz2.compress, b"": bytes}


def member(name, contents=b"", size=None, mtime=b"%d" % TIME, uid=b"0", end=b"`\n", padding=b"\n"):
    fields = [(name, 16), (mtime, 12), (uid, 6), (b"0", 6), (b"100644", 8),
              (b"%d" % len(contents) if size is None else size, 10)]
    return b"".join(text.ljust(width) for text, width in fields) + end + contents + padding * (len(contents) % 2)


def ar(*members):
    return b"!<arch>\n" + b"".join(members)


VERSION = member(b"debian-binary", b"2.0\n")


def control(*entries, text=CONTROL):
    return member(b"control.tar.gz", gz(tar(f(b"control", text), *entries)))


def data(*entries, suffix=b".gz"):
    return member(b"data.tar" + suffix, PACKERS[suffix](tar(*entries)))


def package(*payload):
    return ar(VERSION, control(), data(*payload))


def fields(text):
    """A package with that control paragraph."""
    return ar(VERSION, control(text=text), data())
