"""What `bex verify` passes, other readers read alike.

Usage: differential.py COUNT SEED [--install] [--bex PATH] [--keep FOLDER]

Makes mutants of sound packages. With --install, whatever has no error is installed by `dpkg --root -i` in an empty root
(as root only; the status is 77 otherwise). Else, whatever has no finding is listed and extracted by bex, dpkg-deb, GNU
tar and bsdtar: names, types, modes, owners, sizes, times, link targets and contents have to be the same, in the
control archive, too.
Prints how many passed; every disagreement is shown, its package kept, and the status is 1 then. A mutant depends on
SEED and its number alone.
"""

import argparse
import collections
import gzip
import json
import lzma
import multiprocessing
import os
import random
import re
import shutil
import stat
import subprocess
import sys
import tempfile

import installing
import odd

BATCH = 50
CONTROL = "Package: sound\nVersion: 1.0\nArchitecture: all\nMaintainer: Ann Lee <ann@example.org>\nDescription: sound\n"
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8", "TZ": "UTC", "SOURCE_DATE_EPOCH": str(odd.TIME)}
IS_ROOT = os.geteuid() == 0


def run(*command, **more):
    return subprocess.run(command, capture_output=True, check=False, env=ENVIRONMENT, timeout=60, umask=0o022, **more)


def grow(rng, tree):
    """A small tree with something of everything."""
    os.makedirs(tree + "/DEBIAN")
    with open(tree + "/DEBIAN/control", "w", encoding="ascii") as file:
        file.write(CONTROL)
    folders, files = [tree], []
    names = ["bin", "a b", "ü", "n" * 90, "x" * 120, "d.d", "-r", "l", "é" * 40, "2"]
    for name in rng.sample(names, 6):
        path = os.path.join(rng.choice(folders), name)
        kind = rng.choice("ddffflh")
        if kind == "d":
            os.mkdir(path)
            folders.append(path)
        elif kind == "l":
            os.symlink(rng.choice(["bin", "../x", "/etc/none", "t" * 150]), path)
        elif kind == "h" and files:
            os.link(rng.choice(files), path)
        else:
            with open(path, "wb") as file:
                file.write(rng.randbytes(rng.choice([0, 1, 511, 512, 513, 3000])))
            files.append(path)
            os.chmod(path, rng.choice([0o644, 0o755, 0o600, 0o4755, 0o444]))
        os.utime(path, (odd.TIME, rng.randrange(odd.TIME)), follow_symlinks=False)


def seeds(bex, rng, folder):
    """Control and data archive of packages that bex and dpkg-deb made."""
    for number in range(8):
        tree, package = f"{folder}/tree{number}", f"{folder}/seed{number}"
        grow(rng, tree)
        maker = ([bex, "build", tree, package, "--no-md5sums", "--compression", "none"] if number % 2 == 0 else
                 ["dpkg-deb", "-Znone", "--root-owner-group", "--build", tree, package])
        made = run(*maker)
        if made.returncode:
            sys.exit(f"{maker[0]}: {made.stderr.decode()}")
        with open(package, "rb") as file:
            archive = file.read()
        contents, at = [], 8
        while at < len(archive):
            size = int(archive[at + 48:at + 58])
            contents.append(archive[at + 60:at + 60 + size])
            at += 60 + size + size % 2
        yield [cut(tar) for tar in contents[1:]]


def cut(tar):
    """The headers of a tar archive, each with what comes after it."""
    parts, at = [], 0
    while any(tar[at:at + 512]):
        end = at + 512 + (int(tar[at + 124:at + 135], 8) + 511) // 512 * 512
        parts.append(tar[at:end])
        at = end
    return parts


NUMBERS = {"mode": (100, 8), "uid": (108, 8), "gid": (116, 8), "size": (124, 12), "mtime": (136, 12), "sum": (148, 8),
           "major": (329, 8), "minor": (337, 8)}
