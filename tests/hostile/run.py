"""Holds a program against the hostile packages: run.py tool | objects | table

    tool     the command (BEX): as root and unprivileged, in UTF-8 and in C, on a terminal and off it
    objects  the object library, by its driver (BEX_HOSTILE_OBJECTS)
    table    who does what, as rows of Markdown for docs/odd-packages.md

A run may take 10 seconds and 1 GiB of addresses (with BEX_SANITIZED, which needs more of both, 60 seconds and 1 GiB of
memory, 3 GiB for the object library). Nothing beside the destination may change. Arguments behind the first choose
cases by parts of their names.
"""

import collections
import multiprocessing
import os
import pathlib
import pty
import re
import resource
import select
import shutil
import stat
import subprocess
import sys
import tempfile
import time

import cases

SANITIZED = bool(os.environ.get("BEX_SANITIZED"))
PATIENCE = 60 if SANITIZED else 10  # seconds
GIB = 1 << 30
LARGE = 16 << 20  # bytes; no case leaves as much
ROOT, NOBODY = 0, 65534
USERS = [os.geteuid()]
DOCUMENTED = set(re.findall("^[|] `([a-z0-9-]+)` [|]",
                            (pathlib.Path(__file__).parents[2] / "docs/findings.md").read_text(
    encoding="utf-8"), re.M))
UNSAFE = re.compile("[\x00-\x08\x0b-\x1f\x7f-\x9f\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069]")


class Place:
    """A folder of its own with a destination, and beside it what nobody may touch."""

    def __init__(self, folder):
        self.folder = os.fsencode(folder)
        self.package, self.destination, self.canary = (
            os.path.join(self.folder, name) for name in (b"odd.bex", b"dest", b"canary"))
        os.chmod(self.folder, 0o755)
        os.makedirs(self.canary + b"/folder")
        for path, mode in (b"/file", 0o666), (b"/folder/file", 0o644):
            with open(self.canary + path, "wb") as file:
                file.write(b"canary\n")
            os.chmod(self.canary + path, mode)
        os.symlink(b"file", self.canary + b"/link")
        for path in self.canary, self.canary + b"/folder":
            os.chmod(path, 0o777)

    def write(self, package):
        package = package() if callable(package) else package
        with open(self.package, "wb") as file:
            for part in package if isinstance(package, list) else [package]:
                if isinstance(part, int):
                    file.seek(part, os.SEEK_CUR)
                else:
                    file.write(part)
            file.truncate(file.tell())

    def renew(self, case, user):
        """An empty destination of the user's, but for what the case puts there."""
        for path, folders, _ in os.walk(self.destination):
            for name in folders:
                if not os.path.islink(os.path.join(path, name)):
                    os.chmod(os.path.join(path, name), 0o700)
        shutil.rmtree(self.destination, ignore_errors=True)
        os.mkdir(self.destination)
        if case.before:
            case.before(self.destination)
        for path, folders, files in os.walk(self.destination):
            for name in [path, *(os.path.join(path, name) for name in folders + files)]:
                if os.lstat(name).st_nlink == 1 or os.path.isdir(name):
                    os.chown(name, user, user, follow_symlinks=False)

    def outside(self):
        """All that stands beside the destination, as it was made and last written."""
        result = {}
        for path, folders, files in os.walk(self.folder):
            folders[:] = [name for name in folders if (path, name) != (self.folder, b"dest")]
            for name in folders + files:
                status = os.lstat(os.path.join(path, name))
                result[path, name] = (status.st_mode, status.st_uid, status.st_gid, status.st_size,
                                      status.st_mtime_ns)
        with open(self.canary + b"/file", "rb") as file:
            return {**result, "contents": file.read()}

    def tree(self):
        """What the destination holds, in the form of cases.py."""
        result, first = {}, {}
        for path, folders, files in os.walk(self.destination):
            for name in sorted(folders + files):
                whole = os.path.join(path, name)
                result[os.path.relpath(whole, self.destination)] = described(whole)
        for path in sorted(result):
            status = os.lstat(os.path.join(self.destination, path))
            if stat.S_ISREG(status.st_mode) and first.setdefault(status.st_ino, path) != path:
                result[path] = cases.H(first[status.st_ino])
        return result


