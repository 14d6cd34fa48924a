"""Tables of what was measured, in Markdown, and the plots beside them."""

import os
import platform
import re
import subprocess
from pathlib import Path

import corpora
import plots

BEGIN = "<!-- figures: written by scripts/bench --write -->"
END = "<!-- end of figures -->"


def _table(head, rows):
    lines = ["| " + " | ".join(head) + " |", "|" + "---|" * len(head)]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows]) + "\n"


def _processor():
    with open("/proc/cpuinfo", encoding="ascii", errors="replace") as file:
        found = re.search(r"model name\s*: (.*)", file.read())
    return found.group(1) if found else platform.machine()


def machine(load):
    memory = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30
    packages = ["dpkg", "tar", "libarchive-tools", "zlib1g", "libdeflate0", "libisal2"]
    versions = subprocess.run(["dpkg-query", "-W", "-f=${Package} ${Version}, ", *packages], capture_output=True,
                              text=True, check=False).stdout.rstrip(", ")
    free = "free" if load < 0.5 else "not free: judge by CPU seconds"
    return (f"{_processor()}, {os.cpu_count()} processors ({free}; load {load:.1f} before the run), {memory:.0f} GiB, "
            f"Linux {platform.release()}. {versions}.\n")


def corpora_table(bench):
    rows = []
    for name, (what, _, _) in corpora.CORPORA.items():
        files, size = corpora.describe(bench.trees[name])
        rows.append([name, what, str(files), f"{size / 1e6:.2f}"])
    return _table(["corpus", "what", "files", "MB"], rows)


def aims_table(bench):
    return _table(["work", "aim", "measured", "met"],
                  [[aim.work, aim.aim, aim.measured, "yes" if aim.met else "**no**"] for aim in bench.aims])


def _race(table):
    reference = table.reference
    # A start-up is over in milliseconds.
    scale, unit = (1000, "ms") if table.named(reference).median("elapsed") < 0.1 else (1, "s")
    rows = []
    for contender in table.contenders:
        sizes = contender.samples[0].size != 0 and table.named(reference).samples[0].size != 0
        rows.append([
            contender.name,
            f"{scale * contender.median('elapsed'):.2f}",
            f"{scale * contender.median('cpu'):.2f}",
            str(table.ratio(contender.name, "elapsed")),
            str(table.ratio(contender.name, "cpu")),
            f"{contender.median('peak'):.1f}",
            f"{table.ratio(contender.name, 'size').median:.3f}" if sizes else "",
        ])
    for what, sample in table.floors:
        rows.append([f"floor: {what}", f"{scale * sample.elapsed:.2f}", f"{scale * sample.cpu:.2f}",
                     f"{sample.elapsed / table.named(reference).median('elapsed'):.2f}",
                     f"{sample.cpu / table.named(reference).median('cpu'):.2f}", "",
                     f"{sample.size / table.named(reference).median('size'):.3f}"
                     if "level" in what and table.named(reference).median("size") else ""])
    head = ["", f"elapsed {unit}", f"CPU {unit}", "elapsed, ratio", "CPU, ratio", "peak MiB", "size, ratio"]
    return f"### {table.title}\n\n" + _table(head, rows)


def show(tables, aims):
    """Prints what was just measured, so that a run that is broken off has told it."""
    for table in tables:
        print(_race(table))
    for aim in aims:
        print(f"{aim.work}: {aim.measured}, aim {aim.aim}{'' if aim.met else ': missed'}")
    print(end="", flush=True)


def figures(bench, load):
    parts = [machine(load), corpora_table(bench), "### Aims\n\n" + aims_table(bench)]
    parts += [_race(table) for table in bench.tables]
    parts.append("### Object library\n\n" + _table(
        ["work", "entries", "CPU s", "libarchive's own calls, CPU s"],
        [[work, str(entries), f"{ours:.4f}", f"{theirs:.4f}"] for work, entries, ours, theirs in bench.objects]))
    parts.append("### Shares in all CPU time, 16 threads\n\n" + _table(
        ["work", "corpus", "calling thread", "busiest thread"],
        [[work, corpus, f"{calling:.2f}", f"{busiest:.2f}"] for work, corpus, calling, busiest in bench.shares]))
    parts.append("### Peak memory, two threads\n\n" + _table(
        ["work", "corpus", "MiB"], [[work, corpus, f"{peak:.1f}"] for work, corpus, peak in bench.peaks]))
    parts.append("### Growth\n\n" + _table(
        ["work", "size", "CPU s", "peak MiB"],
        [[growth.name, f"{size:,} {growth.unit}", f"{seconds:.3f}", f"{peak:.1f}"]
         for growth in bench.growths for size, seconds, peak in growth.points]))
    return "\n".join(parts)


# What the front page shows, by the races' titles.
FRONT = {
    "Build C1": "Build a package of 20,000 small files",
    "Build C2": "Build a package of 900 executables",
    "Extract C2, made by bex": "Extract the executables",
    "List and verify C2, made by bex": "List them",
}


def front(bench):
    """Bars for readers in a hurry: each race of FRONT with what packagers would use instead."""
    peers = ("dpkg-deb", "dpkg-deb -c", "bex", "bex list", "bsdtar", "bsdtar -t", "bsdtar (payload alone)")
    return [(FRONT[table.title], [(c.name, value, f"{value:.2f}") for c in table.contenders if c.name in peers
                                  for value in [table.ratio(c.name, "elapsed").median]])
            for table in bench.tables if table.title in FRONT]


def draw(bench):
    """Names and contents of the plots."""
    drawings = {}
    for what, word in (("elapsed", "Elapsed time"), ("cpu", "CPU time")):
        groups = []
        for table in bench.tables:
            if not table.title.startswith(("Build", "Extract", "List")):
                continue
            rows = [(c.name, value, f"{value:.2f}") for c in table.contenders
                    for value in [table.ratio(c.name, what).median]]
            groups.append((table.title, rows))
        drawings[f"performance-{what}.svg"] = plots.bars(f"{word}, dpkg-deb = 1 (shorter is better)", groups)
    drawings["performance-front.svg"] = plots.bars("Elapsed time, dpkg-deb = 1 (shorter is better)", front(bench))
    for unit in ("bytes", "entries"):
        lines = [(growth.name.split(",")[0], [point[:2] for point in growth.points])
                 for growth in bench.growths if growth.unit == unit]
        drawings[f"performance-{unit}.svg"] = plots.growth(f"CPU time by {unit} (dotted: linear)", unit, lines)
    return drawings


def write(bench, load, path):
    """Puts the figures into the document, between its marks, and the plots beside it."""
    text = Path(path).read_text(encoding="utf-8")
    before, mark, rest = text.partition(BEGIN)
    _, end, after = rest.partition(END)
    if not mark or not end:
        raise SystemExit(f"bench: {path} lacks the lines {BEGIN} and {END}")
    drawings = draw(bench)
    images = "\n".join(f"![{name}]({name})" for name in drawings)
    Path(path).write_text(f"{before}{BEGIN}\n\n{figures(bench, load)}\n{images}\n\n{END}{after}", encoding="utf-8")
    for name, drawing in drawings.items():
        (Path(path).parent / name).write_text(drawing, encoding="utf-8")