TEXTS = {"name": (0, 100), "link": (157, 100), "uname": (265, 32), "gname": (297, 32), "prefix": (345, 155),
         "tail": (345, 167)}


def number(rng, width, value):
    """The number, or another, in one of the ways in which programs write it."""
    value = rng.choice([value, value, value, 0, 1, 0o644, 0o1777, 512, 1 << 31, rng.getrandbits(33)])
    digits = b"%o" % value
    return rng.choice([
        digits.rjust(width - 1, b"0") + b"\0", digits.rjust(width - 1, b"0") + b" ", digits.rjust(width, b"0"),
        digits.rjust(width - 1) + b"\0", digits.rjust(width - 2) + b" \0", digits + b"\0", digits + b" \0", digits,
        odd.base256(value, width), odd.base256(-value, width), b"", digits + b"\0" + b"7", b"\0" + digits,
                       b"-" + digits,
        b"+" + digits, b"0x" + digits, digits + b"8", digits + b"\t", rng.randbytes(width)]).ljust(width, b"\0")[:width]


def text(rng, old):
    old = old.split(b"\0")[0]
    return rng.choice([
        old + b"/", b"./" + old, old.replace(b"/", b"//"), old.replace(b"/", b"/./"), old + b"/.", old[2:], old[:-1],
        old + b"\0x", old + b" ", b" " + old, b"new", b"new/sub", b"./bin", b"./bin/new", b".", b"./", b"/", b"/abs",
        b"a/../b", b"..", b"\xc3\xbc", b"\\x41", b"-f", b"--x", b"~", b"C:/x", b"c:\\x", b"a'\"$(x)", b"x" * 100,
        b"d/" * 50, b"root", b"0", b"", rng.randbytes(4)])


def change_header(rng, block):
    """One field of it written otherwise, and the checksum as it should be then."""
    kind = rng.randrange(10)
    if kind < 4:
        name, (at, width) = rng.choice(list(NUMBERS.items()))
        old = re.match(rb"[0-7]*", block[at:at + width])[0] or b"0"
        new = number(rng, width, int(old, 8))
    elif kind < 7:
        name, (at, width) = rng.choice(list(TEXTS.items()))
        new = text(rng, block[at:at + width])[:width].ljust(width, b"\0")
    elif kind == 7:
        name, at, new = "type", 156, bytes([rng.choice(b"0\x001234567LKxgSDMNVAX")])
    elif kind == 8:
        name, at, new = "magic", 257, rng.choice([odd.POSIX, odd.GNU, bytes(8), b"ustar\x00  ", b"ustar \x00 "])
    else:
        name, at, new = "byte", rng.randrange(512), bytes([rng.choice([0, 32, 47, 48, 255, rng.randrange(256)])])
    block = block[:at] + new + block[at + len(new):]
    if name == "sum":
        total = int(odd.mended(block)[148:154], 8)
        return name, block[:148] + rng.choice([b"%06o\0 ", b"%07o\0", b"%6o\0 ", b"%06o \0", b"%08o",
                                               b"%o"]) % total + \
            block[156:][:356] if rng.randrange(2) else block
    return name, odd.mended(block)


def extension(rng, part):
    name = part[:100].split(b"\0")[0]
    value = rng.choice([name, b"./new", b"new/" * 60 + b"end", text(rng, name)])
    key = rng.choice([b"path", b"linkpath", b"size", b"mtime", b"uid", b"comment", b"GNU.sparse.name", b"atime",
                      b"uname"])
    return rng.choice([
        lambda: odd.long(b"L", value), lambda: odd.long(b"K", value), lambda: odd.long(b"L", value, end=b""),
        lambda: odd.long(b"L", value, end=b"\0" * rng.randrange(600)), lambda: odd.long(b"L", value, magic=odd.POSIX),
        lambda: odd.long(b"L", value, mode=0, uname=b"", mtime=b""), lambda: odd.pax([(key, value)]),
        lambda: odd.pax([(key, b"%d" % rng.getrandbits(12))]), lambda: odd.pax([]),
                       lambda: odd.pax([(key, value)], b"g"),
        lambda: odd.long(b"L", value) + odd.long(b"K", value), lambda: bytes(512),
        lambda: odd.f(value, rng.randbytes(rng.choice([0, 5, 600]))), lambda: odd.d(value), lambda: odd.l(value, b"x"),
        lambda: odd.h(b"./new link", value), lambda: odd.entry(value, rng.choice([b"7", b"3", b"6", b"Z", b"\0"]))])()


