"""Pages of `bex report` in a browser: their figures, what their script does, and names that try to be HTML."""

import html.parser
import json
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

from cases import environment

NASTY = ["<script>alert(1)<", "\"><img src=x onerror=alert(1)>", "' onmouseover='alert(1)", "&lt;b&gt;&#60;i>", "-->",
         "\x1b[31mred", "\u202etxt.exe", b"\xff\xfe".decode(errors="surrogateescape"), "]]></style><style>*{}", "{{a}}"]


class Page(html.parser.HTMLParser):
    """Tables by identifier, as lists of rows of texts, and the elements and attributes that the page has."""

    def __init__(self, text):
        super().__init__()
        self.tables, self.elements, self.attributes, self.titles = {}, {}, set(), []
        self.rows = self.cell = None
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        self.elements[tag] = self.elements.get(tag, 0) + 1
        self.attributes |= {name for name, _ in attrs}
        if tag == "table":
            self.rows = self.tables.setdefault(dict(attrs)["id"], [])
        elif tag == "tr":
            self.rows.append([])
        elif tag in ("td", "th"):
            self.cell = []
        elif tag == "title":
            self.cell = []

    def handle_data(self, data):
        if self.cell is not None:
            self.cell.append(data)

    def handle_endtag(self, tag):
        if tag in ("td", "th"):
            self.rows[-1].append("".join(self.cell))
        elif tag == "title":
            self.titles.append("".join(self.cell))
        if tag in ("td", "th", "title"):
            self.cell = None

    def rows_of(self, table):
        return self.tables[table][1:]


def bex(*arguments):
    return subprocess.run([os.environ["BEX"], *arguments], capture_output=True, env=environment(), check=True).stdout


class ReportTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.mkdtemp(prefix="bex-report-")
        self.addCleanup(shutil.rmtree, self.directory, True)

    def package(self, name, files, description="says hello"):
        """A package with these files, by path: bytes, or None for a directory."""
        tree = Path(self.directory, name)
        for path, contents in files.items():
            file = tree / path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_bytes(contents)
        bex("build", tree, f"{tree}.bex", "--name", "hello", "--version", "1.0", "--arch", "all", "--maintainer",
            "Ann Lee <ann@example.org>", "--description", description)
        return f"{tree}.bex"

    def browse(self, *packages):
        """The page as the browser has it after its script ran; what the browser's console says is a failure."""
        page = f"{self.directory}/page.html"
        self.assertEqual(bex("report", *packages, "-o", page).decode(), f"{page}\n")
        sandbox = ["--no-sandbox"] if os.geteuid() == 0 else []
        done = subprocess.run(
            ["chromium", "--headless", "--disable-gpu", "--disable-dev-shm-usage", *sandbox, "--enable-logging=stderr",
             f"--user-data-dir={self.directory}/profile", "--dump-dom", f"file://{page}"],
            capture_output=True, text=True, check=True, timeout=200, env={**os.environ, "HOME": self.directory})
        self.assertEqual([line for line in done.stderr.splitlines() if "CONSOLE" in line], [])
        return Page(Path(page).read_text()), Page(done.stdout)

    def test_has_the_figures_of_list_and_works_without_its_script(self):
        files = {f"usr/share/doc/{number}.txt": b"word " * number * 10 for number in range(1, 150)}
        files |= {"usr/bin/tool": b"#!/bin/sh\n", "usr/lib/noise": os.urandom(3 << 20), "usr/empty": b""}
        package = self.package("hello", files)
        listed = json.loads(bex("list", "--json", package))["entries"]
        sizes = {entry["path"].strip("./"): entry["size"] for entry in listed}
        largest = sorted((path for path in sizes if sizes[path]), key=lambda path: (-sizes[path], path))[:100]
        data = next(member["size"] for member in json.loads(bex("info", "--json", package))["members"]
                    if member["name"] == "data.tar.gz")
        for page in self.browse(package):
            summary = dict(page.rows_of("summary"))
            figures = [int(summary[what]) for what in ("Entries", "Bytes of contents",
                                                       "Bytes of the compressed payload", "Bytes of the package")]
            self.assertEqual(figures, [len(listed), sum(sizes.values()), data, os.path.getsize(package)])
            self.assertEqual([(row[0], int(row[1])) for row in page.rows_of("largest")],
                             [(path, sizes[path]) for path in largest])
            kinds = {row[0]: (int(row[1]), int(row[2])) for row in page.rows_of("types")}
            self.assertEqual(kinds, {"directories": (sum(entry["type"] == "directory" for entry in listed), 0),
                                     "text": (149, sum(len(files[path]) for path in files if "doc" in path)),
                                     "scripts": (1, 10), "other data": (1, 3 << 20), "empty files": (1, 0)})
            shares = {row[0]: int(row[4]) for row in page.rows_of("types")}
            self.assertLessEqual(sum(shares.values()), data)
            self.assertGreater(shares["other data"], 3 << 20)  # noise does not shrink
            self.assertLess(shares["text"], 100000)
            self.assertEqual(dict(page.rows_of("fields"))["Version"], "1.0")
            self.assertIn(f"usr/lib/noise: {3 << 20} bytes, {shares['other data']} compressed", page.titles)
        self.assertNotIn("button", self.browse(package)[0].elements)
        self.assertIn("button", self.browse(package)[1].elements)

    def test_shows_names_and_values_as_text(self):
        files = {f"usr/{name}/{name}": name.encode(errors="surrogateescape") * 99 for name in NASTY}
        package = self.package("nasty", files, "a</td><script>alert(2)</script>\n&amp;<b>")
        shown = {line.removeprefix("./") for line in bex("list", package).decode().splitlines()}
        clean = self.package("clean", {"usr/file": b"x" * 9999})
        of_every_page = ("rect", "g", "text", "title", "tr", "td", "button", "input", "p", "table", "tbody", "thead",
                         "caption", "th")
        ours = [{"--": page.elements | dict.fromkeys(of_every_page, 0), "a": page.attributes}
                for page in self.browse(clean)]
        for page, expected in zip(self.browse(package), ours):
            self.assertEqual(set(page.elements) - set(expected["--"]), set())
            self.assertEqual(page.attributes - expected["a"] - {"type", "placeholder", "aria-label"}, set())
            self.assertEqual((page.elements["script"], page.elements["style"]), (1, 1))
            paths = {row[0] for row in page.rows_of("largest")}
            self.assertEqual(len(paths), len(NASTY))
            self.assertEqual(paths - shown, set())
            self.assertEqual(dict(page.rows_of("fields"))["Description"], "a</td><script>alert(2)</script>\n&amp;<b>")

    def test_compares_two_packages(self):
        before = self.package("old", {"usr/same": b"s" * 50, "usr/grows": b"g" * 10, "usr/shrinks": b"s" * 900,
                                      "usr/gone": b"x" * 70})
        after = self.package("new", {"usr/same": b"t" * 50, "usr/grows": b"g" * 300, "usr/shrinks": b"s" * 800,
                                     "usr/fresh": b"x" * 80})
        for page in self.browse(before, after):
            self.assertEqual(page.rows_of("grew"),
                             [["usr/grows", "10", "300", "+290"], ["usr/fresh", "0", "80", "+80"]])
            self.assertEqual(page.rows_of("shrank"),
                             [["usr/shrinks", "900", "800", "-100"], ["usr/gone", "70", "0", "-70"]])
            self.assertEqual(page.rows_of("comparison")[1], ["Bytes of contents", "1030", "1230", "+200"])

    def test_lists_findings_and_keeps_the_old_page_where_it_fails(self):
        package = self.package("hello", {"usr/file": b"x"})
        page = Path(self.directory, "kept.html")
        page.write_text("old")
        text = Path(package).read_bytes()
        Path(package).write_bytes(text + b"more")
        done = subprocess.run([os.environ["BEX"], "report", package, "-o", page], capture_output=True,
                              env=environment())
        self.assertEqual((done.returncode, done.stderr.decode()),
                         (3, f"bex: {package}: bytes after the last member, from offset {len(text)}\n"))
        self.assertEqual(page.read_text(), "old")
        self.assertEqual(sorted(os.listdir(self.directory)), ["hello", "hello.bex", "kept.html"])
        odd = self.package("odd", {"usr/a\x01b": b"x"})
        found = self.browse(odd)[1].rows_of("findings")
        self.assertIn(["warning", "path-characters", "data.tar.gz"], [row[:3] for row in found])


if __name__ == "__main__":
    unittest.main()
