"""The pages of `bex repo publish --html`: whole without JavaScript, searchable with it, and escaped throughout."""

import functools
import html.parser
import http.server
import os
import re
import shutil
import subprocess
import threading
import unittest

from repository import RepositoryCase, read, snapshot

CHROMIUM = shutil.which("chromium")
EVIL = "</td></table><script>document.title='owned'</script><img src=x onerror=\"document.title='owned'\"> & 'quoted'"


class Silent(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *_):
        pass


class Page(html.parser.HTMLParser):
    """The elements, links and text of a page."""

    def __init__(self, data):
        super().__init__()
        self.elements, self.links, self.text = [], [], ""
        self.feed(data.decode())

    def handle_starttag(self, tag, attrs):
        self.elements.append(tag)
        self.links += [value for name, value in attrs if name == "href"]

    def handle_data(self, data):
        self.text += data


class HtmlTest(RepositoryCase):
    def setUp(self):
        super().setUp()
        self.init("--label", "Tools & <more>", "--description", EVIL)
        evil = self.package("evil", fields=("--field", f"Description={EVIL}\n {EVIL}", "--field",
                                            "Homepage=javascript:alert(1)"))
        self.bex("add", evil, self.package("plain", "1.0", arch="amd64"), self.package("plain", "1:0.9", arch="amd64"))
        self.publish("--html")

    def page(self, path):
        return Page(read(os.path.join(self.repo, path)))

    def test_pages_tell_all_without_a_script(self):
        index = self.page("index.html")
        self.assertIn("Tools & <more>", index.text)
        self.assertIn("deb [trusted=yes] https://SERVER/PATH stable main", index.text)
        self.assertIn("html/stable/index.html", index.links)
        suite = self.page("html/stable/index.html")
        self.assertEqual([link for link in suite.links if link.endswith(".html")],
                         ["../../index.html", "evil.html", "plain.html"])
        plain = self.page("html/stable/plain.html")
        for text in ("apt install plain", "1:0.9", "/usr/share/doc/plain/README", "Ann Lee <ann@example.org>"):
            self.assertIn(text, plain.text)
        self.assertLess(plain.text.index("1:0.9"), plain.text.index("1.0"))  # the newest first
        for link in plain.links:  # every link leads somewhere
            self.assertTrue(os.path.exists(os.path.join(self.repo, "html/stable", link)), link)

    def test_texts_of_packages_are_no_markup(self):
        for path in ("index.html", "html/stable/index.html", "html/stable/evil.html"):
            with self.subTest(path=path):
                page = self.page(path)
                self.assertIn(EVIL, page.text)
                self.assertEqual(page.elements.count("script"), 1)
                self.assertNotIn("img", page.elements)
                self.assertFalse([link for link in page.links if link.startswith("javascript")])

    def test_pages_that_would_be_the_same_are_not_written(self):
        before = snapshot(self.repo)
        self.assertEqual(self.publish("--html").stdout, "")
        self.assertEqual(snapshot(self.repo), before)
        self.bex("remove", "evil")
        done = self.publish("--html", "--url", "https://example.org/apt").stdout
        self.assertIn("removed html/stable/evil.html\n", done)
        self.assertNotIn("html/stable/plain.html", done)
        self.assertIn("deb [trusted=yes] https://example.org/apt stable main", self.page("index.html").text)

    @unittest.skipUnless(CHROMIUM, "needs chromium")
    def test_in_a_browser(self):
        handler = functools.partial(Silent, directory=self.repo)
        with http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler) as server:
            threading.Thread(target=server.serve_forever, daemon=True).start()
            address = f"http://127.0.0.1:{server.server_port}"
            self.assertIn(f"{address} stable main", Page(self.dom(address + "/index.html")).text)
            suite = self.dom(address + "/html/stable/index.html?q=plain")
            self.assertIn("1 of 2 packages", Page(suite).text)
            self.assertEqual(re.findall(rb'<tr( hidden="")?><td><a href="(\w+)', suite),
                             [(b' hidden=""', b"evil"), (b"", b"plain")])
            self.assertIn(b"<title>evil</title>", self.dom(address + "/html/stable/evil.html"))
            server.shutdown()

    def dom(self, url):
        """The page as the browser has it after its scripts."""
        return subprocess.run([CHROMIUM, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
                               f"--user-data-dir={self.path('browser')}", "--dump-dom", url], capture_output=True,
                              check=True, timeout=120, env={"PATH": os.environ["PATH"], "HOME": self.folder}).stdout


if __name__ == "__main__":
    unittest.main()