def change_archive(rng, parts):
    """An entry put before another, taken away, doubled, moved or changed."""
    at = rng.randrange(len(parts))
    kind = rng.choice(["header"] * 6 + ["extension"] * 4 + ["doubled", "gone", "moved", "byte"])
    if kind == "header":
        name, block = change_header(rng, parts[at][:512])
        parts[at] = block + parts[at][512:]
        return name
    if kind == "extension":
        parts.insert(at, extension(rng, parts[at]))
    elif kind == "doubled":
        parts.insert(rng.randrange(len(parts) + 1), parts[at])
    elif kind == "gone":
        parts.pop(at) if len(parts) > 1 else None
    elif kind == "moved":
        parts.insert(rng.randrange(len(parts)), parts.pop(at))
    else:
        place = rng.randrange(len(parts[at]))
        parts[at] = parts[at][:place] + rng.randbytes(1) + parts[at][place + 1:]
    return kind


def pack(rng, tar, sound):
    """The archive in a suffix and bytes, in many ways that are all right, and some that are not."""
    middle = rng.randrange(len(tar))
    ways = [
        (b".gz", lambda: odd.gz(tar)), (b"", lambda: tar), (b".xz", lambda: odd.xz(tar)),
            (b".zst", lambda: odd.zst(tar)),
        (b".gz", lambda: odd.gz(tar[:middle]) + odd.gz(tar[middle:])), (b".gz", lambda: odd.bx(tar)),
        (b".gz", lambda: odd.bx(tar[:middle]) + odd.bx(b"") + odd.gz(tar[middle:])),
        (b".gz", lambda: b"\x1f\x8b\x08\x08" + odd.gz(tar)[4:10] + b"name\0" + odd.gz(tar)[10:]),
        (b".xz", lambda: odd.xz(tar[:middle]) + odd.xz(tar[middle:])),
        (b".xz", lambda: lzma.compress(tar, check=rng.choice([lzma.CHECK_NONE, lzma.CHECK_CRC32, lzma.CHECK_SHA256]))),
        (b".zst", lambda: odd.zst(tar[:middle]) + odd.zst(tar[middle:])),
        (b".zst", lambda: b"\x50\x2a\x4d\x18\3\0\0\0abc" + odd.zst(tar)),
        (b".gz", lambda: odd.gz(tar) + bytes(512)), (b".gz", lambda: odd.gz(tar) + b"more"),
        (b".gz", lambda: odd.gz(tar)[:-4] + b"1234"), (b".xz", lambda: odd.xz(tar) + bytes(4)),
        (b".xz", lambda: odd.xz(tar) + bytes(3)), (b".gz", lambda: odd.gz(tar) + gzip.compress(b"", mtime=0)),
        (b".gz", lambda: odd.gz(tar[:middle])), (b".gz", lambda: tar), (b"", lambda: odd.gz(tar)),
        (b".bz2", lambda: odd.PACKERS[b".bz2"](tar)), (b".zst", lambda: odd.zst(tar, 0x70)), (b".lz", lambda: tar)]
    suffix, make = rng.choice(ways[:4] if sound else ways)
    return suffix, make()


