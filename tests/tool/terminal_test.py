"""What the program shows at a terminal and nowhere else, and how it ends when it is interrupted."""

import os
import re
import signal
import subprocess
import time
import unittest

from driving import FIELDS, ToolTest

ESCAPE = "\x1b"
BAR = re.compile(r"\rpacking \[#*\.*\] +\d+ % [\d.]+ \S*B/s \d+:\d\d left \./b\x1b\[K")


class TerminalTest(ToolTest):
    def build_small(self, name="a"):
        self.write(f"small/{name}", "x\n")
        status, _, _ = self.run_tool("build", "small", "small.bex", *FIELDS)
        self.assertEqual(status, 0)

    def test_colour_is_for_terminals_that_want_it(self):
        self.build_small()
        colourless = {"pipe": {}, "NO_COLOR": {"terminal": (1,), "variables": {"NO_COLOR": "1"}},
                      "dumb": {"terminal": (1,), "variables": {"TERM": "dumb"}}}
        for name, options in colourless.items():
            with self.subTest(name):
                self.assertNotIn(ESCAPE, self.run_tool("info", "small.bex", **options)[1])
        coloured = {"terminal": ([], {"terminal": (1,)}), "always": (["--color=always"], {}),
                    "empty NO_COLOR": ([], {"terminal": (1,), "variables": {"NO_COLOR": ""}})}
        for name, (arguments, options) in coloured.items():
            with self.subTest(name):
                self.assertIn(f"{ESCAPE}[36mPackage{ESCAPE}[0m: big", self.run_tool("info", "small.bex", *arguments,
                                                                                    **options)[1])
        self.assertNotIn(ESCAPE, self.run_tool("info", "small.bex", "--color", "never", terminal=(1,))[1])
        self.assertTrue(self.run_tool("info", "none", terminal=(2,))[2].startswith(f"{ESCAPE}[31mbex:{ESCAPE}[0m"))

    def test_no_name_of_a_package_reaches_the_terminal_raw(self):
        self.build_small("evil\x1b]0;title\x07\u009b31m\u202e")
        for arguments in (["list"], ["list", "--long"], ["list", "--tree"], ["verify"], ["list", "--json"]):
            with self.subTest(arguments):
                _, out, _ = self.run_tool(*arguments, "small.bex", "--color=never", terminal=(1,))
                self.assertIn("evil", out)
                self.assertEqual(re.findall("[\x1b\x07\u009b\u202e]", out), [])

    def test_long_lists_are_aligned(self):
        self.write("small/large", "x" * 1000)
        self.build_small()
        _, out, _ = self.run_tool("list", "--long", "small.bex", terminal=(1,))
        self.assertEqual([line[:33] for line in out.splitlines()],
                         ["drwxr-xr-x  root/root     0  2001", "-rw-r--r--  root/root     2  2001",
                          "-rw-r--r--  root/root  1000  2001"])

    def test_no_package_goes_to_a_terminal(self):
        self.write("tree/a")
        self.assertEqual(self.run_tool("build", "tree", "-", *FIELDS, terminal=(1,)),
                         (2, "", "bex: OUT is - and standard output is a terminal, which can't take a package\n"))

    def test_a_bar_shows_where_work_lasts_and_goes(self):
        self.write("tree/b", size=1 << 36)
        begin = time.monotonic()
        child = self.start("build", "tree", "out.bex", *FIELDS, terminal=(2,))
        child.wait_for(lambda outputs: BAR.search(outputs[2]))
        self.assertGreater(time.monotonic() - begin, 0.5)
        child.process.send_signal(signal.SIGINT)
        status, _, error = child.finish()
        self.assertEqual(status, 130)
        self.assertRegex(error, r"\r\x1b\[K\x1b\[31mbex:\x1b\[0m interrupted\r\n$")
        self.build_small()
        self.assertEqual(self.run_tool("verify", "small.bex", terminal=(2,)), (0, "", ""))

    def test_no_bar_in_a_pipe_or_when_quiet(self):
        size = 1 << 27
        for arguments, terminal in (((), ()), (("-q",), (2,)), (("--progress=never",), (2,))):
            lasted = 0.0
            while lasted < 0.7:  # Long enough for a bar, on every machine.
                size *= 1 if lasted == 0.0 else 2
                self.write("tree/b", size=size)
                begin = time.monotonic()
                outcome = self.run_tool("build", "tree", "out.bex", *FIELDS, *arguments, terminal=terminal)
                lasted = time.monotonic() - begin
                self.assertEqual(outcome, (0, "out.bex\n", ""))


class InterruptTest(ToolTest):
    def test_a_build_leaves_the_old_package(self):
        self.write("tree/b", size=1 << 36)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                self.write("work/out.bex", "old")
                child = self.start("build", "tree", "work/out.bex", *FIELDS, "--progress=json")
                child.wait_for(lambda outputs: '"bytesDone"' in outputs[2])
                child.process.send_signal(number)
                status, out, error = child.finish()
                self.assertEqual((status, out, error.splitlines()[-1]), (130, "", "bex: interrupted"))
                self.assertEqual(os.listdir(self.path("work")), ["out.bex"])
                with open(self.path("work/out.bex"), encoding="utf-8") as file:
                    self.assertEqual(file.read(), "old")

    def test_a_wait_for_input_ends_and_its_copy_goes(self):
        self.write("tree/a")
        os.mkdir(self.path("tmp"))
        child = self.start("build", "tree", "out.bex", *FIELDS, "--stdin", "in", stdin=subprocess.PIPE,
                           variables={"TMPDIR": self.path("tmp")})
        deadline = time.monotonic() + 100
        while not os.listdir(self.path("tmp")) and time.monotonic() < deadline:
            os.sched_yield()
        child.process.send_signal(signal.SIGINT)
        self.assertEqual(child.finish(), (130, "", "bex: interrupted\n"))
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
        child.process.send_signal(signal.SIGTERM)
        status, _, error = child.finish()
        child.process.stdin.close()
        self.assertEqual((status, error), (130, "bex: .\nbex: a\nbex: interrupted\n"))
        self.assertEqual(os.listdir(self.path("x")), ["a"])


if __name__ == "__main__":
    unittest.main()
