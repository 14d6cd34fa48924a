"""A build, reading and an extraction (the object library's too) whose every call fails, is cut short, is killed or
meets a change, in turn.

With BEX_FAULTS=all every error number and every allocation has its turn. Otherwise builds, changes and extractions meet
only what the tests of libbexstream cannot cause in their own process (signals, a lack of memory, being killed), reading
meets one error, and of the allocations that the option parser makes a part fails.
"""

import contextlib
import ctypes
import errno
import os
import re
import shutil
import signal
import stat
import subprocess
import tempfile
import unittest

from injection import Program

ALL = os.environ.get("BEX_FAULTS") == "all"
ERRORS = (errno.EIO, errno.ENOSPC, errno.EMFILE, errno.EACCES) if ALL else (errno.EIO,)
EVERY_KIND = (*ERRORS, errno.EINTR, "short", "memory")
# The others are tried by the FaultsTest.cpp of writer, editor and extraction.
REAL_PROCESS = EVERY_KIND if ALL else (errno.EINTR, "memory")
NEVER = 10**9  # more calls than a run makes
FIELDS = ["--version", "1", "--arch", "all", "--maintainer", "Ann Lee <ann@example.org>", "--description", "d"]
BUILD = ["build", "tree", "out.bex", "--name", "small", *FIELDS, "--threads", "2", "--stdin", "opt/input"]
NAMES_A_FILE = re.compile(r"bex: (tree|input|out\.bex|sound\.bex|standard (in|out)put|\.: can't)|"
                          r"bex: (out of memory|Resource temporarily unavailable)\n|Fatal Internal Error in libarchive")


def contents(path):
    with open(path, "rb") as file:
        return file.read()


