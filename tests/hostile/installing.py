"""Packages whose fields, conffiles, triggers, scripts, names or directories may be what dpkg refuses.

Nothing in them is harmful where dpkg runs it: a script only ends. What no reader of the package can know is left alone:
dependencies, foreign architectures, scripts that fail and interpreters that are not installed.
"""

import hashlib

import odd

FIELDS = [b"Package: mutant", b"Version: 1.0-1", b"Architecture: all", b"Maintainer: Ann Lee <ann@example.org>",
          b"Section: misc", b"Description: says nothing\n of any kind\n .\n or meaning"]
TREE = [odd.d(b"./"), odd.d(b"./etc/"), odd.d(b"./etc/m/"), odd.f(b"./etc/m/conf", b"x=1\n"), odd.f(b"./etc/two", b"2"),
        odd.d(b"./usr/"), odd.d(b"./usr/share/"), odd.f(b"./usr/share/f", b"f"),
        odd.h(b"./usr/share/h", b"./usr/share/f"),
        odd.l(b"./usr/share/l", b"f"), odd.d(b"./usr/share/d/"), odd.f(b"./usr/share/d/g", b"g", mode=0o755)]


def spoilt(rng, text):
    """The text with one byte more, less or other."""
    at = rng.randrange(len(text) + 1)
    new = rng.choice([b" ", b"\n", b"\t", b"\r", b"\0", b":", b"#", b"/", b"-", b"\n\n", b"A", b"\xc3\xbc", b"\xff"])
    return rng.choice([text[:at] + new + text[at:], text[:at] + new + text[at + 1:], text[:at] + text[at + 1:]])


def ended(rng, lines):
    """The lines, mostly each with its line feed."""
    text = b"\n".join(lines) + rng.choice([b"\n"] * 12 + [b"", b"\n\n", b"\r\n", b"\n \n", b"\0\n", b"\n#", b" "])
    return spoilt(rng, text) if rng.randrange(4) == 0 else text


def control(rng):
    fields = list(FIELDS)
    extra = [b"# comment", b"#", b"", b" continued", b"\tcontinued", b" .", b"X-Own: 1", b"x:y", b"Essential: yes",
             b"Essential: maybe", b"Multi-Arch: same", b"Multi-Arch: foreign", b"Multi-Arch: x", b"Priority: optional",
             b"Priority: high", b"Installed-Size: 5", b"Installed-Size: 5k", b"Version : 2", b"Homepage:", b"Empty: ",
             b"Suggests: a, b | c (>= 1)", b"Suggests: a b", b"Recommends: a (>> 1:2-3)", b"Enhances: A",
             b"Suggests: ,",
             b"Provides: p (= 1)", b"Provides: p (>= 1)", b"Conflicts: q (<< 1)", b"Replaces: q:any", b"Bugs: x",
             b"Source: s (1)", b"Source: S", b"Origin: o\r", b"Config-Version: 1", b"Status: install ok installed",
             b"Conffiles: x", b"Triggers-Pending: t", b"Protected: yes", b"Protected: x", b"Built-Using: g (= 1)"]
    values = [b"Package: m+.-", b"Package: m", b"Package: Mutant", b"Package: -m", b"Package: m_n", b"Package:mutant",
              b"Package:",
              b"Version: 1:1", b"Version: a", b"Version: 1_2", b"Version: 1:", b"Version: 1-",
              b"Version: 99999999999:1",
              b"Version: 1~", b"Version: 1:2:3", b"Version:  1 ", b"version: 1", b"Version\t: 1",
              b"Architecture: all all",
              b"Architecture: ALL", b"Architecture:", b"Maintainer: x", b"Description:", b"Description: d\n\n",
              b"Description: d\nx"]
    for _ in range(rng.choice([1, 1, 1, 2])):
        if rng.randrange(2):
            fields.insert(rng.randrange(len(fields) + 1), rng.choice(extra))
        else:
            fields[rng.randrange(len(fields))] = rng.choice(values)
    return ended(rng, fields)


def conffiles(rng):
    lines = [b"/etc/m/conf", b"/etc/two"]
    odd_lines = [b"", b" ", b"\t", b"/etc/m/conf", b"/etc/gone", b"/etc/m", b"/etc/m/", b"etc/two", b" /etc/two",
                 b"/etc/two ",
                 b"remove-on-upgrade /etc/old", b"remove-on-upgrade /etc/two", b"remove-on-upgrade  /etc/old",
                 b"flag /etc/two",
                 b"remove-on-upgrade", b"remove-on-upgrade\t/etc/old", b"/etc/./two", b"//etc/two", b"/etc/two/.",
                 b"/", b".", b"#x",
                 b"/usr/share/h", b"/usr/share/l", b"/usr/share/f", b"/etc/" + b"c" * rng.choice([200, 250, 980, 992,
                         995, 1200])]
    for _ in range(rng.choice([1, 1, 2])):
        lines.insert(rng.randrange(len(lines) + 1), rng.choice(odd_lines))
    return ended(rng, lines)


