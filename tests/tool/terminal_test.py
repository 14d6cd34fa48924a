"""What needs a terminal, or a hand that acts while the program runs: colours, the bar, interrupts, changed sources."""

import contextlib
import os
import pty
import re
import select
import signal
import subprocess
import tempfile
import time
import unittest

from cases import environment

FIELDS = ["--name", "big", "--version", "1", "--arch", "all", "--maintainer", "Ann Lee <ann@example.org>",
          "--description", "d"]
PATIENCE = 100  # seconds until a test gives up waiting
ESCAPE = "\x1b"
BAR = re.compile(r"\rpacking \[#*\.*\] +\d+ % [\d.]+ \S*B/s \d+:\d\d left \./b\x1b\[K")


class Running:
    """A child whose chosen outputs (1, 2) go to a terminal or, without one, to pipes."""

    def __init__(self, arguments, directory, terminal=(), variables=None, stdin=subprocess.DEVNULL):
        self.outputs, self.sources, ends = {1: "", 2: ""}, {}, {}
        for number in (1, 2):
            ours, ends[number] = pty.openpty() if number in terminal else os.pipe()
            self.sources[ours] = number
        self.process = subprocess.Popen(
            [os.environ["BEX"], *arguments], cwd=directory, stdin=stdin, stdout=ends[1], stderr=ends[2],
            env={**environment(), "TERM": "xterm", **(variables or {})})
        for end in ends.values():
            os.close(end)

    def wait_for(self, found):
        """Reads until found(outputs) holds or the child has closed its outputs."""
        deadline = time.monotonic() + PATIENCE
        while not found(self.outputs) and self.sources:
            ready, _, _ = select.select(list(self.sources), [], [], max(0, deadline - time.monotonic()))
            if not ready:
                self.process.kill()
                raise AssertionError(f"nothing more came after {self.outputs}")
            for source in ready:
                try:
                    data = os.read(source, 65536)
                except OSError:
                    data = b""  # A terminal whose other side is closed.
                self.outputs[self.sources[source]] += data.decode(errors="backslashreplace")
                if not data:
                    os.close(source)
                    del self.sources[source]

    def has_open(self, directory):
        """Whether a file of that directory is open, which may have no name."""
        descriptors = f"/proc/{self.process.pid}/fd"
        for number in os.listdir(descriptors):
            with contextlib.suppress(FileNotFoundError):  # closed since it was listed
                if os.readlink(f"{descriptors}/{number}").startswith(f"{directory}/"):
                    return True
        return False

    def finish(self, number=None):
        """Status, standard output and standard error once it has ended, by a signal where one is given."""
        if number:
            self.process.send_signal(number)
        self.wait_for(lambda _: False)
        return self.process.wait(timeout=PATIENCE), self.outputs[1], self.outputs[2]


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bex-tool-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, contents="", size=0):
        """A file, with a hole up to `size`: work that lasts and costs no disk."""
        os.makedirs(os.path.dirname(self.path(name)), exist_ok=True)
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(contents)
            file.truncate(max(size, len(contents)))

    def start(self, *arguments, **options):
        return Running(arguments, self.folder, **options)

    def run_tool(self, *arguments, **options):
        return self.start(*arguments, **options).finish()

    def build_small(self, name="a"):
        self.write(f"small/{name}", "x\n")
        self.assertEqual(self.run_tool("build", "small", "small.bex", *FIELDS)[0], 0)