def tree_below(folder):
    """What stands there: names, kinds, modes, times in seconds, contents."""
    found = {}
    for path in (os.path.join(base, name) for base, folders, files in os.walk(folder) for name in folders + files):
        status = os.lstat(path)
        kind = stat.S_IFMT(status.st_mode)
        what = (os.readlink(path) if stat.S_ISLNK(kind) else contents(path) if stat.S_ISREG(kind) else None)
        found[os.path.relpath(path, folder)] = (kind, stat.S_IMODE(status.st_mode), status.st_mtime_ns // 10**9, what)
    return found


class FaultsTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bex-faults-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.enterContext(contextlib.chdir(self.folder))
        self.make_tree()
        self.write("input", b"from a pipe\n")
        os.mkdir("tmp")
        self.run_once(*BUILD)
        os.rename("out.bex", "sound.bex")
        self.whole = contents("sound.bex")

    def write(self, path, data):
        os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
        with open(path, "wb") as file:
            file.write(data)

    def make_tree(self):
        shutil.rmtree("tree", ignore_errors=True)
        self.write("tree/sub/file", b"0123456789" * 70000)  # two blocks
        self.write("tree/sub/other", b"small")
        os.link("tree/sub/other", "tree/sub/second")
        os.symlink("file", "tree/sub/link")
        self.write("tree/DEBIAN/postinst", b"#!/bin/sh\n")
        for base, _, names in os.walk("tree", topdown=False):
            for name in (*names, "."):
                os.utime(os.path.join(base, name), (0, 900000000), follow_symlinks=False)

    def program(self, *arguments, **variables):
        return Program(arguments, self.folder, stdin="input", variables=variables)

    def run_once(self, *arguments):
        with self.program(*arguments) as program:
            run = program.run()
            self.assertEqual((run.status, run.err), (0, ""))
            return run

    def parser_allocations(self, arguments):
        """How many the command makes before it looks at a file: it fails at the first, which does not exist."""
        with self.program(*("none" if os.path.exists(word) else word for word in arguments)) as program:
            program.run("warm")
            return program.run("memory", NEVER).count

    def each_run(self, program, kind, reset, meanwhile=lambda call: None, before=0):
        """Runs with the fault at the first call, the second, until none is left for it; of the calls before that
        number, at some."""
        nth, met = 1, 0
        while True:
            reset()
            run = program.run(kind, nth, meanwhile)
            if run.call is None:
                self.assertEqual((run.status, run.err), (0, ""), "the run that no fault met")
                self.assertGreater(met, 3)
                return
            met += 1
            yield run, self.subTest(kind=kind, nth=nth, call=run.call, err=run.err)
            nth += 41 if nth < before - 41 else 1

    def check_faults(self, kinds, arguments, reset, check, **variables):
        """`check(done)` looks at what a run has made, or that it has made nothing."""
        with self.program(*arguments, **variables) as program:
            reset()
            program.run("warm")
            reset()
            usual = program.run()
            parsing = 0 if ALL else self.parser_allocations(arguments)
            for kind in kinds:
                before = parsing if kind == "memory" else 0
                for run, context in self.each_run(program, kind, reset, before=before):
                    with context:
                        self.check_run(run, usual, (0,) if kind == "short" else (0, 4))
                        if run.call in ("unlink", "unlinkat") or "libarchive" in run.err:
                            continue  # what can't be removed stays; libarchive ends the process like a signal
                        check(run.status == 0 or "but the file is written" in run.err or "standard output" in run.err)

    def check_run(self, run, usual, statuses):
        self.assertIn(run.status, statuses)
        if run.status == 0:
            self.assertEqual((run.out, run.err), (usual.out, ""))
        else:
            self.assertRegex(run.err, NAMES_A_FILE)
        if "libarchive" not in run.err:
            for left, usually in zip(run.left_behind, usual.left_behind):
                self.assertLessEqual(left, usually, "blocks and descriptors that are left")

    # Building

    def old_package(self):
        if not os.path.exists("out.bex") or os.path.getsize("out.bex") != 3:
            self.write("out.bex", b"old")
        for name in hidden_names():
            os.remove(name)

    def expect_package(self, done, leftovers=0):
        self.assertEqual(contents("out.bex"), self.whole if done else b"old")
        self.assertLessEqual(len(hidden_names()), leftovers)
        self.assertEqual(set(os.listdir()) - set(hidden_names()), {"input", "out.bex", "sound.bex", "tmp", "tree"})

    def test_build(self):
        for variables in ({}, {"BEX_NAMED_FILES": "1"}):
            self.check_faults(REAL_PROCESS, BUILD, self.old_package, self.expect_package, **variables)

    def test_killed_build_leaves_old_or_new_and_the_next_one_succeeds(self):
        for variables in ({}, {"BEX_NAMED_FILES": "1"}):
            with self.program(*BUILD, **variables) as program:
                for run, context in self.each_run(program, "kill", self.old_package):
                    with context:
                        self.assertEqual(run.status, -signal.SIGKILL)
                        self.expect_package(contents("out.bex") == self.whole, leftovers=3)
                        left = hidden_names()
                        self.assertTrue(not left or variables or run.call == "renameat" or left[0].startswith("tmp/"))
                        self.assertEqual(program.run().status, 0)
                        self.assertEqual((contents("out.bex"), hidden_names()), (self.whole, left))

    def test_unreadable_sources_and_loops(self):
        def build(tree):
            return subprocess.run([os.environ["BEX"], "build", tree, *BUILD[2:-2]], preexec_fn=give_up_privileges,
                                  capture_output=True, text=True, check=False)

        for path, reason in (("tree/sub/other", "open it"), ("tree/sub", "open the directory")):
            self.make_tree()
            self.old_package()
            os.chmod(path, 0)
            made = build("tree")
            os.chmod(path, 0o700)
            self.assertEqual((made.returncode, made.stderr), (4, f"bex: {path}: can't {reason}: Permission denied\n"))
            self.expect_package(False)
        os.symlink("two", "tree/sub/one")  # each the other's target: links are stored, not followed
        os.symlink("one", "tree/sub/two")
        os.chmod("tree/sub/file", 0 if os.geteuid() == 0 else 0o400)
        self.run_once(*BUILD)
        self.run_once("extract", "out.bex", "to")
        self.assertEqual((os.readlink("to/sub/one"), os.readlink("to/sub/two")), ("two", "one"))
        self.assertEqual(stat.S_IMODE(os.lstat("to/sub/file").st_mode) & 0o377, 0)
        os.symlink("loop", "loop")
        self.assertEqual(build("loop").stderr, "bex: loop/DEBIAN: Too many levels of symbolic links\n")

    # Changing a finished package, in place

    def check_change(self, command):
        def reset():
            self.write("out.bex", self.old)
            for name in hidden_names():
                os.remove(name)

        self.old = self.whole
        reset()
        self.run_once(*command)
        changed = contents("out.bex")

        def check(done):
            self.assertEqual(contents("out.bex"), changed if done else self.old)
            self.assertEqual(hidden_names(), [])

        self.check_faults(REAL_PROCESS, command, reset, check)
        with self.program(*command) as program:
            for run, context in self.each_run(program, "kill", reset):
                with context:
                    self.assertEqual(run.status, -signal.SIGKILL)
                    self.assertIn(contents("out.bex"), (self.old, changed))

    def test_edit(self):
        self.check_change(["edit", "out.bex", "--in-place", "--set", "Version=2", "--threads", "2"])

    def test_repack(self):
        self.check_change(["repack", "out.bex", "--in-place", "-Z", "none", "--threads", "2"])

    # Reading

    def test_reading(self):
        for arguments in (["verify"], ["list"], ["cat", "--threads", "2"]):
            path = ["sub/file"] if arguments[0] == "cat" else []
            command = [arguments[0], "sound.bex", *path, *arguments[1:]]
            self.check_faults(EVERY_KIND, command, lambda: None, lambda done: None)

    def test_package_that_changes_at_any_moment(self):
        changes = {
            "cut": lambda: os.truncate("out.bex", len(self.whole) // 2),
            "emptied": lambda: os.truncate("out.bex", 0),
            "overwritten": lambda: self.write("out.bex", self.whole[:300] + b"x" * len(self.whole)),
            "replaced": lambda: (self.write("other", b"old"), os.replace("other", "out.bex")),
        }
        for arguments in (["verify"], ["list"], ["extract", "to", "--threads", "2"]):
            command = [arguments[0], "out.bex", *arguments[1:]]
            self.write("out.bex", self.whole)
            usual = self.run_once(*command)
            for name, change in changes.items():
                with self.program(*command) as program:
                    for run, context in self.each_run(program, "stop", lambda: self.write("out.bex", self.whole),
                                                      lambda _: change()):
                        with self.subTest(command=command, change=name), context:
                            self.assertIn(run.status, (0, 1, 3) if command[0] == "verify" else (0, 3))
                            if run.status == 0:
                                self.assertEqual((run.out, run.err), (usual.out, ""))
                            elif run.status == 3:
                                self.assertRegex(run.err, "^bex: out.bex: ")

    # Extraction

    def old_destination(self):
        shutil.rmtree("to", ignore_errors=True)
        self.write("to/sub/file", b"old")
        os.symlink("sub/file", "to/opt")

    def test_extraction(self):
        self.old_destination()
        command = ["extract", "sound.bex", "to", "--threads", "2"]
        self.run_once(*command)
        whole = tree_below("to")

        def check(done):
            made = tree_below("to")
            if done:
                self.assertEqual(made, whole)
            for path, (kind, _, _, data) in made.items():
                if kind != stat.S_IFDIR:
                    self.assertIn(data, (whole[path][3], b"old", "sub/file"), path)

        self.check_faults(REAL_PROCESS, command, self.old_destination, check)

    # The object library

    def test_object_library(self):
        self.write("control", b"Description: d\nPackage: p\nVersion: 1\n")
        subprocess.run("""tar -czf control.tar.gz control && tar -czf data.tar.gz -C tree sub/file -C sub other &&
                          head -c 200000 /dev/zero >padding && ar rc object.bex control.tar.gz padding data.tar.gz""",
                       shell=True, check=True)
        old, whole = {"other": b"old"}, {"sub/file": contents("tree/sub/file"), "other": b"small"}

        def reset():
            shutil.rmtree("to", ignore_errors=True)
            self.write("to/twin", b"old")
            os.link("to/twin", "to/other")

        with Program(["object.bex", "to"], self.folder, program="BEX_HOSTILE_OBJECTS") as program:
            for before in (lambda: None, lambda: self.write("to/sub", b""), reset):  # both errors, and none
                before()
                program.run("warm")
            for kind in (*ERRORS, errno.EINTR, "short", "new"):  # not "memory": libarchive crashes
                for run, context in self.each_run(program, kind, reset):
                    with context:
                        made = {path: data for path, (_, _, _, data) in tree_below("to").items() if data is not None}
                        self.assertEqual((made.pop("twin"), run.err, run.left_behind), (b"old", "", (0, 0)))
                        self.assertLessEqual(made.keys(), whole.keys())
                        self.assertIn(made["other"], (b"old", b"small"))
                        self.assertTrue(whole["sub/file"].startswith(made.get("sub/file", b"")))
                        self.assertIn(run.status, (0,) if kind == "short" else (0, 3, 4))
                        if run.status == 3:
                            self.assertEqual(made, old)
                        elif run.status == 0 and (run.call != "fopen" or made != old):  # else it began a new package
                            loading = kind == "short" or run.call in ("open", "read", "fstat")
                            self.assertLessEqual(sum(made.get(path) != whole[path] for path in whole), not loading)


def give_up_privileges():
    """What lets root read what it may not: CAP_DAC_OVERRIDE and CAP_DAC_READ_SEARCH. Nothing where it is not root."""
    for capability in (1, 2):
        ctypes.CDLL(None).prctl(24, capability, 0, 0, 0)  # PR_CAPBSET_DROP


def hidden_names():
    """What an interrupted run may leave: names beside the package, or of the copy of its input."""
    return [name for name in os.listdir() if name.startswith(".bex-")] + ["tmp/" + name for name in os.listdir("tmp")]


if __name__ == "__main__":
    unittest.main()
