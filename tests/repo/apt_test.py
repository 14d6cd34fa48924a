"""apt installs from what `bex repo` publishes: over file: and over nginx, signed by gpg and by a Stateless OpenPGP
tool, with the indexes asked for by their digests."""

import os
import signal
import subprocess
import unittest

from repository import HAS, Apt, RepositoryCase, clean_environment, read, run

NGINX = """daemon off; master_process off; pid {folder}/nginx.pid; error_log {folder}/error.log;
events {{}}
http {{ access_log {folder}/access.log; client_body_temp_path {folder}/t1; proxy_temp_path {folder}/t2;
  fastcgi_temp_path {folder}/t3; uwsgi_temp_path {folder}/t4; scgi_temp_path {folder}/t5;
  server {{ listen unix:{folder}/unused.sock; listen 127.0.0.1:{port}; root {root}; }} }}
"""


@unittest.skipUnless(HAS["apt-get"] and HAS["gpg"], "needs apt and gpg")
class AptTest(RepositoryCase):
    def fill(self):
        self.init("--origin", "Example", "--label", "Test")
        self.bex("add", self.package("one"), self.package("two", arch="amd64", fields=("--depends", "one (>= 1.0)")))

    def install(self, uri, keyring):
        apt = Apt(self.path("root"), f"deb [signed-by={keyring}] {uri} stable main")
        apt("update", "--error-on=any")
        apt("install", "two")
        self.assertEqual(read(self.path("root/usr/share/doc/one/README")), b"hello\n")
        self.assertTrue(os.path.exists(self.path("root/usr/share/doc/two/README")))
        apt("download", "one")
        self.assertEqual(read(self.path("root/one_1.0_all.deb")), read(self.path("one_1.0_all.deb")))
        return apt

    def test_file_with_gpg(self):
        environment, keyring = self.gpg_key()
        self.fill()
        self.publish("--sign", "t@example.org", env=environment)
        apt = self.install(f"file:{self.repo}", keyring)
        self.bex("add", self.package("one", "2.0"))
        self.publish("--sign", "t@example.org", env=environment)
        apt("update", "--error-on=any")
        self.assertIn("Inst one [1.0] (2.0 Test:stable [all])", apt("upgrade", "--simulate").stdout)
        # What was not signed by this key is refused.
        with open(os.path.join(self.repo, "dists/stable/InRelease"), "r+", encoding="utf-8") as file:
            text = file.read().replace("Label: Test", "Label: Evil")
            file.seek(0)
            file.write(text)
        self.assertNotEqual(apt("update", "--error-on=any", check=False).returncode, 0)

    @unittest.skipUnless(HAS["sqop"] and HAS["nginx"], "needs sqop and nginx")
    def test_nginx_with_a_stateless_tool(self):
        for verb, source, target in (("generate-key", None, "key"), ("extract-cert", "key", "cert.asc")):
            done = run("sqop", verb, *(["ann"] if source is None else []),
                       **({} if source is None else {"input": read(self.path(source)).decode()}))
            with open(self.path(target), "w", encoding="utf-8") as out:
                out.write(done.stdout)
        self.fill()
        self.publish("--signer", "sqop", "--sign", "key", "--compress", "xz,gz,zst,none")
        port = 20000 + os.getpid() % 20000
        with open(self.path("nginx.conf"), "w", encoding="utf-8") as out:
            out.write(NGINX.format(folder=self.folder, port=port, root=self.repo))
        with subprocess.Popen(["nginx", "-c", self.path("nginx.conf"), "-e", self.path("error.log")],
                              env={**clean_environment(), "PATH": "/usr/sbin:/usr/bin:/sbin:/bin"}) as nginx:
            try:
                run("curl", "--silent", "--retry", "20", "--retry-connrefused", "--retry-delay", "1", "--output",
                    "/dev/null", f"http://127.0.0.1:{port}/")
                self.install(f"http://127.0.0.1:{port}", self.path("cert.asc"))
            finally:
                nginx.send_signal(signal.SIGTERM)
        log = read(self.path("access.log")).decode()
        self.assertRegex(log, r"GET /dists/stable/InRelease HTTP/1.1\" 200")
        self.assertRegex(log, r"GET /dists/stable/main/binary-amd64/by-hash/SHA256/[0-9a-f]{64} HTTP/1.1\" 200")
        self.assertNotRegex(log, r"binary-amd64/Packages|\" 404 ")


if __name__ == "__main__":
    unittest.main()
