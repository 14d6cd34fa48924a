"""The program as a child process of a test: at a terminal, stopped in the middle, or only run."""

import os
import pty
import select
import subprocess
import tempfile
import time
import unittest

from cases import environment

FIELDS = ["--name", "big", "--version", "1", "--arch", "all", "--maintainer", "Ann Lee <ann@example.org>",
          "--description", "d"]
PATIENCE = 100  # seconds until a test gives up waiting


class Running:
    """A child whose chosen outputs (1, 2) go to a terminal of 100 columns or, without one, to pipes."""

    def __init__(self, arguments, directory, terminal=(), variables=None, stdin=subprocess.DEVNULL):
        self.outputs, ends = {1: "", 2: ""}, {}
        self.sources = {}
        for number in (1, 2):
            ours, theirs = pty.openpty() if number in terminal else os.pipe()
            self.sources[ours], ends[number] = number, theirs
        self.process = subprocess.Popen(
            [os.environ["BEX"], *arguments], cwd=directory, stdin=stdin, stdout=ends[1], stderr=ends[2],
            env={**environment(), "TERM": "xterm", **(variables or {})})
        for end in ends.values():
            os.close(end)

    def wait_for(self, found):
        """Reads until found(outputs) holds or the child has closed its outputs; the outputs."""
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
                if not data:
                    os.close(source)
                    del self.sources[source]
                    continue
                self.outputs[self.sources[source]] += data.decode(errors="backslashreplace")
        return self.outputs

    def finish(self):
        """Status, standard output and standard error once it has ended."""
        outputs = self.wait_for(lambda _: False)
        return self.process.wait(timeout=PATIENCE), outputs[1], outputs[2]


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="bex-tool-")
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, *parts):
        return os.path.join(self.folder, *parts)

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