def change_ar(rng, members):
    kind = rng.randrange(5)
    at = rng.randrange(len(members))
    if kind < 2:
        name, offset, width = rng.choice([("name", 0, 16), ("time", 16, 12), ("uid", 28, 6), ("gid", 34, 6),
                                          ("mode", 40, 8), ("size", 48, 10), ("end", 58, 2)])
        old = members[at][offset:offset + width].rstrip()
        new = rng.choice([old + b"/", b" " + old, b"0" + old, old + b"\0", b"", old[:-1], b"-1", b"0x1", b"+" + old,
                          b"7",
                          old + b"\t", rng.randbytes(2)]).ljust(width)[:width]
        members[at] = members[at][:offset] + new + members[at][offset + width:]
        return "ar " + name
    if kind == 2:
        new = rng.choice([b"_gpgorigin", b"_x/", b"extra", b"data.tar", b"control.tar.gz", b"debian-binary", b"/",
                          b"//"])
        members.insert(rng.randrange(len(members) + 1), odd.member(new, rng.randbytes(rng.randrange(4))))
    elif kind == 3:
        members[0] = odd.member(b"debian-binary", rng.choice([b"2.0\nmore\n", b"2.1\n", b"2.0", b"2.0\r\n", b"02.0\n",
                                                              b"3.0\n"]))
    else:
        members.append(rng.choice([b"\n", b"\0", b"\n\n", b"more", bytes(60)]))
    return "ar members"


def mutant(rng, base):
    """What was changed, and the package."""
    archives, changes = [list(parts) for parts in base], []
    for _ in range(rng.choice([1, 1, 1, 2, 3])):
        which = rng.choice([0, 1, 1, 1, 1])
        changes.append(("control ", "")[which] + change_archive(rng, archives[which]))
    end = bytes(rng.choice([1024] * 8 + [10240, 512, 0, 1536, 1000]))
    if rng.randrange(20) == 0:
        end += rng.choice([b"rest", odd.padded(b"rest"), odd.f(b"behind", b"x")])
    members = [odd.VERSION]
    odd_packing = rng.randrange(4)
    for name, parts in zip((b"control.tar", b"data.tar"), archives):
        suffix, packed = pack(rng, b"".join(parts) + end, odd_packing != 0)
        members.append(odd.member(name + suffix, packed))
    if rng.randrange(6) == 0:
        changes.append(change_ar(rng, members))
    package = odd.ar(*members)
    if rng.randrange(12) == 0:
        at = rng.randrange(len(package))
        package = package[:at] + rng.randbytes(1) + package[at + 1:]
        changes.append("raw")
    return ", ".join(changes), package


def our_listing(package, bex):
    """The payload in the form of GNU tar's listing, and its bare names."""
    lines, names = [], []
    for entry in json.loads(run(bex, "list", "--json", package).stdout)["entries"]:
        arrow = {"symlink": " -> ", "hardlink": " link to "}.get(entry["type"])
        letter = {"file": "-", "directory": "d", "symlink": "l", "hardlink": "h"}[entry["type"]]
        when = entry["mtime"].replace("T", " ").replace("Z", "")
        mode = letter + stat.filemode(int(entry["mode"], 8))[1:]
        lines.append(f"{mode} {entry['uid']}/{entry['gid']} {entry['size']} "
                     f"{when} {entry['path'].rstrip('/')}" + (arrow + entry["linkTarget"] if arrow else ""))
        names.append(entry["path"].rstrip("/"))
    return lines, names


def lines_of(output):
    """GNU tar fills the columns up with blanks; only ours gives every directory its "/"."""
    return [re.sub(r"^([^ ]+ [^ ]+) +([0-9]+ )", r"\1 \2", line).rstrip("/") if line[0] == "d" else
            re.sub(r"^([^ ]+ [^ ]+) +([0-9]+ )", r"\1 \2", line) for line in output.decode().splitlines()]


