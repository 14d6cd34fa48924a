"""The engines of the examples give the bytes that one process gives, also when a worker is killed half-way."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

BEX = os.environ["BEX"]
EXAMPLES = Path(os.environ["BEX_SOURCES"], "examples")
# The first lot that is scanned ends in the middle of its output, and takes the worker that it runs in with it.
DYING = """#!/bin/bash
if mkdir {work}/died 2>/dev/null; then
    {bex} "$@" | head -c 400
    kill -KILL {victims}
fi
exec {bex} "$@"
"""


class ScaleTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory(prefix="bex-scale-")
        cls.pool = Path(cls.folder.name, "a pool")
        for number in range(12):
            directory = cls.pool / "main" / f"p{number % 3}"
            directory.mkdir(parents=True, exist_ok=True)
            subprocess.run([BEX, "-q", "build", "--name", f"p{number % 3}", "--version", str(number), "--arch", "all",
                            "--maintainer", "Ann Lee <ann@example.org>", "--description", "d",
                            "-o", directory / f"it's {number}.deb"], stdout=subprocess.DEVNULL, check=True)
        cls.expected = cls.run_in(cls.pool, [BEX, "repo", "scan", "-m", "."])

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    @staticmethod
    def run_in(directory, command, **environment):
        done = subprocess.run(command, cwd=directory, env={**os.environ, **environment}, capture_output=True,
                              check=False, timeout=100)
        if done.returncode != 0:
            raise AssertionError(done.stderr.decode())
        return done.stdout

    def check(self, example, victims):
        self.assertEqual(self.expected.count(b"Package: "), 12)
        work = Path(tempfile.mkdtemp(dir=self.folder.name))
        self.assertEqual(self.run_in(work, [EXAMPLES / example, self.pool, "5"], BEX=BEX), self.expected)
        dying = work / "bex"
        dying.write_text(DYING.format(bex=BEX, work=work, victims=victims))
        dying.chmod(0o755)
        self.assertEqual(self.run_in(work, [EXAMPLES / example, self.pool, "5"], BEX=str(dying)), self.expected)
        self.assertTrue((work / "died").is_dir(), "no worker died")

    def test_gnu_parallel(self):
        self.check("scan_parallel.sh", "$$")

    def test_array_of_tasks(self):
        """Each task finds its number where Kubernetes or Slurm puts it; one is killed and run again."""
        shards = Path(tempfile.mkdtemp(dir=self.folder.name))
        dying = shards / "bex"
        dying.write_text(DYING.format(bex=BEX, work=shards, victims="$PPID $$"))
        dying.chmod(0o755)
        task = [EXAMPLES / "scan_lot.sh", self.pool, shards, "3"]
        with self.assertRaises(AssertionError):
            self.run_in("/", task, BEX=str(dying), JOB_COMPLETION_INDEX="0")
        self.assertEqual(list(shards.glob("*.shard")), [])
        self.run_in("/", [*task, "2"], BEX=BEX)
        self.run_in("/", task, BEX=str(dying), JOB_COMPLETION_INDEX="0")
        self.run_in("/", task, BEX=BEX, SLURM_ARRAY_TASK_ID="1")
        found = sorted(shards.glob("*.shard"))
        self.assertEqual(len(found), 3)
        self.assertEqual(self.run_in("/", [BEX, "repo", "merge", "-m", *found]), self.expected)

    def test_dask(self):
        self.check("scan_dask.py", "$PPID $$")


if __name__ == "__main__":
    unittest.main()
