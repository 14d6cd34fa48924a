"""A program whose calls fail, stop or kill it one at a time; see shim.cpp."""

import os
import subprocess
import tempfile

ORDERS, ANSWERS = 198, 199  # the shim's descriptors


class Run:
    """How one run ended: `status` as subprocess tells it, `call` the one that the fault met, or None, `count` how many
    it could have met."""

    def __init__(self, answer, out, err):
        status, call, count, blocks, descriptors = answer.split()
        self.status = os.waitstatus_to_exitcode(int(status))
        self.call = None if call == "-" else call
        self.count = int(count)
        self.left_behind = (int(blocks), int(descriptors))
        self.out, self.err = out, err


class Program:
    """Serves runs of the program that an environment variable names, with the same arguments. Its input is rewound, its
    outputs are files that are read after a run."""

    def __init__(self, arguments, cwd, stdin=os.devnull, variables=None, program="BEX"):
        self.files = [open(stdin, "rb"), tempfile.TemporaryFile(), tempfile.TemporaryFile()]
        environment = {"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8", "SOURCE_DATE_EPOCH": "1000000000",
                       "TMPDIR": os.path.join(cwd, "tmp"), "LD_PRELOAD": os.environ["BEX_SHIM"], **(variables or {})}
        orders, self.orders = os.pipe()
        answers, theirs = os.pipe()
        os.dup2(orders, ORDERS)
        os.dup2(theirs, ANSWERS)
        self.process = subprocess.Popen([os.environ[program], *arguments], cwd=cwd, env=environment,
                                        stdin=self.files[0], stdout=self.files[1], stderr=self.files[2],
                                        pass_fds=(ORDERS, ANSWERS))
        for end in (orders, theirs, ORDERS, ANSWERS):
            os.close(end)
        self.answers = os.fdopen(answers)

    def close(self):
        os.close(self.orders)
        self.process.wait()
        self.answers.close()
        for file in self.files:
            file.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _order(self, text):
        os.write(self.orders, text.encode() + b"\n")
        return self.answers.readline()

    def _read(self, number):
        self.files[number].seek(0)
        return self.files[number].read().decode(errors="backslashreplace")

    def run(self, kind="none", nth=0, meanwhile=lambda call: None):
        """One run with that fault; `meanwhile` is called while it is stopped."""
        for file in self.files:
            file.seek(0)
            if file.writable():
                file.truncate()
        answer = self._order(f"{kind} {nth}")
        while answer.startswith("stopped"):
            meanwhile(answer.split()[1])
            answer = self._order("go 0")
        if kind == "warm":
            return None
        return Run(answer, self._read(1), self._read(2))