def tree(folder):
    """Of everything but the times of directories, which their makers touch again; the root is the caller's."""
    result, first = {}, {}
    for path, folders, files in os.walk(folder):
        for name in folders + files:
            whole = os.path.join(path, name)
            status, place = os.lstat(whole), os.path.relpath(whole, folder)
            told = [status.st_mode]
            if not stat.S_ISDIR(status.st_mode):
                told.append(int(status.st_mtime_ns // 10 ** 9))
            if stat.S_ISLNK(status.st_mode):
                told.append(os.readlink(whole))
            if stat.S_ISREG(status.st_mode):
                with open(whole, "rb") as file:
                    told.append(file.read())
                first.setdefault(status.st_ino, []).append(place)
            result[place] = told
    return result, sorted(sorted(names) for names in first.values())


def disagreements(package, folder, bex):
    """Who sees something else, in words."""
    tar = ["tar", "--extract", "--preserve-permissions", "--delay-directory-restore", "--numeric-owner", "--directory"]
    with open(package, "rb") as file:
        suffix = re.search(rb"data\.tar(\.\w+)?", file.read())[0].decode()
    data = f"{folder}/{suffix}"
    with open(data, "wb") as file:
        file.write(run("ar", "p", package, suffix).stdout)
    members = run("dpkg-deb", "--fsys-tarfile", package).stdout
    lines, names = our_listing(package, bex)
    told = run("tar", "--list", "--verbose", "--full-time", "--numeric-owner", "--quoting-style=literal", "--file",
               data)
    if told.returncode or lines_of(told.stdout) != lines:
        yield f"tar lists {lines_of(told.stdout)} {told.stderr}, bex {lines}"
    told = run("dpkg-deb", "--contents", package)
    if told.returncode or len(told.stdout.splitlines()) != len(lines):
        yield f"dpkg-deb lists {told.stdout} {told.stderr}, bex {lines}"
    told = run("bsdtar", "-tf", data)
    if told.returncode or [
            name.replace("\\\\", "\\").rstrip("/") for name in told.stdout.decode().splitlines()] != names:
        yield f"bsdtar lists {told.stdout} {told.stderr}, bex {names}"
    makers = {"bex": [bex, "extract", "--keep-setuid", package, "bex"],
              "dpkg-deb": ["dpkg-deb", "--extract", package, "dpkg-deb"],
              "tar": [*tar, "tar", "--file", data], "dpkg-deb | tar": [*tar, "dpkg-deb | tar"],
              "bsdtar": ["bsdtar", "-xp", "--numeric-owner", "-C", "bsdtar", "-f", data],
              "bex control": [bex, "extract", "--keep-setuid", "--control", package, "bex control"],
              "dpkg-deb control": ["dpkg-deb", "--control", package, "dpkg-deb control"]}
    trees = {}
    for name, command in makers.items():
        os.makedirs(f"{folder}/{name}")
        done = run(*command, cwd=folder, input=members)
        trees[name] = tree(f"{folder}/{name}")
        like = "bex control" if "control" in name else "bex"
        if done.returncode or trees[name] != trees[like]:
            yield f"{name} ends with {done.returncode} {done.stderr} and leaves {trees[name]}, {like} {trees[like]}"


def sound(packages, bex):
    """Those without a finding, and what `verify` itself does wrong."""
    done = run(bex, "verify", *packages)
    told = collections.Counter(re.findall(r"^(?:bex: )?(/\S+?): ", (done.stdout + done.stderr).decode(), re.M))
    fault = [] if done.returncode in (0, 1, 3, 4, 5) and b"Sanitizer" not in done.stderr else [
        f"verify ends with {done.returncode}: {done.stderr[-2000:]}"]
    return [package for package in packages if package not in told], fault


def without_errors(packages, bex):
    """Those with warnings at most."""
    done = run(bex, "verify", *packages)
    told = set(re.findall(r"^(?:bex: )?(/\S+?): (?!warning: )", (done.stdout + done.stderr).decode(errors="replace"),
                          re.M))
    return [package for package in packages if package not in told]


def refusal(package, root):
    """Why dpkg does not install the package into the root, which is empty; "" where it does."""
    for folder in "info", "updates":
        os.makedirs(f"{root}/var/lib/dpkg/{folder}")
    with open(f"{root}/var/lib/dpkg/status", "wb"):
        pass
    done = run("dpkg", f"--root={root}", "--force-script-chrootless,unsafe-io", "--no-debsig", "--no-triggers", "-i",
               package)
    return done.stderr.decode(errors="replace") if done.returncode else ""


def share_of_installs(arguments):
    count, seed, bex, keep, which = arguments
    passed, problems = collections.Counter(), []
    with tempfile.TemporaryDirectory(prefix="bex-differential-") as folder:
        for begin in range(which * BATCH, count, 2 * BATCH):
            made = {}
            for number_ in range(begin, min(begin + BATCH, count)):
                path = f"{folder}/{number_}.deb"
                what, package = installing.mutant(random.Random(f"{seed}/{number_}"))
                with open(path, "wb") as file:
                    file.write(package)
                made[path] = what
            for path in without_errors(list(made), bex):
                root = tempfile.mkdtemp(dir=folder)
                passed[made[path]] += 1
                reason = refusal(path, root)
                if reason:
                    problems.append(f"{os.path.basename(path)} ({made[path]}): dpkg refuses it: {reason}")
                    if keep:
                        shutil.copy(path, keep)
                shutil.rmtree(root)
            for path in made:
                os.remove(path)
    return passed, problems


def share(arguments):
    """Every other batch of the mutants, in a process and a folder of its own."""
    count, seed, bex, keep, which = arguments
    passed, problems = 0, []
    with tempfile.TemporaryDirectory(prefix="bex-differential-") as folder:
        bases = list(seeds(bex, random.Random(seed), folder))
        for begin in range(which * BATCH, count, 2 * BATCH):
            made = {}
            for number_ in range(begin, min(begin + BATCH, count)):
                path = f"{folder}/{number_}.bex"
                changes, package = mutant(random.Random(f"{seed}/{number_}"), bases[number_ % len(bases)])
                with open(path, "wb") as file:
                    file.write(package)
                made[path] = f"mutant {number_} ({changes})"
            good, fault = sound(list(made), bex)
            problems += fault
            passed += len(good)
            for path in good:
                work = tempfile.mkdtemp(dir=folder)
                found = [f"{made[path]}: {what}" for what in disagreements(path, work, bex)]
                problems += found
                if found and keep:
                    shutil.copy(path, keep)
                shutil.rmtree(work)
            for path in made:
                os.remove(path)
    return passed, problems


def main():
    parser = argparse.ArgumentParser(description="Holds what `bex verify` passes against other readers.")
    parser.add_argument("count", type=int)
    parser.add_argument("seed", type=int)
    parser.add_argument("--install", action="store_true", help="install what passes")
    parser.add_argument("--bex", default=os.environ.get("BEX", "bex"))
    parser.add_argument("--keep", help="a folder for packages on which readers disagree")
    options = parser.parse_args()
    bex = shutil.which(options.bex)
    bex = os.path.abspath(bex) if bex else parser.error(f"no program {options.bex}")
    if options.install and not IS_ROOT:
        print("only root can install")
        return 77
    with multiprocessing.Pool(2) as pool:
        results = pool.map(share_of_installs if options.install else share,
                           [(options.count, options.seed, bex, options.keep, which) for which in range(2)])
    problems = [problem for _, found in results for problem in found]
    for problem in problems:
        print(problem)
    if options.install:
        kinds = sum((count for count, _ in results), collections.Counter())
        print("passed: " + ", ".join(f"{kind} {count}" for kind, count in sorted(kinds.items())))
    passed = sum(count.total() if options.install else count for count, _ in results)
    print(f"{options.count} mutants, {passed} passed by verify, {len(problems)} disagreements")
    return 1 if problems or not passed else 0


if __name__ == "__main__":
    sys.exit(main())