class TerminalTest(ToolTest):
    def test_colour_is_for_terminals_that_want_it(self):
        self.build_small()
        field = f"{ESCAPE}[36mPackage{ESCAPE}[0m: big"
        at_terminal = {"terminal": (1,)}
        for coloured, colour, options in (
                (True, "always", {}), (False, "auto", {}), (True, "auto", at_terminal), (False, "never", at_terminal),
                (False, "auto", {**at_terminal, "variables": {"NO_COLOR": "1"}}),
                (True, "auto", {**at_terminal, "variables": {"NO_COLOR": ""}}),
                (False, "auto", {**at_terminal, "variables": {"TERM": "dumb"}})):
            with self.subTest(colour, **options):
                _, out, _ = self.run_tool("info", "small.bex", "--color", colour, **options)
                self.assertEqual((field in out, ESCAPE in out), (coloured, coloured))
        self.assertTrue(self.run_tool("info", "none", terminal=(2,))[2].startswith(f"{ESCAPE}[31mbex:{ESCAPE}[0m"))

    def test_long_lists_are_aligned(self):
        self.write("small/l\u00e4rge", "x" * 1000)
        self.build_small()
        _, out, _ = self.run_tool("list", "--long", "small.bex", terminal=(1,))
        self.assertEqual([line[:33] for line in out.splitlines()],
                         ["drwxr-xr-x  root/root     0  2001", "-rw-r--r--  root/root     2  2001",
                          "-rw-r--r--  root/root  1000  2001"])

    def test_no_package_goes_to_a_terminal(self):
        self.build_small()
        self.assertEqual(self.run_tool("build", "small", "-", *FIELDS, terminal=(1,)),
                         (2, "", "bex: OUT is - and standard output is a terminal, which can't receive a package\n"))

    def test_a_bar_shows_where_work_lasts_and_is_wanted(self):
        self.write("tree/b", size=1 << 35)
        begin = time.monotonic()
        others = [self.start("build", "tree", f"{arguments}.bex", *FIELDS, "--threads=1", *arguments, terminal=terminal)
                  for arguments, terminal in (((), ()), (("-q",), (2,)), (("--progress=never",), (2,)))]
        child = self.start("build", "tree", "out.bex", *FIELDS, terminal=(2,))
        child.wait_for(lambda outputs: BAR.search(outputs[2]))
        self.assertGreater(time.monotonic() - begin, 0.5)
        status, _, error = child.finish(signal.SIGINT)
        self.assertEqual(status, 130)
        self.assertRegex(error, r"\r\x1b\[K\x1b\[31mbex:\x1b\[0m interrupted\r\n$")
        for other in others:
            self.assertRegex(other.finish(signal.SIGINT)[2], r"^(\x1b\[31m)?bex:(\x1b\[0m)? interrupted\r?\n$")
        self.build_small()
        self.assertEqual(self.run_tool("verify", "small.bex", terminal=(2,)), (0, "", ""))


class InterruptTest(ToolTest):
    def test_a_build_leaves_the_old_package(self):
        self.write("tree/b", size=1 << 36)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                self.write("work/out.bex", "old")
                child = self.start("build", "tree", "work/out.bex", *FIELDS, "--progress=json")
                child.wait_for(lambda outputs: '"bytesDone"' in outputs[2])
                status, out, error = child.finish(number)
                self.assertEqual((status, out, error.splitlines()[-1]), (130, "", "bex: interrupted"))
                self.assertEqual((os.listdir(self.path("work")), os.path.getsize(self.path("work/out.bex"))),
                                 (["out.bex"], 3))

    def test_a_wait_for_input_ends_and_its_copy_goes(self):
        self.write("tree/a")
        os.mkdir(self.path("tmp"))
        child = self.start("build", "tree", "out.bex", *FIELDS, "--stdin", "in", stdin=subprocess.PIPE,
                           variables={"TMPDIR": self.path("tmp")})
        deadline = time.monotonic() + PATIENCE
        while not child.has_open(self.path("tmp")):
            self.assertLess(time.monotonic(), deadline)
            os.sched_yield()
        self.assertEqual(child.finish(signal.SIGINT), (130, "", "bex: interrupted\n"))
        child.process.stdin.close()
        self.assertEqual((os.listdir(self.path("tmp")), os.path.exists(self.path("out.bex"))), ([], False))

    def test_an_extraction_leaves_no_half_file(self):
        self.write("tree/a", "whole")
        self.write("tree/b", size=1 << 20)
        self.run_tool("build", "tree", "p.bex", *FIELDS, "--compression", "none")
        child = self.start("extract", "-", "x", "-v", stdin=subprocess.PIPE)
        with open(self.path("p.bex"), "rb") as package:
            child.process.stdin.write(package.read(1 << 19))
        child.process.stdin.flush()
        child.wait_for(lambda outputs: "bex: a\n" in outputs[2])
        status, _, error = child.finish(signal.SIGTERM)
        child.process.stdin.close()
        self.assertEqual((status, error), (130, "bex: .\nbex: a\nbex: interrupted\n"))
        self.assertEqual(os.listdir(self.path("x")), ["a"])

    def test_check_sees_a_source_that_changes_behind_the_writer(self):
        """Once b is being packed, a gets other bytes of the same size and time."""
        self.write("tree/a", "before\n")
        self.write("tree/b", size=1 << 28)
        child = self.start("build", "tree", "out.bex", *FIELDS, "--progress=json", "--check")
        child.wait_for(lambda outputs: '"entry":"./b"' in outputs[2])
        child.process.send_signal(signal.SIGSTOP)
        before = os.stat(self.path("tree/a"))
        self.write("tree/a", "behind\n")
        os.utime(self.path("tree/a"), ns=(before.st_atime_ns, before.st_mtime_ns))
        status, _, error = child.finish(signal.SIGCONT)
        self.assertEqual((status, [line for line in error.splitlines() if not line.startswith("{")]),
                         (3, ["bex: out.bex: ./a: differs from its source"]))
        self.assertEqual(os.listdir(self.folder), ["tree"])


if __name__ == "__main__":
    unittest.main()
