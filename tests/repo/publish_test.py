"""What `bex repo` promises of a publication: clients see the old suite or the new one at any moment, nothing is written
that need not be, and what can't be accepted leaves the repository as it was."""

import errno
import fcntl
import gzip
import os
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest

from repository import BEX, DATE, RepositoryCase, clean_environment, client_view, read, release_of, snapshot, unpacked

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "faults"))
FAULTS = os.environ.get("BEX_SHIM")
ONE, TWO = ("one", "1.0", "all"), ("two", "1.0", "amd64")


def stanzas(root, architecture="amd64", component="main", suite="stable"):
    """The plain index as the published gzip file has it."""
    path = os.path.join(root, "dists", suite, component, f"binary-{architecture}", "Packages.gz")
    return gzip.decompress(read(path)).decode()


def fnv1a(name):
    value = 2166136261
    for byte in name.encode():
        value = (value ^ byte) * 16777619 % 2**32
    return value


class PublishTest(RepositoryCase):
    def view(self, suite="stable"):
        return client_view(self.repo, suite)

    def age(self, suite="stable"):
        """As if an hour went by since the last publication."""
        path = os.path.join(self.repo, ".bex/generations", suite)
        aged = re.sub(r"^Published: .*", f"Published: {int(time.time()) - 3600}", read(path).decode(), flags=re.M)
        with open(path, "w", encoding="utf-8") as out:
            out.write(aged)

    def dpkg_package(self, tree, file, fields):
        """Builds a package that `bex build` would refuse."""
        control = self.path(tree, "DEBIAN/control")
        os.makedirs(os.path.dirname(control), exist_ok=True)
        sound = {"Package": "evil", "Version": "1", "Architecture": "all", "Maintainer": "A <a@example.org>",
                 "Description": "d"}
        with open(control, "w", encoding="utf-8") as out:
            out.write("".join(f"{name}: {value}\n" for name, value in {**sound, **fields}.items()))
        subprocess.run(["dpkg-deb", "--nocheck", "-b", self.path(tree), self.path(file)], check=True,
                       capture_output=True)
        return self.path(file)

    def test_what_is_added_is_published_for_each_architecture(self):
        self.init("--arch", "amd64,arm64", "--component", "main,contrib")
        self.bex("add", self.package("one"), self.package("two", arch="amd64"))
        self.bex("add", "--component", "contrib", self.package("three", arch="arm64", fields=("--section", "net")))
        self.publish("--compress", "none,gz,xz,zst", "--contents", "--date", str(DATE), "--valid-until", "7d")
        names = {key: re.findall(r"^Package: (.*)$", stanzas(self.repo, *key), re.M)
                 for key in (("amd64",), ("arm64",), ("amd64", "contrib"), ("arm64", "contrib"))}
        self.assertEqual(list(names.values()), [["one", "two"], ["one"], [], ["three"]])
        text, listed = release_of(os.path.join(self.repo, "dists/stable"))
        for line in ("Date: Tue, 14 Nov 2023 22:13:20 UTC", "Valid-Until: Tue, 21 Nov 2023 22:13:20 UTC",
                     "Acquire-By-Hash: yes", "Architectures: amd64 arm64", "Components: main contrib"):
            self.assertIn("\n" + line + "\n", "\n" + text)
        self.assertEqual(len(listed), 4 * 5)
        for name in listed:  # the file under its own name is the one under its digest
            data = read(os.path.join(self.repo, "dists/stable", name))
            if "/Packages" in name:
                plain = read(os.path.join(self.repo, "dists/stable", re.sub(r"\.\w+$", "", name)))
                self.assertEqual(unpacked(name, data), plain, name)
        contents = gzip.decompress(read(os.path.join(self.repo, "dists/stable/contrib/Contents-arm64.gz"))).decode()
        self.assertEqual(contents, "usr/share/doc/three/README net/three\n")

    def test_settings_without_a_component_or_an_architecture_are_refused(self):
        for field in ("Components", "Architectures"):
            self.repo = self.path("repo" + field)
            self.init()
            settings = os.path.join(self.repo, ".bex/suites")
            text = re.sub(f"^{field}: .*\n", "", read(settings).decode(), flags=re.M)
            with open(settings, "w", encoding="utf-8") as out:
                out.write(text)
            done = self.bex("add", self.package("one"), check=False)
            self.assertIn(f"{field} has to name at least one", done.stderr)
            self.assertEqual(done.returncode, 2)

    def test_nothing_new_writes_nothing_and_bytes_depend_on_packages_and_date(self):
        one, two = self.package("one"), self.package("two", arch="amd64")
        trees = []
        for packages in ((one, two), (two, one)):
            self.repo = self.path("repo" + str(len(trees)))
            self.init()
            for package in packages:
                self.bex("add", package)
                self.publish("--date", str(DATE), "--contents")
            before = snapshot(self.repo)
            self.assertEqual(self.publish("--date", str(DATE + 10), "--contents").stdout, "")
            self.assertEqual(snapshot(self.repo), before)
            trees.append({path: read(os.path.join(self.repo, path)) for path in before
                          if path.startswith(("pool/", "dists/")) and "by-hash" not in path})
        self.assertEqual(*trees)

    def test_generations_stay_readable_and_leave_when_they_are_old(self):
        self.init()
        views = []
        for number in range(4):
            self.bex("add", self.package("one", f"{number}.0"))
            self.publish("--keep-generations", "2", "--date", str(DATE + number))
            views.append(release_of(os.path.join(self.repo, "dists/stable"))[1])
        self.bex("remove", "one (<< 2.0)")

        def are_there():
            folder = os.path.join(self.repo, "dists/stable/main/binary-amd64/by-hash/SHA256")
            return [view["main/binary-amd64/Packages.gz"][0] in os.listdir(folder) for view in views]

        self.assertEqual(are_there(), [True] * 4)  # all of the last quarter of an hour
        # Those beyond the last two go, and with them what only they list.
        self.age()
        self.publish("--keep-generations", "2")
        self.assertEqual(are_there(), [False] * 3 + [True])
        self.assertEqual(self.view(), {("one", "2.0", "all"), ("one", "3.0", "all")})
        # The file of a package that nothing lists any more goes when the last generation with it does.
        self.bex("remove", "one (<< 3.0)")
        self.publish("--keep-generations", "1")
        self.age()
        self.bex("add", self.package("two", arch="amd64"))
        self.publish("--keep-generations", "1")
        pool = sorted(name for _, _, names in os.walk(os.path.join(self.repo, "pool")) for name in names)
        self.assertEqual(pool, ["one_3.0_all.deb", "two_1.0_amd64.deb"])

    def test_a_file_stays_while_any_suite_or_generation_needs_it(self):
        self.init("--suite", "testing")
        self.init("--suite", "stable")
        self.bex("add", "--suite", "testing", self.package("one"))
        self.bex("promote", "--from", "testing", "--to", "stable", "one")
        self.publish()

        def is_there():
            return os.path.exists(os.path.join(self.repo, "pool/main/o/one/one_1.0_all.deb"))

        self.bex("remove", "--suite", "stable", "one")
        self.publish("--keep-generations", "1")
        self.assertNotIn("unlisted", self.bex("verify").stdout)
        # Noted, but clients of testing still read an index that lists it.
        self.bex("remove", "--suite", "testing", "one")
        self.age()
        self.bex("add", "--suite", "stable", self.package("two"))
        self.publish("--suite", "stable", "--keep-generations", "1")
        self.assertTrue(is_there())
        self.publish("--suite", "testing", "--keep-generations", "1")
        self.assertTrue(is_there())
        self.age("testing")
        self.bex("add", "--suite", "testing", self.package("two"))
        self.publish("--suite", "testing", "--keep-generations", "1")
        self.assertFalse(is_there())

    def test_what_a_component_left_behind_goes_with_its_last_generation(self):
        self.init("--component", "main,contrib")
        self.bex("add", "--component", "contrib", self.package("three"))
        self.publish()
        folder = os.path.join(self.repo, "dists/stable/contrib/binary-amd64/by-hash/SHA256")
        for number in range(3):
            self.init("--component", "main")
            self.assertNotEqual(os.listdir(folder), [])
            self.age()
            self.bex("add", self.package("one", f"{number}.0"))
            self.publish("--keep-generations", "3")
        self.assertEqual(os.listdir(folder), [])

    def test_files_that_a_killed_process_did_not_remove_go_with_the_next_publication(self):
        self.init()
        self.bex("add", self.package("two"))
        self.publish()
        generations = os.path.join(self.repo, ".bex/generations/stable")
        file = os.path.join(self.repo, "pool/main/o/one/one_1.0_all.deb")
        os.makedirs(os.path.dirname(file))
        shutil.copy(self.package("one"), file)
        with open(generations, "a", encoding="utf-8") as out:
            # As a publication leaves it between writing the list and removing the files.
            out.write("\nUnlisted:\n pool/main/o/one/one_1.0_all.deb\n pool/main/t/two/two_1.0_all.deb\n ../outside\n")
        self.assertEqual(self.publish().stdout, "removed pool/main/o/one/one_1.0_all.deb\n")
        self.assertFalse(os.path.exists(file))
        self.assertEqual(self.view(), {("two", "1.0", "all")})
        self.assertNotIn("Unlisted", read(generations).decode())
        self.assertEqual(self.publish().stdout, "")

    def test_indexes_that_change_a_little_are_those_that_one_publication_writes(self):
        """Parts of the old index and of the old Contents are taken over; the bytes must not show it."""
        # One package in 256 begins a new block, by the hash of its name.
        names = [f"p{number}" for number in range(2000)]
        names = sorted(names[:40] + [name for name in names if fnv1a(name) % 256 == 0])
        packages = [self.package(name) for name in names]
        repos = []
        for lots in ((packages[:40] + packages[50:], packages[40:50]), (packages,)):
            self.repo = self.path("repo" + str(len(repos)))
            repos.append(self.repo)
            self.init()
            for number, lot in enumerate(lots):
                self.bex("add", *lot)
                if number:
                    # A package that is no longer there is not read again.
                    os.rename(os.path.join(self.repo, "pool/main/p", names[0]), self.path("away"))
                self.publish("--compress", "gz,xz,zst", "--contents", "--date", str(DATE + 1 - len(repos) + number))
        views = [release_of(os.path.join(repo, "dists/stable"))[1] for repo in repos]
        self.assertEqual(*views)
        contents = read(os.path.join(repos[0], "dists/stable/main/Contents-amd64.gz"))
        self.assertEqual(gzip.decompress(contents).count(b"\n"), len(names))
        # Several blocks, so that some of them were taken over.
        packed = read(os.path.join(repos[0], "dists/stable/main/binary-amd64/Packages.gz"))
        self.assertGreater(packed.count(b"BX\x04\0"), 3)

    def test_contents_forget_what_left_and_keep_what_others_have(self):
        self.init()
        self.bex("add", self.package("one"), self.package("one", "2.0", text="x" * 10), self.package("two"))
        tree = self.path("tree-odd")
        shutil.copytree(self.path("tree-two"), tree)
        os.rename(os.path.join(tree, "usr/share/doc/two"), os.path.join(tree, "usr/share/doc/odd"))
        self.bex("add", "--allow", "field", self.dpkg_package(
            "tree-odd", "odd.deb", {"Package": "odd", "Version": "1", "Section": "a b,c"}))
        contents = os.path.join(self.repo, "dists/stable/main/Contents-amd64.gz")
        for removed, expected in ((None, "odd one two"), ("one (= 1.0)", "odd one two"), ("one", "odd two")):
            if removed:
                self.bex("remove", removed)
            self.publish("--contents")
            self.assertEqual(gzip.decompress(read(contents)).decode(),
                             "".join(f"usr/share/doc/{name}/README {name}\n" for name in expected.split()))

    def test_add_goes_by_the_settings_under_the_lock(self):
        self.init("--arch", "amd64,arm64")
        package = self.package("one", arch="arm64")
        settings = os.path.join(self.repo, ".bex/suites")
        with open(os.path.join(self.repo, ".bex/lock"), "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            with subprocess.Popen([BEX, "repo", "add", self.repo, package], stderr=subprocess.PIPE, text=True,
                                  env=clean_environment()) as adding:
                while not re.search(rf"-> FLOCK.* {adding.pid} ", read("/proc/locks").decode()):
                    self.assertIsNone(adding.poll())
                text = read(settings).decode().replace("amd64 arm64", "amd64")
                with open(settings, "w", encoding="utf-8") as out:
                    out.write(text)
                fcntl.flock(lock, fcntl.LOCK_UN)
                self.assertIn('is for "arm64", but suite stable has only amd64', adding.communicate()[1])

    def test_several_suites_versions_and_promotion(self):
        self.init("--suite", "testing")
        self.init("--suite", "stable")
        versions = ("1.0", "1:0.5", "2.0~rc1", "2.0")
        for version in versions:
            self.bex("add", "--suite", "testing", self.package("one", version))
        self.bex("add", "--suite", "testing", self.package("two", arch="amd64"))
        self.publish()
        self.assertIn("which suite is meant? There are testing, stable", self.refused("remove", "one"))
        self.assertIn('suite testing has no package "three"',
                      self.refused("promote", "--from", "testing", "--to", "stable", "one", "three"))
        self.bex("promote", "--from", "testing", "--to", "stable", "one (= 2.0)", "tw?:amd64")
        listed = self.bex("list", "--suite", "stable").stdout
        self.assertEqual(listed, "stable main one 2.0 all\nstable main two 1.0 amd64\n")
        self.assertEqual(self.view("stable"), set())  # not before it is published
        self.publish()
        self.assertEqual(self.view("stable"), {("one", "2.0", "all"), TWO})
        self.bex("remove", "--suite", "testing", "--keep", "2")
        self.publish()
        self.assertEqual(self.view("testing"), {("one", "1:0.5", "all"), ("one", "2.0", "all"), TWO})
        self.bex("add", "--suite", "testing", "--keep", "1", self.package("one", "1:0.6"))
        self.publish()
        self.assertEqual(self.view("testing"), {("one", "1:0.6", "all"), TWO})

    def test_link_and_move(self):
        self.init()
        one, two = self.package("one"), self.package("two", arch="amd64")
        self.bex("add", "--link", one)
        self.assertEqual(os.stat(one).st_nlink, 2)
        self.bex("add", "--move", two, one)
        self.assertFalse(os.path.exists(two))
        self.publish()
        self.assertEqual(self.view(), {ONE, TWO})

    def test_refused_input_leaves_the_repository_as_it_was(self):
        self.init()
        good = self.package("one")
        self.bex("add", good)
        self.publish()
        other = self.package("one", text="other\n", file="other.deb")
        self.assertRegex(self.refused("add", self.package("two", arch="amd64"), other),
                         r"other\.deb: has the SHA-256 [0-9a-f]{64}, but pool/main/o/one/one_1\.0_all\.deb has "
                         r"[0-9a-f]{64}: the same package with other contents needs another version")
        self.assertIn("is for \"arm64\", but suite stable has only amd64",
                      self.refused("add", self.package("three", arch="arm64")))
        epoch = self.package("one", "1:1.0", text="other\n")
        self.assertIn("the same package with other contents needs another version", self.refused("add", epoch))
        os.mkfifo(self.path("fifo.deb"))
        self.assertIn("fifo.deb: is not a regular file", self.refused("add", self.path("fifo.deb")))
        os.symlink("loop.deb", self.path("loop.deb"))
        self.assertIn("Too many levels of symbolic links", self.refused("add", self.path("loop.deb")))
        for name, data in (("empty.deb", b""), ("cut.deb", read(good)[:-100])):
            with open(self.path(name), "wb") as out:
                out.write(data)
            self.assertIn(name, self.refused("add", self.path(name)))
        self.assertIn("the date Tue, 14 Nov 2023 22:13:20 UTC is before that of what is published",
                      self.refused("publish", "--date", str(DATE), "--contents"))
        self.assertEqual(self.view(), {ONE})
        self.assertEqual(self.bex("list").stdout, "stable main one 1.0 all\n")
        self.repo = self.path("nothing")
        self.assertIn("is not a repository; bex repo init makes one", self.bex("publish", check=False).stderr)

    def test_names_that_lead_out_of_the_pool_are_refused_whatever_is_allowed(self):
        self.init()
        cases = ({"Package": "../evil"}, {"Version": "1/../../../x"}, {"Architecture": "../all"},
                 {"Source": "../../../etc"}, {"Source": ".."}, {"Package": "e" * 300})
        for number, case in enumerate(cases):
            package = self.dpkg_package("evil", f"evil{number}.deb", case)
            with self.subTest(case=case):
                message = self.refused("add", "--allow", "field", package)
                self.assertRegex(message, "can't name a file|too long|is not|may hold only|must begin")

    def test_signers_that_fail(self):
        self.init()
        self.bex("add", self.package("one"))
        # What a tool prints, cut where a kill or a full disk may cut it.
        head = """printf '%s\\n' '-----BEGIN PGP SIGNED MESSAGE-----' 'Hash: SHA512' ''; cat"""
        signature = "printf '%s\\n' '-----BEGIN PGP SIGNATURE-----' '' wgEE"
        half = f"{head}; {signature}"
        cut = f"case $1 in sign) {signature} ;; *) {head}; {signature} '-----END PGP SIGNATURE-----' ;; esac"
        cases = (("false", "failed"), ("cat /etc/hostname", "did not print the Release file with a signature"),
                 ("true", "did not print the Release file with a signature"), ("/nonexistent", "can't run it"),
                 ("sleep 60 #", "did not end within 1 s and was stopped"), ("kill -9 $$ #", "failed"),
                 (f"{half} #", "did not print the Release file with a signature"),
                 (f"{cut} #", "did not print an armored signature"))
        for signer, reason in cases:
            script = self.path("signer")
            with open(script, "w", encoding="utf-8") as out:
                out.write("#!/bin/sh\n" + ("" if signer[-1] == "#" else "exec ") + signer + "\n")
            os.chmod(script, 0o755)
            command = signer if signer == "/nonexistent" else script
            with self.subTest(signer=signer):
                message = self.refused("publish", "--signer", command, "--sign", "key", "--signer-timeout", "1s")
                self.assertIn(reason, message)
                self.assertFalse(os.path.exists(os.path.join(self.repo, "dists/stable/Release")))
        self.publish()
        self.assertEqual(self.view(), {ONE})

    def test_publishers_at_once_lose_nothing(self):
        self.init()
        packages = [self.package(f"p{number}") for number in range(12)]
        script = '"$BEX" repo add "$1" "$2" && "$BEX" repo publish "$1"'
        running = [subprocess.Popen(["sh", "-c", script, "-", self.repo, package], stdout=subprocess.DEVNULL,
                                    env={**clean_environment(), "BEX": BEX}) for package in packages]
        self.assertEqual([process.wait() for process in running], [0] * len(running))
        self.assertEqual(self.view(), {(f"p{number}", "1.0", "all") for number in range(12)})