def triggers(rng):
    words = [b"interest", b"interest", b"activate", b"interest-await", b"interest-noawait", b"activate",
             b"activate-await", b"activate-noawait", b"bogus",
             b"Interest", b"interest-", b"", b"#"]
    names = [b"/usr/x", b"/usr/share", b"/usr/x", b"t", b"trigger", b"t+.-", b"T", b"-t", b"", b"/", b"/usr//x",
             b"/usr/x/", b"a b", b"a_b", b"\xc3\xbc",
             b"/a b", b"/usr/./x", b"x" * 240, b"x" * 250, b".", b"../x", b"a/b", b"t # c", b"/usr/\x1f"]
    lines = [rng.choice([b"", b"", b" ", b"\t"]) + rng.choice(words) + rng.choice([b" ", b" ", b" ", b"  ", b"\t",
            b"\v"]) +
             rng.choice(names) + rng.choice([b"", b"", b" ", b"\t", b"\r"]) for _ in range(rng.choice([1, 1, 2]))]
    return ended(rng, lines)


def script(rng):
    line = rng.choice([b"#!/bin/sh", b"#!/bin/sh -e", b"#! /bin/sh", b"#!\t/bin/sh", b"#!/bin/sh\r", b"#!/bin/sh -e\r",
                       b"#!sh", b"#!",
                       b"#! ", b"#!\r", b"# !/bin/sh", b"", b"#!./sh", b"#!bin/sh", b"#!/bin/sh ", b" #!/bin/sh", b"#"])
    return rng.choice([line + b"\nexit 0\n", line + b"\n", line, b"exit 0", b""])


def payload(rng):
    """The tree with names too long or odd, or without some of its directories."""
    parts = list(TREE)
    for _ in range(rng.choice([1, 1, 1, 2])):
        kind, at = rng.randrange(6), rng.randrange(len(parts))
        length = rng.choice([1, 99, 100, 240, 245, 246, 247, 248, 250, 254, 255, 256])
        name = rng.choice([b"./usr/", b"./usr/share/", b"usr/", b"./", b"./usr/./", b"./usr//", b"./new/",
                           b"./usr/share/f/"])
        name += rng.choice([b"n" * length, b"n" * length, b"\xc3\xbc", b"a b", b"a\nb", b"\xff", b"\x1b", b"\\", b"c:",
                            b"f.dpkg-new",
                            b"deep/" * rng.choice([1, 3, 20]) + b"x", b"-", b"~", b"#"])
        if kind == 0:
            parts.pop(at)
        elif kind == 1:
            parts.insert(rng.randrange(len(parts)), parts.pop(at))
        elif kind == 2:
            parts.append(odd.long(b"L", name) + odd.f(b"./x", b"x"))
        elif kind == 3:
            parts.append(odd.long(b"L", name + b"/") + odd.d(b"./x/"))
            parts += [odd.long(b"L", name + b"/in") + odd.f(b"./x", b"x")] * rng.randrange(2)
        elif kind == 4:
            link = rng.choice([odd.l(b"./x", b"target"), odd.h(b"./x", b"./usr/share/f"),
                               odd.h(b"./x", b"usr/share/f")])
            parts.append(odd.long(b"L", name) + link)
        else:
            parts[at] = parts[at].replace(b"ustar  \0", odd.POSIX)
            parts[at] = odd.mended(parts[at][:512]) + parts[at][512:]
    return parts


def mutant(rng):
    """What was changed, and the package."""
    what = rng.choice(["control", "control", "conffiles", "triggers", "script", "payload", "payload", "member"])
    text = b"\n".join(FIELDS) + b"\n"
    members, parts = [], list(TREE)
    if what == "control":
        text = control(rng)
    elif what == "conffiles":
        members.append(odd.f(b"./conffiles", conffiles(rng)))
    elif what == "triggers":
        members.append(odd.f(b"./triggers", triggers(rng)))
    elif what == "script":
        members.append(odd.f(b"./" + rng.choice([b"preinst", b"postinst", b"prerm", b"config"]), script(rng),
                             mode=0o755))
    elif what == "payload":
        parts = payload(rng)
    else:
        name = rng.choice([b"list", b"x", b".x", b"a b", b"\xc3\xbc", b"n" * rng.choice([50, 99, 100, 101, 200]),
                           b"md5sums", b"-",
                           b"a\nb", b"control.old", b"shlibs"])
        members.append(odd.long(b"L", b"./" + name) + odd.f(b"./x", hashlib.md5(b"f").hexdigest().encode() +
                                                            b"  usr/share/f\n"))
    archive = odd.tar(odd.d(b"./"), odd.f(b"./control", text), *members)
    return what, odd.ar(odd.VERSION, odd.member(b"control.tar.gz", odd.gz(archive)), odd.data(*parts))
