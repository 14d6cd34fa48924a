"""What takes minutes: several builds onto one target, and directories swapped for links under an extraction."""

import argparse
import ctypes
import os
import random
import shutil
import subprocess
import tempfile
import threading
import time

from faults_test import BUILD, contents

EXCHANGE = 2  # renameat2(2)
HERE = -100
libc = ctypes.CDLL(None, use_errno=True)


def bex(*arguments, **options):
    return subprocess.run([os.environ["BEX"], *arguments], capture_output=True, text=True, errors="backslashreplace",
                          stdin=subprocess.DEVNULL, check=False, **options)


def build(source, target):
    arguments = [word for word in BUILD[3:] if word not in ("--stdin", "opt/input")]
    return ["build", source, target, *arguments]


def make_trees(*names):
    """Trees of the same names with other contents, a second of work or less."""
    for name in names:
        for number in range(60):
            os.makedirs(f"{name}/{number % 7}", exist_ok=True)
            with open(f"{name}/{number % 7}/{number}", "wb") as file:
                file.write(random.Random(f"{name}{number}").randbytes(20000) * 10)


def require(truth, what):
    if not truth:
        raise SystemExit(f"scripts/faults: {what}")


def require_sound(path, among, what):
    checked = bex("verify", path)
    require(checked.returncode == 0, f"{what}: {checked.stdout}{checked.stderr}")
    require(contents(path) in among, f"{what}: neither old nor new")


def whole_packages():
    packages = []
    for tree in ("one", "two"):
        require(bex(*build(tree, f"{tree}.bex")).returncode == 0, f"{tree}: build")
        packages.append(contents(f"{tree}.bex"))
    return packages


def build_at_once(rounds):
    packages = whole_packages()
    os.mkdir("at-once")
    for number in range(rounds):
        children = [subprocess.Popen([os.environ["BEX"], *build(tree, "at-once/out.bex")], stdout=subprocess.DEVNULL)
                    for tree in ("one", "two", "one", "two")]
        require([child.wait() for child in children] == [0] * 4, f"four builds at once, round {number}")
        require_sound("at-once/out.bex", packages, f"four builds at once, round {number}")
        require(os.listdir("at-once") == ["out.bex"], "litter")
    print(f"four builds at once: {rounds} rounds, one whole package each time")


def swap_under_extraction(seconds):
    """`to/3`, then `to`, changes places with a link to the trap, again and again, while packages are extracted."""
    for swapped in ("to/3", "to"):
        os.makedirs("trap")
        os.symlink(os.path.abspath("trap"), "link")
        done, swaps = threading.Event(), 0

        def swap():
            nonlocal swaps
            while not done.is_set():
                swaps += libc.renameat2(HERE, swapped.encode(), HERE, b"link", EXCHANGE) == 0

        thread = threading.Thread(target=swap)
        thread.start()
        end, statuses = time.monotonic() + seconds / 2, []
        # The destination is the caller's, and may be a link when it is opened: then it is what is told.
        target = "to" if swapped == "to/3" else os.open(make("to"), os.O_PATH)
        try:
            while time.monotonic() < end:
                shown = target if target == "to" else f"/proc/self/fd/{target}"
                run = bex("extract", "one.bex", shown, pass_fds=() if target == "to" else (target,))
                statuses.append(run.returncode)
                require(not os.listdir("trap"), f"in the trap: {os.listdir('trap')[:3]}")
        finally:
            done.set()
            thread.join()
        require(set(statuses) <= {0, 4, 5}, f"extraction ended with {set(statuses)}")
        counts = ", ".join(f"{statuses.count(status)} ended with {status}" for status in sorted(set(statuses)))
        print(f"{swapped} swapped for a link {swaps} times: {counts}; nothing in the trap")
        for name in ("to", "link", "trap"):
            shutil.rmtree(name) if os.path.isdir(name) and not os.path.islink(name) else os.remove(name)


def make(folder):
    os.makedirs(folder, exist_ok=True)
    return folder


def main():
    options = argparse.ArgumentParser()
    options.add_argument("--rounds", type=int, default=50)
    options.add_argument("--seconds", type=int, default=30)
    chosen = options.parse_args()
    with tempfile.TemporaryDirectory(prefix="bex-faults-") as folder:
        os.chdir(folder)
        make_trees("one", "two")
        build_at_once(chosen.rounds)
        swap_under_extraction(chosen.seconds)
        os.chdir("/")


if __name__ == "__main__":
    main()