@unittest.skipUnless(FAULTS, "needs the fault shim")
class FaultsTest(RepositoryCase):
    """Every call of a publication fails, or is the last one, in turn."""

    def setUp(self):
        super().setUp()
        self.signing = ()

    def prepare(self, signing):
        self.repo = self.path("repo-" + str(len(signing)))
        self.signing = signing
        self.init()
        self.bex("add", self.package("one"))
        self.publish("--date", str(DATE), *signing)
        self.bex("add", self.package("two", arch="amd64"))
        self.bex("remove", "one")
        self.saved = self.repo + "-saved"
        shutil.copytree(self.repo, self.saved)

    def restore(self):
        shutil.rmtree(self.repo)
        shutil.copytree(self.saved, self.repo)

    def state(self):
        """What is in the repository, but for the names of temporary files and the time by the clock."""
        found = set()
        for base, _, names in os.walk(self.repo):
            for name in names:
                path = os.path.join(base, name)
                data = re.sub(rb"(?m)^Published: .*", b"", read(path))
                found.add((re.sub(r"/\.bex-[0-9a-f]{8,}$", "/.bex-*", path), data))
        return frozenset(found)

    def each_run(self, kind, signing):
        """A run with each fault, and whether the repository is now as no earlier run left it."""
        from injection import Program
        self.prepare(signing)
        states = {self.state()}
        before = next(iter(states))
        met, nth = 0, 1
        arguments = ["repo", "publish", self.repo, "--date", str(DATE + 1), "--contents", "--threads", "1", *signing]
        with Program(arguments, self.folder) as program:
            program.run("warm")  # loads the libraries once for all runs
            self.restore()
            while True:
                run = program.run(kind, nth)
                if run.call is None:
                    self.assertEqual((run.status, run.err), (0, ""))
                    self.assertEqual(client_view(self.repo), {TWO})
                    self.assertGreater(met, 50)
                    return
                after = self.state()
                with self.subTest(kind=kind, nth=nth, call=run.call, err=run.err, signing=signing):
                    yield run, after not in states
                if after != before:
                    self.restore()
                states.add(after)
                met, nth = met + 1, nth + 1

    def check_clients(self):
        """Old or new, whole; and the next publication mends what was left."""
        self.assertIn(client_view(self.repo), ({ONE}, {TWO}))
        self.publish("--date", str(DATE + 2), "--contents", *self.signing)
        self.assertEqual(client_view(self.repo), {TWO})
        left = [name for _, _, names in os.walk(self.repo) for name in names if name.startswith(".bex-")]
        self.assertEqual(left, [])

    def test_killed_at_any_call(self):
        for signing in ((), ("--signer", os.environ.get("BEX_SIGNER", ""), "--sign", "key")):
            for run, is_new in self.each_run("kill", signing):
                self.assertEqual(run.status, -signal.SIGKILL)
                if is_new:
                    self.check_clients()

    def test_any_call_fails(self):
        for kind in (errno.EIO, errno.ENOSPC) if os.environ.get("BEX_FAULTS") == "all" else (errno.EIO,):
            for run, is_new in self.each_run(kind, ()):
                self.assertIn(run.status, (0, 4))
                self.assertEqual(run.status == 0, run.err == "")
                if run.status == 0:
                    self.assertEqual(client_view(self.repo), {TWO})
                if is_new:
                    self.check_clients()


if __name__ == "__main__":
    unittest.main()
