"""Runs whole programs, in turn, and compares what they cost."""

import os
import shutil
import statistics
import subprocess
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path
from typing import Callable, Optional


@dataclass
class Sample:
    elapsed: float  # seconds
    cpu: float  # seconds, of all threads and children
    peak: float  # MiB
    size: int = 0  # bytes of output


@dataclass
class Contender:
    name: str
    command: list
    output: Optional[Path] = None  # file or folder that the command makes; put away before each run
    repeat: int = 1  # runs for one sample, for what is over in a blink
    before: Callable = lambda: None  # makes ready, untimed
    samples: list = field(default_factory=list)

    def median(self, what):
        return statistics.median(getattr(sample, what) for sample in self.samples)


@dataclass
class Ratio:
    """Of two contenders, round by round: the two of a pair ran one right after the other."""

    median: float
    low: float
    high: float

    def __str__(self):
        return f"{self.median:.2f} ({self.low:.2f}-{self.high:.2f})"


def ratio(contender, reference, what):
    pairs = [getattr(a, what) / getattr(b, what) for a, b in zip(contender.samples, reference.samples)]
    return Ratio(statistics.median(pairs), min(pairs), max(pairs))


def put_away(path):
    """Takes a file, or a folder with all below it, out of the way. Nothing is deleted before the end: for minutes
    after it, ext4 passes over the inodes of what was deleted one by one, and whoever creates files next pays for it;
    and the memory that held it goes back to the host of a virtual machine."""
    if path is None or not os.path.lexists(path):
        return
    attic = path.parent / "attic"
    attic.mkdir(exist_ok=True)
    path.rename(attic / f"{path.name}-{len(os.listdir(attic))}")


def fill_memory(folder, most_seconds):
    """Fills free memory with the page cache of a file that is all hole. The memory of a virtual machine is made by its
    host when it is touched first, which costs more than to write a file into it; who comes late must not gain."""
    hole = folder / "hole"
    with open(hole, "ab") as file:
        file.truncate(os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES"))
    begun = time.monotonic()
    with open(hole, "rb", buffering=0) as file:
        buffer = bytearray(1 << 20)
        while file.readinto(buffer) and time.monotonic() - begun < most_seconds:
            pass


def _lines_of(command):
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"bench: {' '.join(map(str, command))}: status {done.returncode}\n{done.stderr}")
    return [line.split() for line in done.stdout.splitlines()]


class Programs:
    """The helpers that stand in the build's folder, and the command itself."""

    def __init__(self, build):
        self.bex = build / "tool/bex"
        self._run = build / "bench/bex_bench_run"
        self._floors = build / "bench/bex_bench_floors"
        self._object = build / "bench/bex_bench_object"
        for program in (self.bex, self._run, self._floors, self._object):
            if not program.exists():
                raise SystemExit(f"bench: {program} is missing: build the preset \"release\", or name another --build")

    def run(self, contender):
        """One sample, of what stands in the page cache; the disk is let settle first."""
        put_away(contender.output)
        contender.before()
        os.sync()
        rows = _lines_of([self._run, str(contender.repeat), *contender.command])
        for _, _, _, status in rows:
            if status != "0":
                raise SystemExit(f"bench: {' '.join(map(str, contender.command))}: exit status {status}")
        output = contender.output
        size = output.stat().st_size if output is not None and output.is_file() else 0
        return Sample(
            statistics.median(float(row[0]) for row in rows),
            statistics.mean(float(row[1]) for row in rows),  # the kernel counts in ticks that a short run is below
            max(int(row[2]) for row in rows) / 1024,
            size,
        )

    def bytes_read(self, command, path):
        """How many bytes of the file a program reads, by strace; None where that is not installed."""
        if shutil.which("strace") is None:
            return None
        with tempfile.NamedTemporaryFile(mode="r", encoding="utf-8", errors="replace") as log:
            traced = ["strace", "-f", "-y", "-e", "trace=read,pread64,readv,preadv", "-o", log.name, *map(str, command)]
            subprocess.run(traced, stdout=subprocess.DEVNULL, check=True)
            calls = [line for line in log if f"<{path}>" in line]
        return sum(max(int(line.rpartition("= ")[2].split()[0]), 0) for line in calls)

    def shares(self, command):
        """The shares of the calling thread and of the busiest in all CPU time of a program: by Amdahl's law nothing
        makes it faster than 1 / share. With fewer processors than threads, chance gives one worker more than another.
        A thread's time is looked at every millisecond while it runs. Never in a real-time class, in which a thread
        keeps its processor for a tenth of a second."""
        begun = os.times()
        program = subprocess.Popen([str(part) for part in command], stdout=subprocess.DEVNULL,
                                   preexec_fn=lambda: os.sched_setscheduler(0, os.SCHED_OTHER, os.sched_param(0)))
        nanoseconds = {}
        while program.poll() is None:
            for stat in Path(f"/proc/{program.pid}/task").glob("*/schedstat"):
                try:
                    nanoseconds[stat.parent.name] = int(stat.read_text(encoding="ascii").split()[0])
                except (OSError, IndexError):  # the thread has ended
                    continue
            time.sleep(0.001)
        ended = os.times()
        if program.returncode != 0:
            raise SystemExit(f"bench: {' '.join(map(str, command))}: exit status {program.returncode}")
        cpu = ended.children_user + ended.children_system - begun.children_user - begun.children_system
        return nanoseconds[str(program.pid)] / 1e9 / cpu, max(nanoseconds.values()) / 1e9 / cpu

    def race(self, contenders, rounds):
        """All of them once in each round, every round beginning with another one."""
        for i in range(rounds):
            for j in range(len(contenders)):
                contender = contenders[(i + j) % len(contenders)]
                contender.samples.append(self.run(contender))
        return contenders

    def floor(self, *arguments, rounds=3):
        """Medians of a floor: elapsed and CPU seconds; and its bytes."""
        rows = []
        for _ in range(rounds):
            rows += _lines_of([self._floors, *map(str, arguments)])
        return Sample(
            statistics.median(float(row[0]) for row in rows),
            statistics.median(float(row[1]) for row in rows),
            0,
            int(rows[0][2]),
        )

    def object_library(self, tree):
        """Rows of WORK, our CPU seconds and libarchive's own."""
        return [(row[0], int(row[1]), float(row[2]), float(row[3])) for row in _lines_of([self._object, tree])]
