"""`bex repo verify` finds what a client would stumble over, in a directory and on a web server."""

import functools
import http.server
import json
import os
import re
import threading
import unittest

from repository import DATE, HAS, RepositoryCase, read, release_of, run

PACKAGES = "dists/stable/main/binary-amd64/Packages"
ONE, TWO = "pool/main/o/one/one_1.0_all.deb", "pool/main/t/two/two_1.0_amd64.deb"


class Silent(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class VerifyTest(RepositoryCase):
    def setUp(self):
        super().setUp()
        self.init()
        self.bex("add", self.package("one"), self.package("two", arch="amd64", fields=("--section", "net")))

    def findings(self, *arguments, where=None):
        """The codes and files of what is found, sorted, and the status."""
        done = run(os.environ["BEX"], "repo", "verify", where or self.repo, "--json", *arguments, check=False)
        self.assertIn(done.returncode, (0, 1), done.stderr)
        found = json.loads(done.stdout)["findings"]
        return sorted((item["severity"], item["code"], item["path"]) for item in found), done.returncode

    def change(self, path, old, new):
        data = read(os.path.join(self.repo, path))
        self.assertIn(old, data)
        os.remove(os.path.join(self.repo, path))  # not the by-hash file, which is the same one
        with open(os.path.join(self.repo, path), "wb") as file:
            file.write(data.replace(old, new, 1))

    def rewrite_index(self, old, new):
        """Changes a stanza, and everything that would show the change: for what verify says of stanzas alone."""
        self.publish("--compress", "none", "--date", str(DATE))
        before = read(os.path.join(self.repo, PACKAGES))
        self.assertIn(old, before)
        after = before.replace(old, new, 1)
        sums = [run("sha256sum", input=data.decode()).stdout.split()[0] for data in (before, after)]
        folder = os.path.join(self.repo, os.path.dirname(PACKAGES))
        for path in (PACKAGES, f"{folder}/by-hash/SHA256/{sums[1]}"):
            path = os.path.join(self.repo, path)
            if os.path.exists(path):
                os.remove(path)
            with open(path, "wb") as file:
                file.write(after)
        self.change("dists/stable/Release", f"{sums[0]} {len(before)}".encode(), f"{sums[1]} {len(after)}".encode())

    UNSIGNED = ("warning", "unsigned", "dists/stable/Release")

    def test_a_sound_repository(self):
        self.publish("--compress", "none,gz,xz,zst", "--contents")
        self.assertEqual(self.findings("--deep"), ([self.UNSIGNED], 0))
        self.assertEqual(self.findings("--strict")[1], 1)

    def test_files_that_are_not_what_was_published(self):
        self.publish("--date", str(DATE), "--valid-until", "1d")
        digest = release_of(os.path.join(self.repo, "dists/stable"))[1]["main/binary-amd64/Packages.gz"][0]
        by_hash = f"dists/stable/main/binary-amd64/by-hash/SHA256/{digest}"
        self.change(ONE, b"!<arch>", b"?<arch>")
        self.change(PACKAGES + ".gz", b"\x1f\x8b", b"\x1f\x8c")
        for path in (TWO, by_hash):
            os.remove(os.path.join(self.repo, path))
        with open(os.path.join(self.repo, "pool/stray"), "wb"):
            pass
        found, status = self.findings("--deep")
        self.assertEqual(status, 1)
        self.assertEqual({(code, path) for _, code, path in found} - {("unsigned", "dists/stable/Release")},
                         {("expired", "dists/stable/Release"), ("index-digest", PACKAGES + ".gz"),
                          ("index-missing", by_hash), ("package-digest", ONE), ("ar-magic", ONE),
                          ("package-missing", TWO), ("unlisted", "pool/stray")})
        os.remove(os.path.join(self.repo, "dists/stable/Release"))
        self.assertIn(("error", "release-missing", "dists/stable"), self.findings()[0])

    def test_stanzas_that_are_not_true(self):
        cases = ((b"Maintainer: Ann Lee", b"Maintainer: Eve Lee", "stanza-field", ONE, "error"),
                 (b"Section: net", b"Section: web", "stanza-field", TWO, "warning"),
                 (b"Architecture: amd64", b"Architecture: arm64", "stanza-architecture", PACKAGES, "error"),
                 (b"Filename: pool/main/t", b"Filename: ../main/t", "stanza", PACKAGES, "error"),
                 (b"Package: two", b"Package: one", "stanza-field", TWO, "error"))
        for old, new, code, path, severity in cases:
            with self.subTest(new=new):
                self.rewrite_index(old, new)
                found = self.findings()[0]
                self.assertIn((severity, code, path), found)
                self.repo = self.path("repo-" + str(len(os.listdir(self.folder))))
                self.init()
                self.bex("add", self.path("one_1.0_all.deb"), self.path("two_1.0_amd64.deb"))

    def test_files_longer_than_any_limit_are_findings(self):
        self.publish()
        path = PACKAGES + ".gz"
        data = read(os.path.join(self.repo, path))
        os.remove(os.path.join(self.repo, path))
        with open(os.path.join(self.repo, path), "wb") as file:
            file.write(data)
            file.truncate(70 << 20)
        self.assertEqual(self.findings(), ([("error", "index-digest", path), self.UNSIGNED], 1))
        with open(os.path.join(self.repo, "dists/stable/InRelease"), "wb") as file:
            file.truncate(70 << 20)
        self.assertEqual(self.findings()[0][0], ("error", "release", "dists/stable/InRelease"))

    @unittest.skipUnless(HAS["gpg"] and HAS["gpgv"], "needs gpg")
    def test_signatures(self):
        environment, keyring = self.gpg_key()
        self.publish("--sign", "t@example.org", env=environment)
        self.assertEqual(self.findings("--keyring", keyring), ([], 0))
        saved = {name: read(os.path.join(self.repo, "dists/stable", name)) for name in ("Release", "InRelease")}
        self.change("dists/stable/Release", b"Suite: stable", b"Suite: staple")
        self.assertEqual(self.findings("--keyring", keyring)[0],
                         [("error", "release-differs", "dists/stable/Release"),
                          ("error", "signature", "dists/stable/Release.gpg")])
        self.change("dists/stable/Release", b"Suite: staple", b"Suite: stable")
        self.change("dists/stable/InRelease", b"Codename: stable", b"Codename: staple")
        self.assertIn(("error", "signature", "dists/stable/InRelease"), self.findings("--keyring", keyring)[0])
        self.change("dists/stable/InRelease", b"Codename: staple", b"Codename: stable")
        self.assertEqual({name: read(os.path.join(self.repo, "dists/stable", name)) for name in saved}, saved)

    def test_on_a_web_server(self):
        self.bex("add", self.package("pl.us+", "1:2.0~rc1+b1"))
        self.publish()
        handler = functools.partial(Silent, directory=self.repo)
        with http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            url = f"http://127.0.0.1:{server.server_port}"
            self.assertEqual(self.findings("--deep", where=url), ([self.UNSIGNED], 0))
            os.remove(os.path.join(self.repo, TWO))
            self.change(ONE, b"!<arch>", b"?<arch>")
            found = self.findings(where=url + "/")[0]
            self.assertEqual({(code, path) for _, code, path in found} - {("unsigned", "dists/stable/Release")},
                             {("package-missing", TWO), ("package-digest", ONE), ("ar-magic", ONE)})
            self.assertIn(("error", "release-missing", "dists/none"),
                          self.findings("--suite", "none", where=url)[0])
            server.shutdown()


if __name__ == "__main__":
    unittest.main()