def described(path):
    status = os.lstat(path)
    mode, mtime = stat.S_IMODE(status.st_mode), int(status.st_mtime_ns // 10 ** 9)
    kept = [name for name in os.listxattr(path, follow_symlinks=False) if name != "security.selinux"]
    if kept:
        return "attributes", kept
    if stat.S_ISLNK(status.st_mode):
        return cases.L(os.readlink(path), mtime)
    if stat.S_ISDIR(status.st_mode):
        return cases.D(mode, mtime)
    if not stat.S_ISREG(status.st_mode):
        return "other", mode
    if os.geteuid() != ROOT:
        os.chmod(path, 0o600)
    with open(path, "rb") as file:
        return cases.F(file.read() if status.st_size <= LARGE else status.st_size, mode, mtime)


def same(expected, found):
    """Whether the trees are alike; a time of None is any."""
    return expected.keys() == found.keys() and all(
        len(left) == len(right) and all(a == b or a is None for a, b in zip(left, right))
        for left, right in ((expected[path], found[path]) for path in expected))


Run = collections.namedtuple("Run", "status out err")


def run(command, folder, user, locale="C", terminal=False):
    """Runs it with its output on a terminal or in a pipe. The status of what takes too long is None."""
    source, end = pty.openpty() if terminal else os.pipe()
    variables = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
    with tempfile.TemporaryFile() as errors:
        process = subprocess.Popen(
            command, cwd=folder, stdin=subprocess.DEVNULL, stdout=end, stderr=errors, umask=0o022,
            **({"user": user, "group": user, "extra_groups": []} if user != os.geteuid() else {}),
            env={**variables, "PATH": "/usr/bin:/bin", "LC_ALL": locale, "NO_COLOR": "1", "TERM": "xterm", "TZ": "UTC"})
        os.close(end)
        out, status, deadline = [], 0, time.monotonic() + PATIENCE
        while True:
            if not select.select([source], [], [], max(0, deadline - time.monotonic()))[0]:
                process.kill()
                status = None
                break
            try:
                part = os.read(source, 1 << 20)
            except OSError:
                part = b""  # a terminal whose other side is closed
            if not part:
                break
            out.append(part)
        os.close(source)
        ended = process.wait(PATIENCE)
        errors.seek(0)
        return Run(ended if status is not None else None, b"".join(out).replace(b"\r\n", b"\n"), errors.read())


def raw(output):
    """What of the output a terminal would obey, or could not show."""
    try:
        found = UNSAFE.search(output.decode())
        return found and repr(found[0])
    except UnicodeDecodeError as fault:
        return str(fault)


def complaints(verb, case, done, place):
    """What is wrong with a run of the command."""
    if done.status is None or done.status < 0 or b"Sanitizer" in done.err or b"runtime error" in done.err:
        yield f"status {done.status}: {done.err[-2000:]}"
    for output in done.out, done.err:
        if raw(output):
            yield f"prints {raw(output)}: {output[-300:]}"
    refused = case.tree is None and not (case.listed and verb != "extract")
    refused = refused or (verb == "info" and "control-syntax" in case.codes)
    if verb == "verify":
        lines = [line.split(b": ") for line in done.out.splitlines()]
        errors = {line[1].decode() for line in lines if line[1] != b"warning"}
        found = errors | {line[2].decode() for line in lines if line[1] == b"warning"}
        if found != set(case.codes.split()) or done.status != bool(errors):
            yield f"status {done.status}, found {' '.join(sorted(found))}, not {case.codes}: {done.err}"
        if found - DOCUMENTED:
            yield f"docs/findings.md does not list {found - DOCUMENTED}"
    elif refused and (done.status not in ((case.status,) if case.status else (3,
            5)) or done.err.count(b"\n") not in (1, 2)):
        yield f"status {done.status}, not refused: {done.err}"
    elif not refused and (done.status or done.err):
        yield f"status {done.status}, not taken: {done.err}"
    expected = case.left if case.tree is None else case.tree
    if verb == "extract" and expected is not None and not same(expected, place.tree()):
        yield f"leaves {place.tree()}, not {expected}"


def check_tool(case, number, place):
    """Extracts as each user, each time in the other locale, and reads as one of them."""
    bex = os.environ["BEX"]
    locales = ("C.UTF-8", "C") if number % 2 else ("C", "C.UTF-8")
    ends = [(user, locales[i % 2]) for i, user in enumerate(USERS)]
    for verb in "extract", "list", "verify", "info":
        for user, locale in ends if verb == "extract" else [ends[number // 2 % len(ends)]]:
            place.renew(case, user)
            before = place.outside()
            arguments = {"extract": ["odd.bex", "dest"], "list": ["--long", "odd.bex"],
                         "info": ["--totals", "odd.bex"]}.get(verb, ["odd.bex"])
            done = run([bex, verb, "--threads", "2", *arguments, *case.options], place.folder, user, locale,
                       terminal=locale == "C" and verb != "extract")
            for complaint in complaints(verb, case, done, place):
                yield f"{verb} as {user} in {locale}: {complaint}"
            if place.outside() != before:
                yield f"{verb} as {user} in {locale}: changes what stands outside"


def check_objects(case, number, place):
    """It opens what libarchive reads and extracts contents alone; here it is to stay whole and below its folder."""
    user, locale = USERS[number % len(USERS)], ("C.UTF-8", "C")[number // 2 % 2]
    place.renew(case, user)
    before = place.outside()
    done = run([os.environ["BEX_HOSTILE_OBJECTS"], "odd.bex", "dest"], place.folder, user, locale)
    if done.status not in (0, 3, 4):
        yield f"as {user} in {locale}: status {done.status}: {done.err[-2000:]}"
    if place.outside() != before:
        yield f"as {user} in {locale}: changes what stands outside"


def outcome(command, case, place):
    """In a word, as an unprivileged user."""
    place.renew(case, USERS[-1])
    before = place.outside()
    done = run(["/bin/bash", "-o", "pipefail", "-c", command], place.folder, USERS[-1], "C.UTF-8")
    if place.outside() != before:
        return "ESCAPES"
    if done.status is None or done.status >= 128 or done.status < 0:
        return "hangs" if done.status is None else "crashes"
    tree = place.tree()
    if done.status:
        return "refuses" if same(case.left or {}, tree) else "stops"
    return "takes" if case.tree is not None and same(case.tree, tree) else "differs"


def tell(case, _, place):
    member = "data=$(ar t odd.bex 2>&1 | grep -a ^data.tar) && ar p odd.bex \"$data\" >t &&"
    yield [outcome(command, case, place) for command in (
        f"{os.environ['BEX']} extract odd.bex dest " + " ".join(case.options),
        f"{os.environ['BEX_HOSTILE_OBJECTS']} odd.bex dest", "dpkg-deb --extract odd.bex dest",
        "dpkg-deb --fsys-tarfile odd.bex | tar --extract --preserve-permissions --directory=dest",
        "dpkg-deb --fsys-tarfile odd.bex | bsdtar -xpf - -C dest")]


MODES = {"tool": check_tool, "objects": check_objects, "table": tell}


def share(arguments):
    """Every so many-th case, in a process and a place of its own."""
    mode, chosen, first, step = arguments
    if not SANITIZED:
        resource.setrlimit(resource.RLIMIT_AS, (GIB, GIB))
    result = []
    with tempfile.TemporaryDirectory(prefix="bex-hostile-") as folder:
        place = Place(folder)
        groups = cases.FOR_OBJECTS if mode == "objects" else cases.GROUPS
        for number, case in enumerate(cases.all_cases(place.canary, groups)):
            if number % step == first and all(part in case.name for part in chosen):
                place.write(case.package)
                result.append((number, case.name, list(MODES[mode](case, number, place))))
        place.renew(cases.accept("", {}, b""), USERS[0])
    return result


def unprivileged():
    """Who else may run the programs; nobody else where root does not run this, or keeps them in a folder of its own."""
    try:
        if os.geteuid() == ROOT:
            run([os.environ["BEX"], "--version"], "/", NOBODY)
            return [NOBODY]
    except PermissionError as fault:
        print(f"only as root: {fault}")
    return []


def main():
    mode, chosen = sys.argv[1], sys.argv[2:]
    USERS.extend(unprivileged())
    if SANITIZED:
        memory = 3072 if mode == "objects" else 1024  # it holds a package whole, and some are of 1 GiB
        own = f"hard_rss_limit_mb={memory}:quarantine_size_mb=16:" + os.environ.get("ASAN_OPTIONS", "")
        os.environ["ASAN_OPTIONS"] = own
    with multiprocessing.Pool(2) as pool:
        results = sorted(sum(pool.map(share, [(mode, chosen, first, 2) for first in range(2)]), []))
    if mode == "table":
        rows = collections.defaultdict(list)
        for _, name, [told] in results:
            rows[tuple(told)].append(name)
        for told, names in sorted(rows.items(), key=lambda row: -len(row[1])):
            print("|", " | ".join([*told, str(len(names)), "; ".join(names[:4])]), "|")
        return 0
    for _, name, told in results:
        for complaint in told:
            print(f"FAILED: {name}: {complaint}")
    print(f"{len(results)} cases")
    return 1 if any(told for _, _, told in results) or not results else 0


if __name__ == "__main__":
    sys.exit(main())
