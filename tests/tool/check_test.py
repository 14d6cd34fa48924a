"""build --check: a source that changes behind the writer's back keeps the package from appearing."""

import os
import signal
import unittest

from driving import FIELDS, ToolTest


class CheckTest(ToolTest):
    def build_with_change(self, *options):
        """Builds a and b; once b is being packed, a gets other bytes of the same size and time."""
        self.write("tree/a", "before\n")
        self.write("tree/b", size=1 << 28)
        child = self.start("build", "tree", "out.bex", *FIELDS, "--progress=json", *options)
        child.wait_for(lambda outputs: '"entry":"./b"' in outputs[2])
        child.process.send_signal(signal.SIGSTOP)
        before = os.stat(self.path("tree/a"))
        self.write("tree/a", "behind\n")
        os.utime(self.path("tree/a"), ns=(before.st_atime_ns, before.st_mtime_ns))
        child.process.send_signal(signal.SIGCONT)
        status, _, error = child.finish()
        return status, [line for line in error.splitlines() if not line.startswith("{")]

    def test_bites_and_leaves_nothing(self):
        status, messages = self.build_with_change("--check")
        self.assertEqual((status, messages), (3, ["bex: out.bex: ./a: what was written differs from its source"]))
        self.assertEqual(os.listdir(self.folder), ["tree"])


if __name__ == "__main__":
    unittest.main()
