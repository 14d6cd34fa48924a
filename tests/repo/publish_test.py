"""What `bex repo` promises of a publication: clients see the old suite or the new one at any moment, nothing is written
that need not be, and what can't be accepted leaves the repository as it was."""

import errno
import gzip
import os
import re
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


class PublishTest(RepositoryCase):
    def view(self, suite="stable"):
        return client_view(self.repo, suite)

    def age(self, suite="stable"):
        """As if an hour went by since the last publication."""
        path = os.path.join(self.repo, ".bex/generations", suite)
        aged = re.sub(r"^Published: .*", f"Published: {int(time.time()) - 3600}", read(path).decode(), flags=re.M)
        with open(path, "w", encoding="utf-8") as out:
            out.write(aged)

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
        sound = {"Package": "evil", "Version": "1", "Architecture": "all", "Maintainer": "A <a@example.org>",
                 "Description": "d"}
        cases = ({"Package": "../evil"}, {"Version": "1/../../../x"}, {"Architecture": "../all"},
                 {"Source": "../../../etc"}, {"Source": ".."}, {"Package": "e" * 300})
        for number, case in enumerate(cases):
            control = self.path("evil/DEBIAN/control")
            os.makedirs(os.path.dirname(control), exist_ok=True)
            with open(control, "w", encoding="utf-8") as out:
                out.write("".join(f"{name}: {value}\n" for name, value in {**sound, **case}.items()))
            package = self.path(f"evil{number}.deb")
            subprocess.run(["dpkg-deb", "--nocheck", "-b", self.path("evil"), package], check=True, capture_output=True)
            with self.subTest(case=case):
                message = self.refused("add", "--allow", "field", package)
                self.assertRegex(message, "can't name a file|too long|is not|may hold only|must begin")

    def test_signers_that_fail(self):
        self.init()
        self.bex("add", self.package("one"))
        cases = (("false", "failed"), ("cat /etc/hostname", "did not print the Release file with a signature"),
                 ("true", "did not print the Release file with a signature"), ("/nonexistent", "can't run it"),
                 ("sleep 60 #", "did not end within 1 s and was stopped"))
        for signer, reason in cases:
            script = self.path("signer")
            with open(script, "w", encoding="utf-8") as out:
                out.write(f"#!/bin/sh\nexec {signer}\n")
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
        self.init()
        self.bex("add", self.package("one"))
        self.publish("--date", str(DATE))
        self.bex("add", self.package("two", arch="amd64"))
        self.bex("remove", "one")
        self.saved = self.path("saved")
        subprocess.run(["cp", "-a", self.repo, self.saved], check=True)

    def restore(self):
        subprocess.run(["rm", "-rf", self.repo], check=True)
        subprocess.run(["cp", "-a", self.saved, self.repo], check=True)

    def each_run(self, kind):
        from injection import Program
        met, nth = 0, 1
        arguments = ["repo", "publish", self.repo, "--date", str(DATE + 1), "--contents", "--threads", "1"]
        with Program(arguments, self.folder) as program:
            while True:
                self.restore()
                run = program.run(kind, nth)
                if run.call is None:
                    self.assertEqual((run.status, run.err), (0, ""))
                    self.assertEqual(client_view(self.repo), {TWO})
                    self.assertGreater(met, 50)
                    return
                with self.subTest(kind=kind, nth=nth, call=run.call, err=run.err):
                    yield run
                met, nth = met + 1, nth + 1

    def check_clients(self, published):
        """Old or new, whole; and the next publication mends what was left."""
        seen = client_view(self.repo)
        self.assertIn(seen, ({ONE}, {TWO}))
        if published:
            self.assertEqual(seen, {TWO})
        self.publish("--date", str(DATE + 2), "--contents")
        self.assertEqual(client_view(self.repo), {TWO})
        left = [name for _, _, names in os.walk(self.repo) for name in names if name.startswith(".bex-")]
        self.assertEqual(left, [])

    def test_killed_at_any_call(self):
        for run in self.each_run("kill"):
            self.assertEqual(run.status, -signal.SIGKILL)
            self.check_clients(False)

    def test_any_call_fails(self):
        for kind in (errno.EIO, errno.ENOSPC) if os.environ.get("BEX_FAULTS") == "all" else (errno.EIO,):
            for run in self.each_run(kind):
                self.assertIn(run.status, (0, 4))
                self.assertEqual(run.status == 0, run.err == "")
                self.check_clients(run.status == 0)


if __name__ == "__main__":
    unittest.main()
